#define NAME "avx512"
#define KERNELS a2_kernels_avx512
#include "criteria/simd/a2_kernels.inl"

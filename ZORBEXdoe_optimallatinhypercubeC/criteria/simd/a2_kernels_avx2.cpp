#define NAME "avx2"
#define KERNELS a2_kernels_avx2
#include "criteria/simd/a2_kernels.inl"

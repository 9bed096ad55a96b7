#define NAME "avx2"
#define KERNELS entropy_kernels_avx2
#define LANES 4
#include "criteria/simd/entropy_kernels.inl"

#define NAME "avx512"
#define KERNELS phip_kernels_avx512
#define LANES 8
#include "criteria/simd/phip_kernels.inl"

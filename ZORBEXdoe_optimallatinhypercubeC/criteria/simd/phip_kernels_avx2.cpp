#define NAME "avx2"
#define KERNELS phip_kernels_avx2
#define LANES 4
#include "criteria/simd/phip_kernels.inl"

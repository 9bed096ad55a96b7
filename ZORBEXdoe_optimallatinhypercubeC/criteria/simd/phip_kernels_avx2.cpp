#define ISA_NAME "avx2"
#define LANES 4
#define KERNELS phip_kernels_avx2
#include "criteria/simd/phip_kernels.inl"

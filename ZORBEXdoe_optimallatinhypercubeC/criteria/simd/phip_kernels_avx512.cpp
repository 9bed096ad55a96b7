#define ISA_NAME "avx512"
#define LANES 8
#define KERNELS phip_kernels_avx512
#include "criteria/simd/phip_kernels.inl"

#define ISA_NAME "baseline"
#define LANES 2
#define KERNELS phip_kernels_baseline
#include "criteria/simd/phip_kernels.inl"

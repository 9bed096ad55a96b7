#define NAME "baseline"
#define KERNELS phip_kernels_baseline
#define LANES 2
#include "criteria/simd/phip_kernels.inl"

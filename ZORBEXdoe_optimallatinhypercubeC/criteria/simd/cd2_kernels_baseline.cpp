#define NAME "baseline"
#define KERNELS cd2_kernels_baseline
#define LANES 2
#include "criteria/simd/cd2_kernels.inl"

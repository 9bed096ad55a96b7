#define NAME "baseline"
#define KERNELS a2_kernels_baseline
#include "criteria/simd/a2_kernels.inl"

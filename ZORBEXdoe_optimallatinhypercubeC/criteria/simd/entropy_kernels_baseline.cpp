#define NAME "baseline"
#define KERNELS entropy_kernels_baseline
#define LANES 2
#include "criteria/simd/entropy_kernels.inl"

#define NAME "baseline"
#define KERNELS ordered_sum_kernels_baseline
#define LANES 2
#include "optdoe/simd/ordered_sum_kernels.inl"

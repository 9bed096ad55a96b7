#define NAME "avx2"
#define KERNELS ordered_sum_kernels_avx2
#define LANES 4
#include "optdoe/simd/ordered_sum_kernels.inl"

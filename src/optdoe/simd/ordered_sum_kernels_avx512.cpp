#define NAME "avx512"
#define KERNELS ordered_sum_kernels_avx512
#define LANES 8
#include "optdoe/simd/ordered_sum_kernels.inl"

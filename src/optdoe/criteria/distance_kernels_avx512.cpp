#define NAME "avx512"
#define KERNELS distance_kernels_avx512
#define LANES 8
#include "optdoe/criteria/distance_kernels.inl"

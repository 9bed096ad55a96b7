#define NAME "avx2"
#define KERNELS distance_kernels_avx2
#define LANES 4
#include "optdoe/criteria/distance_kernels.inl"

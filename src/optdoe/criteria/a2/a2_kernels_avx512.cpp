#define NAME "avx512"
#define KERNELS a2_kernels_avx512
#include "optdoe/criteria/a2/a2_kernels.inl"

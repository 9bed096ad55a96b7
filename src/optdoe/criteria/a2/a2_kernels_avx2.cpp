#define NAME "avx2"
#define KERNELS a2_kernels_avx2
#include "optdoe/criteria/a2/a2_kernels.inl"

#define NAME "avx2"
#define KERNELS cd2_kernels_avx2
#define LANES 4
#include "optdoe/criteria/cd2/cd2_kernels.inl"

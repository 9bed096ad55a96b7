#define NAME "avx512"
#define KERNELS cd2_kernels_avx512
#define LANES 8
#include "optdoe/criteria/cd2/cd2_kernels.inl"

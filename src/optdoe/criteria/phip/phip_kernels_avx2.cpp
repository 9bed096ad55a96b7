#define NAME "avx2"
#define KERNELS phip_kernels_avx2
#define LANES 4
#include "optdoe/criteria/phip/phip_kernels.inl"

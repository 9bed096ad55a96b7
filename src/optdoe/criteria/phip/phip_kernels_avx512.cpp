#define NAME "avx512"
#define KERNELS phip_kernels_avx512
#define LANES 8
#include "optdoe/criteria/phip/phip_kernels.inl"

#define NAME "baseline"
#define KERNELS phip_kernels_baseline
#define LANES 2
#include "optdoe/criteria/phip/phip_kernels.inl"

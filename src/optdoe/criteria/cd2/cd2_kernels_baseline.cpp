#define NAME "baseline"
#define KERNELS cd2_kernels_baseline
#define LANES 2
#include "optdoe/criteria/cd2/cd2_kernels.inl"

#define NAME "baseline"
#define KERNELS distance_kernels_baseline
#define LANES 2
#include "optdoe/criteria/distance_kernels.inl"

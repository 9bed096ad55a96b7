#define NAME "baseline"
#define KERNELS a2_kernels_baseline
#include "optdoe/criteria/a2/a2_kernels.inl"

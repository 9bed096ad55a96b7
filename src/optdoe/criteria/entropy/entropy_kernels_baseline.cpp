#define NAME "baseline"
#define KERNELS entropy_kernels_baseline
#define LANES 2
#include "optdoe/criteria/entropy/entropy_kernels.inl"

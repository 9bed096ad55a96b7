#define NAME "avx512"
#define KERNELS phip_trial_kernels_avx512
#define LANES 8
#include "api/annealing/phip_trial_kernels.inl"

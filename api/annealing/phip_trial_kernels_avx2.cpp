#define NAME "avx2"
#define KERNELS phip_trial_kernels_avx2
#define LANES 4
#include "api/annealing/phip_trial_kernels.inl"

#define NAME "baseline"
#define KERNELS phip_trial_kernels_baseline
#define LANES 2
#include "api/annealing/phip_trial_kernels.inl"

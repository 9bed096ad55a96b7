#define NAME "baseline"
#define KERNELS cd2_trial_kernels_baseline
#define LANES 2
#include "api/annealing/cd2_trial_kernels.inl"

#define NAME "avx2"
#define KERNELS cd2_trial_kernels_avx2
#define LANES 4
#include "api/annealing/cd2_trial_kernels.inl"

#define NAME "avx512"
#define KERNELS cd2_trial_kernels_avx512
#define LANES 8
#include "api/annealing/cd2_trial_kernels.inl"

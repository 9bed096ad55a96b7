#define NAME "avx2"
#define KERNELS entropy_kernels_avx2
#define LANES 4
#include "optdoe/criteria/entropy/entropy_kernels.inl"

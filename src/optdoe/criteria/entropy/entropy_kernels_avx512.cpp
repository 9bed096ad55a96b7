#define NAME "avx512"
#define KERNELS entropy_kernels_avx512
#define LANES 8
#include "optdoe/criteria/entropy/entropy_kernels.inl"

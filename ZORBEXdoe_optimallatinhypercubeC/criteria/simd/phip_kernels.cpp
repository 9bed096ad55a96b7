#include "criteria/simd/phip_kernels.h"

#include "criteria/simd/instruction_sets.h"

const phip_kernels& phip_kernels_of_machine()
{
    if (machine_has_avx512())
        return phip_kernels_avx512;
    return machine_has_avx2() ? phip_kernels_avx2 : phip_kernels_baseline;
}

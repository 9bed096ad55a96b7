/// Instruction sets that the kernels are compiled for. Every variant of a kernel gives the same bits; they differ in
/// speed only.
#pragma once

#include "optdoe/simd/instruction_sets.h"

#include <array>
#include <cstddef>

/// In ascending order: a machine that has one has those before it.
enum class instruction_set { baseline, avx2, avx512 };
inline constexpr std::size_t instruction_set_count = 3;

/// Number of sets that may be chosen; a test of the narrower ones builds with fewer.
#ifndef OPTDOE_INSTRUCTION_SETS
#define OPTDOE_INSTRUCTION_SETS 3
#endif
static_assert(OPTDOE_INSTRUCTION_SETS >= 1 && OPTDOE_INSTRUCTION_SETS <= instruction_set_count);

/// Kernel records of one criterion, indexed by instruction set; null where the build has no such variant.
template <class Kernels>
using kernel_variants = std::array<const Kernels*, instruction_set_count>;

/// True when this machine runs code of that set.
inline bool machine_has(instruction_set set)
{
    switch (set) {
    case instruction_set::avx512: return machine_has_avx2() && machine_has_avx512();
    case instruction_set::avx2: return machine_has_avx2();
    default: return set == instruction_set::baseline;
    }
}

/// The last variant that the build has, allows and the machine runs.
template <class Kernels>
const Kernels* best_variant(const kernel_variants<Kernels>& variants)
{
    for (std::size_t set = OPTDOE_INSTRUCTION_SETS; set-- > 0;)
        if (variants[set] != nullptr && machine_has(static_cast<instruction_set>(set)))
            return variants[set];
    return nullptr;
}

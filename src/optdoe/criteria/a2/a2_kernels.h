/// Loops of the A2 criterion over the rows of a design, once per instruction set. Integers are 32-bit and wrap.
#pragma once

#include "optdoe/simd/kernel_variants.h"

#include <cstdint>

struct a2_kernels {
    const char* name;

    /// What the entry of one row going from `from` to `to` adds to its coincidences with the rows 0 .. n-1.
    ///   column   in   [n] entries of all rows
    ///   weight   level weight of the column
    ///   change   out  [n] weight where the entry equals `to`, less weight where it equals `from`
    void (*count_changes)(int n, const double* column, double from, double to, std::int32_t weight,
                          std::int32_t* change);

    /// Sum over the rows of the 32-bit changes of the squares when counts_a grows by change and counts_b falls by it.
    std::int64_t (*square_changes)(int n, const std::int32_t* counts_a, const std::int32_t* counts_b,
                                   const std::int32_t* change);

    /// Adds the level weight of one column to the coincidences of an entry with the rows 0 .. n-1 that equal it.
    void (*add_coincidences)(int n, const double* column, double entry, std::int32_t weight, std::int32_t* counts);
};

extern const a2_kernels a2_kernels_baseline, a2_kernels_avx2, a2_kernels_avx512;
extern const kernel_variants<a2_kernels> a2_kernel_variants;

/// One scalar loop each, as the contract above reads: the measure of all variants. Tests and benchmarks link it from
/// optdoe_plain_kernels, the library does not.
extern const a2_kernels a2_kernels_plain;

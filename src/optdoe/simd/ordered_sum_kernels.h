/// Kernels of numeric/ordered_sum.h: sums of summands that are rounded to the grid of a binade. Such sums are exact,
/// so every variant gives the same bits whatever the order of its lanes.
#pragma once

#include "optdoe/simd/kernel_variants.h"

#include <cstdint>

/// Sums of rounded summands, the positive and the negative ones apart.
struct grid_sum {
    double above; ///< at least 0
    double below; ///< at most 0
    double ties;  ///< number of summands half way between two grid points; +inf: a summand is too large for the grid
};

/// What is kept of the rows of a triangle, [stride] each; no summand is negative. See triangle_sum.
struct rows_on_grid {
    double* limit; ///< the grid it is for; 0: none
    double* sum;   ///< of the row's rounded summands
    double* ties;  ///< as in grid_sum; +inf: the sum is not known
};

struct ordered_sum_kernels {
    const char* name;

    /// Sums on the grid of the binade from 2 limit to 4 limit.
    ///   x   in   [count] at any address
    grid_sum (*sum_on_grid)(std::int32_t count, const double* x, double limit);

    /// The same of summands of which none is negative.
    grid_sum (*sum_positive_on_grid)(std::int32_t count, const double* x, double limit);

    /// Replaces summand `line` of every row behind it.
    ///   stride          a multiple of 8
    ///   before, after   in       [stride] on a boundary of 64 bytes: the summand in each row
    ///   rows            in/out   the same boundary
    void (*replace_on_grid)(std::int32_t stride, std::int32_t line, const double* before, const double* after,
                            const rows_on_grid& rows);
};

extern const ordered_sum_kernels ordered_sum_kernels_baseline, ordered_sum_kernels_avx2, ordered_sum_kernels_avx512;

/// One scalar loop each, as the contract above reads: the measure of all variants. Tests and benchmarks link it from
/// optdoe_plain_kernels, the library does not.
extern const ordered_sum_kernels ordered_sum_kernels_plain;

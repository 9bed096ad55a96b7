/// Kernels of centered L2's annealing: products of two rows that exchange an entry. Single precision.
///
/// Lines    [stride] on a boundary of 64 bytes; stride is a multiple of 16. Line r of the table holds the products
///          prod_k (1 + (|u_rk| + |u_sk| - |u_rk - u_sk|) / 2) with all rows s, u the coordinates from the centre;
///          its own place and the places beyond the rows hold 0.
/// Factors  1 + min(|u_r|, |u_s|) where both are on the same side of the centre, else 1. So a column is held as its
///          distances from the centre twice: above it (0 for rows below) and below it.
/// Exact    sums have 16 lanes whatever the instruction set: every variant gives the same bits.
#pragma once

#include "optdoe/simd/kernel_variants.h"

#include <cstddef>

namespace optdoe {

/// The entry of a row against its column.
struct cd2_entry {
    std::size_t row;
    const float* side; ///< [stride] distances from the centre of the rows on the entry's side, else 0
    float size;        ///< |u|
};

struct cd2_trial_kernels {
    const char* name;

    /// Change of the sum of both lines when the rows exchange their entries a and b. The product of the two stays.
    ///   line_a, line_b   in   [stride]
    float (*change)(std::size_t stride, const cd2_entry& a, const cd2_entry& b, const float* line_a,
                    const float* line_b);

    /// The lines after the exchange, in place.
    void (*commit)(std::size_t stride, const cd2_entry& a, const cd2_entry& b, float* line_a, float* line_b);

    /// Multiplies the line of the row with this entry by the factors of the column.
    void (*multiply)(std::size_t stride, const cd2_entry& entry, float* line);
};

extern const cd2_trial_kernels cd2_trial_kernels_baseline, cd2_trial_kernels_avx2, cd2_trial_kernels_avx512;
extern const kernel_variants<cd2_trial_kernels> cd2_trial_kernel_variants;

} // namespace optdoe

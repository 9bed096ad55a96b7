/// Kernels of phi-p's annealing: distances and terms of two rows that exchange an entry. Single precision.
///
/// Lines    [stride] on a boundary of 64 bytes; stride is a multiple of 16. Line r of the table holds the distances
/// of
///          row r to all rows; its own place and the places beyond the rows hold a distance that adds no term.
/// Terms    (unit / d)^power with d held between `nearest` and `farthest`, so that no term leaves the normal numbers.
/// Exact    sums have 16 lanes whatever the instruction set: every variant gives the same bits.
#pragma once

#include "optdoe/simd/kernel_variants.h"

#include <cstddef>

namespace optdoe {

struct phip_shape {
    float unit;    ///< distance whose term is 1
    float nearest; ///< bounds of the distances in terms
    float farthest;
    int power;      ///< at least 1
    bool euclidean; ///< squared distances
};

/// Rows a and b, which exchange their entries of a column.
struct phip_exchange_lines {
    std::size_t stride;
    std::size_t a;
    std::size_t b;
    const float* x; ///< [stride] the entries of the column
    const float* line_a;
    const float* line_b;
};

struct phip_trial_kernels {
    const char* name;

    /// Sum of the terms of both lines after the exchange, or a part of the sum that is above the limit already.
    float (*new_terms)(const phip_shape& shape, const phip_exchange_lines& lines, float limit);

    /// Distances of both rows after the exchange, and what becomes of the rows' sums of terms.
    ///   new_a, new_b   out      [stride] may be the lines themselves
    ///   sums           in/out   [stride] of terms, a row; those of the two rows are left to the caller
    ///   change_a/b     out      of the sums of rows a and b
    void (*commit)(const phip_shape& shape, const phip_exchange_lines& lines, float* new_a, float* new_b,
                   double* sums, double* change_a, double* change_b);

    /// Sum of the terms of a line.
    double (*line_terms)(const phip_shape& shape, std::size_t stride, const float* line);

    /// Adds the parts of a column to the distances of one row.
    void (*add_column)(const phip_shape& shape, std::size_t stride, const float* x, float x_row, float* line);

    /// The least distance of a line.
    float (*least)(std::size_t stride, const float* line);
};

extern const phip_trial_kernels phip_trial_kernels_baseline, phip_trial_kernels_avx2, phip_trial_kernels_avx512;
extern const kernel_variants<phip_trial_kernels> phip_trial_kernel_variants;

} // namespace optdoe

/// Factorisation of a correlation matrix, once per instruction set.
#pragma once

#include "optdoe/simd/kernel_variants.h"

/// Rows of an upper triangle: row[j][i] is cell (j, i), j <= i < n. A row's storage begins at column j rounded down
/// to a multiple of 8, on an address that is a multiple of 64, and ends at n rounded up; what lies outside the
/// triangle is scratch.
using upper_rows = double* const*;

/// One factorisation R = L L^T that keeps the leading rows of a known one.
struct factor_task {
    int n;
    int k0;                   ///< L's rows 0 .. k0-1 are kept; 0 .. n
    upper_rows correlation;   ///< in: R, its diagonal of ones is not read
    upper_rows kept;          ///< in: L^T, columns 0 .. k0-1; its rows are the columns of L
    const double* kept_pivot; ///< in: [n] diagonal of L, 0 .. k0-1
    upper_rows factor;        ///< out: L^T, columns k0 .. n-1 of every row; may be `kept`
    double* pivot;            ///< out: [n] diagonal of L; may be kept_pivot
};

struct entropy_kernels {
    const char* name;

    /// Performs the task.
    ///   returns the product of L's diagonal, ascending from 1.0. When a pivot is not positive the diagonal from
    ///   there on is zero, and so is the result; when the product underflows, so is the diagonal behind that pivot.
    double (*factorise)(const factor_task& task);

    /// Solves L y = v for several right sides at once, rows `first` .. n-1; above `first` all are zero.
    ///   factor   in      L^T
    ///   y        in/out  [n] rows, aligned: the right sides `column` .. column + 8 * eights - 1, then the solutions
    void (*substitute)(int n, int first, upper_rows factor, const double* pivot, double* const* y, int column,
                       int eights);

    /// Dot products over all rows of the solutions of each candidate.
    ///   y     in   [n] rows: candidate_width columns each of y_a, y_b, z_a, z_b
    ///   dots  out  [10 * candidate_width] y_a y_a, y_a y_b, y_b y_b, z_a z_a, z_a z_b, z_b z_b, z_a y_a, z_a y_b,
    ///              z_b y_a, z_b y_b, each for all candidates
    void (*candidate_dots)(int n, const double* const* y, double* dots);
};

inline constexpr int candidate_width = 56; ///< candidates that are estimated together

extern const entropy_kernels entropy_kernels_baseline, entropy_kernels_avx2, entropy_kernels_avx512;
extern const kernel_variants<entropy_kernels> entropy_kernel_variants;

/// One scalar loop each, as the contract above reads: the measure of all variants. Tests and benchmarks link it from
/// optdoe_plain_kernels, the library does not.
extern const entropy_kernels entropy_kernels_plain;

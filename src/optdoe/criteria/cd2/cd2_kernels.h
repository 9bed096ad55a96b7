/// Loops of the centered L2 discrepancy over the rows of a design, once per instruction set.
///
/// Rows of tables and columns are aligned to 64 bytes and padded with zeroes to a multiple of 8 entries.
#pragma once

#include "optdoe/simd/kernel_variants.h"

/// Entry of a row in one column: scaled z, and its distance from the centre a.
struct cd2_entry {
    double z;
    double a;
};

/// An exchange of the entries of two rows of a column.
struct cd2_exchange {
    int n;
    const double* z;       ///< [n] the column, scaled
    const double* a;       ///< [n] the column, centred
    const double* terms_a; ///< [n] pair terms of row_a
    const double* terms_b; ///< [n] pair terms of row_b
    int row_a;
    int row_b;
};

struct cd2_kernels {
    const char* name;

    /// New pair terms of both rows, and their changes added to delta one by one, row_a before row_b, in row order.
    ///   new_a, new_b   out  [n padded]; without meaning at row_a and row_b, which delta leaves out as well
    ///   returns delta with the changes
    double (*exchange)(const cd2_exchange& x, double* new_a, double* new_b, double delta);

    /// Estimate of the sum of the same changes, in any order.
    ///   counted   in  [n padded] 1, and 0 at row_a, row_b and in the padding
    double (*estimate)(const cd2_exchange& x, const double* counted);

    /// Pair terms of row i with the rows from i + 1 on.
    ///   z, a    in   [factors] columns
    ///   scale   the constant before the product
    ///   terms   out  [n padded]; of the cells up to i some are overwritten, back to the last multiple of 8
    void (*pair_terms)(int n, int factors, int i, const double* const* z, const double* const* a, double scale,
                       double* terms);

    /// The same with the rows before i.
    ///   terms   out  [n padded]; of the cells from i on some are overwritten, up to the next multiple of 8
    void (*pair_terms_before)(int n, int factors, int i, const double* const* z, const double* const* a, double scale,
                              double* terms);

    /// Ratio of the new to the old factor of each row's pair with a row whose entry goes from `from` to `to`.
    ///   z, a     in   [n padded] the column, scaled and centred
    ///   ratios   out  [n padded]
    void (*pair_ratios)(int n, cd2_entry from, cd2_entry to, const double* z, const double* a, double* ratios);
};

extern const cd2_kernels cd2_kernels_baseline, cd2_kernels_avx2, cd2_kernels_avx512;
extern const kernel_variants<cd2_kernels> cd2_kernel_variants;

/// One scalar loop each, as the contract above reads: the measure of all variants. Tests and benchmarks link it from
/// optdoe_plain_kernels, the library does not.
extern const cd2_kernels cd2_kernels_plain;

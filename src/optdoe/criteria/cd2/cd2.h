/// Slot 3: the centered L2 discrepancy, squared, with an optional weight per factor.
///
/// (13/12)^m - (2/n) sum_i prod_k (1 + a/2 - a^2/2) + (1/n^2) sum_ij prod_k (1 + a_i/2 + a_j/2 - |z_i - z_j|/2),
/// with a = |u - 1/2|. Source: Hickernell, "A generalized discrepancy and quadrature error bound", 1998; the update
/// by ratios follows Jin, Chen and Sudjianto, 2005.
#pragma once

#include "optdoe/criteria/cd2/cd2_kernels.h"
#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/criteria/symmetric_snapshot.h"
#include "optdoe/run/run_context.h"
#include "optdoe/simd/ordered_sum_kernels.h"

#include <cstdint>

/// Rows whose terms exchanges have multiplied by ratios since the last evaluation from scratch. Invariant: the terms
/// of all other rows, and of their pairs, have the bits that an evaluation gives them.
struct cd2_changed_rows {
    std::int32_t* rows; ///< [count] each once, in any order
    std::int32_t count;
    std::uint8_t* is_listed; ///< [rows]
};

/// Memory: one table of (n + 1)^2 doubles, and per snapshot half of one, allocated when it is first needed: for the
/// column snapshot that is an evaluation or a change of many rows between crit_save_column and crit_restore_column.
struct cd2_state {
    double** scaled;  ///< [rows x factors] z = w x, or x when no weight is in force
    double** centred; ///< [rows x factors] a = |w (x - 1/2)|
    double** terms;   ///< [(rows + 1) x (rows + 1)] summands of the value, symmetric; index rows: the single sum
    double value;
    cd2_changed_rows changed;
    cd2_changed_rows saved_changed; ///< when the column was saved, and rows that other columns have changed since
    std::int32_t saved_column;
    double most_centred;   ///< greatest centred entry of all designs loaded since the set-up
    double** columns;      ///< [2 factors x rows] scaled, then centred entries as columns, in step with the others
    double** lines;        ///< [3 x (rows + 1)] scratch: new terms of two rows, ones
    double** saved_design; ///< [free rows x factors] scaled entries; null before the first save
    double* saved_design_terms; ///< packed: terms[i][j], fixed_rows <= i <= rows, j <= i; likewise
    double saved_design_value;
    double* saved_column_scaled;  ///< [free rows]
    double* saved_column_centred; ///< [free rows]
    double saved_column_value;
    table_snapshot<double> saved_column_terms;
    const cd2_kernels* kernels;      ///< the variant in force
    const ordered_sum_kernels* sums; ///< likewise
    const double* weights;           ///< [factors] not owned
    std::int32_t weighted;
    std::int32_t factors;
    std::int32_t active_factors; ///< weights above 1e-15
    std::int32_t fixed_rows;
    std::int32_t free_rows;
    std::int32_t rows;
};

/// The operations, and the record of slot 3.
extern const criterion_ops cd2_ops;
void cd2_open(run_context* ctx);
void cd2_close(run_context* ctx);

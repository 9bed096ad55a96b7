/// Slot 3: the centered L2 discrepancy, squared, with an optional weight per factor.
///
/// (13/12)^m - (2/n) sum_i prod_k (1 + a/2 - a^2/2) + (1/n^2) sum_ij prod_k (1 + a_i/2 + a_j/2 - |z_i - z_j|/2),
/// with a = |u - 1/2|. Source: Hickernell, "A generalized discrepancy and quadrature error bound", 1998; the update
/// by ratios follows Jin, Chen and Sudjianto, 2005.
#pragma once

#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/run/run_context.h"

#include <cstdint>

struct cd2_state {
    double** scaled;  ///< [rows x factors] z = w x, or x when no weight is in force
    double** centred; ///< [rows x factors] a = |w (x - 1/2)|
    double** terms;   ///< [(rows + 1) x (rows + 1)] summands of the value, symmetric; index rows: the single sum
    double value;
    double** saved_design;      ///< [free rows x factors] scaled entries
    double* saved_design_terms; ///< packed: terms[i][j], fixed_rows <= i <= rows, j <= i
    double saved_design_value;
    double* saved_column_scaled;  ///< [free rows]
    double* saved_column_centred; ///< [free rows]
    double* saved_column_terms;   ///< packed
    double saved_column_value;
    const double* weights; ///< [factors] not owned
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

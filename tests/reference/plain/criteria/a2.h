/// Slot 1: the A2 criterion, the aliasing between pairs of main effects, from coincidences between pairs of rows.
///
/// A2 = (J2 + n/2 (S^2 - n (m^2 - m + S))) / n^2 with J2 the sum of squared coincidences, m active factors and S the
/// sum of their level counts; it holds for balanced designs, and 0 means an orthogonal one.
/// Source: Xu and Wu, "Generalized minimum aberration for asymmetrical fractional factorial designs", 2001; Xu, "An
/// algorithm for constructing orthogonal and nearly-orthogonal arrays with mixed levels and small runs", 2002.
/// Integers are 32-bit and wrap for very large designs; that is part of the behaviour.
#pragma once

#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/run/run_context.h"

#include <cstdint>

struct a2_state {
    double** design;       ///< [rows x factors] working design
    double** saved_design; ///< [free rows x factors]
    double value;
    const double* weights; ///< [factors] not owned: a weight above 1e-15 makes a factor active
    double* saved_column;  ///< [free rows]
    double saved_column_value;
    double saved_design_value;
    std::int32_t** coincidence;        ///< [rows x rows] i < j: [i][j] = c(i, j), [j][i] = c(i, j)^2
    std::int32_t** saved_column_rows;  ///< [free rows x rows]
    std::int32_t** saved_column_fixed; ///< [fixed rows x free rows], null without fixed rows
    std::int32_t** saved_design_rows;  ///< [free rows x rows]
    std::int32_t** saved_design_fixed; ///< [fixed rows x free rows], null without fixed rows
    std::int32_t* level_weight;        ///< [factors] level count of an active factor, else 0
    std::int32_t factors;
    std::int32_t fixed_rows;
    std::int32_t free_rows;
    std::int32_t rows;
    std::int32_t rows_squared; ///< wraps
    std::int32_t level_sum;
    std::int32_t active_factors;
};

/// The operations, and the record of slot 1.
extern const criterion_ops a2_ops;
void a2_open(run_context* ctx);
void a2_close(run_context* ctx);

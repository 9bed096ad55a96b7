/// Slot 1: the A2 criterion, the aliasing between pairs of main effects, from coincidences between pairs of rows.
///
/// A2 = (J2 + n/2 (S^2 - n (m^2 - m + S))) / n^2 with J2 the sum of squared coincidences, m active factors and S the
/// sum of their level counts; it holds for balanced designs, and 0 means an orthogonal one.
/// Source: Xu and Wu, "Generalized minimum aberration for asymmetrical fractional factorial designs", 2001; Xu, "An
/// algorithm for constructing orthogonal and nearly-orthogonal arrays with mixed levels and small runs", 2002.
/// Integers are 32-bit and wrap for very large designs; that is part of the behaviour.
#pragma once

#include "optdoe/criteria/a2/a2_kernels.h"
#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/criteria/symmetric_snapshot.h"
#include "optdoe/run/run_context.h"

#include <cstdint>

/// The sum of the squared coincidences in the table.
struct a2_squares {
    std::int64_t sum; ///< of the table of the set-up, and what exchanges have changed of it
    bool known;       ///< an evaluation from scratch would have this sum, unrounded
};

/// Memory: one table of n^2 32-bit integers, and half of one for each snapshot that needs it.
struct a2_state {
    double** design;       ///< [rows x factors] working design
    double** saved_design; ///< [free rows x factors]; null before the first save
    double value;
    const double* weights; ///< [factors] not owned: a weight above 1e-15 makes a factor active
    double* saved_column;  ///< [free rows]
    double saved_column_value;
    double saved_design_value;
    std::int32_t** coincidence; ///< [rows x rows] c(i, j), symmetric; the diagonal holds nothing
    double* column;             ///< [factors x rows] scratch: columns of the design
    std::int32_t* change;       ///< [rows] scratch: what an exchange adds to the coincidences of its first row
    table_snapshot<std::int32_t> saved_column_counts;
    std::int32_t* saved_design_counts; ///< packed; null before the first save
    std::int32_t* level_weight;        ///< [factors] level count of an active factor, else 0
    const a2_kernels* kernels;         ///< the variant in force
    std::int32_t factors;
    std::int32_t fixed_rows;
    std::int32_t free_rows;
    std::int32_t rows;
    std::int32_t rows_squared; ///< wraps
    std::int32_t level_sum;    ///< wraps
    bool squares_fit;          ///< no coincidence, which is at most the sum of levels, has a square that wraps
    std::int32_t active_factors;
    std::int32_t saved_column_number;
    a2_squares squares;
    a2_squares saved_column_squares;
    a2_squares saved_design_squares;
};

/// The operations, and the record of slot 1.
extern const criterion_ops a2_ops;
void a2_open(run_context* ctx);
void a2_close(run_context* ctx);

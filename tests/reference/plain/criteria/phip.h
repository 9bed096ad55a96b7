/// Slot 6: the phi-p distance criterion and its p = 0 case, maximin.
///
/// Source: Morris and Mitchell, "Exploratory designs for computational experiments", 1995 (phi-p); Johnson, Moore and
/// Ylvisaker, "Minimax and maximin distance designs", 1990 (maximin); the update of two rows per exchange: Jin, Chen
/// and Sudjianto, 2005.
#pragma once

#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/criteria/distance.h"
#include "optdoe/run/run_context.h"

#include <cstdint>

struct phip_state {
    double** points;     ///< [rows x factors] working design, each factor times its weight when weighted
    double** pair_table; ///< [rows x rows] p > 0: upper cells distances, lower cells terms; p = 0: distances in both,
                         ///< the lower one the committed copy. The diagonal is scratch of the re-arrangements.
    double value;
    double term_sum; ///< p > 0: sum of the terms, at most 1e200; p = 0: negated least distance of the fixed rows
    double distance_floor;      ///< distances below it count with the capped term
    double* saved_column;       ///< [free rows]
    double** saved_pair_rows;   ///< [free rows x rows]
    double** saved_fixed_pairs; ///< [fixed rows x free rows], p > 0; null without fixed rows
    double saved_column_value;
    double saved_column_sum;
    double** saved_points;             ///< [free rows x factors]
    double** saved_design_pair_rows;   ///< [free rows x rows]
    double** saved_design_fixed_pairs; ///< [fixed rows x free rows], p > 0; null without fixed rows
    double saved_design_value;
    double saved_design_sum;
    double* old_terms;     ///< [2 x rows] scratch of the single trial
    const double* weights; ///< [factors] not owned
    std::int32_t factors;
    std::int32_t fixed_rows;
    std::int32_t free_rows;
    std::int32_t rows;
    std::int32_t p; ///< exponent on the distances as kept: squared ones for the Euclidean kind; 0 maximin
    std::int32_t weighted;
    distance_kind kind;
    std::int32_t update_count; ///< committed updates since the last full re-sum, 0..5
};

/// The operations, and the record of slot 6.
extern const criterion_ops phip_ops;
void phip_open(run_context* ctx);
void phip_close(run_context* ctx);

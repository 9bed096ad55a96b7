/// Slot 3 in plain form: the centered L2 discrepancy, squared, with an optional weight per factor.
///
/// (13/12)^m - (2/n) sum_i prod_k (1 + a/2 - a^2/2) + (1/n^2) sum_ij prod_k (1 + a_i/2 + a_j/2 - |z_i - z_j|/2),
/// with a = |u - 1/2|. Source: Hickernell, "A generalized discrepancy and quadrature error bound", 1998; the update
/// by ratios follows Jin, Chen and Sudjianto, 2005.
#pragma once

#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/run/run_context.h"

#include <cstdint>

/// A design in units of the criterion, the summands of its discrepancy, and the discrepancy.
struct cd2_picture {
    double** z; ///< [points x factors] entry times weight
    double** a; ///< [points x factors] distance from the centre times weight
    double** t; ///< [points + 1 squared] summands: of pairs, on the diagonal, and in the last line of single points
    double total;
};

struct cd2_state {
    cd2_picture now;
    cd2_picture at_save_column; ///< z and a: [1 x free points] of the saved column
    cd2_picture at_save_design; ///< z: [free points x factors]; a: null, follows from z
    const double* weights;      ///< [factors] not owned
    bool has_weights;           ///< one differs from 1
    std::int32_t factors;
    std::int32_t active; ///< factors with a weight above 1e-15
    std::int32_t first_free;
    std::int32_t points;
};

/// The operations, and the record of slot 3.
extern const criterion_ops cd2_ops;
void cd2_open(run_context* ctx);
void cd2_close(run_context* ctx);

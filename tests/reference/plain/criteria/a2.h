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

/// A design, the coincidences of its pairs of rows, and its A2.
struct a2_picture {
    double** x;       ///< [runs x factors]
    std::int32_t** c; ///< [runs squared] both halves; the diagonal is not read
    double a2;
};

struct a2_state {
    a2_picture now;
    a2_picture at_save_column; ///< x: [1 x free runs] of the saved column
    a2_picture at_save_design; ///< x: [free runs x factors]
    std::int32_t* agreement;   ///< [factors] what two equal entries count: the levels of an active factor, else 0
    std::int32_t factors;
    std::int32_t active;        ///< factors with a weight above 1e-15
    std::int32_t agreement_sum; ///< of all factors
    std::int32_t first_free;
    std::int32_t runs;
    std::int32_t runs_squared; ///< wraps
};

/// The operations, and the record of slot 1.
extern const criterion_ops a2_ops;
void a2_open(run_context* ctx);
void a2_close(run_context* ctx);

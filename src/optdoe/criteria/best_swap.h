/// The best of several exchanges of one column from bounds of their values.
#pragma once

#include "optdoe/criteria/criterion_ops.h"

#include <cstdint>

/// Candidate exchanges of one column, and the trial that values them.
struct swap_candidates {
    criterion_ops::trial try_swap;
    std::int32_t column;
    std::int32_t count; ///< at least 1
    const std::int32_t* rows_a;
    const std::int32_t* rows_b;
};

/// The result of crit_unique_best_swap, with trials of those candidates only that the bounds leave.
///   low, high   in  [count] low[t] <= estimate of value t <= high[t], such that
///               low[i] > high[j] implies value i > value j, both numbers; not a number: nothing is known
///
/// The index sort puts a least value first. With only one least value that is the one, whatever the order of the
/// others; so the candidates that are above another one need no trial. When the least value of those that are left
/// comes twice, or a value is not a number, the result is -1.
std::int32_t unique_best_within_bounds(run_context* ctx, const swap_candidates& candidates, const double* low,
                                       const double* high, double* best_value);

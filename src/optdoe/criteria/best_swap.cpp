#include "optdoe/criteria/best_swap.h"

#include <cmath>

std::int32_t unique_best_within_bounds(run_context* ctx, const swap_candidates& candidates, const double* low,
                                       const double* high, double* best_value)
{
    double limit = HUGE_VAL;
    for (std::int32_t t = 0; t < candidates.count; ++t)
        if (high[t] < limit)
            limit = high[t];
    std::int32_t best = -1;
    double least = HUGE_VAL;
    bool unique = false;
    for (std::int32_t t = 0; t < candidates.count; ++t) {
        if (low[t] > limit)
            continue;
        const double value = candidates.try_swap(ctx, candidates.column, candidates.rows_a[t], candidates.rows_b[t]);
        if (value < least) {
            least = value;
            best = t;
            unique = true;
        } else if (!(value > least)) {
            unique = false;
            if (std::isnan(value))
                break;
        }
    }
    if (!unique)
        return -1;
    *best_value = least;
    return best;
}

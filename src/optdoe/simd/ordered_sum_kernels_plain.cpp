// The loops as their contract reads. For tests and benchmarks; no part of the library.
#include "optdoe/simd/ordered_sum_kernels.h"

#include <cmath>

constexpr double infinity = __builtin_inf();

/// x rounded to the grid: adding 3 limit brings the last bit of the sum to the grid's step.
static double to_grid(double x, double limit) { return (x + 3.0 * limit) - 3.0 * limit; }

static bool is_tie(double x, double limit) { return std::fabs(x - to_grid(x, limit)) == limit * 0x1p-52; }

static grid_sum sum_on_grid(std::int32_t count, const double* x, double limit)
{
    grid_sum sums{0.0, 0.0, 0.0};
    for (std::int32_t i = 0; i < count; ++i) {
        const double rounded = to_grid(x[i], limit);
        (rounded > 0.0 ? sums.above : sums.below) += rounded;
        sums.ties += !(std::fabs(x[i]) < limit) ? infinity : is_tie(x[i], limit) ? 1.0 : 0.0;
    }
    return sums;
}

static void replace_on_grid(std::int32_t stride, std::int32_t line, const double* before, const double* after,
                            const rows_on_grid& rows)
{
    for (std::int32_t r = line + 1; r < stride; ++r) {
        const double limit = rows.limit[r];
        rows.sum[r] = (rows.sum[r] - to_grid(before[r], limit)) + to_grid(after[r], limit);
        if (is_tie(before[r], limit))
            rows.ties[r] -= 1.0;
        if (is_tie(after[r], limit))
            rows.ties[r] += 1.0;
        if (!(after[r] < limit && rows.sum[r] < 4.0 * limit)) // neither the rounding nor the sum is exact
            rows.ties[r] = infinity;
    }
}

constexpr ordered_sum_kernels ordered_sum_kernels_plain{"plain", sum_on_grid, sum_on_grid, replace_on_grid};

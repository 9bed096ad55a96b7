// The kernels in vector form. NAME, LANES and KERNELS are set by the file that includes this one.

#include "optdoe/simd/lanes.h"
#include "optdoe/simd/ordered_sum_kernels.h"

#include <cstring>

namespace {

const double infinity = __builtin_inf();

inline vec all(double x) { return x - vec{}; }

/// x rounded to the grid, for |x| < limit: adding 3 limit brings the last bit of the sum to the grid's step.
inline vec to_grid(vec x, vec limit)
{
    const vec shift = 3.0 * limit;
    return (x + shift) - shift;
}

/// All bits set where x lies half way between two grid points.
inline vec_bits tie(vec x, vec rounded, vec limit) { return (vec_bits)(magnitude(x - rounded) == limit * 0x1p-52); }

/// Sums of the lanes; those of positive summands alone are equal to the total where no summand is negative.
template <bool any_sign>
struct lane_sums {
    vec total{}, above{}, largest{};
    vec_bits ties{};

    void add(vec x, vec limit)
    {
        const vec rounded = to_grid(x, limit);
        total += rounded;
        if constexpr (any_sign)
            above += rounded > 0.0 ? rounded : vec{};
        ties -= tie(x, rounded, limit);
        const vec size = any_sign ? magnitude(x) : x;
        largest = size > largest ? size : largest;
    }
};

template <bool any_sign>
grid_sum sum_of(std::int32_t count, const double* x, double limit)
{
    const vec limits = all(limit);
    lane_sums<any_sign> sums;
    std::int32_t i = 0;
    for (; i + LANES <= count; i += LANES)
        sums.add(load_as<vec>(x + i), limits);
    if (i < count) {
        double rest[LANES] = {};
        std::memcpy(rest, x + i, static_cast<std::size_t>(count - i) * sizeof(double));
        sums.add(load_as<vec>(rest), limits);
    }
    long long ties = 0;
    bool fits = true;
    for (int lane = 0; lane < LANES; ++lane) {
        ties += sums.ties[lane];
        fits = fits && sums.largest[lane] < limit;
    }
    const double total = sum_of_lanes(sums.total); // not a number when a summand is none
    const double above = any_sign ? sum_of_lanes(sums.above) : total;
    return {above, total - above, fits && total == total ? static_cast<double>(ties) : infinity};
}

grid_sum sum_on_grid(std::int32_t count, const double* x, double limit) { return sum_of<true>(count, x, limit); }

grid_sum sum_positive_on_grid(std::int32_t count, const double* x, double limit)
{
    return sum_of<false>(count, x, limit);
}

void replace_on_grid(std::int32_t stride, std::int32_t line, const double* before, const double* after,
                     const rows_on_grid& rows)
{
    std::int32_t r = line / LANES * LANES; // the first row behind the line is in this vector or begins the next
    vec_bits row{};
    for (int i = 0; i < LANES; ++i)
        row[i] = r + i;
    for (; r < stride; r += LANES, row += LANES) {
        const vec limit = load(rows.limit + r);
        const vec taken_out = load(before + r);
        const vec put_in = load(after + r);
        const vec rounded_out = to_grid(taken_out, limit);
        const vec rounded_in = to_grid(put_in, limit);
        const vec sum = (load(rows.sum + r) - rounded_out) + rounded_in;
        const vec ties = load(rows.ties + r) - (tie(taken_out, rounded_out, limit) != 0 ? all(1.0) : vec{}) +
                         (tie(put_in, rounded_in, limit) != 0 ? all(1.0) : vec{});
        const vec_bits behind = row > line;
        // Beyond the binade neither the rounding nor the sum is exact.
        const vec_bits exact = (vec_bits)(put_in < limit) & (vec_bits)(sum < 4.0 * limit);
        store(rows.sum + r, behind ? sum : load(rows.sum + r));
        store(rows.ties + r, behind ? (exact ? ties : all(infinity)) : load(rows.ties + r));
    }
}

} // namespace

constexpr ordered_sum_kernels KERNELS{NAME, sum_on_grid, sum_positive_on_grid, replace_on_grid};

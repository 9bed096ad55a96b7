// The loops as their contract reads. For tests and benchmarks; no part of the library.
#include "optdoe/criteria/phip/phip_kernels.h"

#include <algorithm>
#include <cmath>

constexpr double infinity = __builtin_inf();
constexpr double cap = 1e200;

static double power(double x, std::int32_t p) { return int_power(x, static_cast<std::uint32_t>(p)); }

static double term(double distance, std::int32_t p, double floor)
{
    const bool is_marked = std::signbit(distance);
    const double size = std::fabs(distance);
    return size < floor && !is_marked ? cap : 1.0 / power(size, p);
}

static void terms(std::int32_t p, double floor, std::int32_t stride, const double* distance, double* out)
{
    for (std::int32_t r = 0; r < stride; ++r)
        out[r] = term(distance[r], p, floor);
}

/// A distance whose part in one column changes; what is not above 0 is 0.
static double changed(distance_kind kind, double distance, double entry, double before, double after)
{
    const double change = distance_part(kind, entry - after) - distance_part(kind, entry - before);
    const double next = std::fabs(distance) + change;
    return next > 0.0 ? next : 0.0;
}

static double changed_back(distance_kind kind, double distance, double entry, double before, double after)
{
    const double change = distance_part(kind, entry - before) - distance_part(kind, entry - after);
    const double next = std::fabs(distance) - change;
    return next > 0.0 ? next : 0.0;
}

static exchange_sums exchange(distance_kind kind, std::int32_t p, double floor, std::int32_t rows,
                              std::int32_t stride, const exchange_lines& l, const exchange_results& out)
{
    exchange_sums sums{0.0, 0.0};
    for (std::int32_t r = 0; r < stride; ++r) {
        const bool own = r == l.a || r == l.b;
        const double x = l.column[r];
        out.distance_a[r] = own ? infinity : changed(kind, l.distance_a[r], x, l.entry_a, l.entry_b);
        out.distance_b[r] = own ? infinity : changed_back(kind, l.distance_b[r], x, l.entry_b, l.entry_a);
        out.old_term_a[r] = own ? 0.0 : term(l.distance_a[r], p, floor);
        out.old_term_b[r] = own ? 0.0 : term(l.distance_b[r], p, floor);
        out.term_a[r] = own ? 0.0 : term(out.distance_a[r], p, floor);
        out.term_b[r] = own ? 0.0 : term(out.distance_b[r], p, floor);
        if (r < rows && !own) {
            sums.old_sum = sums.old_sum + out.old_term_a[r] + out.old_term_b[r];
            sums.new_sum = sums.new_sum + out.term_a[r] + out.term_b[r];
        }
    }
    return sums;
}

namespace {

/// Distances of rows a and b to a third one after an exchange, in steps and larger by at most twice the doubt.
struct coarse_pair {
    double a;
    double b;
};

} // namespace

static coarse_pair coarse_distances(distance_kind kind, const coarse_lines& l, std::int32_t a, std::int32_t b,
                                    std::int32_t r)
{
    const double xa = l.entries[a];
    const double xb = l.entries[b];
    double change = 0.0;
    double constant = 0.0;
    if (kind == distance_kind::rectangular) {
        change = std::abs(l.column[r] - l.column[b]) - std::abs(l.column[r] - l.column[a]);
    } else {
        change = std::floor(std::floor((xa - xb) * l.slope_scale + 0.5) * l.column[r] * 0x1p-16);
        constant = l.scale * (xb - xa) * ((xb - l.middle) + (xa - l.middle)) + 0.5;
    }
    const auto distance = [&](std::int32_t of, std::int32_t other) {
        const double steps = l.distances[static_cast<std::int64_t>(of) * l.stride + r];
        return r == other ? 65535.0 : steps; // the pair itself keeps its distance: it is too far to count here
    };
    const double most = 65535.0;
    return {std::min(most, distance(a, b) + l.bias + change) + constant + l.doubt - l.bias,
            std::min(most, distance(b, a) + l.bias - change) - constant + l.doubt - l.bias};
}

static coarse_sum close_bound(distance_kind kind, std::int32_t p, const coarse_lines& lines, std::int32_t a,
                              std::int32_t b)
{
    double sum = 0.0;
    double least = infinity;
    const double unit = lines.unit;
    for (std::int32_t r = 0; r < lines.stride; ++r) {
        const coarse_pair steps = coarse_distances(kind, lines, a, b, r);
        sum += 1.0 / power(steps.a * unit, p) + 1.0 / power(steps.b * unit, p);
        least = std::min({least, steps.a, steps.b});
    }
    return {static_cast<float>(sum), static_cast<float>(least - lines.doubt)};
}

/// The rows of each line are one group.
static void bound_exchanges(distance_kind kind, std::int32_t p, const coarse_lines& lines, std::int32_t count,
                            const std::int32_t* rows_a, const std::int32_t* rows_b, float* bound)
{
    for (std::int32_t c = 0; c < count; ++c) {
        coarse_pair least{infinity, infinity};
        for (std::int32_t r = 0; r < lines.stride; ++r) {
            const coarse_pair steps = coarse_distances(kind, lines, rows_a[c], rows_b[c], r);
            least = {std::min(least.a, steps.a), std::min(least.b, steps.b)};
        }
        const double unit = lines.unit;
        bound[c] = static_cast<float>(1.0 / power(least.a * unit, p) + 1.0 / power(least.b * unit, p));
    }
}

static double sum_after_exchange(distance_kind kind, std::int32_t p, double floor, std::int32_t stride,
                                 const exchange_lines& l)
{
    double sum = 0.0;
    for (std::int32_t r = 0; r < stride; ++r) {
        if (r == l.a || r == l.b)
            continue;
        sum += term(changed(kind, l.distance_a[r], l.column[r], l.entry_a, l.entry_b), p, floor);
        sum += term(changed_back(kind, l.distance_b[r], l.column[r], l.entry_b, l.entry_a), p, floor);
    }
    return sum;
}

static void move(distance_kind kind, std::int32_t stride, const double* column, double entry_old, double entry_new,
                 const double* distance, double* out)
{
    for (std::int32_t r = 0; r < stride; ++r)
        out[r] = changed(kind, distance[r], column[r], entry_old, entry_new);
}

static double sum(std::int32_t stride, const double* line)
{
    double total = 0.0;
    for (std::int32_t r = 0; r < stride; ++r)
        total += line[r];
    return total;
}

/// The bound grows by more than what the two additions can round.
static void replace_terms(std::int32_t stride, const double* old_terms, const double* new_terms, double* row_sum,
                          double* row_upper)
{
    for (std::int32_t r = 0; r < stride; ++r) {
        const double before = row_sum[r];
        const double doubt = row_upper[r] - before;
        row_sum[r] = (before - old_terms[r]) + new_terms[r];
        const double sizes = std::fabs(row_sum[r]) + std::fabs(before) + old_terms[r] + new_terms[r] + doubt;
        row_upper[r] = row_sum[r] + doubt + 8e-16 * sizes;
    }
}

constexpr phip_kernels phip_kernels_plain{
    "plain", 0.0, terms, exchange, bound_exchanges, close_bound, sum_after_exchange, move, sum, replace_terms,
};

#include "optdoe/criteria/phip/phip_bounds.h"

#include "optdoe/criteria/phip/phip_exchange.h"
#include "optdoe/run/wrap32.h"

#include <algorithm>
#include <cmath>

constexpr double infinity = __builtin_inf();
constexpr double pair_doubt = 0.5 + 0x1p-6; ///< steps of a copied distance that has not changed

/// Terms count in those of a reference distance, whose term is about the present sum, to stay within the range of
/// single precision. The scale is kept while the value stays within a tenth of what it was fitted to.
static void fit_scale(phip_state& s)
{
    phip_bound_scale& scale = s.bound_scale;
    constexpr double tenth = 0.1;
    if (std::fabs(s.value - scale.value) <= tenth * scale.value && scale.steps == s.coarse.scale)
        return;
    const double root = 1.0 / s.value;
    const double reference = s.distances.kind == distance_kind::euclidean ? root * root : root;
    const double term = 1.0 / int_power(reference, bits_u32(s.terms.p));
    constexpr double upwards = 1.0 + 0x1p-20;
    const double unit = upwards / (s.coarse.scale * reference);
    const double error = bound_error(s.distances.rows);
    const bool usable = unit < 1e25 && term > 1e-280 && term < 1e190;
    scale = {s.value, s.coarse.scale, usable ? static_cast<float>(unit) : 0.0f, term * (1.0 - error),
             term * (1.0 + error)};
}

bool prepare_bounds(phip_state& s, bounded_candidates& k)
{
    const coarse_copies& c = s.coarse;
    if (!(s.term_sum > 1e-280 && s.term_sum < 1e190) || !coarse_is_usable(c))
        return false;
    fit_scale(s);
    const coarse_column& column = c.column[k.column];
    k.slack_unit = (8.0 * s.distances.rows + 32.0) * 0x1p-53;
    k.far_term = column.far_term;
    k.has_equal = column.has_equal;
    k.coarse = {c.rows,
                c.stride,
                c.distances,
                c.columns + static_cast<std::ptrdiff_t>(k.column) * c.stride,
                column_line(s.distances, k.column),
                column.middle,
                c.scale,
                column.slope_scale,
                column.bias,
                c.marks,
                coarse_doubt(c),
                s.bound_scale.unit};
    return s.bound_scale.unit > 0.0f;
}

bool exchanges_equal_entries(const phip_state& s, const bounded_candidates& k, std::int32_t c)
{
    return k.has_equal && entries_are_equal(s.distances, k.column, k.rows_a[c], k.rows_b[c]);
}

/// Step 3: new terms from below, from a sum of so many at most; those too far to count are in the sum.
static inline double new_terms_from(const phip_state& s, const bounded_candidates& k, float sum, double terms)
{
    return std::max(sum * s.bound_scale.least_new - terms * k.far_term, 0.0);
}

/// Step 4.
static inline double lower_bound(const phip_state& s, const bounded_candidates& k, double new_low, double old_high)
{
    return new_low + s.term_sum - old_high - k.slack_unit * (new_low + s.term_sum + old_high);
}

std::int32_t bound_candidates(phip_state& s, const bounded_candidates& k)
{
    float* new_terms = s.candidates.new_terms;
    for (std::int32_t c = 0; c < k.count && s.coarse.change_log != nullptr; ++c) {
        coarse_catch_up(s.coarse, k.rows_a[c]);
        coarse_catch_up(s.coarse, k.rows_b[c]);
    }
    s.terms.kernels->bound_exchanges(s.distances.kind, s.terms.p, k.coarse, k.count, k.rows_a, k.rows_b, new_terms);
    const double* row_upper = s.totals.row_upper;
    double least_lower = infinity;
    double most_old = 0.0;
    std::int32_t least = -1;
    for (std::int32_t c = 0; c < k.count; ++c) {
        const double old_high = row_upper[k.rows_a[c]] + row_upper[k.rows_b[c]];
        const double lower = lower_bound(s, k, new_terms_from(s, k, new_terms[c], most_bound_terms), old_high);
        s.candidates.lower[c] = lower;
        least = lower < least_lower ? c : least;
        least_lower = lower < least_lower ? lower : least_lower;
        most_old = std::max(most_old, old_high);
    }
    for (std::int32_t c = 0; c < k.count && k.has_equal; ++c)
        if (exchanges_equal_entries(s, k, c))
            s.candidates.lower[c] = s.term_sum;
    return most_old <= 4.0 * s.term_sum ? least : -1;
}

/// The term of a distance of so many steps.
static double term_at(const phip_state& s, double steps)
{
    return 1.0 / int_power(steps / s.coarse.scale, bits_u32(s.terms.p));
}

static double gain_of_pair(const phip_state& s, const bounded_candidates& k, std::int32_t c)
{
    const double pair = coarse_line(s.coarse, k.rows_a[c])[k.rows_b[c]];
    return pair < coarse_none ? 2.0 * term_at(s, pair + pair_doubt) * (1.0 - k.slack_unit) : 0.0;
}

void add_pair_to_bound(phip_state& s, const bounded_candidates& k, std::int32_t c)
{
    s.candidates.lower[c] += gain_of_pair(s, k, c);
}

double bracket_total(phip_state& s, const bounded_candidates& k, std::int32_t c, double limit)
{
    const std::int32_t a = k.rows_a[c];
    const std::int32_t b = k.rows_b[c];
    if (exchanges_equal_entries(s, k, c))
        return s.term_sum;
    const coarse_sum sum = s.terms.kernels->close_bound(s.distances.kind, s.terms.p, k.coarse, a, b);
    const double old_high = s.totals.row_upper[a] + s.totals.row_upper[b];
    double& lower = s.candidates.lower[c];
    lower = lower_bound(s, k, new_terms_from(s, k, sum.terms, 2.0 * s.coarse.stride), old_high);
    if (lower > limit)
        return infinity;
    lower += gain_of_pair(s, k, c);

    // Step 5. Below the floor terms are at the cap, and nothing is known of them.
    const double least = sum.least - k.coarse.doubt;
    const double floor = s.terms.floor * s.coarse.scale;
    const double pair = coarse_line(s.coarse, a)[b];
    if (!(least > floor && pair - pair_doubt > floor))
        return infinity;
    const double ratio = (1.0 + 0x1p-18) * (sum.least + k.coarse.doubt) / least;
    // Some terms may have left the range of single precision, and some rows are too far to count.
    const double uncounted = 2.0 * s.distances.rows * 0x1p-124;
    const double new_high = (sum.terms + uncounted) * s.bound_scale.most_new * int_power(ratio, bits_u32(s.terms.p)) +
                            2.0 * s.distances.rows * k.far_term;
    const double old = s.totals.row_total[a] + s.totals.row_total[b];
    const double old_low = old - (old_high - old) - 2.0 * term_at(s, pair - pair_doubt);
    return new_high + s.term_sum - old_low + k.slack_unit * (new_high + s.term_sum + old_high);
}

void bound_closely(phip_state& s, const bounded_candidates& k, std::int32_t c)
{
    const std::int32_t a = k.rows_a[c];
    const std::int32_t b = k.rows_b[c];
    const phip_kernels& kernels = *s.terms.kernels;
    const exchange_lines lines = lines_of(s, k.column, a, b);
    const double sum =
        kernels.sum_after_exchange(s.distances.kind, s.terms.p, s.terms.floor, s.distances.stride, lines);
    const double new_low = sum * (1.0 - kernels.estimate_error);
    const double upper = s.totals.row_upper[a] + s.totals.row_upper[b];
    const double old_high = upper - 2.0 * term_of(s.terms, lines.distance_a[b]);
    s.candidates.lower[c] = new_low + s.term_sum - old_high - k.slack_unit * (sum + s.term_sum + upper);
}

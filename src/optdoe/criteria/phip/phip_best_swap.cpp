#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/criteria/phip/phip_exchange.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cmath>
#include <utility>

// The best of several exchanges of one column, without trying all of them.
//
// The search needs the candidate that the index sort puts first, not all values. The value is a power, with an
// exponent of at least 1/100, of the candidate's total = (new + T) - old: new the terms put in, old those taken out,
// T the present sum. Let best be an upper bound of the least total so far. A candidate is dropped when
//
//     new_bound + T - old_bound - slack > best (1 + 1e-9)      with new_bound <= new and old_bound >= old.
//
// The sums that the exact trial takes have at most 2n positive terms and are off by at most 2n units in the last
// place, as are the bounds, so a slack of 8n units of all that is added up, plus the known errors of the row sums
// that old_bound is made of and of the estimates that new_bound is, keeps the inequality true for the totals as
// computed. best is exact, or an upper bound by the same sums: each new term counted as if its distance were less by
// all that the copies may be off, the old ones from below. A total that is larger by the factor 1 + 1e-9 has a value
// that is larger by about 1e-11 of itself or more, far more than the error of pow. So the value of a dropped
// candidate is strictly greater than the least one.
// Those that are left are computed exactly: a unique least value comes first in every sort. When two are equal, their
// order depends on the sort's path through all values, and nothing is told. So it is when anything leaves the ground
// of this argument: totals near cancellation, where trials are re-summed; sums near the cap; infinities; equal
// entries, when they are among those left. A bound that is not a number drops nothing. Totals near
// cancellation cannot hide among the dropped: theirs is below 1e-8 of the old terms, which are part of T, else
// nothing is told. The total of equal entries is T, since they leave the value as it is; sums of the exchange say
// nothing of it.

constexpr double surely_worse = 1.0 + 1e-9;
constexpr double least_share = 1e-7; ///< totals below this share of the present sum are near cancellation

void release_candidates(run_context* ctx, phip_candidates& candidates)
{
    aligned_free_doubles(ctx, candidates.lower);
    aligned_free_doubles(ctx, reinterpret_cast<double*>(candidates.new_terms));
    if (candidates.left != nullptr)
        vector_free(ctx, candidates.left);
    candidates = {};
}

/// Makes room for the bounds of `count` candidates.
static void reserve_candidates(run_context* ctx, phip_candidates& candidates, std::int32_t count)
{
    if (count <= candidates.capacity)
        return;
    release_candidates(ctx, candidates);
    candidates.lower = aligned_alloc_doubles(ctx, bits_u32(count));
    candidates.new_terms = reinterpret_cast<float*>(aligned_alloc_doubles(ctx, (bits_u32(count) + 1) / 2));
    candidates.left = int_vector_alloc(ctx, count + 1);
    candidates.capacity = count;
}

namespace {

/// The candidates of one call and what all their bounds share.
struct bounded_candidates {
    std::int32_t column;
    std::int32_t count;
    const std::int32_t* rows_a;
    const std::int32_t* rows_b;
    double slack_unit;
    coarse_lines coarse;
    double least_new; ///< a bound's new terms in the unit of terms, less its error
    double most_new;  ///< and more by it
    double far;       ///< an upper bound of a term that is too far to count
    bool has_equal;   ///< some entries of the column may be equal
};

} // namespace

/// The scale of the bounds: terms count in those of a reference distance, near that whose term is the present sum, to
/// stay within the range of single precision. It is kept while the sum stays near it.
static void fit_scale(phip_state& s)
{
    const phip_tables& t = s.tables;
    phip_bound_scale& scale = s.bound_scale;
    constexpr double near = 0.1;
    if (std::fabs(s.value - scale.value) <= near * scale.value && scale.steps == t.coarse.scale)
        return;
    const double root = 1.0 / s.value;
    const double reference = t.kind == distance_kind::euclidean ? root * root : root;
    const double term = 1.0 / int_power(reference, bits_u32(t.p));
    constexpr double upwards = 1.0 + 0x1p-20;
    const double unit = upwards / (t.coarse.scale * reference);
    const double error = bound_error(t.rows);
    const bool usable = unit < 1e25 && term > 1e-280 && term < 1e190;
    scale = {s.value, t.coarse.scale, static_cast<float>(unit), term * (1.0 - error), term * (1.0 + error), usable};
}

/// What the bounds of one call share.
///   returns false when there are none
static bool set_scale(phip_state& s, bounded_candidates& k)
{
    const phip_coarse& c = s.tables.coarse;
    if (!coarse_is_usable(c))
        return false;
    fit_scale(s);
    const coarse_column& column = c.column[k.column];
    k.least_new = s.bound_scale.least_new;
    k.most_new = s.bound_scale.most_new;
    k.far = column.far_term;
    k.has_equal = column.has_equal;
    k.coarse = {c.rows,
                c.stride,
                c.distances,
                c.columns + static_cast<std::ptrdiff_t>(k.column) * c.stride,
                column_line(s.tables, k.column),
                column.middle,
                c.scale,
                column.slope_scale,
                column.bias,
                c.marks,
                coarse_doubt(c),
                s.bound_scale.unit};
    return s.bound_scale.usable;
}

/// True when a candidate exchanges equal entries.
static bool is_equal(const phip_state& s, const bounded_candidates& k, std::int32_t c)
{
    return k.has_equal && entries_are_equal(s, k.column, k.rows_a[c], k.rows_b[c]);
}

/// New terms, from below, from a sum of so many at most. Those too far to count are in the sum, with less than k.far.
static inline double new_terms_from(const bounded_candidates& k, float sum, double terms)
{
    return std::max(sum * k.least_new - terms * k.far, 0.0);
}

/// A lower bound of the total of a candidate from some of its new terms.
static inline double lower_bound(const phip_state& s, const bounded_candidates& k, std::int32_t c, float new_terms)
{
    const phip_tables& t = s.tables;
    const std::int32_t a = k.rows_a[c];
    const std::int32_t b = k.rows_b[c];
    const double old_sum = t.row_upper[a] + t.row_upper[b];
    const double new_sum = new_terms_from(k, new_terms, most_bound_terms);
    return new_sum + s.term_sum - old_sum - k.slack_unit * (new_sum + s.term_sum + old_sum);
}

/// First pass: a lower bound of every total, from some of the new terms and from above of the old ones.
/// That of equal entries is the sum that there is.
///   returns the candidate with the least bound, -1 when no bound is a number or the present sum is not what it says
static std::int32_t bound_candidates(phip_state& s, const bounded_candidates& k)
{
    const phip_tables& t = s.tables;
    float* new_terms = s.candidates.new_terms;
    if (!t.coarse.near)
        for (std::int32_t c = 0; c < k.count; ++c) {
            coarse_take_over(s.tables.coarse, k.rows_a[c]);
            coarse_take_over(s.tables.coarse, k.rows_b[c]);
        }
    t.kernels->bound_exchanges(t.kind, t.p, k.coarse, k.count, k.rows_a, k.rows_b, new_terms);
    double least_lower = __builtin_inf();
    double most_old = 0.0;
    std::int32_t least = -1;
    for (std::int32_t c = 0; c < k.count; ++c) {
        const double lower = lower_bound(s, k, c, new_terms[c]);
        s.candidates.lower[c] = lower;
        least = lower < least_lower ? c : least;
        least_lower = lower < least_lower ? lower : least_lower;
        most_old = std::max(most_old, t.row_upper[k.rows_a[c]] + t.row_upper[k.rows_b[c]]);
    }
    if (k.has_equal)
        for (std::int32_t c = 0; c < k.count; ++c)
            if (is_equal(s, k, c))
                s.candidates.lower[c] = s.term_sum;
    if (!(most_old <= 4.0 * s.term_sum)) // both rows' terms are part of the sum
        return -1;
    return least;
}

constexpr double pair_doubt = 0.5 + 0x1p-6; ///< steps of a distance that has not changed

static double term_at(const phip_tables& t, double steps)
{
    return 1.0 / int_power(steps / t.coarse.scale, bits_u32(t.p));
}

/// What a lower bound gains by the pair's own term, which is in both rows' sums and stays.
static double gain_of_pair(const phip_tables& t, const bounded_candidates& k, std::int32_t c)
{
    const double pair = coarse_line(t.coarse, k.rows_a[c])[k.rows_b[c]];
    return pair < coarse_none ? 2.0 * term_at(t, pair + pair_doubt) * (1.0 - k.slack_unit) : 0.0;
}

/// A closer look at one candidate: its lower bound from all of its new terms, which is listed.
///   returns its upper bound, +inf when none is known or when the lower one is above the limit
static double bracket_total(phip_state& s, const bounded_candidates& k, std::int32_t c, double limit)
{
    const phip_tables& t = s.tables;
    const std::int32_t a = k.rows_a[c];
    const std::int32_t b = k.rows_b[c];
    if (is_equal(s, k, c))
        return s.term_sum;
    const coarse_sum sum = t.kernels->close_bound(t.kind, t.p, k.coarse, a, b);
    const double upper = t.row_upper[a] + t.row_upper[b];
    const double new_low = new_terms_from(k, sum.terms, 2.0 * t.coarse.stride);
    double& lower = s.candidates.lower[c];
    lower = new_low + s.term_sum - upper - k.slack_unit * (new_low + s.term_sum + upper);
    if (lower > limit)
        return __builtin_inf();

    lower += gain_of_pair(t, k, c);

    // Every distance is at least the least one, and off by the doubt at most. Below the floor terms are at the cap.
    const double least = sum.least - k.coarse.doubt;
    const double floor = t.distance_floor * t.coarse.scale;
    const double pair = coarse_line(t.coarse, a)[b];
    if (!(least > floor && pair - pair_doubt > floor))
        return __builtin_inf();
    const double ratio = (1.0 + 0x1p-18) * (sum.least + k.coarse.doubt) / least;
    // Some terms may have left the range of single precision, and some rows are too far to count.
    const double uncounted = 2.0 * t.rows * 0x1p-124;
    const double new_high =
        (sum.terms + uncounted) * k.most_new * int_power(ratio, bits_u32(t.p)) + 2.0 * t.rows * k.far;
    const double row_sums = t.row_sum[a] + t.row_sum[b];
    const double old_low = row_sums - (upper - row_sums) - 2.0 * term_at(t, pair - pair_doubt);
    return new_high + s.term_sum - old_low + k.slack_unit * (new_high + s.term_sum + upper);
}

/// The total of one candidate as its trial computes it; not a number when the trial would not stop at that: equal
/// entries, or cancellation.
static double exact_total(phip_state& s, const bounded_candidates& k, std::int32_t c)
{
    if (is_equal(s, k, c))
        return std::nan("");
    const phip_exchange& e = computed_exchange(s, k.column, k.rows_a[c], k.rows_b[c]);
    const double total = updated_sum(s, e.old_sum, e.new_sum);
    return total / e.old_sum >= phip_least_ratio ? total : std::nan("");
}

/// A closer look still: the lower bound of a candidate from its distances in double precision, which is listed.
static void bound_closely(phip_state& s, const bounded_candidates& k, std::int32_t c)
{
    const phip_tables& t = s.tables;
    const std::int32_t a = k.rows_a[c];
    const std::int32_t b = k.rows_b[c];
    const exchange_lines lines = lines_of(t, k.column, a, b);
    const double sum = t.kernels->sum_after_exchange(t.kind, t.p, t.distance_floor, t.stride, lines);
    const double new_low = sum * (1.0 - t.kernels->estimate_error);
    const double upper = t.row_upper[a] + t.row_upper[b];
    const double old_high = upper - 2.0 * term_of(t, lines.distance_a[b]);
    s.candidates.lower[c] = new_low + s.term_sum - old_high - k.slack_unit * (sum + s.term_sum + upper);
}

/// Second pass: the totals of the candidates that can still win, the one with the least bound first. The others meet
/// a closer bound before. Those that are left after it are listed in s.candidates.left.
///   returns the upper bound of the least total
static double bracket_totals(phip_state& s, const bounded_candidates& k, std::int32_t first)
{
    // Of few rows the first is most often the best, and exact totals cost little more than a closer look.
    constexpr std::int32_t few_rows = 24;
    const bool few = s.tables.rows <= few_rows;
    double* lower = s.candidates.lower;
    std::int32_t* left = s.candidates.left;
    double best = few ? exact_total(s, k, first) : bracket_total(s, k, first, __builtin_inf());
    if (few)
        lower[first] = best;
    double limit = best * surely_worse;
    left[0] = first;
    std::int32_t count = 1;
    for (std::int32_t c = 0; c < k.count; ++c) {
        left[count] = c;
        count += static_cast<std::int32_t>(!(lower[c] > limit)) & static_cast<std::int32_t>(c != first);
    }
    s.candidates.left_count = count;
    for (std::int32_t i = 1; i < count; ++i) {
        const std::int32_t c = left[i];
        if (lower[c] > limit)
            continue;
        if (is_equal(s, k, c)) {
            best = std::min(best, s.term_sum);
            limit = best * surely_worse;
            continue;
        }
        if (few) {
            lower[c] += gain_of_pair(s.tables, k, c);
            continue;
        }
        const double upper = bracket_total(s, k, c, limit);
        if (upper < best) { // the likely winner comes first
            best = upper;
            std::swap(left[0], left[i]);
        }
        limit = best * surely_worse;
    }
    return best;
}

constexpr double most_doubt = 1e-7; ///< of a row sum, as a share of the present sum
constexpr std::int32_t usual = 4;   ///< candidates that are left at most, mostly

/// For the next call: sums of the candidates' rows anew where updates have left more doubt than bounds can use.
static void sharpen_row_sums(phip_tables& t, std::int32_t count, const std::int32_t* rows, double present)
{
    if (!(present < 1e190))
        return;
    for (std::int32_t c = 0; c < count; ++c) {
        const std::int32_t r = rows[c];
        if (t.row_upper[r] - t.row_sum[r] <= most_doubt * present)
            continue;
        terms_of_line(t, line_of(t, r, t.line_a), t.old_terms);
        set_row_sum(t, r, t.old_terms);
    }
}

std::int32_t unique_best_swap_terms(run_context* ctx, std::int32_t column, std::int32_t count,
                                    const std::int32_t* rows_a, const std::int32_t* rows_b, double* best_value)
{
    phip_state& s = *ctx->phip;
    renew_sums(s.tables);
    reserve_candidates(ctx, s.candidates, count);
    s.other_exchange.computed = false;
    bounded_candidates k{column, count, rows_a, rows_b, (8.0 * s.tables.rows + 32.0) * 0x1p-53,
                         {},     0.0,   0.0,    0.0,    false};
    std::int32_t first = -1;
    if (s.term_sum > 1e-280 && s.term_sum < 1e190 && set_scale(s, k))
        first = bound_candidates(s, k);
    if (first < 0) {
        sharpen_row_sums(s.tables, count, rows_a, s.term_sum);
        sharpen_row_sums(s.tables, count, rows_b, s.term_sum);
        return -1;
    }
    const double best = bracket_totals(s, k, first);
    if (!(best >= least_share * s.term_sum && best < 1e190))
        return -1;

    // The exact totals of those that are left; those that are near the least one are compared by their values.
    std::int32_t winner = -1;
    std::int32_t tried = 0;
    bool tied = false;
    double least = best * surely_worse;
    for (std::int32_t i = 0; i < s.candidates.left_count; ++i) {
        const std::int32_t c = s.candidates.left[i];
        if (s.candidates.lower[c] > least)
            continue;
        if (winner >= 0 && !is_equal(s, k, c)) {
            bound_closely(s, k, c);
            if (s.candidates.lower[c] > least)
                continue;
        }
        tried += 1;
        if (winner >= 0)
            std::swap(s.exchange, s.other_exchange); // the winner's stays
        const double total = exact_total(s, k, c);
        if (std::isnan(total))
            return -1;
        const double value = total > least ? __builtin_inf() : value_of_sum(s, total);
        if (winner < 0 || value < *best_value) {
            winner = c;
            tied = false;
            *best_value = value;
            least = std::min(least, total * surely_worse);
        } else {
            tied = tied || value == *best_value;
            std::swap(s.exchange, s.other_exchange);
        }
    }
    if (tried > usual) {
        sharpen_row_sums(s.tables, count, rows_a, s.term_sum);
        sharpen_row_sums(s.tables, count, rows_b, s.term_sum);
    }
    if (winner < 0 || tied)
        return -1;
    return winner; // a commit that follows finds its exchange at hand
}

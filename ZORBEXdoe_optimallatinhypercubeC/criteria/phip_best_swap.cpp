#include "criteria/criterion.h"
#include "criteria/criterion_ops.h"
#include "criteria/phip_exchange.h"
#include "numeric/wrap32.h"
#include "storage/vectors.h"

#include <algorithm>
#include <cmath>

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
// computed. A total that is larger by the factor 1 + 1e-9 has a value that is larger by about 1e-11 of itself or
// more, far more than the error of pow. So the value of a dropped candidate is strictly greater than the least one.
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
    candidates.left = int_vector_alloc(ctx, count);
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
};

} // namespace

/// The scale of the bounds: terms count in those of a reference distance, near that whose term is the present sum, to
/// stay within the range of single precision.
///   returns false when they would not
static bool set_scale(const phip_state& s, bounded_candidates& k)
{
    const phip_tables& t = s.tables;
    const double root = 1.0 / s.value;
    const double reference = t.kind == distance_kind::euclidean ? root * root : root;
    const double reference_term = 1.0 / int_power(reference, bits_u32(t.p));
    constexpr double upwards = 1.0 + 0x1p-20;
    const double unit = upwards / (t.coarse.scale * reference);
    const double doubt = upwards * coarse_doubt(t.coarse) / reference;
    k.least_new = reference_term * (1.0 - bound_error(t.rows));
    k.coarse = {t.coarse.stride,          t.coarse.pitch,
                t.coarse.distances,       coarse_column_line(t.coarse, k.column),
                static_cast<float>(unit), static_cast<float>(doubt)};
    return coarse_is_usable(t.coarse) && unit < 1e30 && doubt < 1e30 && reference_term > 1e-280 &&
           reference_term < 1e190;
}

/// A lower bound of the total of a candidate from one of its new terms.
static inline double lower_bound(const phip_state& s, const bounded_candidates& k, std::int32_t c, float new_terms)
{
    const phip_tables& t = s.tables;
    const std::int32_t a = k.rows_a[c];
    const std::int32_t b = k.rows_b[c];
    const double old_sum = t.row_upper[a] + t.row_upper[b];
    const double new_sum = new_terms * k.least_new;
    return new_sum + s.term_sum - old_sum - k.slack_unit * (new_sum + s.term_sum + old_sum);
}

/// First pass: a lower bound of every total, from some of the new terms and from above of the old ones.
/// That of equal entries is the sum that there is.
///   returns the candidate with the least bound, -1 when no bound is a number or the present sum is not what it says
static std::int32_t bound_candidates(phip_state& s, const bounded_candidates& k)
{
    const phip_tables& t = s.tables;
    float* new_terms = s.candidates.new_terms;
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
    if (t.coarse.has_equal[k.column] != 0)
        for (std::int32_t c = 0; c < k.count; ++c)
            if (entries_are_equal(s, k.column, k.rows_a[c], k.rows_b[c]))
                s.candidates.lower[c] = s.term_sum;
    if (!(most_old <= 4.0 * s.term_sum)) // both rows' terms are part of the sum
        return -1;
    return least;
}

/// The total of one candidate, within slack; its lower bound becomes the one that goes with it.
///   returns its upper bound
static double bracket_total(phip_state& s, const bounded_candidates& k, std::int32_t c)
{
    const phip_tables& t = s.tables;
    const std::int32_t a = k.rows_a[c];
    const std::int32_t b = k.rows_b[c];
    if (entries_are_equal(s, k.column, a, b))
        return s.term_sum;
    const double new_sum =
        t.kernels->sum_after_exchange(t.kind, t.p, t.distance_floor, t.stride, lines_of(t, k.column, a, b));
    const double old_sum = t.row_sum[a] + t.row_sum[b] - 2.0 * term_of(t, distance_line(t, a)[b]);
    const double total = new_sum + s.term_sum - old_sum;
    const double doubt = (t.row_upper[a] - t.row_sum[a]) + (t.row_upper[b] - t.row_sum[b]);
    const double slack = k.slack_unit * (new_sum + s.term_sum + t.row_upper[a] + t.row_upper[b]) + doubt +
                         t.kernels->estimate_error * new_sum;
    s.candidates.lower[c] = total - slack;
    return total + slack;
}

/// The total of one candidate as its trial computes it; not a number when the trial would not stop at that: equal
/// entries, or cancellation.
static double exact_total(phip_state& s, const bounded_candidates& k, std::int32_t c)
{
    const std::int32_t a = k.rows_a[c];
    const std::int32_t b = k.rows_b[c];
    if (entries_are_equal(s, k.column, a, b))
        return std::nan("");
    const phip_exchange& e = computed_exchange(s, k.column, a, b);
    const double total = updated_sum(s, e.old_sum, e.new_sum);
    return total / e.old_sum >= phip_least_ratio ? total : std::nan("");
}

/// Second pass: the totals of the candidates that can still win, the one with the least bound first. The others meet
/// a closer bound before. Those that are left after it are listed in s.candidates.left.
///   returns the upper bound of the least total
static double bracket_totals(phip_state& s, const bounded_candidates& k, std::int32_t first)
{
    // Of few rows the first is most often the best, and its exact total, which is then needed anyway, costs little.
    constexpr std::int32_t few_rows = 24;
    const phip_tables& t = s.tables;
    double* lower = s.candidates.lower;
    std::int32_t* left = s.candidates.left;
    double best = t.rows <= few_rows ? lower[first] = exact_total(s, k, first) : bracket_total(s, k, first);
    double limit = best * surely_worse;
    std::int32_t count = 0;
    for (std::int32_t c = 0; c < k.count; ++c) {
        left[count] = c;
        count += !(lower[c] > limit);
    }
    s.candidates.left_count = count;
    for (std::int32_t i = 0; i < count; ++i) {
        const std::int32_t c = left[i];
        if (lower[c] > limit || c == first)
            continue;
        if (entries_are_equal(s, k.column, k.rows_a[c], k.rows_b[c])) {
            best = std::min(best, s.term_sum);
            limit = best * surely_worse;
            continue;
        }
        const float new_terms = t.kernels->close_bound(t.kind, t.p, k.coarse, k.rows_a[c], k.rows_b[c]);
        lower[c] = lower_bound(s, k, c, new_terms);
        if (lower[c] > limit)
            continue;
        best = std::min(best, bracket_total(s, k, c));
        limit = best * surely_worse;
    }
    return best;
}

constexpr double most_doubt = 1e-7; ///< of a row sum, as a share of the present sum
constexpr std::int32_t few = 4;     ///< candidates that are expected to be left

/// For the next call: sums of the candidates' rows anew where updates have left more doubt than bounds can use.
static void sharpen_row_sums(phip_tables& t, std::int32_t count, const std::int32_t* rows, double present)
{
    if (!(present < 1e190))
        return;
    for (std::int32_t c = 0; c < count; ++c) {
        const std::int32_t r = rows[c];
        if (t.row_upper[r] - t.row_sum[r] <= most_doubt * present)
            continue;
        terms_of_line(t, distance_line(t, r), t.old_terms);
        set_row_sum(t, r, t.old_terms);
    }
}

std::int32_t unique_best_swap_terms(run_context* ctx, std::int32_t column, std::int32_t count,
                                    const std::int32_t* rows_a, const std::int32_t* rows_b, double* best_value)
{
    phip_state& s = *ctx->phip;
    settle(s);
    renew_sums(s.tables);
    reserve_candidates(ctx, s.candidates, count);
    bounded_candidates k{column, count, rows_a, rows_b, (8.0 * s.tables.rows + 32.0) * 0x1p-53, {}, 0.0};
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

    // The exact values of those that are left.
    std::int32_t winner = -1;
    std::int32_t tried = 0;
    bool tied = false;
    const double limit = best * surely_worse;
    for (std::int32_t i = 0; i < s.candidates.left_count; ++i) {
        const std::int32_t c = s.candidates.left[i];
        if (s.candidates.lower[c] > limit)
            continue;
        tried += 1;
        const double total = exact_total(s, k, c);
        if (std::isnan(total))
            return -1;
        const double value = value_of_sum(s, total);
        if (winner < 0 || value < *best_value) {
            winner = c;
            tied = false;
            *best_value = value;
        } else if (value == *best_value) {
            tied = true;
        }
    }
    if (tried > few) {
        sharpen_row_sums(s.tables, count, rows_a, s.term_sum);
        sharpen_row_sums(s.tables, count, rows_b, s.term_sum);
    }
    if (winner < 0 || tied)
        return -1;
    computed_exchange(s, column, rows_a[winner], rows_b[winner]); // a commit that follows finds it at hand
    return winner;
}

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
// order depends on the sort's path through all values, and every candidate is tried. So it is when anything leaves
// the ground of this argument: totals near cancellation, where trials are re-summed; sums near the cap; infinities;
// equal entries.

constexpr double surely_worse = 1.0 + 1e-9;
constexpr double least_share = 1e-7; ///< totals below this share of the present sum are near cancellation

static std::int32_t all_by_trial(run_context* ctx, std::int32_t column, std::int32_t count,
                                 const std::int32_t* rows_a, const std::int32_t* rows_b, double* best_value)
{
    return best_swap_by_trials(ctx, try_swap_terms, column, count, rows_a, rows_b, best_value);
}

/// Makes room for the bounds of `count` candidates.
static void reserve_candidates(run_context* ctx, phip_candidates& candidates, std::int32_t count)
{
    if (count <= candidates.capacity)
        return;
    aligned_free_doubles(ctx, candidates.lower);
    candidates.lower = nullptr;
    aligned_free_doubles(ctx, reinterpret_cast<double*>(candidates.new_terms));
    candidates.new_terms = nullptr;
    candidates.capacity = 0;
    candidates.lower = aligned_alloc_doubles(ctx, bits_u32(count));
    candidates.new_terms = reinterpret_cast<float*>(aligned_alloc_doubles(ctx, (bits_u32(count) + 1) / 2));
    candidates.capacity = count;
}

constexpr double most_doubt = 1e-7; ///< of a row sum, as a share of the present sum

/// Sums of the candidates' rows anew where updates have left more doubt than the bounds can use.
static void sharpen_row_sums(phip_tables& t, std::int32_t count, const std::int32_t* rows, double present)
{
    for (std::int32_t c = 0; c < count; ++c) {
        const std::int32_t r = rows[c];
        if (t.row_error[r] <= most_doubt * present)
            continue;
        terms_of_line(t, distance_line(t, r), t.old_terms);
        t.row_sum[r] = t.kernels->sum(t.stride, t.old_terms);
        t.row_error[r] = t.row_sum[r] * 2.3e-16 * t.rows;
    }
}

/// First pass: a lower bound of every total, from some of the new terms and from above of the old ones.
///   returns the candidate with the least bound, -1 when one is beyond the argument above
static std::int32_t bound_candidates(phip_state& s, std::int32_t column, std::int32_t count,
                                     const std::int32_t* rows_a, const std::int32_t* rows_b, double slack_unit)
{
    const phip_tables& t = s.tables;
    const phip_candidates& k = s.candidates;
    const double present = s.term_sum;
    // The bounds count in terms of a reference distance, near that whose term is the present sum, to stay within the
    // range of single precision.
    const double root = 1.0 / s.value;
    const double reference = t.kind == distance_kind::euclidean ? root * root : root;
    const double reference_term = 1.0 / int_power(reference, bits_u32(t.p));
    constexpr double upwards = 1.0 + 0x1p-20;
    const double unit = upwards / (t.coarse.scale * reference);
    const double doubt = upwards * coarse_doubt(t.coarse) / reference;
    const bool in_range = unit < 1e30 && doubt < 1e30 && reference_term > 1e-280 && reference_term < 1e190;
    if (!coarse_is_usable(t.coarse) || !in_range)
        return -1;
    t.kernels->bound_exchanges(t.kind, t.p,
                               {t.coarse.stride, t.coarse.distances, coarse_column_line(t.coarse, column),
                                static_cast<float>(unit), static_cast<float>(doubt)},
                               count, rows_a, rows_b, k.new_terms);

    const double* x = column_line(t, column);
    const double least_new = reference_term * (1.0 - bound_error);
    bool within = true;
    double most_error = 0.0;
    double least_lower = __builtin_inf();
    std::int32_t least = 0;
    for (std::int32_t c = 0; c < count; ++c) {
        const std::int32_t a = rows_a[c];
        const std::int32_t b = rows_b[c];
        const double old_error = t.row_error[a] + t.row_error[b];
        const double old_sum = t.row_sum[a] + t.row_sum[b] + old_error;
        const double new_sum = k.new_terms[c] * least_new;
        const double lower = new_sum + present - old_sum - slack_unit * (new_sum + present + old_sum);
        k.lower[c] = lower;
        least = lower < least_lower ? c : least;
        least_lower = lower < least_lower ? lower : least_lower;
        most_error = old_error > most_error ? old_error : most_error;
        within = within & (old_sum <= 3.0 * present) & !equal_entries(x[a], x[b]);
    }
    if (!within || !(most_error <= 2.0 * most_doubt * present))
        return -1;
    return least;
}

/// The total of one candidate, within slack; k.lower becomes the lower bound that goes with it.
///   returns its upper bound
static double bracket_total(phip_state& s, std::int32_t column, std::int32_t c, std::int32_t a, std::int32_t b,
                            double slack_unit)
{
    const phip_tables& t = s.tables;
    const double new_sum =
        t.kernels->sum_after_exchange(t.kind, t.p, t.distance_floor, t.stride, lines_of(t, column, a, b));
    const double old_sum = t.row_sum[a] + t.row_sum[b] - 2.0 * term_of(t, distance_line(t, a)[b]);
    const double total = new_sum + s.term_sum - old_sum;
    const double slack = slack_unit * (new_sum + s.term_sum + t.row_sum[a] + t.row_sum[b]) + t.row_error[a] +
                         t.row_error[b] + t.kernels->estimate_error * new_sum;
    s.candidates.lower[c] = total - slack;
    return total + slack;
}

/// Second pass: the totals of the candidates that can still win, the one with the least bound first.
///   returns the upper bound of the least total
static double bracket_totals(phip_state& s, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                             const std::int32_t* rows_b, std::int32_t first, double slack_unit)
{
    const double* lower = s.candidates.lower;
    double best = bracket_total(s, column, first, rows_a[first], rows_b[first], slack_unit);
    for (std::int32_t c = 0; c < count; ++c)
        if (!(lower[c] > best * surely_worse) && c != first)
            best = std::min(best, bracket_total(s, column, c, rows_a[c], rows_b[c], slack_unit));
    return best;
}

std::int32_t best_swap_terms(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                             const std::int32_t* rows_b, double* best_value)
{
    phip_state& s = *ctx->phip;
    settle(s);
    reserve_candidates(ctx, s.candidates, count);
    const double slack_unit = (8.0 * s.tables.rows + 32.0) * 0x1p-53;
    std::int32_t first = -1;
    if (s.term_sum > 1e-280 && s.term_sum < 1e190)
        first = bound_candidates(s, column, count, rows_a, rows_b, slack_unit);
    if (first < 0) {
        sharpen_row_sums(s.tables, count, rows_a, s.term_sum); // for the next call
        sharpen_row_sums(s.tables, count, rows_b, s.term_sum);
        return all_by_trial(ctx, column, count, rows_a, rows_b, best_value);
    }
    const double best = bracket_totals(s, column, count, rows_a, rows_b, first, slack_unit);
    if (!(best >= least_share * s.term_sum && best < 1e190))
        return all_by_trial(ctx, column, count, rows_a, rows_b, best_value);

    // The exact values of those that are left.
    std::int32_t winner = -1;
    bool tied = false;
    for (std::int32_t c = 0; c < count; ++c) {
        if (s.candidates.lower[c] > best * surely_worse)
            continue;
        const phip_exchange& e = computed_exchange(s, column, rows_a[c], rows_b[c]);
        const double total = updated_sum(s, e.old_sum, e.new_sum);
        if (!(total / e.old_sum >= phip_least_ratio))
            return all_by_trial(ctx, column, count, rows_a, rows_b, best_value);
        const double value = value_of_sum(s, total);
        if (winner < 0 || value < *best_value) {
            winner = c;
            tied = false;
            *best_value = value;
        } else if (value == *best_value) {
            tied = true;
        }
    }
    if (winner < 0 || tied)
        return all_by_trial(ctx, column, count, rows_a, rows_b, best_value);
    computed_exchange(s, column, rows_a[winner], rows_b[winner]); // a commit that follows finds it at hand
    return winner;
}

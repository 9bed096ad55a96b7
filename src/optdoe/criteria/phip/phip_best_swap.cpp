#include "optdoe/criteria/phip/phip_best_swap.h"

#include "optdoe/criteria/phip/phip_bounds.h"
#include "optdoe/criteria/phip/phip_derived.h"
#include "optdoe/criteria/phip/phip_exchange.h"
#include "optdoe/criteria/phip/phip_sizes.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cmath>
#include <utility>

constexpr double surely_worse = 1.0 + 1e-9; ///< step 6 of the proof
constexpr double least_share = 1e-7;        ///< step 8: least totals as a share of the present sum

static void reserve_candidates(run_context* ctx, phip_candidates& candidates, std::int32_t count)
{
    if (count <= candidates.capacity)
        return;
    aligned_free_doubles(ctx, candidates.lower);
    candidates = {};
    candidates.lower = aligned_alloc_doubles(ctx, std::size_t{2} * bits_u32(count) + 1);
    candidates.new_terms = reinterpret_cast<float*>(candidates.lower + count);
    candidates.left = reinterpret_cast<std::int32_t*>(candidates.new_terms + count);
    candidates.capacity = count;
}

/// The total of one candidate as its trial computes it; not a number when the trial would not stop at that: equal
/// entries, or cancellation.
static double exact_total(phip_state& s, const bounded_candidates& k, std::int32_t c)
{
    if (exchanges_equal_entries(s, k, c))
        return std::nan("");
    const phip_exchange& e = compute_exchange(s, k.column, k.rows_a[c], k.rows_b[c]);
    const double total = updated_sum(s, e.old_sum, e.new_sum);
    return total / e.old_sum >= phip_least_ratio ? total : std::nan("");
}

/// Lists those whose lower bound is not above the limit in s.candidates.left, `first` first.
static void list_those_left(phip_candidates& candidates, std::int32_t count, std::int32_t first, double limit)
{
    std::int32_t* left = candidates.left;
    std::int32_t length = 1;
    left[0] = first;
    for (std::int32_t c = 0; c < count; ++c) {
        left[length] = c;
        length += static_cast<std::int32_t>(!(candidates.lower[c] > limit)) & static_cast<std::int32_t>(c != first);
    }
    candidates.left_count = length;
}

/// Lists the candidates that can still win, after closer bounds, the likely winner first.
///   first   the one with the least bound
///   returns an upper bound of the least total
static double narrow_down(phip_state& s, const bounded_candidates& k, std::int32_t first)
{
    const bool no_closer_bound = s.distances.rows <= few_rows;
    phip_candidates& candidates = s.candidates;
    double best = no_closer_bound ? exact_total(s, k, first) : bracket_total(s, k, first, __builtin_inf());
    if (no_closer_bound)
        candidates.lower[first] = best;
    list_those_left(candidates, k.count, first, best * surely_worse);
    for (std::int32_t i = 1; i < candidates.left_count; ++i) {
        const std::int32_t c = candidates.left[i];
        const double limit = best * surely_worse;
        if (candidates.lower[c] > limit)
            continue;
        if (exchanges_equal_entries(s, k, c)) {
            best = std::min(best, s.term_sum);
        } else if (no_closer_bound) {
            add_pair_to_bound(s, k, c);
        } else if (const double upper = bracket_total(s, k, c, limit); upper < best) {
            best = upper;
            std::swap(candidates.left[0], candidates.left[i]);
        }
    }
    return best;
}

/// The best among those that are left, by exact totals; those close to the least total are compared by their values.
struct exact_winner {
    std::int32_t candidate; ///< -1: nothing is told
    double value;
};

static exact_winner try_those_left(phip_state& s, const bounded_candidates& k, double best)
{
    exact_winner winner{-1, 0.0};
    bool tied = false;
    double limit = best * surely_worse;
    for (std::int32_t i = 0; i < s.candidates.left_count; ++i) {
        const std::int32_t c = s.candidates.left[i];
        const auto is_dropped = [&] { return s.candidates.lower[c] > limit; };
        if (is_dropped())
            continue;
        if (winner.candidate >= 0 && !exchanges_equal_entries(s, k, c)) {
            bound_closely(s, k, c);
            if (is_dropped())
                continue;
        }
        if (winner.candidate >= 0)
            std::swap(s.exchange, s.other_exchange); // the winner's lines stay
        const double total = exact_total(s, k, c);
        if (std::isnan(total))
            return {-1, 0.0};
        const double value = total > limit ? __builtin_inf() : value_of_sum(s, total);
        if (winner.candidate < 0 || value < winner.value) {
            winner = {c, value};
            tied = false;
            limit = std::min(limit, total * surely_worse);
        } else {
            tied = tied || value == winner.value;
            std::swap(s.exchange, s.other_exchange);
        }
    }
    return {tied ? -1 : winner.candidate, winner.value};
}

/// For the next call: totals of the candidates' rows anew where updates have left more doubt than bounds can use.
static void sharpen_row_totals(phip_state& s, const bounded_candidates& k)
{
    constexpr double most_doubt = 1e-7; // as a share of the present sum
    if (!(s.term_sum < 1e190))
        return;
    for (const std::int32_t* rows : {k.rows_a, k.rows_b})
        for (std::int32_t c = 0; c < k.count; ++c) {
            const std::int32_t r = rows[c];
            if (s.totals.row_upper[r] - s.totals.row_total[r] <= most_doubt * s.term_sum)
                continue;
            terms_of_line(s.terms, s.distances.stride, line_of(s.distances, r, s.distances.rows, s.line),
                          s.old_terms);
            set_row_total(s.terms, s.totals, r, s.old_terms);
        }
}

std::int32_t unique_best_exchange(run_context* ctx, phip_state& s, std::int32_t column, std::int32_t count,
                                  const std::int32_t* rows_a, const std::int32_t* rows_b, double* best_value)
{
    bring_up_to_date(s);
    reserve_candidates(ctx, s.candidates, count);
    bounded_candidates k{column, count, rows_a, rows_b, 0.0, {}, 0.0, false};
    const std::int32_t first = prepare_bounds(s, k) ? bound_candidates(s, k) : -1;
    if (first < 0) {
        sharpen_row_totals(s, k);
        return -1;
    }
    const double best = narrow_down(s, k, first);
    if (!(best >= least_share * s.term_sum && best < 1e190))
        return -1;
    const exact_winner winner = try_those_left(s, k, best);
    *best_value = winner.value;
    return winner.candidate;
}

#include "optdoe/search/column_moves.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/numeric/index_sort.h"
#include "optdoe/numeric/random_numbers.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/search/candidate_sampling.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/search_state.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cmath>
#include <utility>

constexpr std::int32_t refresh_interval = 41; ///< moves between two evaluations from scratch
constexpr double worst_objective = 1e200;     ///< a re-arrangement must be strictly below it
constexpr std::int32_t most_redraws = 20;     ///< of a re-arrangement that changes no level

static std::int32_t& row_at_rank(run_context* ctx, std::int32_t rank, std::int32_t factor)
{
    return ctx->levels->rank_order[rank][factor];
}

/// Writes the row pairs of a group exchange to the row lists; returns their number.
static std::int32_t list_group_rows(run_context* ctx, std::int32_t factor, std::int32_t a, std::int32_t b)
{
    search_state& s = *ctx->search;
    const std::int32_t rows = ctx->groups->rows_per_group[factor];
    for (std::int32_t t = 0; t < rows; ++t) {
        s.rows_a[t] = row_at_rank(ctx, a * rows + t, factor);
        s.rows_b[t] = row_at_rank(ctx, b * rows + t, factor);
    }
    return rows;
}

/// Writes the row pairs of a symmetric element exchange: the ranks and, unless they mirror each other, their mirror.
static std::int32_t list_mirrored_rows(run_context* ctx, std::int32_t factor, std::int32_t r1, std::int32_t r2)
{
    search_state& s = *ctx->search;
    const std::int32_t n = ctx->rows->n;
    s.rows_a[0] = row_at_rank(ctx, r1, factor);
    s.rows_b[0] = row_at_rank(ctx, r2, factor);
    if (r1 == n - r2 - 1)
        return 1;
    s.rows_a[1] = row_at_rank(ctx, n - 1 - r1, factor);
    s.rows_b[1] = row_at_rank(ctx, n - 1 - r2, factor);
    return 2;
}

/// Tries every candidate as a list of row pairs; returns the position of the one whose value the index sort puts
/// first.
///   list   (first, second) -> number of row pairs now in the row lists
template <class List>
static std::int32_t best_of_row_lists(run_context* ctx, std::int32_t factor, std::int32_t candidates,
                                      double* best_value, List list)
{
    search_state& s = *ctx->search;
    double* values = double_vector_alloc(ctx, candidates);
    std::int32_t* order = int_vector_alloc(ctx, candidates);
    for (std::int32_t c = 0; c < candidates; ++c) {
        const std::int32_t count = list(s.candidate_first[c], s.candidate_second[c]);
        values[c] = crit_try_swaps(ctx, factor, count, s.rows_a, s.rows_b);
    }
    indexx_double(ctx, bits_u32(candidates), values, order);
    const std::int32_t best = order[0];
    *best_value = values[best];
    vector_free(ctx, order);
    vector_free(ctx, values);
    return best;
}

double group_exchange_search(run_context* ctx, std::int32_t factor, std::int32_t count)
{
    const std::int32_t candidates = sample_group_pairs(ctx, factor, count);
    if (candidates < 1)
        return crit_value(ctx);
    search_state& s = *ctx->search;
    const auto list = [=](std::int32_t a, std::int32_t b) { return list_group_rows(ctx, factor, a, b); };
    double best_value = 0.0;
    const std::int32_t best = best_of_row_lists(ctx, factor, candidates, &best_value, list);
    const std::int32_t a = s.candidate_first[best];
    const std::int32_t b = s.candidate_second[best];
    const std::int32_t rows = list(a, b);
    for (std::int32_t t = 0; t < rows; ++t)
        swap_ranks(ctx, factor, a * rows + t, b * rows + t);
    crit_apply_swaps(ctx, factor, rows, s.rows_a, s.rows_b);
    return crit_value(ctx);
}

/// The element exchange of a symmetric design: candidates are tried and applied together with their mirror.
static double symmetric_exchange_search(run_context* ctx, std::int32_t factor, std::int32_t count,
                                        bool only_if_better)
{
    const std::int32_t candidates = sample_element_pairs(ctx, factor, count);
    if (candidates < 1)
        return crit_value(ctx);
    search_state& s = *ctx->search;
    const auto list = [=](std::int32_t r1, std::int32_t r2) { return list_mirrored_rows(ctx, factor, r1, r2); };
    double best_value = 0.0;
    const std::int32_t best = best_of_row_lists(ctx, factor, candidates, &best_value, list);
    if (only_if_better && !(crit_value(ctx) > best_value))
        return crit_value(ctx);
    const std::int32_t r1 = s.candidate_first[best];
    const std::int32_t r2 = s.candidate_second[best];
    const std::int32_t pairs = list(r1, r2);
    crit_apply_swaps(ctx, factor, pairs, s.rows_a, s.rows_b);
    swap_ranks(ctx, factor, r1, r2);
    const std::int32_t n = ctx->rows->n;
    if (pairs == 2)
        swap_ranks(ctx, factor, n - 1 - r1, n - 1 - r2);
    return crit_value(ctx);
}

namespace {

/// A candidate exchange that was chosen: ranks and, after its trial, the value.
struct chosen_exchange {
    std::int32_t first;
    std::int32_t second;
    double value;
};

} // namespace

/// Writes the rows of candidates, given as ranks, to the row lists.
static void list_candidate_rows(run_context* ctx, std::int32_t factor, std::int32_t candidates,
                                const std::int32_t* first, const std::int32_t* second)
{
    search_state& s = *ctx->search;
    for (std::int32_t c = 0; c < candidates; ++c) {
        s.rows_a[c] = row_at_rank(ctx, first[c], factor);
        s.rows_b[c] = row_at_rank(ctx, second[c], factor);
    }
}

static bool is_candidate(const search_state& s, std::int32_t candidates, const chosen_exchange& exchange)
{
    for (std::int32_t c = 0; c < candidates; ++c)
        if (s.candidate_first[c] == exchange.first && s.candidate_second[c] == exchange.second)
            return true;
    return false;
}

/// The best of the candidates in the work vectors; false when there is none.
static bool best_candidate(run_context* ctx, std::int32_t factor, std::int32_t candidates, chosen_exchange& best)
{
    if (candidates < 1)
        return false;
    const search_state& s = *ctx->search;
    list_candidate_rows(ctx, factor, candidates, s.candidate_first, s.candidate_second);
    const std::int32_t c = crit_best_swap(ctx, factor, candidates, s.rows_a, s.rows_b, &best.value);
    best.first = s.candidate_first[c];
    best.second = s.candidate_second[c];
    return true;
}

/// The best of a sample; false when it is empty. A unique best of all that may be in the sample is its best if it is
/// in the sample; the sample is decided only when that is not certain.
static bool best_exchange(run_context* ctx, std::int32_t factor, std::int32_t count, chosen_exchange& best)
{
    undecided_sample sample;
    if (!sample_undecided_pairs(ctx, factor, count, sample))
        return best_candidate(ctx, factor, sample_element_pairs(ctx, factor, count), best);
    const search_state& s = *ctx->search;
    list_candidate_rows(ctx, factor, sample.possible_count, sample.first, sample.second);
    const std::int32_t unique =
        crit_unique_best_swap(ctx, factor, sample.possible_count, s.rows_a, s.rows_b, &best.value);
    if (unique < 0)
        return best_candidate(ctx, factor, decide_sample(ctx, sample), best);
    best.first = sample.first[unique];
    best.second = sample.second[unique];
    if (sample.certain[unique] != 0)
        return true;
    const std::int32_t candidates = decide_sample(ctx, sample);
    return is_candidate(s, candidates, best) || best_candidate(ctx, factor, candidates, best);
}

double element_exchange_search(run_context* ctx, std::int32_t factor, std::int32_t count, bool only_if_better)
{
    if (ctx->search->symmetric_design != 0)
        return symmetric_exchange_search(ctx, factor, count, only_if_better);

    chosen_exchange best{};
    if (!best_exchange(ctx, factor, count, best))
        return crit_value(ctx);
    if (only_if_better && !(crit_value(ctx) > best.value))
        return crit_value(ctx);
    const std::int32_t row_a = row_at_rank(ctx, best.first, factor);
    const std::int32_t row_b = row_at_rank(ctx, best.second, factor);
    crit_apply_swaps(ctx, factor, 1, &row_a, &row_b);
    swap_ranks(ctx, factor, best.first, best.second);
    return crit_value(ctx);
}

double column_move(run_context* ctx, std::int32_t factor, double current_value)
{
    search_state& s = *ctx->search;
    s.moves_since_refresh += 1;
    double result = 0.0;
    if (ctx->groups->matched[factor] != 0) {
        result = group_exchange_search(ctx, factor, s.group_pair_candidates[factor]);
    } else {
        bool only_if_better = false;
        if (ctx->groups->group_count[factor] > 1 && rng_uniform(ctx) > 0.5)
            only_if_better = current_value > group_exchange_search(ctx, factor, s.group_pair_candidates[factor]);
        result = element_exchange_search(ctx, factor, s.element_pair_candidates[factor], only_if_better);
    }
    if (s.moves_since_refresh < refresh_interval)
        return result;
    s.moves_since_refresh = 0;
    return crit_evaluate(ctx, nullptr);
}

namespace {

/// A re-arrangement of a column: the row at rank destination[t] takes the value of the row at rank source[t].
struct rearrangement {
    std::int32_t count;
    std::int32_t* source;      ///< [n]
    std::int32_t* destination; ///< [n]
    std::int32_t* rows_src;    ///< [n] the rows at these ranks
    std::int32_t* rows_dst;    ///< [n]
    std::int32_t* work;        ///< [n]
};

} // namespace

/// An empty one in five of the lists of the search.
static rearrangement rearrangement_in(std::int32_t* const* lists)
{
    return {0, lists[0], lists[1], lists[2], lists[3], lists[4]};
}

static void list_rows(run_context* ctx, std::int32_t factor, rearrangement& r)
{
    for (std::int32_t t = 0; t < r.count; ++t) {
        r.rows_dst[t] = row_at_rank(ctx, r.destination[t], factor);
        r.rows_src[t] = row_at_rank(ctx, r.source[t], factor);
    }
}

/// Groups in random order: the rows of every group take the values of the rows of some group, offset by offset.
static void draw_group_rearrangement(run_context* ctx, std::int32_t groups, std::int32_t rows_per_group,
                                     rearrangement& r)
{
    for (std::int32_t g = 0; g < groups; ++g)
        r.work[g] = g;
    shuffle(ctx, r.work, groups);
    r.count = groups * rows_per_group;
    for (std::int32_t t = 0; t < r.count; ++t) {
        r.source[t] = t;
        r.destination[t] = r.work[t / rows_per_group] * rows_per_group + t % rows_per_group;
    }
}

/// The ranks of one random group in random order.
static void draw_element_rearrangement(run_context* ctx, std::int32_t groups, std::int32_t rows_per_group,
                                       rearrangement& r)
{
    const std::int32_t first = trunc_i32(std::floor(rng_uniform(ctx) * groups)) * rows_per_group;
    r.count = rows_per_group;
    for (std::int32_t t = 0; t < rows_per_group; ++t)
        r.source[t] = r.destination[t] = first + t;
    shuffle(ctx, r.destination, rows_per_group);
}

/// The mirrored pairs of ranks in random order, each with its two ranks exchanged at random (one draw a pair after
/// those of the shuffle); a middle rank stays. Mirrored ranks remain mirrored.
static void draw_symmetric_rearrangement(run_context* ctx, rearrangement& r)
{
    const std::int32_t n = ctx->rows->n;
    const std::int32_t half = n / 2;
    for (std::int32_t t = 0; t < half; ++t)
        r.work[t] = t;
    shuffle(ctx, r.work, half);
    r.count = 2 * half;
    for (std::int32_t t = 0; t < half; ++t) {
        const bool reversed = rng_uniform(ctx) > 0.5;
        const std::int32_t to = reversed ? n - 1 - r.work[t] : r.work[t];
        r.source[t] = t;
        r.destination[t] = to;
        r.source[half + t] = n - 1 - t;
        r.destination[half + t] = n - 1 - to;
    }
}

static bool changes_a_level(run_context* ctx, std::int32_t factor, const rearrangement& r)
{
    std::int32_t** level = ctx->levels->level_index;
    for (std::int32_t t = 0; t < r.count; ++t)
        if (level[r.source[t]][factor] != level[r.destination[t]][factor])
            return true;
    return false;
}

/// Draws and tries candidates and applies the best one; nothing when none is strictly below worst_objective, or with
/// only_if_better when none improves the objective.
///   draw   (rearrangement&) fills count, source and destination
template <class Draw>
static void apply_best_rearrangement(run_context* ctx, std::int32_t factor, std::int32_t tries, bool only_if_better,
                                     Draw draw)
{
    if (tries < 1)
        return;
    static_assert(rearrangement_lists == 10);
    rearrangement candidate = rearrangement_in(ctx->search->rearrangement_rows);
    rearrangement best = rearrangement_in(ctx->search->rearrangement_rows + 5);
    double best_value = worst_objective;
    bool found = false;
    for (std::int32_t t = 0; t < tries; ++t) {
        draw(candidate);
        list_rows(ctx, factor, candidate);
        const double value = crit_try_moves(ctx, factor, candidate.count, candidate.rows_dst, candidate.rows_src);
        if (value < best_value) {
            best_value = value;
            found = true;
            std::swap(candidate, best);
        }
    }
    if (found && !(only_if_better && !(crit_value(ctx) > best_value))) {
        crit_apply_moves(ctx, factor, best.count, best.rows_dst, best.rows_src);
        copy_rank_order_column(ctx, factor);
        for (std::int32_t t = 0; t < best.count; ++t)
            row_at_rank(ctx, best.source[t], factor) = best.rows_dst[t];
    }
}

/// Most candidates that are tried for m items: m (m - 1) (m - 2), wrapping; none for fewer than three items.
static std::int32_t rearrangements_of(std::int32_t m) { return wrap_mul(wrap_mul(m - 2, m - 1), m); }

double randomize_column(run_context* ctx, std::int32_t factor, std::int32_t group_count, std::int32_t rows_per_group,
                        std::int32_t tries)
{
    search_state& s = *ctx->search;
    if (group_count > 1)
        apply_best_rearrangement(
            ctx, factor, std::min(tries, rearrangements_of(group_count)), false,
            [=](rearrangement& r) { draw_group_rearrangement(ctx, group_count, rows_per_group, r); });

    const std::int32_t level_count = ctx->levels->level_count[factor];
    const bool matched = ctx->levels->balanced[factor] != 0 && level_count == group_count;
    if (!matched) {
        const bool levels_repeat = level_count < ctx->rows->n;
        const auto draw = [=, &s](rearrangement& r) {
            for (std::int32_t redraws = 0;; ++redraws) {
                if (s.symmetric_design != 0)
                    draw_symmetric_rearrangement(ctx, r);
                else
                    draw_element_rearrangement(ctx, group_count, rows_per_group, r);
                if (!levels_repeat || redraws == most_redraws || changes_a_level(ctx, factor, r))
                    return;
            }
        };
        const std::int32_t most = wrap_mul(rearrangements_of(rows_per_group), group_count);
        apply_best_rearrangement(ctx, factor, std::min(tries, most), group_count > 1, draw);
    }
    s.moves_since_refresh = 0;
    return crit_evaluate(ctx, nullptr);
}

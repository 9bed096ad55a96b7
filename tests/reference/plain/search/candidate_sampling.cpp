#include "optdoe/search/candidate_sampling.h"

#include "optdoe/numeric/index_sort.h"
#include "optdoe/numeric/random_numbers.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/search_state.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cmath>
#include <ranges>

namespace {

struct pair {
    std::int32_t first;
    std::int32_t second;
};

} // namespace

/// Pair number p of m items: its first item is the last one whose pairs begin at p or before.
static pair decode_pair(std::int32_t p, std::int32_t m)
{
    const auto begin_of = [m](std::int32_t a) { return wrap_mul(a, wrap_mul(2, m) - a - 1) / 2; };
    const auto items = std::views::iota(1, m);
    const auto first = *std::ranges::partition_point(items, [=](std::int32_t a) { return begin_of(a) <= p; }) - 1;
    return {first, wrap_add(first + 1, wrap_sub(p, begin_of(first)))};
}

/// Whether it is a pair of m items: numbers from a count that wrapped may be of none.
static bool is_pair(pair candidate, std::int32_t m)
{
    return candidate.second > candidate.first && candidate.second < m;
}

/// Index of a uniform draw among count.
static std::int32_t draw_below(run_context* ctx, std::int32_t count)
{
    return trunc_i32(std::floor(rng_uniform(ctx) * count));
}

/// Appends a candidate; false when the work vectors are full.
static bool add_candidate(search_state& s, std::int32_t& taken, pair candidate)
{
    if (taken >= s.max_candidates)
        return false;
    s.candidate_first[taken] = candidate.first;
    s.candidate_second[taken] = candidate.second;
    ++taken;
    return true;
}

/// Marks all but one of several equal draws: along the sorted order, those equal to their predecessor.
///   repeated   out   [count], all zero before
static void mark_repeats(run_context* ctx, std::int32_t count, const std::int32_t* draws, std::uint8_t* repeated)
{
    std::int32_t* order = int_vector_alloc(ctx, count);
    indexx_int(ctx, bits_u32(count), draws, order);
    for (std::int32_t i = count - 1; i > 0; --i)
        if (draws[order[i]] == draws[order[i - 1]])
            repeated[order[i]] = 1;
    vector_free(ctx, order);
}

/// Draws `draw_count` numbers and offers each distinct one to `decode` in the order drawn, until `wanted` candidates
/// are taken.
///   draw     (ctx) -> number
///   decode   (number, pair&) -> whether the pair is a candidate
template <class Draw, class Decode>
static std::int32_t sample_pairs(run_context* ctx, std::int32_t draw_count, std::int32_t wanted, Draw draw,
                                 Decode decode)
{
    if (draw_count < 1)
        return 0;
    search_state& s = *ctx->search;
    std::int32_t* draws = int_vector_alloc(ctx, draw_count);
    std::uint8_t* repeated = byte_vector_alloc(ctx, draw_count);
    for (std::int32_t i = 0; i < draw_count; ++i)
        draws[i] = draw();
    mark_repeats(ctx, draw_count, draws, repeated);

    std::int32_t taken = 0;
    for (std::int32_t i = 0; i < draw_count && taken < wanted; ++i) {
        pair candidate{};
        if (repeated[i] == 0 && decode(draws[i], candidate) && !add_candidate(s, taken, candidate))
            break;
    }
    vector_free(ctx, repeated);
    vector_free(ctx, draws);
    return taken;
}

std::int32_t sample_group_pairs(run_context* ctx, std::int32_t factor, std::int32_t count)
{
    search_state& s = *ctx->search;
    const std::int32_t groups = ctx->groups->group_count[factor];
    const std::int32_t total = wrap_mul(groups, groups - 1) / 2;
    const std::int32_t wanted = std::min(total, count);
    if (wanted < 1)
        return 0;
    if (count >= total) {
        std::int32_t taken = 0;
        for (std::int32_t a = 0; a < groups; ++a)
            for (std::int32_t b = a + 1; b < groups; ++b)
                if (!add_candidate(s, taken, {a, b}))
                    return taken;
        return taken;
    }
    const auto draw = [=] { return draw_below(ctx, total); };
    const auto decode = [=](std::int32_t number, pair& candidate) {
        candidate = decode_pair(number, groups);
        return is_pair(candidate, groups);
    };
    return sample_pairs(ctx, std::max(wrap_mul(2, wanted), 50), wanted, draw, decode);
}

/// Every pair of ranks of one group with different levels; in a symmetric design none that begins in the upper half
/// of a group or ends at the middle rank.
static std::int32_t list_element_pairs(run_context* ctx, std::int32_t factor)
{
    search_state& s = *ctx->search;
    const std::int32_t rows = ctx->groups->rows_per_group[factor];
    const auto level_of = [&](std::int32_t rank) { return ctx->levels->level_index[rank][factor]; };
    const auto wanted = [&](std::int32_t r1, std::int32_t r2) {
        const bool left_out = s.symmetric_design != 0 && (r1 % rows >= rows / 2 || 2 * (r2 % rows) + 1 == rows);
        return !left_out && level_of(r1) != level_of(r2);
    };
    std::int32_t taken = 0;
    for (std::int32_t r1 = 0; r1 < ctx->rows->n; ++r1)
        for (std::int32_t r2 = r1 + 1; r2 % rows != 0; ++r2)
            if (wanted(r1, r2) && !add_candidate(s, taken, {r1, r2}))
                return taken;
    return taken;
}

/// A sample for a balanced factor: each number is one pair of rows with different levels, so that no draw is lost.
/// Within a group the pairs are numbered by pair of levels, then by row of the lower and row of the higher level.
static std::int32_t sample_balanced_pairs(run_context* ctx, std::int32_t factor, std::int32_t total,
                                          std::int32_t wanted)
{
    const std::int32_t rows = ctx->groups->rows_per_group[factor];
    const std::int32_t repeats = ctx->rows->n / ctx->levels->level_count[factor];
    const std::int32_t levels = rows / repeats;
    const std::int32_t pairs_of_group = wrap_mul(rows, rows - repeats) / 2;
    const std::int32_t pairs_of_levels = wrap_mul(repeats, repeats);
    if (pairs_of_group < 1 || pairs_of_levels < 1)
        return 0;
    const auto draw = [=] { return draw_below(ctx, total); };
    const auto decode = [=](std::int32_t number, pair& candidate) {
        const std::int32_t base = number / pairs_of_group * rows;
        const std::int32_t within = number % pairs_of_group;
        const pair level_pair = decode_pair(within / pairs_of_levels, levels);
        const std::int32_t rows_pair = within % pairs_of_levels;
        candidate = {base + level_pair.first * repeats + rows_pair / repeats,
                     base + level_pair.second * repeats + rows_pair % repeats};
        return is_pair(level_pair, levels);
    };
    return sample_pairs(ctx, std::max(wrap_mul(2, wanted), 50), wanted, draw, decode);
}

std::int32_t sample_element_pairs(run_context* ctx, std::int32_t factor, std::int32_t count)
{
    search_state& s = *ctx->search;
    const std::int32_t groups = ctx->groups->group_count[factor];
    const std::int32_t rows = ctx->groups->rows_per_group[factor];
    const std::int32_t levels = ctx->levels->level_count[factor];
    const bool balanced = ctx->levels->balanced[factor] != 0;
    const bool symmetric = s.symmetric_design != 0;

    const std::int32_t half = rows / 2;
    const std::int32_t repeats = balanced ? ctx->rows->n / levels : 1;
    const std::int32_t pairs_of_group =
        symmetric ? wrap_mul(half, wrap_mul(2, rows) - half - 1) / 2 : wrap_mul(rows, rows - repeats) / 2;
    const std::int32_t total = wrap_mul(groups, pairs_of_group);
    const std::int32_t wanted = std::min(total, count);
    if (wanted < 1 || levels < 2 || pairs_of_group < 1)
        return 0;
    if (count >= total)
        return list_element_pairs(ctx, factor);
    if (balanced)
        return sample_balanced_pairs(ctx, factor, total, wanted);

    const auto draw = [=] {
        if (groups < 2)
            return draw_below(ctx, pairs_of_group);
        const std::int32_t group = draw_below(ctx, groups);
        return wrap_add(draw_below(ctx, pairs_of_group), wrap_mul(group, pairs_of_group));
    };
    const std::int32_t middle = symmetric && rows % 2 != 0 ? half : -1;
    std::int32_t** level = ctx->levels->level_index;
    const auto decode = [=](std::int32_t number, pair& candidate) {
        const pair positions = decode_pair(number % pairs_of_group, rows);
        if (number < 0 || !is_pair(positions, rows) || positions.second == middle)
            return false;
        const std::int32_t base = number / pairs_of_group * rows;
        candidate = {base + positions.first, base + positions.second};
        return level[candidate.first][factor] != level[candidate.second][factor];
    };
    return sample_pairs(ctx, trunc_i32(2.0 * ctx->rows->n / levels * wanted), wanted, draw, decode);
}

// The plain form decides every sample at once, and has no scratch.
bool sample_undecided_pairs(run_context*, std::int32_t, std::int32_t, undecided_sample&) { return false; }
std::int32_t decide_sample(run_context*, const undecided_sample&) { return 0; }
void sampling_release(run_context*) {}

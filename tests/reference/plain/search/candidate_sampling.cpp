#include "optdoe/search/candidate_sampling.h"

#include "optdoe/numeric/index_sort.h"
#include "optdoe/numeric/random_numbers.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/search_state.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cmath>

namespace {

struct pair {
    std::int32_t first;
    std::int32_t second;
};

} // namespace

/// Number of the first pair (a, a + 1) of m items, pairs in lexicographic order.
static std::int32_t pair_offset(std::int32_t a, std::int32_t m) { return wrap_mul(a, wrap_mul(2, m) - a - 1) / 2; }

/// Pair number p of m items. For counts that wrapped the pair may be none of m items: see is_pair.
static pair decode_pair(std::int32_t p, std::int32_t m)
{
    std::int32_t lo = 0;
    std::int32_t hi = m - 1;
    while (hi - lo > 1) {
        const std::int32_t mid = (lo + hi) / 2;
        if (p > pair_offset(mid, m))
            lo = mid;
        else
            hi = mid;
    }
    const std::int32_t a = p < pair_offset(hi, m) ? lo : hi;
    return {a, wrap_add(a + 1, wrap_sub(p, pair_offset(a, m)))};
}

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

/// Every pair of ranks of one group with different levels, group by group in rank order.
static std::int32_t list_element_pairs(run_context* ctx, std::int32_t factor)
{
    search_state& s = *ctx->search;
    const std::int32_t groups = ctx->groups->group_count[factor];
    const std::int32_t rows = ctx->groups->rows_per_group[factor];
    const std::int32_t first_end = s.symmetric_design != 0 ? rows / 2 : rows;
    const std::int32_t middle = s.symmetric_design != 0 && rows % 2 != 0 ? rows / 2 : -1;
    std::int32_t** level = ctx->levels->level_index;
    std::int32_t taken = 0;
    for (std::int32_t base = 0; base < groups * rows; base += rows)
        for (std::int32_t a = 0; a < first_end; ++a)
            for (std::int32_t b = a + 1; b < rows; ++b)
                if (b != middle && level[base + a][factor] != level[base + b][factor] &&
                    !add_candidate(s, taken, {base + a, base + b}))
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

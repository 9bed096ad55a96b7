#include "optdoe/search/candidate_sampling.h"

#include "optdoe/numeric/index_sort.h"
#include "optdoe/numeric/random_numbers.h"
#include "optdoe/numeric/repeated_keys.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/pair_numbers.h"
#include "optdoe/search/search_state.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cstring>

/// Appends a candidate; false when the work vectors are full.
static bool add_candidate(search_state& s, std::int32_t& taken, std::int32_t first, std::int32_t second)
{
    if (taken >= s.max_candidates)
        return false;
    s.candidate_first[taken] = first;
    s.candidate_second[taken] = second;
    ++taken;
    return true;
}

/// Makes room for draws in the scratch of the search.
static void reserve_draws(run_context* ctx, search_state& s, std::int32_t count)
{
    if (count <= s.draw_capacity)
        return;
    release_draws(ctx);
    s.draws = int_vector_alloc(ctx, count);
    s.repeated = byte_vector_alloc(ctx, count);
    s.draw_capacity = count;
}

void release_draws(run_context* ctx)
{
    search_state& s = *ctx->search;
    if (s.draws != nullptr)
        vector_free(ctx, s.draws);
    if (s.repeated != nullptr)
        vector_free(ctx, s.repeated);
    s.draws = nullptr;
    s.repeated = nullptr;
    s.draw_capacity = 0;
}

namespace {

/// Some distinct numbers and the pairs that they stand for.
struct numbered_pairs {
    static constexpr std::int32_t capacity = 64;
    std::int32_t count;
    std::int32_t numbers[capacity];
    std::int32_t first[capacity];
    std::int32_t second[capacity];
};

} // namespace

/// Offers each distinct one of the draws, in the order drawn, until `wanted` candidates are taken.
///   decode    (numbered_pairs&) fills the pairs in
///   accepts   (first, second) -> whether the pair is a candidate
template <class Decode, class Accepts>
static std::int32_t take_pairs(run_context* ctx, std::int32_t draw_count, std::int32_t bound, std::int32_t wanted,
                               Decode decode, Accepts accepts)
{
    search_state& s = *ctx->search;
    mark_repeated_keys(ctx, s.repeated_keys, draw_count, bound, s.draws, s.repeated);
    std::int32_t taken = 0;
    std::int32_t i = 0;
    numbered_pairs some;
    while (i < draw_count && taken < wanted) {
        const std::int32_t asked = std::min(wanted - taken, numbered_pairs::capacity);
        for (some.count = 0; i < draw_count && some.count < asked; ++i) {
            some.numbers[some.count] = s.draws[i];
            some.count += s.repeated[i] == 0;
        }
        decode(some);
        for (std::int32_t c = 0; c < some.count; ++c)
            if (accepts(some.first[c], some.second[c]) && !add_candidate(s, taken, some.first[c], some.second[c]))
                return taken;
    }
    return taken;
}

/// Draws `draw_count` numbers below `bound` and takes the pairs that they stand for.
///   draw   (count, out) writes count numbers
template <class Draw, class Decode, class Accepts>
static std::int32_t sample_pairs(run_context* ctx, std::int32_t draw_count, std::int32_t bound, std::int32_t wanted,
                                 Draw draw, Decode decode, Accepts accepts)
{
    if (draw_count < 1)
        return 0;
    reserve_draws(ctx, *ctx->search, draw_count);
    draw(draw_count, ctx->search->draws);
    return take_pairs(ctx, draw_count, bound, wanted, decode, accepts);
}

std::int32_t sample_group_pairs(run_context* ctx, std::int32_t factor, std::int32_t count)
{
    search_state& s = *ctx->search;
    const std::int32_t groups = ctx->groups->group_count[factor];
    s.pairs_per_candidate = ctx->groups->rows_per_group[factor];
    const std::int32_t total = wrap_mul(groups, groups - 1) / 2;
    const std::int32_t wanted = std::min(total, count);
    if (wanted < 1)
        return 0;
    if (count >= total) {
        std::int32_t taken = 0;
        for (std::int32_t a = 0; a < groups; ++a)
            for (std::int32_t b = a + 1; b < groups; ++b)
                if (!add_candidate(s, taken, a, b))
                    return taken;
        return taken;
    }
    const auto draw = [=](std::int32_t draws, std::int32_t* out) { rng_below(ctx, total, draws, out); };
    const auto decode = [=](numbered_pairs& some) {
        pairs_of_numbers(some.count, some.numbers, groups, some.first, some.second);
    };
    const auto accepts = [=](std::int32_t a, std::int32_t b) { return is_pair(a, b, groups); };
    return sample_pairs(ctx, std::max(wrap_mul(2, wanted), 50), total, wanted, draw, decode, accepts);
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
                    !add_candidate(s, taken, base + a, base + b))
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
    const auto draw = [=](std::int32_t draws, std::int32_t* out) { rng_below(ctx, total, draws, out); };
    const auto decode = [=](numbered_pairs& some) {
        for (std::int32_t c = 0; c < some.count; ++c) {
            const std::int32_t base = some.numbers[c] / pairs_of_group * rows;
            const std::int32_t within = some.numbers[c] % pairs_of_group;
            const item_pair level_pair = pair_of_number(within / pairs_of_levels, levels);
            const std::int32_t rows_pair = within % pairs_of_levels;
            const bool found = is_pair(level_pair.first, level_pair.second, levels);
            some.first[c] = found ? base + level_pair.first * repeats + rows_pair / repeats : -1;
            some.second[c] = found ? base + level_pair.second * repeats + rows_pair % repeats : -1;
        }
    };
    const auto accepts = [](std::int32_t first, std::int32_t) { return first >= 0; };
    return sample_pairs(ctx, std::max(wrap_mul(2, wanted), 50), total, wanted, draw, decode, accepts);
}

std::int32_t sample_element_pairs(run_context* ctx, std::int32_t factor, std::int32_t count)
{
    search_state& s = *ctx->search;
    const std::int32_t groups = ctx->groups->group_count[factor];
    const std::int32_t rows = ctx->groups->rows_per_group[factor];
    const std::int32_t levels = ctx->levels->level_count[factor];
    const bool balanced = ctx->levels->balanced[factor] != 0;
    const bool symmetric = s.symmetric_design != 0;
    s.pairs_per_candidate = 1;

    const std::int32_t half = rows / 2;
    const std::int32_t repeats = balanced ? ctx->rows->n / levels : 1;
    const std::int32_t pairs_of_group =
        symmetric ? wrap_mul(half, wrap_mul(2, rows) - half - 1) / 2 : wrap_mul(rows, rows - repeats) / 2;
    const std::int32_t total = wrap_mul(groups, pairs_of_group);
    const std::int32_t wanted = std::min(total, count);
    const bool wrapped = std::int64_t{groups} * pairs_of_group != total; // numbers would be of no pair
    if (wanted < 1 || levels < 2 || pairs_of_group < 1 || wrapped)
        return 0;
    if (count >= total)
        return list_element_pairs(ctx, factor);
    if (balanced)
        return sample_balanced_pairs(ctx, factor, total, wanted);

    const auto draw = [=](std::int32_t draws, std::int32_t* out) {
        if (groups < 2)
            return rng_below(ctx, pairs_of_group, draws, out);
        for (std::int32_t i = 0; i < draws; ++i) {
            std::int32_t group = 0;
            rng_below(ctx, groups, 1, &group);
            rng_below(ctx, pairs_of_group, 1, &out[i]);
            out[i] = wrap_add(out[i], wrap_mul(group, pairs_of_group));
        }
    };
    const std::int32_t draws = trunc_i32(2.0 * ctx->rows->n / levels * wanted);
    const std::int32_t middle = symmetric && rows % 2 != 0 ? half : -1;
    std::int32_t** level = ctx->levels->level_index;
    const bool levels_differ = levels == ctx->rows->n; // all of them: no need to look
    if (groups < 2) {
        const auto decode = [=](numbered_pairs& some) {
            pairs_of_numbers(some.count, some.numbers, rows, some.first, some.second);
        };
        return sample_pairs(ctx, draws, total, wanted, draw, decode, [=](std::int32_t first, std::int32_t second) {
            return is_pair(first, second, rows) && second != middle &&
                   (levels_differ || level[first][factor] != level[second][factor]);
        });
    }
    const auto decode = [=](numbered_pairs& some) {
        for (std::int32_t c = 0; c < some.count; ++c) {
            const std::int32_t group = some.numbers[c] / pairs_of_group;
            const item_pair positions = pair_of_number(some.numbers[c] - group * pairs_of_group, rows);
            const bool found = some.numbers[c] >= 0 && is_pair(positions.first, positions.second, rows) &&
                               positions.second != middle;
            some.first[c] = found ? group * rows + positions.first : -1;
            some.second[c] = found ? group * rows + positions.second : -1;
        }
    };
    return sample_pairs(ctx, draws, total, wanted, draw, decode, [=](std::int32_t first, std::int32_t second) {
        return first >= 0 && (levels_differ || level[first][factor] != level[second][factor]);
    });
}

std::int32_t sample_possible_pairs(run_context* ctx, std::int32_t factor, std::int32_t count)
{
    search_state& s = *ctx->search;
    const std::int32_t n = ctx->rows->n;
    const bool one_group = ctx->groups->group_count[factor] < 2 && ctx->groups->rows_per_group[factor] == n;
    const bool levels_differ = ctx->levels->level_count[factor] == n && ctx->levels->balanced[factor] == 0;
    constexpr std::int32_t most_items = 128; // their pairs are fewer than most_open_keys
    static_assert(most_items * (most_items - 1) / 2 <= most_open_keys);
    if (!one_group || !levels_differ || s.symmetric_design != 0 || n > most_items)
        return 0;
    open_sample& open = s.open;
    open.items = n;
    open.bound = n * (n - 1) / 2;
    if (count < 1 || count >= open.bound || count > s.max_candidates || 2 * count > most_open_draws)
        return 0;
    open.wanted = count;
    open.draw_count = 2 * count;
    s.pairs_per_candidate = 1;
    reserve_draws(ctx, s, open.draw_count);
    rng_below(ctx, open.bound, open.draw_count, s.draws);
    std::int32_t numbers[most_open_draws];
    const std::int32_t possible =
        list_possible_keys(ctx, s.repeated_keys, open.draw_count, s.draws, open.wanted, numbers, open.sure);
    // Whole fours are decoded faster.
    const std::int32_t whole = (possible + 3) / 4 * 4;
    std::fill(numbers + possible, numbers + whole, 0);
    pairs_of_numbers(whole, numbers, n, open.first, open.second);
    return possible;
}

std::int32_t decide_sample(run_context* ctx)
{
    const open_sample& open = ctx->search->open;
    const std::int32_t items = open.items;
    const auto decode = [=](numbered_pairs& some) {
        pairs_of_numbers(some.count, some.numbers, items, some.first, some.second);
    };
    const auto accepts = [](std::int32_t, std::int32_t) { return true; };
    return take_pairs(ctx, open.draw_count, open.bound, open.wanted, decode, accepts);
}

void shuffle(run_context* ctx, std::int32_t* values, std::int32_t m)
{
    if (m < 1 || values == nullptr)
        return;
    double* keys = double_vector_alloc(ctx, m);
    std::int32_t* order = int_vector_alloc(ctx, m);
    std::int32_t* before = int_vector_alloc(ctx, m);
    for (std::int32_t i = 0; i < m; ++i)
        keys[i] = rng_uniform(ctx);
    indexx_double(ctx, bits_u32(m), keys, order);
    std::memcpy(before, values, bits_u32(m) * sizeof(std::int32_t));
    for (std::int32_t i = 0; i < m; ++i)
        values[i] = before[order[i]];
    vector_free(ctx, before);
    vector_free(ctx, order);
    vector_free(ctx, keys);
}

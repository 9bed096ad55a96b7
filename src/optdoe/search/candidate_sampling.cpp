#include "optdoe/search/candidate_sampling.h"

#include "optdoe/numeric/random_numbers.h"
#include "optdoe/numeric/repeated_keys.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/pair_numbers.h"
#include "optdoe/search/search_state.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>

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

void sampling_release(run_context* ctx)
{
    sampling_scratch& scratch = ctx->search->sampling;
    if (scratch.draws != nullptr)
        vector_free(ctx, scratch.draws);
    if (scratch.repeated != nullptr)
        vector_free(ctx, scratch.repeated);
    repeated_keys_release(ctx, scratch.repeated_keys);
    scratch = {};
}

/// Makes room for so many draws.
static void reserve_draws(run_context* ctx, std::int32_t count)
{
    sampling_scratch& scratch = ctx->search->sampling;
    if (count <= scratch.capacity)
        return;
    sampling_release(ctx);
    scratch.draws = int_vector_alloc(ctx, count);
    scratch.repeated = byte_vector_alloc(ctx, count);
    scratch.capacity = count;
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
///   draws      in    [draw_count] in 0 .. bound-1
///   repeated   out   [draw_count]
///   decode     (numbered_pairs&) writes the pairs of the numbers
///   accepts    (first, second) -> whether the pair is a candidate
///   returns the number of candidates
template <class Decode, class Accepts>
static std::int32_t take_pairs(run_context* ctx, std::int32_t draw_count, const std::int32_t* draws,
                               std::uint8_t* repeated, std::int32_t bound, std::int32_t wanted, Decode decode,
                               Accepts accepts)
{
    search_state& s = *ctx->search;
    mark_repeated_keys(ctx, s.sampling.repeated_keys, draw_count, bound, draws, repeated);
    std::int32_t taken = 0;
    std::int32_t i = 0;
    numbered_pairs some;
    while (i < draw_count && taken < wanted) {
        const std::int32_t asked = std::min(wanted - taken, numbered_pairs::capacity);
        for (some.count = 0; i < draw_count && some.count < asked; ++i) {
            some.numbers[some.count] = draws[i];
            some.count += repeated[i] == 0;
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
    reserve_draws(ctx, draw_count);
    const sampling_scratch& scratch = ctx->search->sampling;
    draw(draw_count, scratch.draws);
    return take_pairs(ctx, draw_count, scratch.draws, scratch.repeated, bound, wanted, decode, accepts);
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

namespace {

/// The element pairs of a factor that is not balanced.
struct element_pairs {
    std::int32_t factor;
    std::int32_t groups;
    std::int32_t rows;           ///< of a group
    std::int32_t pairs_of_group; ///< numbers of its pairs of ranks
    std::int32_t middle;         ///< rank that is second in no candidate; -1: there is none
    bool levels_differ;          ///< every rank has a level of its own
    std::int32_t* const* level;  ///< [rank][factor]

    bool of_two_levels(std::int32_t first, std::int32_t second) const
    {
        return levels_differ || level[first][factor] != level[second][factor];
    }
};

} // namespace

static std::int32_t sample_ranks_of_one_group(run_context* ctx, const element_pairs& pairs, std::int32_t draw_count,
                                              std::int32_t wanted)
{
    const std::int32_t total = pairs.pairs_of_group;
    const std::int32_t rows = pairs.rows;
    const auto draw = [=](std::int32_t draws, std::int32_t* out) { rng_below(ctx, total, draws, out); };
    const auto decode = [=](numbered_pairs& some) {
        pairs_of_numbers(some.count, some.numbers, rows, some.first, some.second);
    };
    return sample_pairs(ctx, draw_count, total, wanted, draw, decode, [&](std::int32_t first, std::int32_t second) {
        return is_pair(first, second, rows) && second != pairs.middle && pairs.of_two_levels(first, second);
    });
}

/// Two draws a number: the group, then the pair of its ranks.
static std::int32_t sample_ranks_of_groups(run_context* ctx, const element_pairs& pairs, std::int32_t draw_count,
                                           std::int32_t wanted)
{
    const auto draw = [&](std::int32_t draws, std::int32_t* out) {
        for (std::int32_t i = 0; i < draws; ++i) {
            std::int32_t group = 0;
            rng_below(ctx, pairs.groups, 1, &group);
            rng_below(ctx, pairs.pairs_of_group, 1, &out[i]);
            out[i] = wrap_add(out[i], wrap_mul(group, pairs.pairs_of_group));
        }
    };
    const auto decode = [&](numbered_pairs& some) {
        for (std::int32_t c = 0; c < some.count; ++c) {
            const std::int32_t group = some.numbers[c] / pairs.pairs_of_group;
            const item_pair ranks = pair_of_number(some.numbers[c] - group * pairs.pairs_of_group, pairs.rows);
            const bool found = some.numbers[c] >= 0 && is_pair(ranks.first, ranks.second, pairs.rows) &&
                               ranks.second != pairs.middle;
            some.first[c] = found ? group * pairs.rows + ranks.first : -1;
            some.second[c] = found ? group * pairs.rows + ranks.second : -1;
        }
    };
    const std::int32_t total = wrap_mul(pairs.groups, pairs.pairs_of_group);
    return sample_pairs(ctx, draw_count, total, wanted, draw, decode, [&](std::int32_t first, std::int32_t second) {
        return first >= 0 && pairs.of_two_levels(first, second);
    });
}

std::int32_t sample_element_pairs(run_context* ctx, std::int32_t factor, std::int32_t count)
{
    const std::int32_t n = ctx->rows->n;
    const std::int32_t groups = ctx->groups->group_count[factor];
    const std::int32_t rows = ctx->groups->rows_per_group[factor];
    const std::int32_t levels = ctx->levels->level_count[factor];
    const bool balanced = ctx->levels->balanced[factor] != 0;
    const bool symmetric = ctx->search->symmetric_design != 0;

    const std::int32_t half = rows / 2;
    const std::int32_t repeats = balanced ? n / levels : 1;
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

    const std::int32_t middle = symmetric && rows % 2 != 0 ? half : -1;
    const element_pairs pairs{factor, groups, rows, pairs_of_group, middle, levels == n, ctx->levels->level_index};
    const std::int32_t draw_count = trunc_i32(2.0 * n / levels * wanted);
    return groups < 2 ? sample_ranks_of_one_group(ctx, pairs, draw_count, wanted)
                      : sample_ranks_of_groups(ctx, pairs, draw_count, wanted);
}

static std::int32_t number_of_pairs(std::int32_t items) { return items * (items - 1) / 2; }

bool sample_undecided_pairs(run_context* ctx, std::int32_t factor, std::int32_t count, undecided_sample& sample)
{
    search_state& s = *ctx->search;
    const std::int32_t n = ctx->rows->n;
    const bool one_group = ctx->groups->group_count[factor] < 2 && ctx->groups->rows_per_group[factor] == n;
    const bool levels_differ = ctx->levels->level_count[factor] == n && ctx->levels->balanced[factor] == 0;
    constexpr std::int32_t most_items = 128;
    static_assert(most_items * (most_items - 1) / 2 <= undecided_key_bound);
    if (!one_group || !levels_differ || s.symmetric_design != 0 || n > most_items)
        return false;
    const std::int32_t total = number_of_pairs(n);
    if (count < 1 || count >= total || count > s.max_candidates || 2 * count > most_undecided_keys)
        return false;
    sample.items = n;
    sample.wanted = count;
    sample.draw_count = 2 * count;
    rng_below(ctx, total, sample.draw_count, sample.draws);
    std::int32_t numbers[most_undecided_keys];
    sample.possible_count = list_possible_keys(ctx, s.sampling.repeated_keys, sample.draw_count, sample.draws, count,
                                               numbers, sample.certain);
    // Whole fours are decoded faster.
    const std::int32_t whole = (sample.possible_count + 3) / 4 * 4;
    std::fill(numbers + sample.possible_count, numbers + whole, 0);
    pairs_of_numbers(whole, numbers, n, sample.first, sample.second);
    return true;
}

std::int32_t decide_sample(run_context* ctx, const undecided_sample& sample)
{
    const std::int32_t items = sample.items;
    const auto decode = [=](numbered_pairs& some) {
        pairs_of_numbers(some.count, some.numbers, items, some.first, some.second);
    };
    const auto accepts = [](std::int32_t, std::int32_t) { return true; };
    std::uint8_t repeated[most_undecided_keys];
    return take_pairs(ctx, sample.draw_count, sample.draws, repeated, number_of_pairs(items), sample.wanted, decode,
                      accepts);
}

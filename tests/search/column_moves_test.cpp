#include "optdoe/search/column_moves.h"

#include "tests/support/search_run.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/numeric/random_numbers.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/search_state.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <utility>
#include <vector>

namespace {

/// The entries of a column in ascending order.
std::vector<double> multiset_of(const double* const* design, int rows, int j)
{
    std::vector<double> values;
    for (int i = 0; i < rows; ++i)
        values.push_back(design[i][j]);
    std::sort(values.begin(), values.end());
    return values;
}

/// Every row has a mirror row: x and 1 - x in all columns (unit scale).
bool rows_mirror_each_other(const double* const* design, int n, int k)
{
    for (int i = 0; i < n; ++i) {
        bool found = false;
        for (int m = 0; m < n && !found; ++m) {
            found = true;
            for (int j = 0; j < k; ++j)
                found = found && std::fabs(design[i][j] + design[m][j] - 1.0) < 1e-9;
        }
        if (!found)
            return false;
    }
    return true;
}

/// Positions 0..m-1 in the order of m random keys, drawn as the library's own shuffle does.
std::vector<int> shuffled(run_context* ctx, int m)
{
    std::vector<std::pair<double, int>> keys;
    for (int i = 0; i < m; ++i)
        keys.emplace_back(rng_uniform(ctx), i);
    std::sort(keys.begin(), keys.end());
    std::vector<int> order;
    for (const auto& [key, i] : keys)
        order.push_back(i);
    return order;
}

/// Entries of one column by row, and the rows by rank.
struct column_state {
    column_state(run_context* ctx, int j)
    {
        const std::int32_t n = ctx->rows->n;
        table design(n, ctx->rows->k);
        crit_copy_design(ctx, design.data());
        for (int i = 0; i < n; ++i) {
            entries.push_back(design[i][j]);
            rank_order.push_back(ctx->levels->rank_order[i][j]);
        }
    }

    /// What the column becomes when the row at rank to[t] takes the entry of the row at rank t.
    column_state moved(const std::vector<int>& to) const
    {
        column_state after = *this;
        for (std::size_t t = 0; t < to.size(); ++t) {
            const std::int32_t taker = rank_order[static_cast<std::size_t>(to[t])];
            after.entries[static_cast<std::size_t>(taker)] = entries[static_cast<std::size_t>(rank_order[t])];
            after.rank_order[t] = taker;
        }
        return after;
    }

    bool operator==(const column_state&) const = default;

    std::vector<double> entries;
    std::vector<std::int32_t> rank_order;
};

std::function<void(run_settings&)> grouped(int groups)
{
    return [groups](run_settings& s) {
        s.criterion.criterion_id = 2;
        s.factor_counts[0] = groups;
    };
}

struct kind_of_run {
    const char* name;
    int n, k, repeats, fixed, groups;
    bool symmetric;
};

void PrintTo(const kind_of_run& kind, std::ostream* out) { *out << kind.name; }

} // namespace

class columnmoveskinds : public testing::TestWithParam<kind_of_run> {};

TEST_P(columnmoveskinds, thousands_of_moves_keep_ranks_and_multisets)
{
    const kind_of_run kind = GetParam();
    random_stream random{21};
    table start = kind.symmetric ? random_symmetric_levels(kind.n, kind.k, random)
                                 : random_levels(kind.n + kind.fixed, kind.k, random, kind.repeats);
    const int levels = (kind.n + kind.fixed) / kind.repeats;
    for (int i = 0; i < start.rows(); ++i)
        for (int j = 0; j < kind.k; ++j)
            start[i][j] = (start[i][j] - 1.0) / (levels - 1);
    search_run run(start, {.fixed_rows = kind.fixed}, [&](run_settings& s) {
        s.symmetric_design = kind.symmetric;
        std::fill_n(s.factor_counts, kind.k, kind.groups);
        s.criterion.criterion_id = 2; // tells designs apart that others may not
    });
    ASSERT_EQ(run->search->symmetric_design, kind.symmetric ? 1 : 0);
    run_context* ctx = run.ctx();
    double value = crit_value(ctx);
    for (int move = 0; move < 1500; ++move) {
        const int j = random.below(kind.k);
        const int what = random.below(20);
        save_rank_order_column(ctx, j);
        crit_save_column(ctx, j);
        const double moved = what == 0 ? randomize_column(ctx, j, ctx->groups->group_count[j],
                                                          ctx->groups->rows_per_group[j], 1 + random.below(3))
                                       : column_move(ctx, j, value);
        ASSERT_EQ(moved, crit_value(ctx));
        if (what < 8) {
            crit_restore_column(ctx, j);
            restore_rank_order_column(ctx, j);
            ASSERT_EQ(crit_value(ctx), value);
        }
        value = crit_value(ctx);
        if (move % 50 == 0) {
            ASSERT_TRUE(rank_order_is_in_step(ctx)) << move;
        }
        ASSERT_LT(run->search->moves_since_refresh, 41);
    }
    EXPECT_TRUE(rank_order_is_in_step(ctx));
    table end(start.rows(), kind.k);
    crit_copy_design(ctx, end.data());
    EXPECT_FALSE(end == start);
    for (int j = 0; j < kind.k; ++j)
        EXPECT_EQ(multiset_of(end.data(), end.rows(), j), multiset_of(start.data(), end.rows(), j));
    for (int i = 0; i < kind.fixed; ++i)
        for (int j = 0; j < kind.k; ++j)
            EXPECT_EQ(end[i][j], start[i][j]);
    if (kind.symmetric) {
        EXPECT_TRUE(rows_mirror_each_other(end.data(), kind.n, kind.k));
    }
}

INSTANTIATE_TEST_SUITE_P(
    columnmoves, columnmoveskinds,
    testing::Values(
        kind_of_run{"plain", 14, 3, 1, 0, 1, false}, kind_of_run{"groups", 12, 3, 1, 0, 4, false},
        kind_of_run{"matched", 12, 3, 3, 0, 4, false}, kind_of_run{"balanced", 12, 3, 2, 0, 1, false},
        kind_of_run{"balanced_groups", 24, 2, 2, 0, 3, false}, kind_of_run{"fixed_rows", 10, 3, 1, 4, 1, false},
        kind_of_run{"fixed_rows_groups", 12, 3, 1, 4, 3, false}, kind_of_run{"balanced_pairs", 12, 3, 6, 0, 1, false},
        kind_of_run{"matched_two_levels", 12, 3, 6, 0, 2, false},
        kind_of_run{"balanced_fixed_rows", 12, 3, 4, 4, 1, false}, kind_of_run{"symmetric_four", 4, 3, 1, 0, 1, true},
        kind_of_run{"symmetric_even", 12, 3, 1, 0, 1, true}, kind_of_run{"symmetric_odd", 13, 3, 1, 0, 1, true},
        kind_of_run{"two_rows", 2, 2, 1, 0, 1, false}, kind_of_run{"three_rows", 3, 2, 1, 0, 1, false}),
    [](const auto& tested) { return tested.param.name; });

TEST(columnmoves, every_41st_move_evaluates_from_scratch)
{
    random_stream random{3};
    search_run run(random_unit_design(12, 3, random));
    double value = crit_value(run.ctx());
    for (int move = 1; move <= 123; ++move) {
        value = column_move(run.ctx(), move % 3, value);
        ASSERT_EQ(run->search->moves_since_refresh, move % 41);
        if (move % 41 == 0) {
            EXPECT_EQ(value, crit_value_of(run.ctx(), nullptr));
        }
    }
}

TEST(columnmoves, an_ungrouped_factor_never_draws_for_a_group_exchange)
{
    random_stream random{3};
    search_run run(random_unit_design(6, 2, random), [](run_settings& s) { s.reduced_neighbourhoods = 0; });
    const rng_state before = *run->rng;
    column_move(run.ctx(), 0, crit_value(run.ctx()));
    EXPECT_EQ(draws_since(run.ctx(), before), 0); // all 15 candidates are listed
}

TEST(columnmoves, a_grouped_factor_draws_once_whether_to_exchange_groups)
{
    random_stream random{3};
    search_run run(random_unit_design(8, 2, random), [](run_settings& s) {
        s.reduced_neighbourhoods = 0;
        s.factor_counts[0] = 2;
    });
    const rng_state before = *run->rng;
    column_move(run.ctx(), 0, crit_value(run.ctx()));
    EXPECT_EQ(draws_since(run.ctx(), before), 1);
}

TEST(columnmoves, a_matched_factor_only_exchanges_groups)
{
    random_stream random{3};
    search_run run(random_unit_design(12, 2, random, 4), [](run_settings& s) {
        s.reduced_neighbourhoods = 0;
        std::fill_n(s.factor_counts, 2, 3);
    });
    ASSERT_EQ(run->groups->matched[0], 1);
    const rng_state before = *run->rng;
    table start(12, 2);
    crit_copy_design(run.ctx(), start.data());
    column_move(run.ctx(), 0, crit_value(run.ctx()));
    EXPECT_EQ(draws_since(run.ctx(), before), 0);
    // Two whole levels changed places.
    table end(12, 2);
    crit_copy_design(run.ctx(), end.data());
    int changed = 0;
    for (int i = 0; i < 12; ++i)
        changed += start[i][0] != end[i][0];
    EXPECT_EQ(changed, 8);
}

TEST(columnmoves, the_best_candidate_is_applied_even_when_it_is_worse)
{
    // From an optimum every exchange is worse; an unconditional search applies the least bad one.
    random_stream random{3};
    search_run run(random_unit_design(6, 3, random), [](run_settings& s) { s.reduced_neighbourhoods = 0; });
    run_context* ctx = run.ctx();
    for (int sweep = 0; sweep < 60; ++sweep)
        for (int j = 0; j < 3; ++j)
            element_exchange_search(ctx, j, 15, true);
    const double optimum = crit_evaluate(ctx, nullptr);
    for (int j = 0; j < 3; ++j)
        EXPECT_EQ(element_exchange_search(ctx, j, 15, true), optimum);

    double best = 1e300;
    const std::int32_t* const* order = ctx->levels->rank_order;
    for (int a = 0; a < 6; ++a)
        for (int b = a + 1; b < 6; ++b)
            best = std::min(best, crit_try_swap(ctx, 0, order[a][0], order[b][0]));
    EXPECT_GE(best, optimum);
    EXPECT_EQ(element_exchange_search(ctx, 0, 15, false), best);
    EXPECT_TRUE(rank_order_is_in_step(ctx));
}

TEST(columnmoves, a_group_exchange_pairs_rows_by_rank_and_swaps_their_rank_entries)
{
    random_stream random{5};
    search_run run(random_unit_design(12, 2, random), [](run_settings& s) {
        s.reduced_neighbourhoods = 0;
        std::fill_n(s.factor_counts, 2, 2);
    });
    run_context* ctx = run.ctx();
    std::vector<std::int32_t> before;
    for (int r = 0; r < 12; ++r)
        before.push_back(ctx->levels->rank_order[r][1]);
    group_exchange_search(ctx, 1, 1); // one pair of groups: it is applied
    for (int r = 0; r < 12; ++r)
        EXPECT_EQ(ctx->levels->rank_order[r][1], before[static_cast<std::size_t>((r + 6) % 12)]);
    EXPECT_TRUE(rank_order_is_in_step(ctx));
}

TEST(columnmoves, randomizing_draws_the_group_even_when_there_is_one)
{
    random_stream random{5};
    for (const int n : {3, 4, 10}) {
        search_run run(random_unit_design(n, 2, random));
        const rng_state before = *run->rng;
        const double value = randomize_column(run.ctx(), 0, 1, n, 1);
        EXPECT_EQ(draws_since(run.ctx(), before), 1 + n);
        EXPECT_EQ(value, crit_value_of(run.ctx(), nullptr));
        EXPECT_EQ(run->search->moves_since_refresh, 0);
        EXPECT_TRUE(rank_order_is_in_step(run.ctx()));
    }
}

TEST(columnmoves, two_rows_are_never_randomized)
{
    random_stream random{5};
    search_run run(random_unit_design(2, 2, random));
    const rng_state before = *run->rng;
    const double value = crit_value(run.ctx());
    run->search->moves_since_refresh = 7;
    EXPECT_EQ(randomize_column(run.ctx(), 0, 1, 2, 1), value);
    EXPECT_EQ(draws_since(run.ctx(), before), 0);
    EXPECT_EQ(run->search->moves_since_refresh, 0);
}

TEST(columnmoves, the_number_of_rearrangements_wraps_around)
{
    // (R-2)(R-1)R of one group passes 2^31 at R = 1292 and 2^32 at R = 1627: no candidates in between.
    random_stream random{5};
    for (const int n : {1291, 1292, 1626, 1627}) {
        search_run run(random_unit_design(n, 2, random));
        const rng_state before = *run->rng;
        randomize_column(run.ctx(), 0, 1, n, 1);
        EXPECT_EQ(draws_since(run.ctx(), before), n == 1291 || n == 1627 ? 1 + n : 0) << n;
    }
}

TEST(columnmoves, randomizing_follows_the_reordering_of_ranks)
{
    random_stream random{5};
    const int n = 9;
    search_run run(random_unit_design(n, 2, random));
    run_context* ctx = run.ctx();
    table start(n, 2);
    crit_copy_design(ctx, start.data());
    std::vector<std::int32_t> old_rank;
    for (int r = 0; r < n; ++r)
        old_rank.push_back(ctx->levels->rank_order[r][0]);

    test_run twin;
    *twin->rng = *ctx->rng;
    rng_uniform(twin.ctx()); // the group
    std::vector<std::pair<double, int>> keys;
    for (int r = 0; r < n; ++r)
        keys.emplace_back(rng_uniform(twin.ctx()), r);
    std::sort(keys.begin(), keys.end());

    randomize_column(ctx, 0, 1, n, 1);
    table end(n, 2);
    crit_copy_design(ctx, end.data());
    for (int t = 0; t < n; ++t) {
        const std::int32_t taker = old_rank[static_cast<std::size_t>(keys[static_cast<std::size_t>(t)].second)];
        const std::int32_t giver = old_rank[static_cast<std::size_t>(t)];
        EXPECT_EQ(end[taker][0], start[giver][0]);
        EXPECT_EQ(ctx->levels->rank_order[t][0], taker);
    }
}

TEST(columnmoves, groups_are_rearranged_in_a_random_order_of_all)
{
    random_stream random{5};
    for (const int groups : {3, 4, 6}) {
        // Matched: the groups are the levels, and nothing else is re-arranged.
        search_run run(random_unit_design(12, 2, random, 12 / groups), grouped(groups));
        ASSERT_EQ(run->groups->matched[0], 1);
        run_context* ctx = run.ctx();
        for (int trial = 0; trial < 20; ++trial) {
            const column_state before(ctx, 0);
            test_run twin;
            const rng_state at = *twin->rng = *ctx->rng;
            const std::vector<int> order = shuffled(twin.ctx(), groups);
            std::vector<int> to;
            for (int t = 0; t < 12; ++t)
                to.push_back(order[static_cast<std::size_t>(t / (12 / groups))] * (12 / groups) + t % (12 / groups));
            const double value = randomize_column(ctx, 0, groups, 12 / groups, 1);
            EXPECT_EQ(draws_since(ctx, at), groups);
            EXPECT_EQ(column_state(ctx, 0), before.moved(to)) << "better or not";
            EXPECT_EQ(value, crit_value_of(ctx, nullptr));
            EXPECT_TRUE(rank_order_is_in_step(ctx));
        }
    }
}

TEST(columnmoves, two_groups_are_not_rearranged)
{
    random_stream random{5};
    search_run run(random_unit_design(12, 2, random, 6), grouped(2));
    const column_state before(run.ctx(), 0);
    const rng_state at = *run->rng;
    randomize_column(run.ctx(), 0, 2, 6, 1);
    EXPECT_EQ(draws_since(run.ctx(), at), 0);
    EXPECT_EQ(column_state(run.ctx(), 0), before);
}

TEST(columnmoves, the_best_of_several_rearrangements_of_groups_is_applied)
{
    random_stream random{5};
    search_run run(random_unit_design(12, 2, random, 3), grouped(4));
    run_context* ctx = run.ctx();
    for (const int tries : {5, 24, 100}) {
        const int candidates = std::min(tries, 2 * 3 * 4); // (G-2)(G-1)G
        const column_state before(ctx, 0);
        test_run twin;
        const rng_state at = *twin->rng = *ctx->rng;
        double best = 1e200;
        for (int c = 0; c < candidates; ++c) {
            const std::vector<int> order = shuffled(twin.ctx(), 4);
            std::vector<std::int32_t> takers, givers;
            for (int t = 0; t < 12; ++t) {
                takers.push_back(
                    before.rank_order[static_cast<std::size_t>(order[static_cast<std::size_t>(t / 3)] * 3 + t % 3)]);
                givers.push_back(before.rank_order[static_cast<std::size_t>(t)]);
            }
            best = std::min(best, crit_try_moves(ctx, 0, 12, takers.data(), givers.data()));
        }
        EXPECT_NEAR(randomize_column(ctx, 0, 4, 3, tries), best, 1e-14);
        EXPECT_EQ(draws_since(ctx, at), 4 * candidates);
        EXPECT_TRUE(rank_order_is_in_step(ctx));
    }
}

TEST(columnmoves, elements_of_a_group_are_rearranged_only_for_the_better)
{
    random_stream random{5};
    search_run run(random_unit_design(12, 2, random), grouped(2)); // two groups: none is re-arranged as a whole
    run_context* ctx = run.ctx();
    int kept = 0;
    int changed = 0;
    for (int trial = 0; trial < 60; ++trial) {
        crit_evaluate(ctx, nullptr);
        const double value = crit_value(ctx);
        const column_state before(ctx, 0);
        test_run twin;
        const rng_state at = *twin->rng = *ctx->rng;
        const int group = static_cast<int>(rng_uniform(twin.ctx()) * 2);
        const std::vector<int> order = shuffled(twin.ctx(), 6);
        std::vector<int> to(12);
        std::iota(to.begin(), to.end(), 0);
        for (int t = 0; t < 6; ++t)
            to[static_cast<std::size_t>(group * 6 + t)] = group * 6 + order[static_cast<std::size_t>(t)];
        const double result = randomize_column(ctx, 0, 2, 6, 1);
        EXPECT_EQ(draws_since(ctx, at), 1 + 6);
        const column_state after(ctx, 0);
        if (after == before) {
            ++kept;
        } else {
            ++changed;
            EXPECT_LT(result, value);
            EXPECT_EQ(after, before.moved(to));
        }
        EXPECT_TRUE(rank_order_is_in_step(ctx));
        if (trial % 5 == 4) // somewhere else, so that there is something to improve
            randomize_column(ctx, 0, 1, 12, 1);
    }
    EXPECT_GT(kept, 5);
    EXPECT_GT(changed, 5);
}

TEST(columnmoves, a_rearrangement_without_a_change_of_level_is_drawn_again)
{
    // Two levels of two rows: a sixth of the orders changes nothing.
    random_stream random{5};
    search_run run(random_unit_design(4, 2, random, 2), grouped(1));
    run_context* ctx = run.ctx();
    int redrawn = 0;
    for (int trial = 0; trial < 100; ++trial) {
        const column_state before(ctx, 0);
        test_run twin;
        const rng_state at = *twin->rng = *ctx->rng;
        std::vector<int> order;
        int draws = 0;
        for (bool changes = false; !changes;) {
            rng_uniform(twin.ctx()); // the group
            order = shuffled(twin.ctx(), 4);
            draws += 1 + 4;
            for (int t = 0; t < 4; ++t)
                changes = changes || t / 2 != order[static_cast<std::size_t>(t)] / 2;
        }
        randomize_column(ctx, 0, 1, 4, 1);
        EXPECT_EQ(draws_since(ctx, at), draws) << trial;
        EXPECT_EQ(column_state(ctx, 0), before.moved(order)) << trial;
        EXPECT_TRUE(rank_order_is_in_step(ctx));
        redrawn += draws > 5;
    }
    EXPECT_GT(redrawn, 5);
}

TEST(columnmoves, a_rearrangement_is_drawn_again_twenty_times_at_most)
{
    // With groups of three rows no group holds two levels; the grouping need not be the factor's own.
    search_run run(table(1, {0, 0, 0, 0, 0, 0, 0.5, 0.5, 0.5, 1, 1, 1}), grouped(1));
    run_context* ctx = run.ctx();
    const rng_state at = *ctx->rng;
    const std::vector<double> before = multiset_of(crit_copy_design(ctx, nullptr), 12, 0);
    randomize_column(ctx, 0, 4, 3, 1);
    EXPECT_EQ(draws_since(ctx, at), 4 + 21 * (1 + 3));
    EXPECT_EQ(multiset_of(crit_copy_design(ctx, nullptr), 12, 0), before);
}

TEST(columnmoves, mirrored_ranks_are_rearranged_as_pairs)
{
    random_stream random{5};
    for (const int n : {3, 4, 9, 12}) {
        table start = random_symmetric_levels(n, 2, random);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < 2; ++j)
                start[i][j] = (start[i][j] - 0.5) / n;
        search_run run(start, [](run_settings& s) {
            s.criterion.criterion_id = 2;
            s.symmetric_design = 1;
        });
        ASSERT_EQ(run->search->symmetric_design, 1);
        run_context* ctx = run.ctx();
        int reversals = 0;
        for (int trial = 0; trial < 20; ++trial) {
            const column_state before(ctx, 1);
            test_run twin;
            const rng_state at = *twin->rng = *ctx->rng;
            const std::vector<int> order = shuffled(twin.ctx(), n / 2);
            std::vector<int> to(static_cast<std::size_t>(n));
            std::iota(to.begin(), to.end(), 0); // a middle rank stays
            for (int t = 0; t < n / 2; ++t) {
                const bool reversed = rng_uniform(twin.ctx()) > 0.5;
                reversals += reversed;
                const int target = order[static_cast<std::size_t>(t)];
                to[static_cast<std::size_t>(t)] = reversed ? n - 1 - target : target;
                to[static_cast<std::size_t>(n - 1 - t)] = n - 1 - to[static_cast<std::size_t>(t)];
            }
            randomize_column(ctx, 1, 1, n, 1);
            EXPECT_EQ(draws_since(ctx, at), n / 2 * 2) << n;
            EXPECT_EQ(column_state(ctx, 1), before.moved(to)) << n;
            EXPECT_TRUE(rank_order_is_in_step(ctx));
            EXPECT_TRUE(rows_mirror_each_other(crit_copy_design(ctx, nullptr), n, 2));
        }
        EXPECT_GT(reversals, 0);
    }
}

TEST(columnmoves, mirrored_ranks_are_rearranged_where_the_count_of_orders_allows_it)
{
    // (n - 2) (n - 1) n is 0 for two rows, 6 for three, and wraps below 0 from 1292 rows on.
    for (const auto& [n, draws] :
         {std::pair{2, 0}, {3, 2}, {4, 4}, {1291, 1290}, {1292, 0}, {1626, 0}, {1627, 1626}}) {
        random_stream random{5};
        search_run run(random_symmetric_levels(n, 2, random), [](run_settings& s) { s.symmetric_design = 1; });
        ASSERT_EQ(run->search->symmetric_design, 1);
        const rng_state at = *run->rng;
        randomize_column(run.ctx(), 1, 1, n, 1);
        EXPECT_EQ(draws_since(run.ctx(), at), draws) << n;
    }
}

TEST(columnmoves, a_mirrored_exchange_applies_the_best_of_all_exchanges_with_their_mirror)
{
    random_stream random{6};
    for (const int n : {6, 7}) {
        table start = random_symmetric_levels(n, 3, random);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < 3; ++j)
                start[i][j] = (start[i][j] - 0.5) / n;
        search_run run(start, [](run_settings& s) {
            s.criterion.criterion_id = 2;
            s.symmetric_design = 1;
            s.reduced_neighbourhoods = 0;
        });
        run_context* ctx = run.ctx();
        for (int move = 0; move < 12; ++move) {
            const int j = move % 3;
            crit_evaluate(ctx, nullptr);
            const double value = crit_value(ctx);
            double best = 1e300;
            for (int a = 0; a < n; ++a)
                for (int b = a + 1; b < n; ++b) {
                    if (n % 2 == 1 && (a == n / 2 || b == n / 2))
                        continue;
                    table moved(n, 3);
                    crit_copy_design(ctx, moved.data());
                    const auto row = [&](int rank) { return ctx->levels->rank_order[rank][j]; };
                    std::swap(moved[row(a)][j], moved[row(b)][j]);
                    if (a != n - 1 - b)
                        std::swap(moved[row(n - 1 - a)][j], moved[row(n - 1 - b)][j]);
                    best = std::min(best, crit_value_of(ctx, moved.data()));
                }
            const bool only_if_better = move % 2 == 0;
            const double result = element_exchange_search(ctx, j, 1000, only_if_better);
            EXPECT_NEAR(result, only_if_better && best >= value ? value : best, 1e-14) << n << ' ' << move;
            EXPECT_TRUE(rank_order_is_in_step(ctx));
        }
    }
}

TEST(columnmoves, a_group_exchange_without_candidates_draws_and_changes_nothing)
{
    random_stream random{5};
    search_run run(random_unit_design(12, 2, random));
    const rng_state generator = *run->rng;
    const double value = crit_value(run.ctx());
    EXPECT_EQ(group_exchange_search(run.ctx(), 0, 5), value); // one group only
    EXPECT_EQ(draws_since(run.ctx(), generator), 0);
    EXPECT_TRUE(rank_order_is_in_step(run.ctx()));
}

TEST(columnmoves, rearrangements_whose_objective_is_beyond_all_bounds_are_not_applied)
{
    random_stream random{5};
    table start = random_unit_design(6, 2, random);
    for (int i = 0; i < 6; ++i)
        start[i][0] *= 1e300;
    search_run run(start, [](run_settings& s) { s.criterion.criterion_id = 2; });
    randomize_column(run.ctx(), 0, 1, 6, 10);
    const double* const* working = crit_copy_design(run.ctx(), nullptr);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(working[i][0], start[i][0]);
    EXPECT_TRUE(rank_order_is_in_step(run.ctx()));
}

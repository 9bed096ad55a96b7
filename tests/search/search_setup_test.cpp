#include "optdoe/search/search_setup.h"

#include "tests/support/search_run.h"

#include "optdoe/search/level_structure.h"
#include "optdoe/search/search_state.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

namespace {

std::int32_t low_32_bits(std::int64_t x) { return static_cast<std::int32_t>(static_cast<std::uint32_t>(x)); }

/// A column 1..n, without shuffling: set-up looks at its levels only.
table ascending_levels(int n, int k)
{
    table design(n, k);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < k; ++j)
            design[i][j] = i + 1;
    return design;
}

constexpr search_run::options no_criterion{.with_criterion = false};

/// Candidate counts of an ungrouped factor of n distinct levels, with 32-bit wrap-around spelled out.
std::int32_t element_candidates(int n, std::int32_t cap)
{
    const std::int32_t pairs = low_32_bits(static_cast<std::int64_t>(n - 1) * n) / 2;
    return std::min(pairs > 20 ? low_32_bits(static_cast<std::int64_t>(pairs) + 1) / 5 : 1, cap);
}

} // namespace

TEST(searchsetup, candidates_of_ungrouped_factors)
{
    for (const int n : {2, 3, 6, 7, 8, 10, 22, 23, 24, 100, 1291, 1292, 1626, 1627}) {
        search_run run(ascending_levels(n, 2), no_criterion);
        const std::int32_t cap = std::min(50, n * (n - 1) / 2);
        EXPECT_EQ(run->search->group_pair_candidates[0], 0);
        EXPECT_EQ(run->search->element_pair_candidates[0], element_candidates(n, cap)) << n;
        EXPECT_EQ(run->search->max_candidates, element_candidates(n, cap)) << n;
        EXPECT_EQ(run->search->max_iterations, std::max(100, 2 * n * 2)) << n;
    }
}

TEST(searchsetup, pair_counts_above_46341_rows_wrap)
{
    // (n-1) n is negative at 46342 rows and 65536 at 65537 rows.
    {
        search_run run(ascending_levels(46342, 1), no_criterion);
        EXPECT_LT(run->search->element_pair_candidates[0], 1);
        EXPECT_EQ(run->search->max_candidates, 0);
        EXPECT_EQ(run->search->candidate_first, nullptr);
        EXPECT_EQ(run->search->candidate_second, nullptr);
    }
    search_run run(ascending_levels(65537, 1), no_criterion, [](run_settings& s) { s.reduced_neighbourhoods = 0; });
    EXPECT_EQ(run->search->element_pair_candidates[0], 32768);
    EXPECT_EQ(run->search->max_candidates, 32768);
    EXPECT_EQ(run->search->max_iterations, 2 * 65537);
}

TEST(searchsetup, all_candidates_without_reduction)
{
    random_stream random{1};
    search_run run(random_levels(12, 3, random), no_criterion, [](run_settings& s) {
        s.reduced_neighbourhoods = 0;
        s.factor_counts[1] = 3;
        s.exchange_pairs = 2;
    });
    EXPECT_EQ(run->search->group_pair_candidates[0], 0);
    EXPECT_EQ(run->search->element_pair_candidates[0], 66);
    EXPECT_EQ(run->search->group_pair_candidates[1], 3);
    EXPECT_EQ(run->search->element_pair_candidates[1], 18); // 3 groups of 4 rows
    EXPECT_EQ(run->search->max_candidates, 66);
}

TEST(searchsetup, grouped_factors_halve_both_neighbourhoods)
{
    random_stream random{1};
    search_run run(random_levels(24, 1, random), no_criterion, [](run_settings& s) { s.factor_counts[0] = 4; });
    EXPECT_EQ(run->search->group_pair_candidates[0], (6 + 1) / 2);
    EXPECT_EQ(run->search->element_pair_candidates[0], (60 + 1) / 2);
    search_run capped(random_levels(24, 1, random), no_criterion, [](run_settings& s) {
        s.factor_counts[0] = 4;
        s.exchange_pairs = 2;
    });
    EXPECT_EQ(capped->search->group_pair_candidates[0], 2);
    EXPECT_EQ(capped->search->element_pair_candidates[0], 2);
}

TEST(searchsetup, repeats_of_a_balanced_factor_are_no_candidates)
{
    random_stream random{1};
    search_run run(random_levels(12, 1, random, 3), no_criterion,
                   [](run_settings& s) { s.reduced_neighbourhoods = 0; });
    EXPECT_EQ(run->search->element_pair_candidates[0], (12 - 3) * 12 / 2);
    search_run matched(random_levels(12, 1, random, 3), no_criterion, [](run_settings& s) {
        s.reduced_neighbourhoods = 0;
        s.factor_counts[0] = 4;
    });
    EXPECT_EQ(matched->search->group_pair_candidates[0], 6);
    EXPECT_EQ(matched->search->element_pair_candidates[0], 0);
}

TEST(searchsetup, a_fifth_of_the_pairs_is_rounded_up_by_one_pair)
{
    // 54 pairs of different levels: a fifth of 55.
    random_stream random{1};
    search_run run(random_levels(12, 1, random, 3), no_criterion);
    EXPECT_EQ(run->search->element_pair_candidates[0], 11);
}

TEST(searchsetup, moves_a_round)
{
    // trunc(E / candidates * 2A) within 10..100.
    const auto inner_moves = [](int n, int k, const std::function<void(run_settings&)>& edit = {}) {
        return search_run(ascending_levels(n, k), no_criterion, edit)->search->inner_moves;
    };
    EXPECT_EQ(inner_moves(10, 2), std::clamp(static_cast<int>(4.0 * 45 / 9), 10, 100));
    EXPECT_EQ(inner_moves(10, 5), static_cast<int>(10.0 * 45 / 9));
    EXPECT_EQ(inner_moves(8, 3), static_cast<int>(6.0 * 28 / 5));
    EXPECT_EQ(inner_moves(2, 1), 10);
    EXPECT_EQ(inner_moves(50, 5), 100);
    EXPECT_EQ(inner_moves(10, 5, [](run_settings& s) { s.moves_per_iteration = 7; }), 7);
    EXPECT_EQ(inner_moves(10, 5, [](run_settings& s) { s.moves_per_iteration = 0; }), 50);
    EXPECT_EQ(inner_moves(10, 5, [](run_settings& s) { s.moves_per_iteration = 100000001; }), 50);
    // Half the factors are active: fewer moves a round.
    EXPECT_EQ(inner_moves(10, 4, [](run_settings& s) { s.factor_shares[0] = s.factor_shares[3] = 0.0; }), 20);
    // Groups: the larger quotient of the two neighbourhoods, before the truncation.
    EXPECT_EQ(inner_moves(24, 3, [](run_settings& s) { std::fill_n(s.factor_counts, 3, 4); }),
              std::clamp(static_cast<int>(std::max(6.0 / 3.0, 60.0 / 30.0) * 6.0), 10, 100));
}

TEST(searchsetup, moves_beyond_the_int_range_do_not_count)
{
    // One candidate stands for 1073720970 pairs: 2A times that fits an int for one active factor, not for two.
    const auto one_candidate = [](run_settings& s) { s.exchange_pairs = 1; };
    search_run one(ascending_levels(46341, 1), no_criterion, one_candidate);
    EXPECT_EQ(one->search->inner_moves, 100);
    search_run two(ascending_levels(46341, 2), no_criterion, one_candidate);
    EXPECT_EQ(two->search->inner_moves, 10);
}

TEST(searchsetup, the_iteration_budget_is_the_callers_or_grows_with_the_design)
{
    random_stream random{1};
    const auto max_iterations = [&](int budget) {
        return search_run(random_levels(60, 3, random), no_criterion,
                          [&](run_settings& s) { s.iteration_budget = budget; })
            ->search->max_iterations;
    };
    EXPECT_EQ(max_iterations(-1), 360);
    EXPECT_EQ(max_iterations(1), 1);
    EXPECT_EQ(max_iterations(100000000), 100000000);
    EXPECT_EQ(max_iterations(100000001), 360);
    EXPECT_EQ(max_iterations(0), 360);
}

TEST(searchsetup, shares_become_a_cumulative_table_that_ends_above_one)
{
    random_stream random{1};
    search_run run(random_levels(10, 5, random), no_criterion, [](run_settings& s) {
        const double shares[] = {0.2, 1e-10, 1.0, 0.0, 0.5};
        std::copy(std::begin(shares), std::end(shares), s.factor_shares);
    });
    const search_state& s = *run->search;
    const double sum = 1e-10 + 0.2 + 1.0 + 0.5;
    ASSERT_EQ(s.active_count, 3);
    EXPECT_EQ(std::vector<int>(s.active_factors, s.active_factors + 3), (std::vector<int>{0, 2, 4}));
    EXPECT_EQ(s.factor_cumulative_weight[0], 0.2 / sum);
    EXPECT_EQ(s.factor_cumulative_weight[1], 0.2 / sum + 1.0 / sum);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(s.factor_cumulative_weight[2]), 0x3FF000000006DF38u);
}

TEST(searchsetup, no_share_leaves_no_active_factor)
{
    random_stream random{1};
    search_run run(random_levels(10, 2, random), no_criterion,
                   [](run_settings& s) { std::fill_n(s.factor_shares, 2, 0.0); });
    EXPECT_EQ(run->search->active_count, 0);
    EXPECT_EQ(run->search->max_iterations, 100);
    EXPECT_EQ(run->search->inner_moves, 10);
}

TEST(searchsetup, the_generator_starts_from_the_seed_again)
{
    random_stream random{1};
    search_run run(random_levels(10, 2, random), {.with_criterion = false, .seed = 77});
    EXPECT_EQ(draws_since(run.ctx(), {0x330E, 77, 0}), 0);
}

TEST(searchsetup, settings_are_copied)
{
    random_stream random{1};
    search_run run(random_levels(10, 2, random), no_criterion, [](run_settings& s) {
        s.time_limit = 12.5;
        s.auxiliary_mode = 2;
        s.search_mode = 2;
        s.pre_improvement = 0;
        s.restart_limit = 7;
        s.tolerance_setting = 0.01;
        s.threshold_setting = 0.02;
        s.threshold_factor_setting = 0.6;
        s.symmetric_design = 1;
    });
    const search_state& s = *run->search;
    EXPECT_EQ(s.time_budget_ms, 12500.0);
    EXPECT_EQ(s.auxiliary_mode, 2);
    EXPECT_EQ(s.search_mode, 2);
    EXPECT_EQ(s.pre_improvement, 0);
    EXPECT_EQ(s.max_restarts, 7);
    EXPECT_EQ(s.tolerance_setting, 0.01);
    EXPECT_EQ(s.threshold_setting, 0.02);
    EXPECT_EQ(s.threshold_factor_setting, 0.6);
    EXPECT_EQ(s.symmetric_design, 0); // the random design is not symmetric
    EXPECT_EQ(s.factors, 2);
    EXPECT_EQ(s.rows, 10);
    EXPECT_EQ(s.total_rows, 10);
    search_run symmetric(random_symmetric_levels(10, 2, random), no_criterion,
                         [](run_settings& t) { t.symmetric_design = 1; });
    EXPECT_EQ(symmetric->search->symmetric_design, 1);
}

TEST(searchsetup, the_target_is_the_criterions)
{
    random_stream random{1};
    search_run run(random_unit_design(10, 2, random),
                   [](run_settings& s) { s.criterion.criterion_threshold = 1.25; });
    EXPECT_EQ(run->search->target_value, 1.25);
}

TEST(searchsetup, release_frees_what_setup_made)
{
    random_stream random{1};
    search_run run(random_levels(10, 2, random), no_criterion);
    level_structure_release(run.ctx());
    EXPECT_TRUE(run.completes([&] {
        search_release(run.ctx());
        search_release(run.ctx());
    }));
    EXPECT_EQ(run.live_blocks(), 3); // the three vectors of the settings
}

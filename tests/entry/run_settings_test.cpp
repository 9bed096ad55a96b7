#include "optdoe/entry/settings.h"
#include "optdoe/run/run_settings.h"

#include "tests/support/designs.h"
#include "tests/support/test_run.h"

#include "optdoe/search/level_structure.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// Settings of 3 factors and 10 samples, all unset, with the level structure that validation asks for.
class runsettings : public testing::Test {
protected:
    runsettings() : s(run.settings())
    {
        run.reset_settings(3);
        random_stream random{1};
        const table design = random_levels(10, 3, random);
        describe_levels(run.ctx(), design.data(), 10, 0, 3);
    }

    std::int32_t validate(int nsamples = 10) { return settings_validate(run.ctx(), 3, nsamples); }

    test_run run;
    run_settings& s;
};

} // namespace

TEST(runsettingsrules, an_int_outside_its_range_becomes_the_default_in_range)
{
    EXPECT_EQ(clamp_or_default_int(1, 10, 5, 1), 1);
    EXPECT_EQ(clamp_or_default_int(1, 10, 5, 10), 10);
    EXPECT_EQ(clamp_or_default_int(1, 10, 5, 0), 5);
    EXPECT_EQ(clamp_or_default_int(1, 10, 5, 11), 5);
    EXPECT_EQ(clamp_or_default_int(1, 10, 50, 0), 10);
    EXPECT_EQ(clamp_or_default_int(1, 10, -4, 11), 1);
    EXPECT_EQ(clamp_or_default_int(1, 0, 50, 1), 0);
}

TEST(runsettingsrules, bytes_follow_the_int_rule)
{
    EXPECT_EQ(clamp_or_default_byte(0, 2, 1, 255), 1);
    EXPECT_EQ(clamp_or_default_byte(0, 2, 1, -1), 1);
    EXPECT_EQ(clamp_or_default_byte(0, 2, 1, 0), 0);
    EXPECT_EQ(clamp_or_default_byte(0, 2, 7, 3), 2);
}

TEST(runsettingsrules, a_double_within_1e15_of_an_end_becomes_that_end)
{
    EXPECT_EQ(clamp_or_default_double(0.0001, 1e6, 10000.0, 1e6 + 1e-16), 1e6);
    EXPECT_EQ(clamp_or_default_double(0.0, 1.0, 0.5, -1e-15), 0.0);
    EXPECT_EQ(clamp_or_default_double(0.0, 1.0, 0.5, 1e-15), 0.0);
    EXPECT_EQ(clamp_or_default_double(0.0, 1.0, 0.5, 2e-15), 2e-15);
    EXPECT_EQ(clamp_or_default_double(0.0, 1.0, 0.5, -2e-15), 0.5);
    EXPECT_EQ(clamp_or_default_double(0.0, 1.0, 0.5, 1.0 + 2e-15), 0.5);
    EXPECT_EQ(clamp_or_default_double(0.0, 1.0, 7.0, 9.0), 1.0);
    EXPECT_EQ(clamp_or_default_double(0.0, 1.0, -7.0, 9.0), 0.0);
    EXPECT_EQ(clamp_or_default_double(0.0, 1.0, 0.5, nan), 0.5);
}

TEST_F(runsettings, reset_writes_every_unset_marker)
{
    EXPECT_EQ(s.search_mode, 0xFF);
    EXPECT_EQ(s.auxiliary_mode, 0xFF);
    EXPECT_EQ(s.scaling_mode, -1);
    EXPECT_EQ(s.symmetric_design, 0xFF);
    EXPECT_EQ(s.weighted_factor_choice, 0xFF);
    EXPECT_EQ(s.reduced_neighbourhoods, 0xFF);
    EXPECT_EQ(s.pre_improvement, 0xFF);
    EXPECT_EQ(s.iteration_budget, -1);
    EXPECT_EQ(s.moves_per_iteration, -1);
    EXPECT_EQ(s.exchange_pairs, -1);
    EXPECT_EQ(s.restart_limit, -1);
    EXPECT_EQ(s.time_limit, -1.0);
    EXPECT_EQ(s.tolerance_setting, -1.0);
    EXPECT_EQ(s.threshold_setting, -1.0);
    EXPECT_EQ(s.threshold_factor_setting, -1.0);
    EXPECT_EQ(s.criterion.criterion_id, -1);
    EXPECT_EQ(s.criterion.criterion_negate, 0xFF);
    EXPECT_EQ(s.criterion.criterion_threshold, -1e50);
    EXPECT_EQ(s.criterion.params.param_count_1, -1);
    EXPECT_EQ(s.criterion.params.param_count_2, -1);
    EXPECT_EQ(s.criterion.params.param_count_3, -1);
    EXPECT_EQ(s.criterion.params.param_list_1, nullptr);
    EXPECT_EQ(s.criterion.params.param_list_2, nullptr);
    EXPECT_EQ(s.criterion.params.param_list_3, nullptr);
    EXPECT_EQ(s.criterion.criterion_function, 0xFF);
    for (int j = 0; j < 3; ++j) {
        EXPECT_EQ(s.factor_counts[j], -1);
        EXPECT_EQ(s.factor_shares[j], -1.0);
        EXPECT_EQ(s.criterion.factor_weights[j], -1.0);
    }
}

TEST_F(runsettings, unset_settings_take_their_defaults)
{
    ASSERT_EQ(validate(), 0);
    EXPECT_EQ(s.search_mode, 0);
    EXPECT_EQ(s.auxiliary_mode, 0);
    EXPECT_EQ(s.scaling_mode, 1);
    EXPECT_EQ(s.symmetric_design, 0);
    EXPECT_EQ(s.weighted_factor_choice, 0);
    EXPECT_EQ(s.reduced_neighbourhoods, 1);
    EXPECT_EQ(s.pre_improvement, 1);
    EXPECT_EQ(s.exchange_pairs, 45);
    EXPECT_EQ(s.restart_limit, 30);
    EXPECT_EQ(s.time_limit, 10000.0);
    EXPECT_EQ(s.criterion.criterion_id, 1);
    EXPECT_EQ(s.criterion.criterion_negate, 0);
    EXPECT_EQ(s.criterion.criterion_threshold, -1e20);
    EXPECT_EQ(s.criterion.params.param_count_1, 0);
    EXPECT_EQ(s.criterion.params.param_count_2, 0);
    EXPECT_EQ(s.criterion.params.param_count_3, 0);
    for (int j = 0; j < 3; ++j) {
        EXPECT_EQ(s.factor_counts[j], 1);
        EXPECT_EQ(s.factor_shares[j], 1.0);
        EXPECT_EQ(s.criterion.factor_weights[j], 1.0);
    }
    EXPECT_TRUE(run.lines.empty());
}

TEST_F(runsettings, budgets_and_method_parameters_are_left_as_they_are)
{
    s.iteration_budget = -77;
    s.moves_per_iteration = 123;
    s.tolerance_setting = 9.0;
    s.threshold_setting = -9.0;
    s.threshold_factor_setting = 9.0;
    ASSERT_EQ(validate(), 0);
    EXPECT_EQ(s.iteration_budget, -77);
    EXPECT_EQ(s.moves_per_iteration, 123);
    EXPECT_EQ(s.tolerance_setting, 9.0);
    EXPECT_EQ(s.threshold_setting, -9.0);
    EXPECT_EQ(s.threshold_factor_setting, 9.0);
}

TEST_F(runsettings, range_ends_are_kept)
{
    s.search_mode = 2;
    s.auxiliary_mode = 2;
    s.scaling_mode = 0;
    s.restart_limit = 500000;
    s.time_limit = 0.0001;
    s.criterion.params.param_count_1 = 200;
    s.criterion.criterion_threshold = 1e20;
    s.criterion.factor_weights[0] = 1e-40;
    s.factor_counts[1] = 10;
    s.factor_shares[2] = 0.0;
    ASSERT_EQ(validate(), 0);
    EXPECT_EQ(s.search_mode, 2);
    EXPECT_EQ(s.auxiliary_mode, 2);
    EXPECT_EQ(s.scaling_mode, 0);
    EXPECT_EQ(s.restart_limit, 500000);
    EXPECT_EQ(s.time_limit, 0.0001);
    EXPECT_EQ(s.criterion.params.param_count_1, 200);
    EXPECT_EQ(s.criterion.criterion_threshold, 1e20);
    EXPECT_EQ(s.criterion.factor_weights[0], 1e-40);
    EXPECT_EQ(s.factor_counts[1], 10);
    EXPECT_EQ(s.factor_shares[2], 0.0);
}

TEST_F(runsettings, values_beyond_the_range_fall_back)
{
    s.search_mode = 3;
    s.auxiliary_mode = 3;
    s.scaling_mode = 3;
    s.symmetric_design = 2;
    s.weighted_factor_choice = 2;
    s.reduced_neighbourhoods = 2;
    s.pre_improvement = 2;
    s.exchange_pairs = 46;
    s.restart_limit = 500001;
    s.time_limit = 6e10;
    s.criterion.criterion_id = 5;
    s.criterion.criterion_negate = 2;
    s.criterion.criterion_threshold = 2e20;
    s.criterion.params.param_count_2 = 201;
    s.criterion.factor_weights[0] = 0.0; // within 1e-15 of the lower end
    s.criterion.factor_weights[1] = 1.5;
    s.factor_counts[0] = 0;
    s.factor_counts[1] = 11;
    s.factor_shares[1] = nan;
    ASSERT_EQ(validate(), 0);
    EXPECT_EQ(s.search_mode, 0);
    EXPECT_EQ(s.auxiliary_mode, 0);
    EXPECT_EQ(s.scaling_mode, 1);
    EXPECT_EQ(s.symmetric_design, 0);
    EXPECT_EQ(s.weighted_factor_choice, 0);
    EXPECT_EQ(s.reduced_neighbourhoods, 1);
    EXPECT_EQ(s.pre_improvement, 1);
    EXPECT_EQ(s.exchange_pairs, 45);
    EXPECT_EQ(s.restart_limit, 30);
    EXPECT_EQ(s.time_limit, 10000.0);
    EXPECT_EQ(s.criterion.criterion_id, 1);
    EXPECT_EQ(s.criterion.criterion_negate, 0);
    EXPECT_EQ(s.criterion.criterion_threshold, -1e20);
    EXPECT_EQ(s.criterion.params.param_count_2, 0);
    EXPECT_EQ(s.criterion.factor_weights[0], 1e-40);
    EXPECT_EQ(s.criterion.factor_weights[1], 1.0);
    EXPECT_EQ(s.factor_counts[0], 1);
    EXPECT_EQ(s.factor_counts[1], 1);
    EXPECT_EQ(s.factor_shares[0], 0.0); // of a factor without weight
    EXPECT_EQ(s.factor_shares[1], 1.0);
}

TEST_F(runsettings, the_threshold_is_negated_on_request)
{
    s.criterion.criterion_negate = 1;
    s.criterion.criterion_threshold = 2.5;
    ASSERT_EQ(validate(), 0);
    EXPECT_EQ(s.criterion.criterion_threshold, -2.5);
    // The unset marker negated lies above the range as well.
    s.criterion.criterion_threshold = -1e50;
    ASSERT_EQ(validate(), 0);
    EXPECT_EQ(s.criterion.criterion_threshold, -1e20);
}

TEST_F(runsettings, the_threshold_of_a2_is_at_least_zero_and_never_negated)
{
    s.criterion.criterion_id = 3;
    s.criterion.criterion_negate = 1;
    s.criterion.criterion_threshold = 2.5;
    ASSERT_EQ(validate(), 0);
    EXPECT_EQ(s.criterion.criterion_threshold, 2.5);
    s.criterion.criterion_threshold = -1e50;
    ASSERT_EQ(validate(), 0);
    EXPECT_EQ(s.criterion.criterion_threshold, 0.0);
}

TEST_F(runsettings, discrepancy_is_scaled_to_cell_centres_by_default)
{
    s.criterion.criterion_id = 2;
    ASSERT_EQ(validate(), 0);
    EXPECT_EQ(s.scaling_mode, 2);
}

TEST_F(runsettings, a2_needs_the_level_structure)
{
    level_structure_release(run.ctx());
    s.criterion.criterion_id = 3;
    EXPECT_EQ(validate(), -1);
    EXPECT_EQ(run.lines, std::vector<std::string>{"\nThe a2 criteria only work for balanced matrix."});
}

TEST_F(runsettings, criterion_4_needs_a_function)
{
    s.criterion.criterion_id = 4;
    EXPECT_EQ(validate(), -1);
    EXPECT_EQ(run.lines, std::vector<std::string>{"The function name of the given criterion is needed!"});
    s.criterion.criterion_function = 254;
    EXPECT_EQ(validate(), 0);
    EXPECT_EQ(s.criterion.criterion_id, 4);
    EXPECT_EQ(s.scaling_mode, 1);
}

TEST_F(runsettings, symmetric_designs_and_a2_have_one_group_a_factor)
{
    s.factor_counts[0] = 5;
    s.symmetric_design = 1;
    ASSERT_EQ(validate(), 0);
    EXPECT_EQ(s.factor_counts[0], 1);
    s.factor_counts[0] = 5;
    s.symmetric_design = 0;
    s.criterion.criterion_id = 3;
    ASSERT_EQ(validate(), 0);
    EXPECT_EQ(s.factor_counts[0], 1);
}

TEST_F(runsettings, greedy_search_moves_each_factor_once_and_looks_at_all_candidates)
{
    s.search_mode = 1;
    s.reduced_neighbourhoods = 1;
    s.moves_per_iteration = 99;
    ASSERT_EQ(validate(), 0);
    EXPECT_EQ(s.moves_per_iteration, 3);
    EXPECT_EQ(s.reduced_neighbourhoods, 0);
}

TEST_F(runsettings, annealing_takes_single_exchanges_of_drawn_factors)
{
    s.search_mode = 2;
    s.exchange_pairs = 20;
    s.weighted_factor_choice = 0;
    ASSERT_EQ(validate(), 0);
    EXPECT_EQ(s.exchange_pairs, 1);
    EXPECT_EQ(s.weighted_factor_choice, 1);
    EXPECT_EQ(s.moves_per_iteration, 9 * 3 * 10 * 5);
    // Beyond 32 bits the product wraps.
    s.search_mode = 2;
    ASSERT_EQ(validate(20000), 0);
    EXPECT_EQ(s.moves_per_iteration, static_cast<std::int32_t>(static_cast<std::uint32_t>(19999LL * 3 * 20000 * 5)));
}

TEST_F(runsettings, two_samples_leave_one_exchange_pair)
{
    s.exchange_pairs = 50;
    ASSERT_EQ(validate(2), 0);
    EXPECT_EQ(s.exchange_pairs, 1);
}

TEST_F(runsettings, many_samples_allow_the_default_of_50_pairs)
{
    ASSERT_EQ(validate(11), 0);
    EXPECT_EQ(s.exchange_pairs, 50);
    s.exchange_pairs = 55;
    ASSERT_EQ(validate(11), 0);
    EXPECT_EQ(s.exchange_pairs, 55);
}

TEST_F(runsettings, a_pair_count_beyond_32_bits_wraps_before_it_is_halved)
{
    // 65537 * 65536 = 65536 modulo 2^32; 46342 * 46341 is negative.
    s.exchange_pairs = 32769;
    ASSERT_EQ(validate(65537), 0);
    EXPECT_EQ(s.exchange_pairs, 50);
    s.exchange_pairs = 32768;
    ASSERT_EQ(validate(65537), 0);
    EXPECT_EQ(s.exchange_pairs, 32768);
    s.exchange_pairs = 50;
    ASSERT_EQ(validate(46342), 0);
    EXPECT_EQ(s.exchange_pairs, -1073716337);
}

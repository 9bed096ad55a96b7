#include "optdoe/criteria/phip/phip_state.h"

#include "tests/reference/criteria_reference.h"
#include "tests/support/phip_run.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

static const std::vector<double> unit_weights{1.0, 1.0, 1.0};

TEST(phip, the_integer_power_reads_the_exponent_from_its_low_end)
{
    // One pair of rows at distance 2: the value is 2^(-e/p).
    const table pair(1, {1, 3});
    const int applied[][2] = {{1, 1},  {2, 2},   {3, 3},  {4, 4},   {5, 6},   {6, 5},   {7, 7},   {8, 8},
                              {9, 12}, {10, 10}, {12, 9}, {16, 16}, {20, 18}, {50, 41}, {100, 73}};
    for (const auto& [p, exponent] : applied) {
        EXPECT_EQ(reference::applied_exponent(p), exponent);
        phip_run run(pair, {static_cast<double>(p)}, phip_run::rectangular);
        EXPECT_NEAR(run.value(), std::pow(2.0, -static_cast<double>(exponent) / p), 1e-15) << p;
    }
}

TEST(phip, euclidean_orders_are_halved_and_rounded_up)
{
    const table pair(1, {1, 3}); // squared distance 4
    const struct {
        double p;
        int order, exponent;
    } cases[] = {{1, 1, 1}, {2, 1, 1}, {5, 3, 3}, {10, 5, 6}, {20, 10, 10}, {99, 50, 41}, {100, 50, 41}};
    for (const auto& [p, order, exponent] : cases) {
        phip_run run(pair, {p}, phip_run::none);
        EXPECT_NEAR(run.value(), std::pow(4.0, -0.5 * exponent / order), 1e-15) << p;
    }
}

TEST(phip, parameters_outside_their_range_fall_back)
{
    random_stream random{1};
    const table start = random_unit_design(7, 3, random);
    const double standard = phip_run(start, phip_run::none, phip_run::none).value();
    EXPECT_NEAR(standard, reference::phip(start, 20, reference::distance::euclidean, unit_weights), 1e-12);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const double p : {-2.0, 101.0, 1e300, nan, 20.0, 19.995})
        EXPECT_EQ(bits_of(phip_run(start, {p}, phip_run::none).value()), bits_of(standard)) << p;
    for (const double kind : {0.0, 2.0, 3.0, -5.0, nan})
        EXPECT_EQ(bits_of(phip_run(start, phip_run::none, {kind}).value()), bits_of(standard)) << kind;
    EXPECT_NE(bits_of(phip_run(start, phip_run::none, phip_run::rectangular).value()), bits_of(standard));
    EXPECT_NEAR(phip_run(start, {0.995}, phip_run::rectangular).value(),
                reference::phip(start, 1, reference::distance::rectangular, unit_weights), 1e-12);
    for (const double p : {0.0, 0.5, -1.0}) // truncated toward zero: maximin
        EXPECT_NEAR(phip_run(start, {p}, phip_run::none).value(),
                    reference::maximin(start, reference::distance::euclidean, unit_weights), 1e-15);
}

TEST(phip, identical_points_reach_the_cap)
{
    const table start(2, {1, 1, 1, 1, 2, 3});
    EXPECT_EQ(phip_run(start, phip_run::none, phip_run::none).value(), std::pow(1e200, 0.5 / 10));
    EXPECT_EQ(phip_run(start, {4}, phip_run::rectangular).value(), std::pow(1e200, 1.0 / 4));
    EXPECT_EQ(phip_run(start, {0}, phip_run::none).value(), 0.0);
}

TEST(phip, a_sum_that_is_not_a_number_counts_as_the_cap)
{
    random_stream random{33};
    const table start = random_levels(9, 3, random);
    const double cap = std::pow(1e200, 0.5 / 10);
    for (const double odd : {std::nan(""), HUGE_VAL}) // infinite entries of two rows are no distance apart
        for (const bool many_rows : {false, true}) {
            table broken = start;
            broken[2][1] = broken[5][1] = odd;
            search_run run(start, {.with_criterion = false}, {});
            run_context* ctx = run.ctx();
            if (many_rows)
                ctx->phip->distances.most_rows_with_all_lines = 0;
            crit_setup(ctx, start.data(), 9, 0, 3, run.settings().criterion);
            EXPECT_EQ(crit_value_of(ctx, broken.data()), cap) << odd;
            EXPECT_EQ(crit_evaluate(ctx, broken.data()), cap) << odd;
            EXPECT_EQ(crit_evaluate(ctx, nullptr), cap) << odd;
            const std::int32_t a = 3;
            const std::int32_t b = 7;
            EXPECT_EQ(crit_try_swap(ctx, 0, a, b), cap) << odd;
            EXPECT_EQ(crit_try_swaps(ctx, 0, 1, &a, &b), cap) << odd;
            EXPECT_EQ(crit_apply_swaps(ctx, 0, 1, &a, &b), cap) << odd;
            EXPECT_EQ(crit_evaluate(ctx, nullptr), cap) << odd;
            EXPECT_EQ(crit_value_of(ctx, nullptr), cap) << odd;
            EXPECT_EQ(bits_of(crit_evaluate(ctx, start.data())), bits_of(crit_value_of(ctx, start.data()))) << odd;
            crit_release(ctx);
        }
}

TEST(phip, two_rows_have_no_third)
{
    // Nothing changes when the only pair trades places: 0/0 is met and survives.
    const table start(2, {0.0, 1.0, 1.0, 0.0});
    for (const double p : {0.0, 1.0, 20.0}) {
        phip_run run(start, {p}, phip_run::none);
        const double value = run.value();
        const std::int32_t a = 0;
        const std::int32_t b = 1;
        EXPECT_EQ(bits_of(crit_try_swap(run.ctx(), 0, a, b)), bits_of(value));
        EXPECT_EQ(bits_of(crit_try_swaps(run.ctx(), 0, 1, &a, &b)), bits_of(value));
        for (int commit = 0; commit < 8; ++commit)
            EXPECT_EQ(bits_of(crit_apply_swaps(run.ctx(), 0, 1, &a, &b)), bits_of(value));
    }
}

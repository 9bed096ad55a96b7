#include "optdoe/criteria/criterion.h"

#include "optdoe/criteria/phip/phip_state.h"
#include "tests/reference/criteria_reference.h"
#include "tests/support/search_run.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <numeric>

namespace {

constexpr auto bits = [](double x) { return std::bit_cast<std::uint64_t>(x); };

/// A run of phi-p with the first values of its two parameter lists; an empty list is not given.
struct phip_run : search_run {
    phip_run(const table& start, const std::vector<double>& list_1, const std::vector<double>& list_2)
        : search_run(start, [&](run_settings& s) {
              s.criterion.params.param_count_1 = static_cast<std::int32_t>(list_1.size());
              s.criterion.params.param_list_1 = list_1.empty() ? nullptr : list_1.data();
              s.criterion.params.param_count_2 = static_cast<std::int32_t>(list_2.size());
              s.criterion.params.param_list_2 = list_2.empty() ? nullptr : list_2.data();
          })
    {
    }
    double value() { return crit_value(ctx()); }
};

const std::vector<double> none;
const std::vector<double> rectangular{1.0};
const std::vector<double> unit_weights{1.0, 1.0, 1.0};

} // namespace

TEST(phip, the_integer_power_reads_the_exponent_from_its_low_end)
{
    // One pair of rows at distance 2: the value is 2^(-e/p).
    const table pair(1, {1, 3});
    const int applied[][2] = {{1, 1},  {2, 2},   {3, 3},  {4, 4},   {5, 6},   {6, 5},   {7, 7},   {8, 8},
                              {9, 12}, {10, 10}, {12, 9}, {16, 16}, {20, 18}, {50, 41}, {100, 73}};
    for (const auto& [p, exponent] : applied) {
        EXPECT_EQ(reference::applied_exponent(p), exponent);
        phip_run run(pair, {static_cast<double>(p)}, rectangular);
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
        phip_run run(pair, {p}, none);
        EXPECT_NEAR(run.value(), std::pow(4.0, -0.5 * exponent / order), 1e-15) << p;
    }
}

TEST(phip, parameters_outside_their_range_fall_back)
{
    random_stream random{1};
    const table start = random_unit_design(7, 3, random);
    const double standard = phip_run(start, none, none).value();
    EXPECT_NEAR(standard, reference::phip(start, 20, reference::distance::euclidean, unit_weights), 1e-12);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const double p : {-2.0, 101.0, 1e300, nan, 20.0, 19.995})
        EXPECT_EQ(bits(phip_run(start, {p}, none).value()), bits(standard)) << p;
    for (const double kind : {0.0, 2.0, 3.0, -5.0, nan})
        EXPECT_EQ(bits(phip_run(start, none, {kind}).value()), bits(standard)) << kind;
    EXPECT_NE(bits(phip_run(start, none, rectangular).value()), bits(standard));
    EXPECT_NEAR(phip_run(start, {0.995}, rectangular).value(),
                reference::phip(start, 1, reference::distance::rectangular, unit_weights), 1e-12);
    for (const double p : {0.0, 0.5, -1.0}) // truncated toward zero: maximin
        EXPECT_NEAR(phip_run(start, {p}, none).value(),
                    reference::maximin(start, reference::distance::euclidean, unit_weights), 1e-15);
}

TEST(phip, identical_points_reach_the_cap)
{
    const table start(2, {1, 1, 1, 1, 2, 3});
    EXPECT_EQ(phip_run(start, none, none).value(), std::pow(1e200, 0.5 / 10));
    EXPECT_EQ(phip_run(start, {4}, rectangular).value(), std::pow(1e200, 1.0 / 4));
    EXPECT_EQ(phip_run(start, {0}, none).value(), 0.0);
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
            EXPECT_EQ(bits(crit_evaluate(ctx, start.data())), bits(crit_value_of(ctx, start.data()))) << odd;
            crit_release(ctx);
        }
}

TEST(phip, distances_are_copied_only_where_they_have_a_scale)
{
    random_stream random{34};
    const std::int32_t a[] = {0, 1, 2, 3};
    const std::int32_t b[] = {5, 6, 7, 4};
    for (const double kind : {1.0, 2.0})
        for (const double size : {1e-310, 1e-160, 1e-120, 1.0, 1e120, 1e155, 1e160, 1e190, 1e300}) {
            table start = random_unit_design(9, 3, random);
            for (int i = 0; i < 9; ++i)
                for (int j = 0; j < 3; ++j)
                    start[i][j] *= size;
            phip_run run(start, {1}, {kind});
            double value = 0.0;
            crit_best_swap(run.ctx(), 0, 4, a, b, &value);
            const coarse_copies& copies = run->phip->coarse;
            EXPECT_TRUE(!coarse_is_usable(copies) || std::isnormal(copies.scale)) << kind << ' ' << size;
            EXPECT_TRUE(coarse_is_usable(copies) || size != 1.0);
        }
}

TEST(phip, a_maximin_trial_exchanges_equal_entries_as_its_commit_does)
{
    // Rows 0 and 1 are equal, but not the same to the bit; the distance to row 2 after its exchange tells them apart.
    int told_apart = 0;
    for (const double step : {0.3e-15, 0.6e-15, 0.9e-15}) {
        const table start(2, {step, 0, 0, 1e-13, 5e-15, 1e-14, 9e-15, 2e-13});
        const std::int32_t rows_a[] = {0, 2};
        const std::int32_t rows_b[] = {1, 3};
        phip_run run(start, {0}, none);
        run_context* ctx = run.ctx();
        const double before = run.value();
        EXPECT_EQ(bits(crit_try_swaps(ctx, 0, 1, rows_a, rows_b)), bits(before));
        told_apart += bits(crit_try_swaps(ctx, 0, 2, rows_a, rows_b)) !=
                      bits(crit_try_swaps(ctx, 0, 1, rows_a + 1, rows_b + 1));
        const double tried = crit_try_swaps(ctx, 0, 2, rows_a, rows_b);
        EXPECT_EQ(bits(run.value()), bits(before));
        EXPECT_EQ(bits(crit_apply_swaps(ctx, 0, 2, rows_a, rows_b)), bits(tried)) << step;
    }
    EXPECT_GT(told_apart, 0);
}

TEST(phip, points_that_fall_together_and_part_again)
{
    // Whole levels: distances are exact, so that a full sum shows in the bits.
    const table start(2, {1, 1, 2, 1, 3, 2, 1, 3});
    for (const bool by_moves : {false, true}) {
        phip_run run(start, {4}, rectangular);
        run_context* ctx = run.ctx();
        const std::int32_t rows[] = {1, 3};
        const std::int32_t turned[] = {3, 1};
        const auto commit = [&] {
            return by_moves ? crit_apply_moves(ctx, 0, 2, rows, turned)
                            : crit_apply_swaps(ctx, 0, 1, &rows[0], &rows[1]);
        };
        const double apart = run.value();
        EXPECT_EQ(commit(), std::pow(1e200, 1.0 / 4)); // rows 0 and 1 are both (1, 1)
        EXPECT_EQ(bits(commit()), bits(apart));
        EXPECT_EQ(bits(crit_value_of(ctx, nullptr)), bits(apart));
    }
}

TEST(phip, every_sixth_commit_sums_in_full)
{
    // Whole levels make the distances exact: a full sum then has the bits of an evaluation from scratch.
    random_stream random{31};
    const int n = 12;
    phip_run run(random_levels(n, 3, random), none, none);
    run_context* ctx = run.ctx();
    int drifted = 0;
    for (int commit = 1; commit <= 240; ++commit) {
        const std::int32_t a = random.below(n);
        const std::int32_t b = (a + 1 + random.below(n - 1)) % n;
        crit_try_swap(ctx, 0, a, b);
        crit_try_swaps(ctx, 1, 1, &a, &b);
        crit_apply_swaps(ctx, 1, 0, &a, &b); // an empty batch does not count
        const std::int32_t rows[] = {a, b};
        const std::int32_t turned[] = {b, a};
        const int column = random.below(3);
        const double value = commit % 2 == 0 ? crit_apply_swaps(ctx, column, 1, &a, &b)
                                             : crit_apply_moves(ctx, column, 2, rows, turned);
        const bool exact = bits(value) == bits(crit_value_of(ctx, nullptr));
        if (commit % 6 == 0) {
            ASSERT_TRUE(exact) << commit;
        }
        drifted += !exact;
    }
    EXPECT_GT(drifted, 20); // in between the sum is kept, not recomputed
}

TEST(phip, a_sum_below_1e_8_of_what_it_replaces_is_taken_in_full)
{
    // Rows 0 and 1 part: the sum falls from 1 to about 2.1 / d^4, which passes the limit at d = 120.
    for (const double d : {90.0, 119.0, 121.0, 150.0}) {
        const table start(2, {0, 0, 1, 0, d, d});
        const std::int32_t rows[] = {1, 2};
        const std::int32_t turned[] = {2, 1};
        for (const bool by_moves : {false, true}) {
            phip_run run(start, {4}, rectangular);
            run_context* ctx = run.ctx();
            const double tried = crit_try_swap(ctx, 0, 1, 2);
            const double value = by_moves ? crit_apply_moves(ctx, 0, 2, rows, turned)
                                          : crit_apply_swaps(ctx, 0, 1, &rows[0], &rows[1]);
            const double in_full = crit_value_of(ctx, nullptr);
            EXPECT_EQ(bits(value) == bits(in_full), d > 120.0) << d;
            EXPECT_EQ(bits(tried) == bits(in_full), d > 120.0) << d;
            EXPECT_NEAR(value, in_full, 1e-8 * in_full);
        }
    }
}

TEST(phip, restoring_does_not_bring_the_full_sum_back)
{
    // The count of commits goes on over a restore.
    random_stream random{32};
    phip_run run(random_levels(9, 3, random), none, none);
    run_context* ctx = run.ctx();
    for (int round = 0; round < 20; ++round) {
        crit_evaluate(ctx, nullptr);
        for (int commit = 1; commit <= 5; ++commit) {
            const std::int32_t a = random.below(9);
            const std::int32_t b = (a + 1) % 9;
            crit_save_column(ctx, 0);
            crit_apply_swaps(ctx, 0, 1, &a, &b);
            crit_restore_column(ctx, 0);
        }
        const std::int32_t a = 3;
        const std::int32_t b = 7;
        const double value = crit_apply_swaps(ctx, 2, 1, &a, &b);
        EXPECT_EQ(bits(value), bits(crit_value_of(ctx, nullptr)));
    }
}

TEST(phip, two_rows_have_no_third)
{
    // Nothing changes when the only pair trades places: 0/0 is met and survives.
    const table start(2, {0.0, 1.0, 1.0, 0.0});
    for (const double p : {0.0, 1.0, 20.0}) {
        phip_run run(start, {p}, none);
        const double value = run.value();
        const std::int32_t a = 0;
        const std::int32_t b = 1;
        EXPECT_EQ(bits(crit_try_swap(run.ctx(), 0, a, b)), bits(value));
        EXPECT_EQ(bits(crit_try_swaps(run.ctx(), 0, 1, &a, &b)), bits(value));
        for (int commit = 0; commit < 8; ++commit)
            EXPECT_EQ(bits(crit_apply_swaps(run.ctx(), 0, 1, &a, &b)), bits(value));
    }
}

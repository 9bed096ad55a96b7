#include "optdoe/criteria/maximin/maximin.h"

#include "tests/reference/criteria_reference.h"
#include "tests/support/phip_run.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(maximin, a_trial_exchanges_equal_entries_as_its_commit_does)
{
    // Rows 0 and 1 are equal, but not the same to the bit; the distance to row 2 after its exchange tells them apart.
    int told_apart = 0;
    for (const double step : {0.3e-15, 0.6e-15, 0.9e-15}) {
        const table start(2, {step, 0, 0, 1e-13, 5e-15, 1e-14, 9e-15, 2e-13});
        const std::int32_t rows_a[] = {0, 2};
        const std::int32_t rows_b[] = {1, 3};
        phip_run run(start, {0}, phip_run::none);
        run_context* ctx = run.ctx();
        const double before = run.value();
        EXPECT_EQ(bits_of(crit_try_swaps(ctx, 0, 1, rows_a, rows_b)), bits_of(before));
        told_apart += bits_of(crit_try_swaps(ctx, 0, 2, rows_a, rows_b)) !=
                      bits_of(crit_try_swaps(ctx, 0, 1, rows_a + 1, rows_b + 1));
        const double tried = crit_try_swaps(ctx, 0, 2, rows_a, rows_b);
        EXPECT_EQ(bits_of(run.value()), bits_of(before));
        EXPECT_EQ(bits_of(crit_apply_swaps(ctx, 0, 2, rows_a, rows_b)), bits_of(tried)) << step;
    }
    EXPECT_GT(told_apart, 0);
}

TEST(maximin, is_phip_with_the_exponent_0)
{
    random_stream random{35};
    const table start = random_unit_design(8, 3, random);
    phip_run run(start, {0.0}, phip_run::none);
    EXPECT_EQ(run->criterion->in_force, &maximin_ops);
    EXPECT_NEAR(run.value(), reference::maximin(start, reference::distance::euclidean, {1.0, 1.0, 1.0}), 1e-15);
}

TEST(maximin, nearest_rows_follow_every_operation)
{
    random_stream random{36};
    const int n = 15;
    phip_run run(random_unit_design(n, 3, random), {0.0}, phip_run::rectangular);
    run_context* ctx = run.ctx();
    for (int step = 0; step < 300; ++step) {
        const std::int32_t a = random.below(n);
        const std::int32_t b = (a + 1 + random.below(n - 1)) % n;
        const int column = random.below(3);
        const double tried = crit_try_swap(ctx, column, a, b);
        if (step % 3 == 0) {
            EXPECT_EQ(bits_of(crit_apply_swaps(ctx, column, 1, &a, &b)), bits_of(tried));
        }
        if (step % 20 == 0) {
            EXPECT_EQ(bits_of(crit_evaluate(ctx, nullptr)), bits_of(crit_value_of(ctx, nullptr)));
        }
        EXPECT_NEAR(run.value(), crit_value_of(ctx, nullptr), 1e-13);
    }
}

// When the sum of terms is updated and when it is taken in full.
#include "optdoe/criteria/phip/phip_exchange.h"

#include "tests/support/phip_run.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(phipexchange, points_that_fall_together_and_part_again)
{
    // Whole levels: distances are exact, so that a full sum shows in the bits.
    const table start(2, {1, 1, 2, 1, 3, 2, 1, 3});
    for (const bool by_moves : {false, true}) {
        phip_run run(start, {4}, phip_run::rectangular);
        run_context* ctx = run.ctx();
        const std::int32_t rows[] = {1, 3};
        const std::int32_t turned[] = {3, 1};
        const auto commit = [&] {
            return by_moves ? crit_apply_moves(ctx, 0, 2, rows, turned)
                            : crit_apply_swaps(ctx, 0, 1, &rows[0], &rows[1]);
        };
        const double apart = run.value();
        EXPECT_EQ(commit(), std::pow(1e200, 1.0 / 4)); // rows 0 and 1 are both (1, 1)
        EXPECT_EQ(bits_of(commit()), bits_of(apart));
        EXPECT_EQ(bits_of(crit_value_of(ctx, nullptr)), bits_of(apart));
    }
}

TEST(phipexchange, every_sixth_commit_sums_in_full)
{
    // Whole levels make the distances exact: a full sum then has the bits of an evaluation from scratch.
    random_stream random{31};
    const int n = 12;
    phip_run run(random_levels(n, 3, random), phip_run::none, phip_run::none);
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
        const bool exact = bits_of(value) == bits_of(crit_value_of(ctx, nullptr));
        if (commit % 6 == 0) {
            ASSERT_TRUE(exact) << commit;
        }
        drifted += !exact;
    }
    EXPECT_GT(drifted, 20); // in between the sum is kept, not recomputed
}

TEST(phipexchange, a_sum_below_1e_8_of_what_it_replaces_is_taken_in_full)
{
    // Rows 0 and 1 part: the sum falls from 1 to about 2.1 / d^4, which passes the limit at d = 120.
    for (const double d : {90.0, 119.0, 121.0, 150.0}) {
        const table start(2, {0, 0, 1, 0, d, d});
        const std::int32_t rows[] = {1, 2};
        const std::int32_t turned[] = {2, 1};
        for (const bool by_moves : {false, true}) {
            phip_run run(start, {4}, phip_run::rectangular);
            run_context* ctx = run.ctx();
            const double tried = crit_try_swap(ctx, 0, 1, 2);
            const double value = by_moves ? crit_apply_moves(ctx, 0, 2, rows, turned)
                                          : crit_apply_swaps(ctx, 0, 1, &rows[0], &rows[1]);
            const double in_full = crit_value_of(ctx, nullptr);
            EXPECT_EQ(bits_of(value) == bits_of(in_full), d > 120.0) << d;
            EXPECT_EQ(bits_of(tried) == bits_of(in_full), d > 120.0) << d;
            EXPECT_NEAR(value, in_full, 1e-8 * in_full);
        }
    }
}

TEST(phipexchange, restoring_does_not_bring_the_full_sum_back)
{
    // The count of commits goes on over a restore.
    random_stream random{32};
    phip_run run(random_levels(9, 3, random), phip_run::none, phip_run::none);
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
        EXPECT_EQ(bits_of(value), bits_of(crit_value_of(ctx, nullptr)));
    }
}

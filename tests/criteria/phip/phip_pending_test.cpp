#include "optdoe/criteria/phip/phip_pending.h"

#include "optdoe/criteria/phip/phip_derived.h"
#include "tests/support/phip_invariants.h"
#include "tests/support/phip_tables.h"

#include <gtest/gtest.h>

namespace {

constexpr int rows = 20;

phip_tables_run random_run(bool all_lines)
{
    random_stream random{91};
    return {random_unit_design(rows, 3, random), all_lines};
}

/// Commits exchanges, brings totals in step with them and marks column 0. The rows of the exchanges are not fresh.
void exchange_and_mark(phip_tables_run& run, int exchanges)
{
    crit_save_column(run.ctx(), 0);
    for (int t = 0; t < exchanges; ++t)
        run.swap(0, 2 * t, 2 * t + 1);
    settle(run.ctx(), run.state());
    bring_up_to_date(run.state());
    sum_of_terms(run.state());
}

} // namespace

TEST(phippending, a_committed_exchange_is_written_by_finish_and_by_nothing_before)
{
    for (const bool all_lines : {true, false}) {
        phip_tables_run run = random_run(all_lines);
        phip_state& s = run.state();
        const double a = run.entry(3, 1);
        const double b = run.entry(7, 1);
        const auto before = points_and_lines(s);
        const double value = run.swap(1, 3, 7);
        EXPECT_EQ(s.pending, pending_change::exchange);
        EXPECT_EQ(points_and_lines(s), before);
        finish(run.ctx(), s);
        EXPECT_EQ(s.pending, pending_change::none);
        EXPECT_EQ(run.entry(3, 1), b);
        EXPECT_EQ(run.entry(7, 1), a);
        EXPECT_EQ(broken_phip_invariant(run.ctx()), "");
        EXPECT_NEAR(crit_value_of(run.ctx(), nullptr), value, 1e-9 * value);
    }
}

TEST(phippending, an_exchange_that_is_taken_back_was_never_written)
{
    for (const bool all_lines : {true, false}) {
        phip_tables_run run = random_run(all_lines);
        phip_state& s = run.state();
        const double value = run.value();
        const auto before = points_and_lines(s);
        const double committed = run.swap(1, 3, 7);
        take_back(run.ctx(), s);
        EXPECT_EQ(s.pending, pending_change::none);
        finish(run.ctx(), s);
        EXPECT_EQ(points_and_lines(s), before);
        EXPECT_EQ(bits_of(s.value), bits_of(committed)); // left to the caller
        EXPECT_EQ(bits_of(crit_evaluate(run.ctx(), nullptr)), bits_of(value));
    }
}

TEST(phippending, an_evaluation_under_a_mark_is_dropped_and_its_totals_come_back)
{
    for (const bool all_lines : {true, false})
        for (const int exchanges : {2, 8}) { // few changed rows, and more than half of them
            phip_tables_run run = random_run(all_lines);
            phip_state& s = run.state();
            exchange_and_mark(run, exchanges);
            const auto lines = points_and_lines(s);
            const auto totals = totals_of(s);
            const double fresh = crit_value_of(run.ctx(), nullptr);
            EXPECT_EQ(bits_of(crit_evaluate(run.ctx(), nullptr)), bits_of(fresh));
            EXPECT_EQ(s.pending, pending_change::evaluation);
            EXPECT_EQ(points_and_lines(s), lines);
            EXPECT_NE(totals_of(s), totals);
            EXPECT_EQ(broken_phip_invariant(run.ctx()), "");
            take_back(run.ctx(), s);
            EXPECT_EQ(points_and_lines(s), lines);
            EXPECT_EQ(totals_of(s), totals) << exchanges;
        }
}

TEST(phippending, an_evaluation_that_is_finished_leaves_every_row_fresh)
{
    for (const bool all_lines : {true, false})
        for (const int exchanges : {2, 8}) {
            phip_tables_run run = random_run(all_lines);
            phip_state& s = run.state();
            exchange_and_mark(run, exchanges);
            crit_evaluate(run.ctx(), nullptr);
            ASSERT_GT(s.distances.changed_count, 0);
            finish(run.ctx(), s);
            EXPECT_EQ(s.distances.changed_count, 0);
            EXPECT_EQ(in_step(s).rows, exchanges == 2);
            EXPECT_TRUE(in_step(s).triangle);
            EXPECT_EQ(broken_phip_invariant(run.ctx()), ""); // unchanged rows are fresh, totals are theirs
        }
}

TEST(phippending, an_evaluation_without_a_mark_is_written_at_once)
{
    phip_tables_run run = random_run(true);
    run.swap(0, 3, 7);
    crit_evaluate(run.ctx(), nullptr);
    EXPECT_EQ(run.state().pending, pending_change::none);
    EXPECT_EQ(run.state().distances.changed_count, 0);
}

TEST(phippending, a_tried_rearrangement_is_undone_by_settle_and_kept_by_finish)
{
    for (const bool all_lines : {true, false})
        for (const bool marked : {true, false}) {
            phip_tables_run run = random_run(all_lines);
            phip_state& s = run.state();
            if (marked)
                crit_save_column(run.ctx(), 0);
            const double value = run.value();
            const double taken = run.entry(5, 0);
            const auto before = points_and_lines(s);
            for (const bool keep : {false, true}) {
                const double tried = run.try_ring(0, 2, 5, 11);
                EXPECT_EQ(s.pending, pending_change::rearrangement);
                EXPECT_EQ(bits_of(s.value), bits_of(value));
                EXPECT_EQ(run.entry(2, 0), taken);
                keep ? finish(run.ctx(), s) : settle(run.ctx(), s);
                EXPECT_EQ(s.pending, pending_change::none);
                EXPECT_FALSE(is_in_trial(s.distances));
                EXPECT_EQ(points_and_lines(s) == before, !keep);
                EXPECT_EQ(bits_of(s.value), bits_of(keep ? tried : value));
                EXPECT_EQ(broken_phip_invariant(run.ctx()), "");
            }
            if (marked) {
                crit_restore_column(run.ctx(), 0);
                EXPECT_EQ(points_and_lines(s), before);
            }
        }
}

TEST(phippending, at_most_one_change_is_pending)
{
    phip_tables_run run = random_run(true);
    phip_state& s = run.state();
    const table& start = run.design;
    run.swap(1, 2, 3);
    run.swap(1, 4, 5); // finishes the first
    EXPECT_EQ(run.entry(2, 1), start[3][1]);
    EXPECT_EQ(run.entry(4, 1), start[4][1]);
    run.try_ring(1, 6, 7, 8); // finishes the second
    EXPECT_EQ(s.pending, pending_change::rearrangement);
    EXPECT_EQ(run.entry(4, 1), start[5][1]);
    EXPECT_EQ(run.entry(6, 1), start[7][1]);
    run.swap(1, 9, 10); // takes the trial back
    EXPECT_EQ(s.pending, pending_change::exchange);
    EXPECT_EQ(run.entry(6, 1), start[6][1]);
    EXPECT_EQ(run.entry(9, 1), start[9][1]);
}

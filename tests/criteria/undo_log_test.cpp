#include "optdoe/criteria/undo_log.h"

#include "tests/support/distance_run.h"

#include <gtest/gtest.h>

namespace {

void undo(distance_run& run)
{
    undo_to(
        run.run.ctx(), run.d, run.d.column_mark,
        [&](std::int32_t r, double x) { set_point(run.d, r, run.d.column_mark.column, x); },
        [&](std::int32_t r, const double* line) {
            std::copy_n(line, run.d.stride, run.aligned_line());
            store_line(run.run.ctx(), run.d, r, run.aligned_line());
        });
    run.d.version = run.d.column_mark.version;
}

struct picture {
    explicit picture(distance_run& run)
        : columns(run.d.columns, run.d.columns + run.d.factors * run.d.stride), distances(run.all_distances()),
          changed(run.d.changed, run.d.changed + run.d.changed_count), version(run.d.version)
    {
    }
    bool operator==(const picture&) const = default;

    std::vector<double> columns;
    std::vector<double> distances;
    std::vector<std::int32_t> changed;
    std::uint64_t version;
};

} // namespace

TEST(undolog, brings_the_column_of_the_mark_back_however_many_rows_have_changed)
{
    for (const bool all_lines : {true, false}) {
        for (const int exchanges : {0, 1, 3, 40}) {
            distance_run run(33, 3, all_lines, 61);
            run.exchange(7, 8, 2); // the lines of the mark are not all fresh
            mark_column(run.run.ctx(), run.d, 1);
            const picture before(run);
            for (int round = 0; round < 2; ++round) { // the mark stays set
                for (int t = 0; t < exchanges; ++t) {
                    const int a = run.random.below(33);
                    run.exchange(a, (a + 1 + run.random.below(32)) % 33, 1);
                }
                EXPECT_EQ(run.d.column_mark.by == undo_by::refill, exchanges == 40) << exchanges;
                undo(run);
                EXPECT_EQ(picture(run), before) << exchanges << " exchanges, round " << round;
            }
        }
    }
}

TEST(undolog, an_exchange_in_another_column_stays)
{
    distance_run run(12, 3, true, 62);
    mark_column(run.run.ctx(), run.d, 1);
    const double marked = run.d.points[3][1];
    const double other = run.d.points[3][0];
    run.exchange(3, 4, 1);
    run.exchange(3, 9, 0);
    EXPECT_EQ(run.d.column_mark.by, undo_by::points);
    undo(run);
    EXPECT_EQ(run.d.points[3][1], marked);
    EXPECT_EQ(run.d.points[9][0], other);
    EXPECT_EQ(run.d.changed_count, 0);
    EXPECT_EQ(run.all_distances()[3], distance_of(run.d.kind, run.d.points[0], run.d.points[3], 3));
}

TEST(undolog, a_design_snapshot_brings_points_and_lines_back)
{
    distance_run run(20, 2, true, 63);
    run.exchange(1, 2, 0);
    save_points_and_lines(run.run.ctx(), run.d);
    const picture before(run);
    for (int t = 0; t < 6; ++t)
        run.exchange(t, t + 7, t % 2);
    restore_points_and_lines(run.run.ctx(), run.d);
    EXPECT_EQ(picture(run).columns, before.columns);
    EXPECT_EQ(picture(run).distances, before.distances);
}

#include "optdoe/criteria/pair_distances.h"

#include "tests/support/distance_run.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

constexpr int rows = 21;

/// Distances of the points as a definition gives them; +inf of a row to itself.
std::vector<double> fresh_distances(const pair_distances& d)
{
    std::vector<double> all;
    for (int i = 0; i < d.rows; ++i)
        for (int j = 0; j < d.rows; ++j)
            all.push_back(i == j ? INFINITY : distance_of(d.kind, d.points[i], d.points[j], d.factors));
    return all;
}

} // namespace

TEST(pairdistances, are_fresh_after_a_fill_and_of_rows_that_are_not_changed)
{
    for (const bool all_lines : {true, false}) {
        distance_run run(rows, 3, all_lines, 51);
        EXPECT_EQ(run.all_distances(), fresh_distances(run.d));
        run.exchange(3, 17, 1);
        run.exchange(5, 3, 0);
        EXPECT_EQ(run.d.changed_count, 3);
        const std::vector<double> present = run.all_distances();
        const std::vector<double> fresh = fresh_distances(run.d);
        for (int i = 0; i < rows; ++i)
            for (int j = 0; j < rows; ++j) {
                const auto cell = static_cast<std::size_t>(i * rows + j);
                EXPECT_EQ(present[cell], present[static_cast<std::size_t>(j * rows + i)]) << i << ", " << j;
                if (run.d.is_changed[i] == 0 && run.d.is_changed[j] == 0) {
                    EXPECT_EQ(present[cell], fresh[cell]) << i << ", " << j;
                }
                if (i != j) {
                    EXPECT_NEAR(present[cell], fresh[cell], 1e-14) << i << ", " << j;
                }
            }
        refresh_lines(run.run.ctx(), run.d);
        EXPECT_EQ(run.d.changed_count, 0);
        EXPECT_EQ(run.all_distances(), fresh_distances(run.d));
    }
}

TEST(pairdistances, of_many_rows_the_changed_ones_have_lines)
{
    distance_run run(rows, 3, false, 52);
    run.exchange(2, 9, 0);
    hold_line(run.run.ctx(), run.d, 4);
    for (int r = 0; r < rows; ++r)
        EXPECT_EQ(stored_line(run.d, r) != nullptr, r == 2 || r == 9 || r == 4) << r;
    forget_changes(run.d, 2);
    EXPECT_EQ(stored_line(run.d, 4), nullptr);
    EXPECT_NE(stored_line(run.d, 9), nullptr);
}

TEST(pairdistances, every_write_gives_a_version_that_was_never_used)
{
    distance_run run(rows, 3, true, 53);
    std::uint64_t last = run.d.version;
    const auto expect_new = [&](const char* what) {
        EXPECT_GT(run.d.version, last) << what;
        last = run.d.version;
    };
    set_point(run.d, 1, 0, 0.5);
    expect_new("set_point");
    swap_points(run.d, 1, 2, 0);
    expect_new("swap_points");
    run.exchange(4, 5, 2);
    expect_new("exchange");
    fill_lines(run.run.ctx(), run.d);
    expect_new("fill_lines");
}

TEST(pairdistances, entries_are_weighted_and_given_back)
{
    distance_run run(5, 2, true, 54);
    const std::vector<double> weights{0.5, 1.0};
    distances_free(run.run.ctx(), run.d);
    distances_alloc(run.run.ctx(), run.d, 5, 0, 2, weights.data());
    EXPECT_EQ(weighted_entry(run.d, 3.0, 0), 1.5);
    EXPECT_EQ(caller_entry(run.d, 1.5, 0), 3.0);
    set_point(run.d, 4, 0, 1.5);
    table out(5, 2);
    EXPECT_EQ(copy_points(run.d, out.data())[4][0], 3.0);
    EXPECT_EQ(copy_points(run.d, nullptr), run.d.points);
}

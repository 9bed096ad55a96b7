#include "optdoe/search/unit_scaling.h"

#include "tests/support/designs.h"
#include "tests/support/test_run.h"

#include "optdoe/vectors/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

TEST(unitscaling, mode_1_maps_levels_onto_the_range)
{
    test_run run;
    random_stream random{1};
    const table levels = random_levels(7, 3, random);
    table design = levels;
    scale_to_unit(run.ctx(), 1, design.data(), 7, 3);
    for (int i = 0; i < 7; ++i)
        for (int j = 0; j < 3; ++j)
            EXPECT_EQ(design[i][j], (levels[i][j] - 1.0) / 6.0);
}

TEST(unitscaling, mode_2_maps_levels_onto_cell_centres)
{
    test_run run;
    random_stream random{1};
    const table levels = random_levels(8, 3, random);
    table design = levels;
    scale_to_unit(run.ctx(), 2, design.data(), 8, 3);
    for (int i = 0; i < 8; ++i)
        for (int j = 0; j < 3; ++j)
            EXPECT_EQ(design[i][j], (levels[i][j] - 0.5) / 8.0);
}

TEST(unitscaling, ranges_are_row_0_lower_and_row_1_upper)
{
    test_run run;
    const table design(2, {3, -1, 1, -5, 2, 0});
    double** ranges = column_ranges(run.ctx(), 1, design.data(), 3, 2);
    EXPECT_EQ(ranges[0][0], 1.0);
    EXPECT_EQ(ranges[1][0], 3.0);
    EXPECT_EQ(ranges[0][1], -5.0);
    EXPECT_EQ(ranges[1][1], 0.0);
    EXPECT_EQ(run.live_blocks(), 3);
}

TEST(unitscaling, mode_2_widens_by_half_a_step_of_the_distinct_levels)
{
    test_run run;
    const table design(1, {1, 1, 2, 2, 3, 3});
    double** ranges = column_ranges(run.ctx(), 2, design.data(), 6, 1);
    EXPECT_EQ(ranges[0][0], 0.5);
    EXPECT_EQ(ranges[1][0], 3.5);
    EXPECT_EQ(run.live_blocks(), 3);
}

TEST(unitscaling, a_constant_column_becomes_one_half_and_comes_back)
{
    test_run run;
    table design(1, {4, 4, 4});
    double** ranges = scale_to_unit(run.ctx(), 1, design.data(), 3, 1);
    EXPECT_EQ(design.values(), (std::vector<double>{0.5, 0.5, 0.5}));
    scale_from_unit(design.data(), ranges, 3, 1);
    EXPECT_EQ(design.values(), (std::vector<double>{4, 4, 4}));
}

TEST(unitscaling, a_span_that_rounding_could_make_counts_as_constant)
{
    test_run run;
    table design(2, {1.0, 1.0, 1.0 + 1e-10, 1.0 + 1e-9});
    scale_to_unit(run.ctx(), 1, design.data(), 2, 2);
    EXPECT_EQ(design[1][0], 0.5);
    EXPECT_EQ(design[1][1], 1.0);
}

TEST(unitscaling, the_way_back_is_not_rounded)
{
    // Truncating what comes back loses a level at some sizes; 23 is the first.
    for (const int n : {22, 23}) {
        test_run run;
        table design(n, 1);
        for (int i = 0; i < n; ++i)
            design[i][0] = i + 1;
        double** ranges = scale_to_unit(run.ctx(), 1, design.data(), n, 1);
        scale_from_unit(design.data(), ranges, n, 1);
        int lost = 0;
        for (int i = 0; i < n; ++i) {
            EXPECT_NEAR(design[i][0], i + 1, 1e-13);
            EXPECT_EQ(design[i][0], (n - 1.0) * (i / (n - 1.0)) + 1.0);
            lost += static_cast<int>(design[i][0]) != i + 1;
        }
        EXPECT_EQ(lost > 0, n == 23);
    }
}

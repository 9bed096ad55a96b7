#include "api/designs/strata.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <set>

using namespace optdoe;

TEST(augmentation, fills_the_strata_that_old_runs_leave)
{
    // Ten strata; the old runs stand in 0, 2, 4, 6 and 8.
    const column_strata free = free_strata({0.05, 0.25, 0.45, 0.65, 0.85}, 5);
    ASSERT_EQ(free.centres.size(), 5U);
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_DOUBLE_EQ(free.centres[i], 0.15 + 0.2 * static_cast<double>(i));
    EXPECT_EQ(free.shared, 0U);
}

TEST(augmentation, a_shared_stratum_keeps_a_neighbour_empty)
{
    // Five strata; two runs share the first one, so the second stays empty.
    const column_strata free = free_strata({0.05, 0.15, 0.9}, 2);
    ASSERT_EQ(free.centres.size(), 2U);
    EXPECT_DOUBLE_EQ(free.centres[0], 0.5);
    EXPECT_DOUBLE_EQ(free.centres[1], 0.7);
    EXPECT_EQ(free.shared, 1U);
}

TEST(augmentation, runs_at_the_ends_have_strata)
{
    const column_strata free = free_strata({0.0, 1.0}, 2);
    EXPECT_EQ(free.centres, (std::vector<double>{0.375, 0.625}));
}

TEST(augmentation, no_old_runs_give_a_latin_column)
{
    EXPECT_EQ(free_strata({}, 4).centres, (std::vector<double>{0.125, 0.375, 0.625, 0.875}));
}

TEST(augmentation, all_strata_are_filled_when_no_two_old_runs_share_one)
{
    std::mt19937 generator(3);
    for (int t = 0; t < 200; ++t) {
        const std::size_t old = 1 + generator() % 20;
        const std::size_t added = 1 + generator() % 20;
        const double count = static_cast<double>(old + added);
        std::set<double> strata;
        std::vector<double> runs;
        for (std::size_t i = 0; i < old; ++i)
            runs.push_back(std::uniform_real_distribution(0.0, 1.0)(generator));
        for (const double u : runs)
            strata.insert(std::floor(u * count));
        const column_strata free = free_strata(runs, added);
        EXPECT_EQ(free.centres.size(), added);
        EXPECT_EQ(free.shared, old - strata.size());
        const std::size_t occupied = strata.size();
        for (const double u : free.centres)
            strata.insert(std::floor(u * count));
        EXPECT_EQ(strata.size(), occupied + added) << "a new run stands in a stratum of an old one";
    }
}

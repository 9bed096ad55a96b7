#include "api/designs/metrics.h"
#include "api/designs/start_designs.h"
#include "api/runs/engine.h"
#include "api/scores/evaluation.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>

using namespace optdoe;

namespace {

table corners()
{
    table design(4, 2);
    design.cells = {0, 0, 0, 1, 1, 0, 1, 1};
    return design;
}

settings with_criterion(const char* name)
{
    settings s;
    s.criterion = name;
    return s;
}

} // namespace

TEST(measures, of_the_unit_square_are_known)
{
    EXPECT_EQ(smallest_distance(corners(), false).distance, 1.0);
    EXPECT_EQ(smallest_distance(corners(), true).row_b, 1U);
    // Four sides of length 1 and two diagonals.
    EXPECT_NEAR(textbook_phi_p(corners(), 2), std::sqrt(4.0 + 2.0 / 2.0), 1e-15);
    EXPECT_EQ(largest_correlation(corners()).value, 0.0);
    EXPECT_EQ(repeated_rows(corners()), 0U);
    EXPECT_TRUE(is_balanced(corners()));
    EXPECT_EQ(filled_strata(corners(), 0), 2U);
}

TEST(measures, repeated_runs_have_no_distance)
{
    table design = corners();
    design.at(3, 0) = design.at(3, 1) = 0.0;
    EXPECT_EQ(repeated_rows(design), 1U);
    EXPECT_EQ(smallest_distance(design, false).distance, 0.0);
    EXPECT_TRUE(std::isinf(textbook_phi_p(design, 15)));
    EXPECT_FALSE(is_balanced(design));
}

TEST(measures, correlation_finds_the_pair)
{
    table design(3, 3);
    design.cells = {1, 3, 6, 2, 1, 4, 3, 2, 2};
    const strongest_correlation found = largest_correlation(design);
    EXPECT_NEAR(found.value, 1.0, 1e-15);
    EXPECT_EQ(found.factor_a, 0U);
    EXPECT_EQ(found.factor_b, 2U);
}

TEST(measures, discrepancy_equals_the_library)
{
    std::mt19937_64 generator(2);
    for (const std::size_t rows : {2U, 7U, 20U}) {
        const table levels = random_latin(generator, rows, 3);
        const auto value = score(levels, with_criterion("cd2"));
        ASSERT_TRUE(value);
        EXPECT_NEAR(*value, centered_l2_squared(scaled_by_range(levels, true)), 1e-14);
    }
}

TEST(measures, textbook_phi_p_equals_the_library_where_powers_agree)
{
    // Exponent 8 on squared distances is applied exactly by the library: p = 16.
    std::mt19937_64 generator(2);
    const table levels = random_latin(generator, 15, 4);
    settings s = with_criterion("phip");
    s.p = 16;
    EXPECT_NEAR(*score(levels, s), textbook_phi_p(scaled_by_range(levels, false), 16), 1e-12);
}

TEST(measures, scores_need_two_rows_factors_and_levels)
{
    EXPECT_FALSE(score(table(1, 2), settings{}));
    table one_level = corners();
    for (std::size_t i = 0; i < 4; ++i)
        one_level.at(i, 0) = 1.0;
    EXPECT_FALSE(score(one_level, settings{}));
    table unbalanced = corners();
    unbalanced.at(0, 0) = 1.0;
    EXPECT_FALSE(score(unbalanced, with_criterion("a2")));
    EXPECT_EQ(score(corners(), with_criterion("a2")), 0.0);
}

TEST(measures, scoring_leaves_no_trace_in_later_runs)
{
    // One round of five moves turns the rotation of five factors once round, so two such runs are equal.
    settings s;
    s.iterations = 1;
    s.moves = 5;
    run_request request;
    request.rows = 12;
    request.factors = 5;
    request.seed = 4;
    request.options = &s;
    const table before = run_library(request).design;
    std::mt19937_64 generator(2);
    score(random_latin(generator, 9, 3), s);
    EXPECT_EQ(run_library(request).design.cells, before.cells);
}

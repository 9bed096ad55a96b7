#include "api/annealing/annealing.h"

#include "api/annealing/lattice_starts.h"
#include "tests/reference/criteria_reference.h"
#include "tests/support/annealed.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

using optdoe::annealed_problem;
using optdoe::annealing_plan;
using optdoe::annealing_result;

namespace {

annealing_result result_of(const annealed_problem& problem, std::int64_t rounds, std::uint64_t seed = 1)
{
    return optdoe::anneal(problem, {seed, rounds, rounds}, {});
}

std::vector<std::int32_t> sorted_column(const annealed_problem& problem, const std::vector<std::int32_t>& levels,
                                        std::size_t column, std::size_t first_row)
{
    std::vector<std::int32_t> entries;
    for (std::size_t r = first_row; r < problem.rows; ++r)
        entries.push_back(levels[r * problem.columns + column]);
    std::sort(entries.begin(), entries.end());
    return entries;
}

void expect_same_columns(const annealed_problem& problem, const annealing_result& result)
{
    ASSERT_EQ(result.levels.size(), problem.levels.size());
    for (std::size_t c = 0; c < problem.columns; ++c)
        EXPECT_EQ(sorted_column(problem, result.levels, c, problem.fixed_rows),
                  sorted_column(problem, problem.levels, c, problem.fixed_rows));
    for (std::size_t i = 0; i < problem.fixed_rows * problem.columns; ++i)
        EXPECT_EQ(result.levels[i], problem.levels[i]);
}

double by_definition(const annealed_problem& problem, const std::vector<std::int32_t>& levels)
{
    const table design = annealed_coordinates(problem, levels);
    std::vector<double> weights = problem.weights;
    weights.resize(problem.columns, 1.0);
    const reference::distance kind =
        problem.euclidean ? reference::distance::euclidean : reference::distance::rectangular;
    switch (problem.what) {
    case annealed_problem::phip: return reference::phip(design, problem.p, kind, weights);
    case annealed_problem::maximin: return reference::maximin(design, kind, weights);
    default: return reference::cd2(design, weights);
    }
}

void expect_sound_search(annealed_problem problem, std::int64_t rounds)
{
    for (const auto what : {annealed_problem::phip, annealed_problem::maximin, annealed_problem::centered_l2}) {
        problem.what = what;
        const double before = by_definition(problem, problem.levels);
        const annealing_result result = result_of(problem, rounds);
        expect_same_columns(problem, result);
        EXPECT_EQ(result.rounds, rounds);
        const double after = by_definition(problem, result.levels);
        EXPECT_NEAR(result.objective, after, 1e-9 * std::fabs(after));
        EXPECT_LT(after, before);
    }
}

} // namespace

TEST(annealing, columns_stay_permutations_and_the_objective_is_that_of_the_definition)
{
    expect_sound_search(random_problem(23, 4, annealed_problem::phip), 30);
}

TEST(annealing, rectangular_distances_and_odd_exponents)
{
    annealed_problem problem = random_problem(17, 3, annealed_problem::phip);
    problem.euclidean = false;
    problem.p = 7;
    expect_sound_search(problem, 30);
}

TEST(annealing, weights_count_and_columns_without_weight_or_share_stay)
{
    annealed_problem problem = random_problem(20, 4, annealed_problem::phip);
    problem.weights = {1.0, 0.25, 1e-16, 0.7};
    problem.shares = {1.0, 0.5, 1.0, 0.0};
    expect_sound_search(problem, 30);
    const annealing_result result = result_of(problem, 30);
    for (std::size_t i = 0; i < problem.levels.size(); ++i)
        if (i % 4 >= 2) {
            EXPECT_EQ(result.levels[i], problem.levels[i]);
        }
}

TEST(annealing, fixed_rows_stay)
{
    annealed_problem problem = random_problem(19, 3, annealed_problem::phip);
    problem.fixed_rows = 6;
    expect_sound_search(problem, 30);
}

TEST(annealing, balanced_columns_keep_their_levels)
{
    expect_sound_search(random_problem(24, 4, annealed_problem::phip, 6), 30);
}

TEST(annealing, the_same_arguments_give_the_same_bits)
{
    for (const auto what : {annealed_problem::phip, annealed_problem::maximin, annealed_problem::centered_l2}) {
        const annealed_problem problem = random_problem(30, 3, what);
        const annealing_result first = result_of(problem, 100);
        EXPECT_EQ(first.levels, result_of(problem, 100).levels);
        EXPECT_NE(first.levels, result_of(problem, 100, 2).levels);
    }
}

TEST(annealing, a_search_that_is_stopped_is_repeated_by_its_number_of_rounds)
{
    const std::int64_t rounds = 200;
    for (const auto what : {annealed_problem::phip, annealed_problem::maximin, annealed_problem::centered_l2})
        for (const std::int64_t end : {0, 1, 3, 4, 7, 15, 22, 30, 60, 150, 200}) {
            const annealed_problem problem = random_problem(25, 3, what);
            const annealing_result stopped = optdoe::anneal(
                problem, {7, rounds, rounds}, [&](const auto& progress) { return progress.round == end; });
            const annealing_result planned = optdoe::anneal(problem, {7, rounds, std::max<std::int64_t>(end, 1)}, {});
            if (end > 0) {
                EXPECT_EQ(stopped.rounds, end);
                EXPECT_EQ(stopped.levels, planned.levels);
            }
        }
}

TEST(annealing, progress_tells_the_objective_of_the_best)
{
    for (const auto what : {annealed_problem::phip, annealed_problem::maximin, annealed_problem::centered_l2}) {
        annealed_problem problem = random_problem(25, 4, what);
        problem.weights = {1.0, 0.5, 1.0, 0.8};
        problem.p = 22; // of which the integer power makes another exponent
        double told = 0.0;
        const annealing_result result = optdoe::anneal(problem, {7, 100, 100}, [&](const auto& progress) {
            told = progress.best;
            return false;
        });
        EXPECT_NEAR(told, result.objective, 1e-4 * std::fabs(result.objective));
        const double value = by_definition(problem, result.levels);
        EXPECT_NEAR(result.objective, value, 1e-9 * std::fabs(value));
    }
}

TEST(annealing, the_best_gets_better_with_the_rounds)
{
    const annealed_problem problem = random_problem(25, 3, annealed_problem::phip);
    double before = by_definition(problem, problem.levels);
    for (const std::int64_t end : {0, 1, 5, 20, 40, 80, 120, 200}) {
        const double value = optdoe::anneal(problem, {7, 200, end}, {}).objective;
        EXPECT_LE(value, before * (1.0 + 1e-6));
        before = value;
    }
}

TEST(annealing, small_designs_reach_the_best_known)
{
    EXPECT_NEAR(result_of(random_problem(20, 2, annealed_problem::phip), 6000).objective, 5.0042984, 1e-6);
    EXPECT_NEAR(result_of(random_problem(20, 2, annealed_problem::centered_l2), 1000).objective, 0.000769353, 1e-9);
}

TEST(annealing, lattices_of_100_rows_have_their_known_value)
{
    const annealed_problem problem = random_problem(100, 2, annealed_problem::phip);
    const optdoe::lattice_starts starts(problem);
    double best = 1e9;
    for (std::int64_t i = 0; i < starts.count(); ++i) {
        std::vector<std::int32_t> columns;
        starts.make(i, &columns);
        std::vector<std::int32_t> levels(columns.size());
        for (std::size_t r = 0; r < 100; ++r)
            for (std::size_t c = 0; c < 2; ++c)
                levels[2 * r + c] = columns[100 * c + r];
        annealing_result as_columns{levels, 0.0, 0};
        expect_same_columns(problem, as_columns);
        best = std::min(best, optdoe::annealed_objective(problem, levels));
    }
    EXPECT_NEAR(best, 12.23265, 1e-5);
    EXPECT_LE(result_of(problem, 2500).objective, best);
}

TEST(annealing, lattices_of_other_periods_are_better_at_50_rows)
{
    // Better than good lattice points, 8.4349, and what anneals from random designs find in seconds.
    EXPECT_LT(result_of(random_problem(50, 2, annealed_problem::phip), 600).objective, 8.2945);
}

TEST(annealing, two_rows_that_may_move_are_enough)
{
    annealed_problem problem = random_problem(5, 2, annealed_problem::phip);
    problem.fixed_rows = 3;
    EXPECT_TRUE(optdoe::can_anneal(problem));
    expect_same_columns(problem, result_of(problem, 3));
}

TEST(annealing, what_cannot_be_annealed_is_refused)
{
    annealed_problem problem = random_problem(6, 2, annealed_problem::phip);
    problem.shares = {0.0, 0.0};
    EXPECT_FALSE(optdoe::can_anneal(problem));
    EXPECT_THROW(result_of(problem, 3), std::invalid_argument);
    problem.shares.clear();
    problem.levels[3] = 6;
    EXPECT_THROW(result_of(problem, 3), std::invalid_argument);
}

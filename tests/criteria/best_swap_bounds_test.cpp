// The best exchange from bounds, with values that the tests choose.
#include "optdoe/criteria/best_swap.h"

#include "tests/support/test_run.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <numeric>
#include <vector>

namespace {

std::vector<double> values; ///< by the first row of the exchange
int trials = 0;

double value_of_first_row(run_context*, std::int32_t, std::int32_t a, std::int32_t)
{
    ++trials;
    return values[static_cast<std::size_t>(a)];
}

struct result {
    std::int32_t best;
    double value;
    int trials;
};

result best_within(const std::vector<double>& low, const std::vector<double>& high)
{
    test_run run;
    std::vector<std::int32_t> rows(values.size());
    std::iota(rows.begin(), rows.end(), 0);
    const swap_candidates candidates{value_of_first_row, 0, static_cast<std::int32_t>(values.size()), rows.data(),
                                     rows.data()};
    result found{};
    trials = 0;
    found.best = unique_best_within_bounds(run.ctx(), candidates, low.data(), high.data(), &found.value);
    found.trials = trials;
    return found;
}

} // namespace

TEST(bestswapbounds, what_lies_above_another_candidate_is_not_tried)
{
    values = {5.0, 3.0, 9.0, 4.0};
    const result found = best_within({4.5, 2.5, 8.5, 2.9}, {5.5, 3.5, 9.5, 4.5});
    EXPECT_EQ(found.best, 1);
    EXPECT_EQ(found.value, 3.0);
    EXPECT_EQ(found.trials, 2);
}

TEST(bestswapbounds, a_least_value_that_comes_twice_is_not_told)
{
    values = {3.0, 7.0, 3.0, 8.0};
    const result found = best_within({2.0, 6.0, 2.0, 7.0}, {4.0, 8.0, 4.0, 9.0});
    EXPECT_EQ(found.best, -1);
    EXPECT_EQ(found.trials, 2);
}

TEST(bestswapbounds, beside_a_value_that_is_no_number_nothing_is_told)
{
    for (std::size_t at = 0; at < 4; ++at) {
        values = {5.0, 4.0, 6.0, 7.0};
        values[at] = NAN;
        const result found = best_within({NAN, NAN, NAN, NAN}, {NAN, NAN, NAN, NAN});
        EXPECT_EQ(found.best, -1) << at;
        EXPECT_EQ(found.trials, static_cast<int>(at) + 1);
    }
}

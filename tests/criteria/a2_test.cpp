#include "criteria/criterion.h"

#include "reference/criteria_reference.h"
#include "support/search_run.h"

#include <gtest/gtest.h>

namespace {

double a2_of(const table& start)
{
    search_run run(start, [](run_settings& s) { s.criterion.criterion_id = 3; });
    return crit_value(run.ctx());
}

} // namespace

TEST(a2, an_orthogonal_array_has_the_value_zero)
{
    EXPECT_EQ(a2_of(table(3, {0, 0, 0, 0, 1, 1, 1, 0, 1, 1, 1, 0})), 0.0);
}

TEST(a2, balanced_designs_have_the_value_of_the_word_length_pattern)
{
    random_stream random{3};
    for (const auto& [n, k, repeats] : {std::tuple{12, 3, 4}, {12, 4, 6}, {16, 3, 4}, {10, 2, 5}, {8, 3, 1}}) {
        const table start = random_levels(n, k, random, repeats);
        EXPECT_NEAR(a2_of(start), reference::a2_by_contrasts(start), 1e-12) << n << ' ' << repeats;
    }
}

TEST(a2, factors_of_different_level_counts)
{
    const table start(2, {0, 0, 0, 1, 0, 2, 1, 0, 1, 1, 1, 2});
    EXPECT_NEAR(a2_of(start), 0.0, 1e-15);
    const table aliased(2, {0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 1, 2});
    EXPECT_NEAR(a2_of(aliased), reference::a2_by_contrasts(aliased), 1e-14);
    EXPECT_GT(a2_of(aliased), 0.1);
}

#include "criteria/criterion.h"

#include "reference/criteria_reference.h"
#include "support/search_run.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

double entropy_of(const table& start, const std::vector<double>& thetas, const std::vector<double>& kinds)
{
    search_run run(start, [&](run_settings& s) {
        s.criterion.criterion_id = 0;
        s.criterion.params.param_count_1 = static_cast<std::int32_t>(thetas.size());
        s.criterion.params.param_list_1 = thetas.data();
        s.criterion.params.param_count_2 = static_cast<std::int32_t>(kinds.size());
        s.criterion.params.param_list_2 = kinds.data();
    });
    return crit_value(run.ctx());
}

} // namespace

TEST(entropy, two_points_have_a_closed_form)
{
    const table start(1, {0.0, 1.0});
    EXPECT_NEAR(entropy_of(start, {}, {}), -std::log(1.0 - std::exp(-10.0)), 1e-15);
    EXPECT_NEAR(entropy_of(start, {}, {1}), -std::log(1.0 - std::exp(-6.0)), 1e-15);
    EXPECT_NEAR(entropy_of(start, {0.7}, {2}), -std::log(1.0 - std::exp(-1.4)), 1e-15);
}

TEST(entropy, thetas_outside_their_range_fall_back_and_a_short_list_leaves_the_rest)
{
    random_stream random{3};
    const table start = random_unit_design(7, 3, random);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double standard = entropy_of(start, {}, {});
    for (const double theta : {-1.0, 1000.1, nan, 5.0})
        EXPECT_EQ(entropy_of(start, {theta}, {}), standard) << theta;
    EXPECT_EQ(entropy_of(start, {5, 5}, {}), standard);
    EXPECT_EQ(entropy_of(start, {4, 5}, {}), entropy_of(start, {4, 5, 5}, {}));
    EXPECT_EQ(entropy_of(start, {4, 2}, {1}), entropy_of(start, {4, 2, 3, 99}, {1}));
    EXPECT_EQ(entropy_of(start, {4}, {}), entropy_of(start, {4, 4, 4}, {}));
    EXPECT_NE(entropy_of(start, {4}, {}), standard);
}

TEST(entropy, identical_points_have_the_worst_value)
{
    EXPECT_EQ(entropy_of(table(2, {0, 0, 0, 0, 1, 1}), {}, {}), 1e20);
}

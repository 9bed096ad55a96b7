#include "criteria/criterion.h"

#include "reference/criteria_reference.h"
#include "support/search_run.h"

#include <gtest/gtest.h>

namespace {

double cd2_of(const table& start)
{
    search_run run(start, [](run_settings& s) { s.criterion.criterion_id = 2; });
    return crit_value(run.ctx());
}

} // namespace

TEST(cd2, two_points_have_a_closed_form)
{
    // Points 1/4 and 3/4, both at distance 1/4 from the centre.
    const double single = 1.0 + 0.125 - 0.03125;
    EXPECT_NEAR(cd2_of(table(1, {0.25, 0.75})), 13.0 / 12.0 - 2.0 * single + (2.0 * 1.25 + 2.0 * 1.0) / 4.0, 1e-15);
}

TEST(cd2, reflecting_a_column_changes_nothing)
{
    random_stream random{3};
    table start = random_unit_design(9, 3, random);
    const double value = cd2_of(start);
    for (int i = 0; i < 9; ++i)
        start[i][1] = 1.0 - start[i][1];
    EXPECT_NEAR(cd2_of(start), value, 1e-14);
}

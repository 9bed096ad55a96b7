#include "api/settings/settings_by_name.h"
#include "api/text/errors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace optdoe;
using testing::HasSubstr;

namespace {

void expect_refused(setting_id id, const char* text, const char* message)
{
    settings s;
    try {
        set_by_name(s, id, text);
        ADD_FAILURE() << text << " is accepted";
    } catch (const usage_error& error) {
        EXPECT_THAT(error.what(), HasSubstr(message));
    }
    EXPECT_EQ(text_of(s, id), "");
}

} // namespace

TEST(settingsbyname, numbers_outside_of_their_range_are_refused_where_they_are_set)
{
    expect_refused(setting_id::cooling, "1", "--cooling: 1 is not in 0.5 .. 0.999");
    expect_refused(setting_id::target, "1e21", "--target: 1e21 is not in -1e20 .. 1e20");
    expect_refused(setting_id::time, "0s", "--time: 0 is not in 0.0001 .. 1000000");
    expect_refused(setting_id::theta, "5,0", "--theta: 0 is not in 1e-40 .. 1000");
    expect_refused(setting_id::exponent, "101", "--p: 101 is not in 0 .. 100");
    expect_refused(setting_id::levels, "0", "--levels: 0 is not in 1 .. ");
}

TEST(settingsbyname, ends_that_depend_on_the_design_are_left_to_the_check)
{
    settings s;
    set_by_name(s, setting_id::pairs, "1000000");
    set_by_name(s, setting_id::levels, "1000000");
    EXPECT_THROW(s.check(20, 3), usage_error);
}

#include "api/text/errors.h"
#include "api/text/text.h"

#include <gtest/gtest.h>

using namespace optdoe;

TEST(text, numbers_fill_the_whole_text)
{
    EXPECT_EQ(parse_number("1.5"), 1.5);
    EXPECT_EQ(parse_number("+2e3"), 2000.0);
    for (const char* bad : {"", "1,5", "1.5x", " 1", "+", "++1", "+-1", "nan", "inf", "1e999", "0x10"})
        EXPECT_FALSE(parse_number(bad)) << bad;
}

TEST(text, whole_numbers_have_no_point)
{
    EXPECT_EQ(parse_integer("-12"), -12);
    for (const char* bad : {"", "1.0", "1e3", "99999999999999999999"})
        EXPECT_FALSE(parse_integer(bad)) << bad;
}

TEST(text, durations_have_units)
{
    EXPECT_EQ(parse_duration("30"), 30.0);
    EXPECT_EQ(parse_duration("30s"), 30.0);
    EXPECT_EQ(parse_duration("1.5m"), 90.0);
    EXPECT_EQ(parse_duration("2h"), 7200.0);
    for (const char* bad : {"", "s", "m", "2d", "1m30s", "m2"})
        EXPECT_FALSE(parse_duration(bad)) << bad;
}

TEST(text, lists_name_the_bad_element)
{
    EXPECT_EQ(parse_list("--x", "1,0.5,2"), (std::vector<double>{1.0, 0.5, 2.0}));
    for (const char* bad : {"", "1,", ",1", "1;2"})
        EXPECT_THROW(parse_list("--x", bad), usage_error) << bad;
}

TEST(text, written_numbers_read_back_the_same)
{
    for (const double value : {0.1, 1.0 / 3.0, 1e-300, -2.5, 1e22, 77.0})
        EXPECT_EQ(parse_number(number_text(value)), value);
    EXPECT_EQ(number_text(77.0), "77");
    EXPECT_EQ(number_text(-0.0), "0");
}

TEST(text, shell_words_survive_quoting)
{
    EXPECT_EQ(shell_quoted("--time"), "--time");
    EXPECT_EQ(shell_quoted(""), "''");
    EXPECT_EQ(shell_quoted("a b"), "'a b'");
    EXPECT_EQ(shell_quoted("it's `x`"), "'it'\\''s `x`'");
}

TEST(text, html_has_no_live_characters)
{
    EXPECT_EQ(html_escaped("<a b=\"c\" d='e'>&"), "&lt;a b=&quot;c&quot; d=&#39;e&#39;&gt;&amp;");
}

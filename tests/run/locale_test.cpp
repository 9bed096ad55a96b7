/// The host may have set any locale before it calls. The build makes the two that are used here.
#include "optdoe/run/messages.h"

#include "hosts/embedded/embedded_host.h"

#include "optdoe/search/search_driver.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

namespace {

/// Sets the locale of the process; false, and nothing set, where the build had nothing to make it of.
bool set_locale(const char* name)
{
    setenv("LOCPATH", TEST_LOCALES, 1);
    return std::setlocale(LC_ALL, name) != nullptr;
}

std::string printed(const char* format, double value)
{
    char text[message_capacity];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

/// The status lines of a run, but for its computation time.
std::vector<std::string> lines_of_run()
{
    choice_counter = 0;
    embedded_host host;
    std::vector<std::string> lines;
    host.on_status_line = [&](std::string_view line) {
        if (!line.starts_with("Computation time"))
            lines.emplace_back(line);
    };
    EXPECT_TRUE(host.run(8, 3, 0.5, 5));
    return lines;
}

class locale : public testing::TestWithParam<const char*> {
protected:
    void TearDown() override { std::setlocale(LC_ALL, "C"); }
};

} // namespace

TEST_P(locale, a_number_has_the_text_of_the_c_locale)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const std::vector<double> values{0.0,  -0.0,    0.5,      -0.25,    3.660215,  59.9996,     -1234567.891,
                                     1e20, DBL_MAX, -DBL_MAX, infinity, -infinity, std::nan("")};
    std::vector<std::string> expected;
    for (const double value : values)
        for (const char* format : {"%.2f", "%.3f", "%f"})
            expected.push_back(printed(format, value));
    if (!set_locale(GetParam()))
        GTEST_SKIP() << "no " << GetParam() << ": the build found no localedef, or no source of this locale";
    ASSERT_NE(printed("%.1f", 0.5), "0.5");
    std::size_t next = 0;
    for (const double value : values)
        for (const int decimals : {2, 3, 6})
            EXPECT_EQ(fixed_text(value, decimals).text, expected[next++]);
}

TEST_P(locale, the_lines_of_a_run_are_those_of_the_c_locale)
{
    const std::vector<std::string> expected = lines_of_run();
    ASSERT_EQ(expected.front(), "Maximum time to optimize matrix      = 0.50 minutes");
    if (!set_locale(GetParam()))
        GTEST_SKIP() << "no " << GetParam() << ": the build found no localedef, or no source of this locale";
    EXPECT_EQ(lines_of_run(), expected);
    EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), GetParam());
    char line[message_capacity];
    format_computation_time(line, sizeof line, 59999.0);
    EXPECT_STREQ(line, "Computation time                     = 59.999 seconds");
    format_computation_time(line, sizeof line, 60000.0);
    EXPECT_STREQ(line, "Computation time                     = 1.00 minutes");
}

// A comma, and a separator of two bytes.
INSTANTIATE_TEST_SUITE_P(names, locale, testing::Values("de_DE.UTF-8", "ps_AF.UTF-8"));

#include "optdoe/run/messages.h"

#include "tests/support/test_run.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cwchar>
#include <limits>

namespace {

std::string computation_time(double elapsed_ms)
{
    char line[message_capacity];
    format_computation_time(line, sizeof line, elapsed_ms);
    return line;
}

} // namespace

TEST(messages, format_text_is_bounded_and_tells_the_whole_length)
{
    char buffer[8] = "xxxxxxx";
    EXPECT_EQ(format_text(buffer, sizeof buffer, "%d-%s", 12, "abcdefgh"), 11);
    EXPECT_STREQ(buffer, "12-abcd");
    EXPECT_EQ(format_text(buffer, sizeof buffer, "%d", 5), 1);
    EXPECT_STREQ(buffer, "5");
}

TEST(messages, a_text_that_cannot_be_formatted_is_empty)
{
    // The "C" locale has no bytes for this character.
    constexpr auto foreign = static_cast<std::wint_t>(0x20AC);
    char buffer[8] = "xxxxxxx";
    EXPECT_EQ(format_text(buffer, sizeof buffer, "%lc", foreign), -1);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(format_text(buffer + 1, 0, "%lc", foreign), -1);
    EXPECT_EQ(buffer[1], 'x');
}

TEST(messages, a_line_holds_the_longest_double)
{
    char buffer[message_capacity];
    EXPECT_EQ(format_text(buffer, sizeof buffer, "Criterion Objective at iteration %d   = %s",
                          std::numeric_limits<std::int32_t>::min(), fixed_text(-DBL_MAX, 6).text),
              366);
    EXPECT_EQ(std::string(buffer).substr(359), ".000000");
}

TEST(messages, seconds_below_one_minute_then_minutes)
{
    EXPECT_EQ(computation_time(59999.0), "Computation time                     = 59.999 seconds");
    EXPECT_EQ(computation_time(60000.0), "Computation time                     = 1.00 minutes");
    EXPECT_EQ(computation_time(0.0), "Computation time                     = 0.000 seconds");
    EXPECT_EQ(computation_time(5400000.0), "Computation time                     = 90.00 minutes");
}

TEST(messages, a_status_line_reaches_the_host_unchanged)
{
    test_run run;
    EXPECT_TRUE(run.completes([&] { status_message(run.ctx(), "\nhalf 50% \xc3\xa9\n"); }));
    EXPECT_EQ(run.lines, std::vector<std::string>{"\nhalf 50% \xc3\xa9\n"});
    EXPECT_TRUE(run.host.violations().empty());
}

TEST(messages, the_stop_flag_is_the_hosts_int)
{
    test_run run;
    for (const int flag : {0, 1, -7, 1 << 30}) {
        run.host.on_stop_poll = [&] { return flag; };
        int answer = 99;
        EXPECT_TRUE(run.completes([&] { answer = poll_stop_flag(run.ctx()); }));
        EXPECT_EQ(answer, flag);
    }
}

TEST(messages, a_missing_method_leaves_with_the_hosts_exception)
{
    test_run run;
    run.host.faults.no_stop_method = true;
    EXPECT_FALSE(run.completes([&] { poll_stop_flag(run.ctx()); }));
    EXPECT_EQ(run.host.pending(), (host_exception{"java/lang/NoSuchMethodError", "getStopFlag"}));
    run.host.begin_call();
    run.host.faults.no_status_method = true;
    EXPECT_FALSE(run.completes([&] { status_message(run.ctx(), "text"); }));
    EXPECT_EQ(run.host.pending(), (host_exception{"java/lang/NoSuchMethodError", "addStatusMessage"}));
    EXPECT_TRUE(run.host.violations().empty());
}

TEST(messages, a_callback_that_throws_leaves_with_its_exception)
{
    test_run run;
    run.host.faults.throw_at_callback = 0;
    EXPECT_FALSE(run.completes([&] { status_message(run.ctx(), "text"); }));
    EXPECT_EQ(run.host.pending(), run.host.faults.thrown);
    run.host.begin_call();
    EXPECT_FALSE(run.completes([&] { poll_stop_flag(run.ctx()); }));
    EXPECT_EQ(run.host.pending(), run.host.faults.thrown);
    EXPECT_TRUE(run.host.violations().empty());
}

TEST(messages, a_string_that_cannot_be_made_leaves_with_the_hosts_exception)
{
    test_run run;
    run.host.faults.null_string_at = 0;
    EXPECT_FALSE(run.completes([&] { status_message(run.ctx(), "text"); }));
    EXPECT_EQ(run.host.pending()->class_name, "java/lang/OutOfMemoryError");
    EXPECT_TRUE(run.host.violations().empty());
    EXPECT_TRUE(run.lines.empty());
}

TEST(messages, elapsed_time_survives_the_wrap_of_its_ticks)
{
    test_run run;
    const std::uint32_t now = static_cast<std::uint32_t>(current_ticks());
    run->globals->start_ticks = static_cast<std::int32_t>(now - 0x7FFF0000u);
    EXPECT_GE(elapsed_ticks(run.ctx()), 2147418112.0);
    EXPECT_LT(elapsed_ticks(run.ctx()), 2147483648.0);
}

TEST(messages, the_budget_flag_turns_for_good)
{
    test_run run;
    EXPECT_EQ(check_time_budget(run.ctx(), 60000.0), 1);
    run->globals->start_ticks -= 5000;
    EXPECT_EQ(check_time_budget(run.ctx(), 60000.0), 1);
    EXPECT_EQ(check_time_budget(run.ctx(), 4999.0), 0);
    EXPECT_EQ(check_time_budget(run.ctx(), 60000.0), 0);
    EXPECT_TRUE(run.lines.empty());
}

TEST(messages, a_nan_budget_asks_and_changes_nothing)
{
    test_run run;
    run->globals->start_ticks -= 5000;
    EXPECT_EQ(check_time_budget(run.ctx(), std::numeric_limits<double>::quiet_NaN()), 1);
    EXPECT_TRUE(run.lines.empty());
}

TEST(messages, the_report_adds_the_warning_once_the_budget_was_exceeded)
{
    test_run run;
    run->globals->start_ticks -= 65000;
    EXPECT_TRUE(run.completes([&] { report_computation_time(run.ctx()); }));
    EXPECT_EQ(run.lines, std::vector<std::string>{"Computation time                     = 1.08 minutes"});
    run->globals->within_budget = 0;
    EXPECT_TRUE(run.completes([&] { report_computation_time(run.ctx()); }));
    ASSERT_EQ(run.lines.size(), 3u);
    EXPECT_EQ(run.lines[2], "WARNING: Time-limit exceeded - design matrix may not be optimal");
}

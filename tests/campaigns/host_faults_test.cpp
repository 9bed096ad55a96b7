// A host that misbehaves: it throws at every callback in turn, lacks a method, calls optdoe from inside a callback,
// stops at every poll in turn.

#include "tests/campaigns/cells.h"
#include "tests/support/failing_storage.h"

#include "hosts/embedded/embedded_host.h"
#include "optdoe/search/search_driver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>

namespace {

constexpr int n = 6;
constexpr int k = 3;
constexpr int rounds = 12;

class hostcampaign : public testing::TestWithParam<cell> {
protected:
    hostcampaign() : run(GetParam(), n, k, 0, rounds) {}

    std::optional<std::vector<std::int32_t>> call(embedded_host& host)
    {
        return host.run(n, k, 1000.0, 5, &run.extras);
    }

    /// Calls and checks that nothing is left.
    std::optional<std::vector<std::int32_t>> watched_call(embedded_host& host)
    {
        failing_storage::watch();
        const auto result = call(host);
        EXPECT_EQ(failing_storage::live_blocks(), 0);
        failing_storage::stop();
        EXPECT_TRUE(host.violations().empty());
        return result;
    }

    cell_run run;
};

/// Each column holds the levels that it held at the start, in some order, to the accuracy of the scaling.
bool same_levels_per_column(const double* a, const double* b)
{
    for (int j = 0; j < k; ++j) {
        std::vector<double> left, right;
        for (int i = 0; i < n; ++i) {
            left.push_back(std::round(a[i * k + j]));
            right.push_back(std::round(b[i * k + j]));
            if (std::fabs(a[i * k + j] - left.back()) > 1e-9)
                return false;
        }
        std::sort(left.begin(), left.end());
        std::sort(right.begin(), right.end());
        if (left != right)
            return false;
    }
    return true;
}

TEST_P(hostcampaign, whatever_a_callback_throws_comes_back_to_the_host)
{
    embedded_host undisturbed;
    const auto expected = call(undisturbed);
    const int callbacks = undisturbed.line_count() + undisturbed.poll_count();
    for (const char* thrown : {"java/lang/IllegalStateException", "java/lang/StackOverflowError"}) {
        for (int at = 0; at < callbacks; ++at) {
            embedded_host host;
            host.faults.throw_at_callback = at;
            host.faults.thrown = {thrown, "thrown by the host"};
            ASSERT_EQ(watched_call(host), std::nullopt) << at;
            ASSERT_EQ(host.pending(), host.faults.thrown) << at;
            ASSERT_EQ(host.line_count() + host.poll_count(), at + 1);
            ASSERT_EQ(run.outcome.reason, end_reason::failed);
            host.faults = {};
            ASSERT_EQ(watched_call(host), expected) << at;
        }
    }
    std::printf("%d cases\n", 2 * callbacks);
}

TEST_P(hostcampaign, a_string_that_cannot_be_made_ends_the_call)
{
    embedded_host undisturbed;
    call(undisturbed);
    for (int at = 0; at < undisturbed.line_count(); ++at) {
        embedded_host host;
        host.faults.null_string_at = at;
        ASSERT_EQ(watched_call(host), std::nullopt) << at;
        ASSERT_EQ(host.pending()->class_name, "java/lang/OutOfMemoryError");
        ASSERT_EQ(host.line_count(), at);
    }
    std::printf("%d cases\n", undisturbed.line_count());
}

TEST_P(hostcampaign, a_missing_method_or_array_ends_the_call)
{
    for (const host_faults& faults : {host_faults{.no_status_method = true}, host_faults{.no_stop_method = true},
                                      host_faults{.null_array = true}, host_faults{.null_elements = true}}) {
        embedded_host host;
        host.faults = faults;
        ASSERT_EQ(watched_call(host), std::nullopt);
        ASSERT_TRUE(host.pending());
    }
    std::printf("4 cases\n");
}

TEST_P(hostcampaign, a_stop_at_any_poll_returns_the_best_design_so_far)
{
    embedded_host undisturbed;
    const auto expected = call(undisturbed);
    ASSERT_TRUE(expected);
    const int polls = undisturbed.poll_count();
    const double reached = run.outcome.best_objective;
    const std::vector<double> undisturbed_design = run.design;
    ASSERT_GT(polls, 1);

    double previous = HUGE_VAL;
    for (int at = 0; at < polls; ++at) {
        embedded_host host;
        int poll = 0;
        double seen = HUGE_VAL;
        host.on_stop_poll = [&] {
            seen = run.outcome.best_objective;
            return poll++ == at ? 1 : 0;
        };
        ASSERT_TRUE(watched_call(host)) << at;
        ASSERT_EQ(host.poll_count(), at + 1);
        ASSERT_EQ(run.outcome.reason, end_reason::stop_requested);
        ASSERT_EQ(run.outcome.best_objective, seen);
        ASSERT_LE(run.outcome.best_objective, previous) << at;
        ASSERT_LE(run.outcome.best_objective, run.outcome.initial_objective);
        previous = run.outcome.best_objective;
        ASSERT_TRUE(same_levels_per_column(run.design.data(), undisturbed_design.data())) << at;

        // The objective that is told belongs to the design that is returned.
        cell_run evaluation(GetParam(), n, k, 0, rounds);
        evaluation.start_from(run.design.data());
        evaluation.pre_improvement = false;
        embedded_host evaluator;
        evaluator.on_stop_poll = [] { return 1; };
        ASSERT_TRUE(evaluator.run(n, k, 1000.0, 5, &evaluation.extras));
        ASSERT_NEAR(evaluation.outcome.initial_objective, run.outcome.best_objective,
                    1e-9 * (1.0 + std::fabs(run.outcome.best_objective)))
            << at;
    }
    EXPECT_LE(reached, previous);
    std::printf("%d cases\n", polls);
}

TEST_P(hostcampaign, a_call_from_inside_a_callback_is_a_call_of_its_own)
{
    embedded_host undisturbed;
    const auto expected = call(undisturbed);
    const double reached = run.outcome.best_objective;
    int nested_calls = 0;
    const auto call_again = [&] {
        embedded_host inner;
        cell_run inner_run(GetParam(), 4, 2, 0, 2);
        EXPECT_TRUE(inner.run(4, 2, 1000.0, 7 + nested_calls, &inner_run.extras));
        embedded_host failing;
        failing.faults.throw_at_callback = nested_calls % 5;
        EXPECT_EQ(failing.run(5, 2, 1000.0, 3), std::nullopt);
        EXPECT_TRUE(inner.violations().empty());
        nested_calls += 2;
    };
    embedded_host host;
    host.on_stop_poll = [&] { return call_again(), 0; };
    host.on_status_line = [&](std::string_view) { call_again(); };
    EXPECT_EQ(watched_call(host), expected);
    EXPECT_EQ(run.outcome.best_objective, reached);
    EXPECT_GT(nested_calls, 6);
    std::printf("%d cases\n", nested_calls);
}

INSTANTIATE_TEST_SUITE_P(cells, hostcampaign, testing::ValuesIn(all_cells()),
                         [](const auto& tested) { return tested.param.name(); });

} // namespace

#include "optdoe/entry/optdoe.h"

#include "tests/support/designs.h"
#include "tests/support/failing_storage.h"
#include "tests/support/test_run.h"

#include "hosts/embedded/embedded_host.h"
#include "optdoe/numeric/random_numbers.h"
#include "optdoe/search/search_driver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <limits>
#include <string>
#include <vector>

namespace {

using strings = std::vector<std::string>;
using levels = std::vector<std::int32_t>;

struct hosted : embedded_host {
    hosted()
    {
        on_status_line = [this](std::string_view line) { lines.emplace_back(line); };
    }
    strings lines;
};

const host_exception malloc_failed{"java/lang/OutOfMemoryError",
                                   "Storage exhausted by malloc() in Optimal Latin Hypercube plugin."};
const host_exception exhausted_on_entry{"java/lang/OutOfMemoryError",
                                        "Storage exhausted on entry in Optimal Latin Hypercube plugin."};

bool is_permutation_of_1_to(levels values, int n)
{
    std::sort(values.begin(), values.end());
    for (int i = 0; i < n; ++i)
        if (values[static_cast<std::size_t>(i)] != i + 1)
            return false;
    return values.size() == static_cast<std::size_t>(n);
}

} // namespace

TEST(optdoe, the_marker_function_returns_one)
{
    EXPECT_EQ(TORVALEN_STRUKTOR_ZUL4_INTERNAL_ZORBEXdoe_optimallatinhypercubeC(), 1);
}

TEST(optdoe, unusable_arguments_are_told_one_at_a_time)
{
    const struct {
        int n, k;
        double minutes;
        const char* line;
    } cases[] = {
        {1, 0, -1.0, "Must have at least 1 factor.\n"},
        {5, -3, 1.0, "Must have at least 1 factor.\n"},
        {1, 1, -1.0, "Must have at least 2 sample points.\n"},
        {INT32_MIN, 2, 1.0, "Must have at least 2 sample points.\n"},
        {5, 2, -0.5, "Maxtime must be a positive number.\n"},
        {5, 2, -std::numeric_limits<double>::infinity(), "Maxtime must be a positive number.\n"},
    };
    for (const auto& [n, k, minutes, line] : cases) {
        hosted host;
        EXPECT_EQ(host.run(n, k, minutes, 5), std::nullopt);
        EXPECT_EQ(host.lines, strings{line});
        EXPECT_EQ(host.pending(), std::nullopt);
        EXPECT_EQ(host.poll_count(), 0);
        EXPECT_EQ(host.violations(), strings{});
    }
}

TEST(optdoe, one_factor_returns_the_random_permutation_at_once)
{
    hosted host;
    const auto design = host.run(5, 1, 0.25, 5);
    ASSERT_TRUE(design);
    EXPECT_TRUE(is_permutation_of_1_to(*design, 5));
    EXPECT_EQ(host.lines, strings{"Maximum time to optimize matrix      = 0.25 minutes"});
    EXPECT_EQ(host.poll_count(), 0);
}

TEST(optdoe, the_time_line_holds_any_time)
{
    const struct {
        double minutes;
        const char* shown;
    } cases[] = {{0.0, "0.00"},
                 {-0.0, "-0.00"},
                 {1e9, "1000000000.00"},
                 {std::numeric_limits<double>::quiet_NaN(), "nan"},
                 {std::numeric_limits<double>::infinity(), "inf"}};
    for (const auto& [minutes, shown] : cases) {
        hosted host;
        EXPECT_TRUE(host.run(4, 2, minutes, 5)) << shown;
        EXPECT_EQ(host.lines[0], "Maximum time to optimize matrix      = " + std::string(shown) + " minutes");
    }
    hosted host;
    EXPECT_TRUE(host.run(4, 1, 1e300, 5));
    EXPECT_EQ(host.lines[0].size(), 39u + 301u + 3u + 8u);
}

TEST(optdoe, the_low_32_bits_of_the_seed_count)
{
    const auto design = [](std::int64_t seed) {
        choice_counter = 0;
        return hosted().run(8, 3, 1.0, seed);
    };
    EXPECT_EQ(design(5), design(0x100000005));
    EXPECT_EQ(design(5), design(INT64_MIN + 5));
    EXPECT_NE(design(5), design(6));
    EXPECT_EQ(design(5), design(5));
}

TEST(optdoe, a_seed_of_minus_one_comes_from_the_clock)
{
    // With a one-second clock two calls may share their seed, three calls over two seconds do not.
    hosted host;
    const auto first = host.run(30, 1, 1.0, -1);
    auto later = first;
    for (int attempt = 0; attempt < 400 && later == first; ++attempt) {
        const std::timespec pause{0, 5000000};
        nanosleep(&pause, nullptr);
        later = host.run(30, 1, 1.0, attempt % 2 == 0 ? -1 : 0x2FFFFFFFF);
    }
    EXPECT_NE(first, later);
}

TEST(optdoe, designs_that_no_array_can_hold_are_out_of_memory)
{
    for (const auto& [n, k] : {std::pair{65536, 65536}, {INT32_MAX, 2}, {2, INT32_MAX}, {46341, 46341}}) {
        hosted host;
        EXPECT_EQ(host.run(n, k, 1.0, 5), std::nullopt);
        EXPECT_EQ(host.pending(), malloc_failed);
        EXPECT_EQ(host.lines.size(), 1u);
        EXPECT_EQ(host.violations(), strings{});
    }
}

TEST(optdoe, levels_are_truncated_not_rounded)
{
    // 23 levels do not all survive the way to the unit interval and back.
    hosted host;
    std::vector<double> doubles(46);
    run_outcome outcome{};
    outcome.design = doubles.data();
    run_extras extras{};
    extras.outcome = &outcome;
    const auto design = host.run(23, 2, 1.0, 5, &extras);
    ASSERT_TRUE(design);
    bool lost = false;
    for (std::size_t i = 0; i < 46; ++i) {
        EXPECT_EQ((*design)[i], static_cast<std::int32_t>(doubles[i]));
        lost = lost || doubles[i] != (*design)[i];
    }
    EXPECT_TRUE(lost);
}

TEST(optdoe, extras_that_ask_for_nothing_change_nothing)
{
    choice_counter = 0;
    hosted plain;
    const auto expected = plain.run(9, 3, 1.0, 5);
    choice_counter = 0;
    hosted other;
    const run_extras nothing{};
    EXPECT_EQ(other.run(9, 3, 1.0, 5, &nothing), expected);
    ASSERT_EQ(other.lines.size(), plain.lines.size());
    EXPECT_TRUE(std::equal(plain.lines.begin(), plain.lines.end() - 1, other.lines.begin()));
}

TEST(optdoe, a_counter_of_its_own_makes_a_run_depend_on_its_arguments_alone)
{
    choice_counter = 5;
    std::optional<std::vector<std::int32_t>> first;
    for (int before = 0; before < 4; ++before) {
        std::atomic<std::uint32_t> rotation{0};
        run_extras extras{};
        extras.rotation = &rotation;
        hosted host;
        const auto design = host.run(9, 4, 1.0, 5, &extras);
        ASSERT_TRUE(design);
        EXPECT_GT(rotation.load(), 0u);
        EXPECT_EQ(choice_counter.load(), 5u + static_cast<std::uint32_t>(before)) << "the process's counter moved";
        EXPECT_EQ(design, first ? first : design);
        first = design;
        ++choice_counter; // as another run would
    }
    choice_counter = 0;
    hosted host;
    EXPECT_EQ(host.run(9, 4, 1.0, 5), first);
}

TEST(optdoe, an_interrupted_run_ends_wherever_it_reads_the_clock)
{
    // The clock is read before the pre-improvement, after each of its columns, and before each round.
    const auto ends_after = [](int readings) {
        int left = readings;
        run_outcome outcome{};
        run_extras extras{};
        extras.outcome = &outcome;
        extras.user = &left;
        extras.interrupted = [](void* user) { return (*static_cast<int*>(user))-- == 0; };
        hosted host;
        EXPECT_TRUE(host.run(9, 3, 1.0, 5, &extras));
        EXPECT_EQ(outcome.reason, end_reason::time_limit);
        return outcome.iterations;
    };
    EXPECT_EQ(ends_after(0), 0);
    EXPECT_EQ(ends_after(30), 0);
    EXPECT_EQ(ends_after(61), 0);
    EXPECT_EQ(ends_after(62), 1);
    EXPECT_EQ(ends_after(65), 4);
}

TEST(optdoe, a_starting_design_takes_the_place_of_the_random_one)
{
    // The design shuffled from the seed, given by hand, leads to the same result: the search seeds the generator
    // anew.
    test_run shuffled;
    table start(10, 2);
    random_latin_hypercube(shuffled.ctx(), 10, 2, start.data(), 5);
    const starting_design given{start[0], 0};
    run_extras extras{};
    extras.start = &given;
    hosted host;
    choice_counter = 0;
    const auto expected = host.run(10, 2, 1.0, 5);
    choice_counter = 0;
    EXPECT_EQ(host.run(10, 2, 1.0, 5, &extras), expected);
    std::swap(start[0][0], start[1][0]);
    choice_counter = 0;
    run_outcome outcome{};
    extras.outcome = &outcome;
    const auto design = host.run(10, 2, 1.0, 5, &extras);
    ASSERT_TRUE(design);
    EXPECT_NE(design, expected);
    EXPECT_LT(outcome.best_objective, outcome.initial_objective);
}

TEST(optdoe, fixed_rows_stay_and_come_back_with_the_design)
{
    const table start(2, {1, 1, 6, 6, 2, 3, 3, 5, 4, 2, 5, 4});
    const starting_design given{start[0], 2};
    run_outcome outcome{};
    run_extras extras{};
    extras.start = &given;
    extras.outcome = &outcome;
    for (int id = 0; id < 4; ++id) {
        hosted host;
        extras.user = &id;
        extras.edit_settings = [](run_settings* s, std::int32_t, void* user) {
            s->criterion.criterion_id = static_cast<std::int8_t>(*static_cast<int*>(user));
        };
        const auto design = host.run(4, 2, 1.0, 5, &extras);
        ASSERT_TRUE(design) << id;
        ASSERT_EQ(design->size(), 12u);
        EXPECT_EQ(levels(design->begin(), design->begin() + 4), (levels{1, 1, 6, 6})) << id;
        EXPECT_EQ(host.violations(), strings{});
    }
}

TEST(optdoe, a_factor_with_one_level_is_refused)
{
    const table start(2, {1, 4, 2, 4, 3, 4});
    const starting_design given{start[0], 0};
    run_extras extras{};
    extras.start = &given;
    hosted host;
    EXPECT_EQ(host.run(3, 2, 1.0, 5, &extras), std::nullopt);
    EXPECT_EQ(host.lines.back(), "\nSome factors have only 1 level!\n");
    EXPECT_EQ(host.pending(), std::nullopt);
}

TEST(optdoe, refused_settings_are_told_and_end_the_call)
{
    run_extras extras{};
    extras.edit_settings = [](run_settings* s, std::int32_t, void*) { s->criterion.criterion_id = 4; };
    hosted host;
    EXPECT_EQ(host.run(3, 2, 1.0, 5, &extras), std::nullopt);
    EXPECT_EQ(host.lines, (strings{"Maximum time to optimize matrix      = 1.00 minutes",
                                   "The function name of the given criterion is needed!", "Error in inputs.\n"}));
}

TEST(optdoe, the_time_argument_reaches_the_settings_in_seconds)
{
    const auto limit = [](double minutes) {
        double seconds = 0.0;
        run_extras extras{};
        extras.user = &seconds;
        extras.edit_settings = [](run_settings* s, std::int32_t, void* user) {
            *static_cast<double*>(user) = s->time_limit;
        };
        hosted().run(3, 2, minutes, 5, &extras);
        return seconds;
    };
    EXPECT_EQ(limit(5.0), 300.0);
    EXPECT_EQ(limit(0.0), -1.0);
    EXPECT_EQ(limit(1e9), 6e10);
}

TEST(optdoe, a_callback_that_throws_ends_the_call_wherever_it_is)
{
    hosted counting;
    ASSERT_TRUE(counting.run(5, 2, 1.0, 5));
    const int callbacks = counting.line_count() + counting.poll_count();
    ASSERT_GT(callbacks, 100);
    for (int at = 0; at < callbacks; ++at) {
        hosted host;
        host.faults.throw_at_callback = at;
        failing_storage::watch();
        EXPECT_EQ(host.run(5, 2, 1.0, 5), std::nullopt);
        EXPECT_EQ(failing_storage::live_blocks(), 0);
        failing_storage::stop();
        EXPECT_EQ(host.pending(), host.faults.thrown) << at;
        EXPECT_EQ(host.line_count() + host.poll_count(), at + 1);
        EXPECT_EQ(host.violations(), strings{}) << at;
    }
}

TEST(optdoe, a_host_that_fails_the_library_gets_its_own_exception_back)
{
    const struct {
        const char* what;
        host_faults faults;
        const char* pending;
    } cases[] = {
        {"no addStatusMessage", {.no_status_method = true}, "java/lang/NoSuchMethodError"},
        {"no getStopFlag", {.no_stop_method = true}, "java/lang/NoSuchMethodError"},
        {"first string", {.null_string_at = 0}, "java/lang/OutOfMemoryError"},
        {"later string", {.null_string_at = 5}, "java/lang/OutOfMemoryError"},
        {"array", {.null_array = true}, "java/lang/OutOfMemoryError"},
        {"elements", {.null_elements = true}, "java/lang/OutOfMemoryError"},
    };
    for (const auto& [what, faults, pending] : cases) {
        hosted host;
        host.faults = faults;
        failing_storage::watch();
        EXPECT_EQ(host.run(5, 2, 1.0, 5), std::nullopt) << what;
        EXPECT_EQ(failing_storage::live_blocks(), 0) << what;
        failing_storage::stop();
        ASSERT_TRUE(host.pending()) << what;
        EXPECT_EQ(host.pending()->class_name, pending) << what;
        EXPECT_EQ(host.violations(), strings{}) << what;
        host.faults = {};
        EXPECT_TRUE(host.run(5, 2, 1.0, 5)) << what;
    }
}

TEST(optdoe, ten_thousand_short_calls_leave_nothing)
{
    hosted host;
    failing_storage::watch();
    for (int call = 0; call < 10000; ++call)
        ASSERT_TRUE(host.run(3, 1, 1.0, call));
    EXPECT_EQ(failing_storage::live_blocks(), 0);
    failing_storage::stop();
}

/// Every allocation of a small run fails in turn.
class optdoestorage : public testing::TestWithParam<int> {};

TEST_P(optdoestorage, each_failed_allocation_raises_once_and_leaves_no_block)
{
    int id = GetParam();
    random_stream random{6};
    const table start = random_levels(6, 3, random, id == 3 ? 3 : 1);
    const starting_design given{start[0], 2};
    run_extras extras{};
    extras.user = &id;
    extras.edit_settings = [](run_settings* s, std::int32_t, void* user) {
        s->criterion.criterion_id = static_cast<std::int8_t>(*static_cast<int*>(user));
        s->iteration_budget = 2;
        s->moves_per_iteration = 3;
    };
    // From the random start and from a given one with fixed rows.
    for (const bool from_given : {false, true}) {
        extras.start = from_given ? &given : nullptr;
        const auto run_once = [&](hosted& host) { return host.run(4, 3, 1.0, 5, &extras); };

        choice_counter = 0;
        hosted undisturbed;
        failing_storage::watch();
        const auto expected = run_once(undisturbed);
        const long requests = failing_storage::requests();
        EXPECT_EQ(failing_storage::live_blocks(), 0);
        failing_storage::stop();
        ASSERT_TRUE(expected);
        ASSERT_GT(requests, 40);

        for (long at = 0; at < requests; ++at) {
            hosted host;
            failing_storage::watch(at);
            const auto design = run_once(host);
            const long left = failing_storage::live_blocks();
            failing_storage::stop();
            ASSERT_EQ(design, std::nullopt) << at;
            ASSERT_EQ(left, 0) << at;
            // The context, eleven plain records, the status word and its chunk make the entry.
            ASSERT_EQ(host.pending(), at < 14 ? exhausted_on_entry : malloc_failed) << at;
            ASSERT_EQ(host.violations(), strings{}) << at;
            choice_counter = 0;
            ASSERT_EQ(run_once(host), expected) << at;
        }
    }
}

static std::string criterion_name(const testing::TestParamInfo<int>& tested)
{
    const char* const names[] = {"entropy", "phip", "cd2", "a2"};
    return names[tested.param];
}

INSTANTIATE_TEST_SUITE_P(criteria, optdoestorage, testing::Range(0, 4), criterion_name);

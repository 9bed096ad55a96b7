#include "optdoe/entry/memory_need.h"

#include "tests/support/designs.h"
#include "tests/support/failing_storage.h"
#include "tests/support/test_run.h"

#include "hosts/embedded/embedded_host.h"

#include <gtest/gtest.h>

#include <unistd.h>

extern "C" {
long __real_sysconf(int name);
long __wrap_sysconf(int name);
}

static int unknown_to_the_system = -1; ///< a name that sysconf has no answer to

long __wrap_sysconf(int name) { return name == unknown_to_the_system ? -1 : __real_sysconf(name); }

namespace {

const host_exception malloc_failed{"java/lang/OutOfMemoryError",
                                   "Storage exhausted by malloc() in Optimal Latin Hypercube plugin."};

struct tables {
    int criterion;
    double exponent; ///< below 0: not given
};

void choose(run_settings* s, std::int32_t, void* user)
{
    const auto& wanted = *static_cast<const tables*>(user);
    s->criterion.criterion_id = static_cast<std::int8_t>(wanted.criterion);
    if (wanted.exponent >= 0.0) {
        s->criterion.params.param_count_1 = 1;
        s->criterion.params.param_list_1 = &wanted.exponent;
    }
    s->pre_improvement = 0;
}

} // namespace

TEST(memory_need, the_bound_lies_below_what_a_run_allocates_and_not_far_below)
{
    for (tables wanted : {tables{0, -1.0}, {1, -1.0}, {1, 0.0}, {1, 5.0}, {2, -1.0}, {3, -1.0}}) {
        for (const int fixed : {0, 40}) {
            random_stream random{7};
            const int n = 240;
            const table start = random_levels(n + fixed, 3, random, 2);
            const starting_design given{start[0], fixed};
            criterion_options criterion{};
            run_settings settings{};
            choose(&settings, 3, &wanted);
            criterion = settings.criterion;
            run_extras extras{};
            extras.edit_settings = choose;
            extras.user = &wanted;
            extras.start = &given;
            embedded_host host;
            host.on_stop_poll = [] { return 1; };
            failing_storage::watch();
            ASSERT_TRUE(host.run(n, 3, 1.0, 5, &extras));
            const double allocated = static_cast<double>(failing_storage::peak_bytes());
            failing_storage::stop();
            const double bound = least_bytes_of_run(n, fixed, 3, &criterion);
            EXPECT_LE(bound, allocated) << wanted.criterion << " " << wanted.exponent << " " << fixed;
            EXPECT_GE(bound, wanted.exponent > 0.0 ? 0.35 * allocated : 0.6 * allocated)
                << wanted.criterion << " " << wanted.exponent << " " << fixed;
            EXPECT_LE(least_bytes_of_run(n, fixed, 3, nullptr), bound);
        }
    }
}

TEST(memory_need, many_factors_count_too)
{
    embedded_host host;
    host.on_stop_poll = [] { return 1; };
    failing_storage::watch();
    ASSERT_TRUE(host.run(10, 3000, 1e-5, 5));
    const double allocated = static_cast<double>(failing_storage::peak_bytes());
    failing_storage::stop();
    EXPECT_LE(least_bytes_of_run(10, 0, 3000, nullptr), allocated);
    EXPECT_GE(least_bytes_of_run(10, 0, 3000, nullptr), 0.4 * allocated);
    EXPECT_EQ(least_bytes_of_run(10, 0, 1, nullptr), 10.0 * 32.0); // no level structure, no criterion
}

TEST(memory_need, what_exceeds_the_machine_is_refused_before_it_is_touched)
{
    // Tables of 4e14 bytes and more: no machine that runs this test holds them.
    for (const auto& [n, k] : {std::pair{10000000, 2}, {1000000000, 2}, {100000000, 20}}) {
        embedded_host host;
        failing_storage::watch();
        EXPECT_EQ(host.run(n, k, 1.0, 5), std::nullopt);
        EXPECT_LT(failing_storage::requests(), 20);
        EXPECT_EQ(failing_storage::live_blocks(), 0);
        failing_storage::stop();
        EXPECT_EQ(host.pending(), malloc_failed);
        EXPECT_EQ(host.line_count(), 1);
        EXPECT_TRUE(host.violations().empty());
    }
}

TEST(memory_need, bytes_that_the_machine_has_pass)
{
    test_run run;
    EXPECT_TRUE(run.completes([&] { refuse_beyond_memory(run.ctx(), 1e6); }));
    EXPECT_FALSE(run.completes([&] { refuse_beyond_memory(run.ctx(), 1e18); }));
    EXPECT_EQ(run.host.pending(), malloc_failed);
}

TEST(memory_need, nothing_is_refused_where_the_machine_does_not_tell_its_memory)
{
    test_run run;
    for (const int name : {_SC_PHYS_PAGES, _SC_PAGESIZE}) {
        unknown_to_the_system = name;
        EXPECT_TRUE(run.completes([&] { refuse_beyond_memory(run.ctx(), 1e18); }));
        unknown_to_the_system = -1;
    }
}

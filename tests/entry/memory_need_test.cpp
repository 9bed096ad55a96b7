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
static double machine_bytes = 0.0;     ///< physical memory; 0: that of the machine

long __wrap_sysconf(int name)
{
    if (name == unknown_to_the_system)
        return -1;
    if (name == _SC_PHYS_PAGES && machine_bytes > 0.0)
        return static_cast<long>(machine_bytes / static_cast<double>(__real_sysconf(_SC_PAGESIZE)));
    return __real_sysconf(name);
}

namespace {

const host_exception malloc_failed{"java/lang/OutOfMemoryError",
                                   "Storage exhausted by malloc() in Optimal Latin Hypercube plugin."};

struct wanted_criterion {
    int id;
    double exponent; ///< below 0: not given
    double distance; ///< 0: not given
    bool pre_improvement;
};

void choose(run_settings* s, std::int32_t, void* user)
{
    const auto& wanted = *static_cast<const wanted_criterion*>(user);
    s->criterion.criterion_id = static_cast<std::int8_t>(wanted.id);
    if (wanted.exponent >= 0.0) {
        s->criterion.params.param_count_1 = 1;
        s->criterion.params.param_list_1 = &wanted.exponent;
    }
    if (wanted.distance > 0.0) {
        s->criterion.params.param_count_2 = 1;
        s->criterion.params.param_list_2 = &wanted.distance;
    }
    s->pre_improvement = wanted.pre_improvement;
}

const wanted_criterion wanted_criteria[] = {{0, -1.0, 0.0, false}, {1, -1.0, 0.0, false}, {1, 0.0, 0.0, false},
                                            {1, 0.0, 1.0, false},  {1, 1.0, 2.0, false},  {1, 5.0, 1.0, false},
                                            {2, -1.0, 0.0, false}, {3, -1.0, 0.0, false}};

criterion_options options_of(const wanted_criterion& wanted)
{
    run_settings settings{};
    choose(&settings, 0, const_cast<wanted_criterion*>(&wanted));
    return settings.criterion;
}

/// The most that a run holds, counted, when the host stops it at this poll.
double counted_bytes(wanted_criterion wanted, int free_rows, int fixed_rows, int factors, int stop_at_poll = 0)
{
    random_stream random{7};
    const table start = random_levels(free_rows + fixed_rows, factors, random);
    const starting_design given{start[0], fixed_rows};
    run_extras extras{};
    extras.edit_settings = choose;
    extras.user = &wanted;
    extras.start = &given;
    embedded_host host;
    host.on_stop_poll = [&, poll = 0]() mutable { return poll++ >= stop_at_poll; };
    failing_storage::watch();
    EXPECT_TRUE(host.run(free_rows, factors, 1.0, 5, &extras));
    const double counted = static_cast<double>(failing_storage::peak_bytes());
    failing_storage::stop();
    return counted;
}

} // namespace

TEST(memoryneed, the_least_never_exceeds_what_is_allocated)
{
    // From the smallest designs to both sides of the number of rows that have all distances.
    for (const int rows : {2, 3, 4, 5, 8, 20, 64, 240, 639, 640, 641, 705, 1300}) {
        for (const int fixed : {0, 1, rows - 2}) {
            for (const wanted_criterion& wanted : wanted_criteria) {
                const int free = rows - fixed;
                if (free < 2 || (wanted.id == 0 && rows > 705))
                    continue; // too few, or takes long
                const int factors = rows < 100 ? 7 : 2;
                const criterion_options options = options_of(wanted);
                const double counted = counted_bytes(wanted, free, fixed, factors);
                const double least = memory_of_run(free, fixed, factors, &options).least;
                const auto place = testing::Message()
                                   << wanted.id << " " << wanted.exponent << " " << free << " " << fixed;
                EXPECT_LE(least, counted) << place;
                EXPECT_GE(least, rows < 240 ? 0.0 : wanted.id == 1 ? 0.4 * counted : 0.6 * counted) << place;
                EXPECT_LE(memory_of_run(free, fixed, factors, nullptr).least, least) << place;
            }
        }
    }
}

TEST(memoryneed, many_factors_count_too)
{
    embedded_host host;
    host.on_stop_poll = [] { return 1; };
    failing_storage::watch();
    ASSERT_TRUE(host.run(10, 3000, 1e-5, 5));
    const double allocated = static_cast<double>(failing_storage::peak_bytes());
    failing_storage::stop();
    EXPECT_LE(memory_of_run(10, 0, 3000, nullptr).least, allocated);
    EXPECT_GE(memory_of_run(10, 0, 3000, nullptr).least, 0.4 * allocated);
    EXPECT_EQ(memory_of_run(10, 0, 1, nullptr).least, 10.0 * 32.0); // no level structure, no criterion
}

TEST(memoryneed, the_peak_is_near_that_of_a_run_with_rearrangements)
{
    for (wanted_criterion wanted : {wanted_criterion{0, -1.0, 0.0, true},
                                    {1, -1.0, 0.0, true},
                                    {1, 0.0, 0.0, true},
                                    {2, -1.0, 0.0, true},
                                    {3, -1.0, 0.0, true}}) {
        for (const int rows : {240, 700}) {
            if (wanted.id == 0 && rows > 240)
                continue; // takes long
            const criterion_options options = options_of(wanted);
            const double counted = counted_bytes(wanted, rows, 0, 2, 2);
            const double peak = memory_of_run(rows, 0, 2, &options).peak;
            EXPECT_LE(peak, 1.2 * counted) << wanted.id << " " << wanted.exponent << " " << rows;
            EXPECT_GE(peak, 0.6 * counted) << wanted.id << " " << wanted.exponent << " " << rows;
        }
    }
}

TEST(memoryneed, a_design_that_fits_is_not_refused)
{
    // Phi-p keeps two bytes for each pair of 80000 rows: 12.8 GB, and little beside it.
    const double least = memory_of_run(80000, 0, 2, nullptr).least;
    EXPECT_GE(least, 2.0 * 80000 * 80000);
    EXPECT_LE(least, 2.0 * 80000 * 80000 + 40e6);
    machine_bytes = 13e9;
    test_run run;
    EXPECT_TRUE(run.completes([&] { refuse_beyond_memory(run.ctx(), least); }));
    machine_bytes = 12.8e9;
    EXPECT_FALSE(run.completes([&] { refuse_beyond_memory(run.ctx(), least); }));
    machine_bytes = 0.0;
}

TEST(memoryneed, what_exceeds_the_machine_is_refused_before_it_is_touched)
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

TEST(memoryneed, bytes_that_the_machine_has_pass)
{
    test_run run;
    EXPECT_TRUE(run.completes([&] { refuse_beyond_memory(run.ctx(), 1e6); }));
    EXPECT_FALSE(run.completes([&] { refuse_beyond_memory(run.ctx(), 1e18); }));
    EXPECT_EQ(run.host.pending(), malloc_failed);
}

TEST(memoryneed, nothing_is_refused_where_the_machine_does_not_tell_its_memory)
{
    test_run run;
    for (const int name : {_SC_PHYS_PAGES, _SC_PAGESIZE}) {
        unknown_to_the_system = name;
        EXPECT_TRUE(run.completes([&] { refuse_beyond_memory(run.ctx(), 1e18); }));
        unknown_to_the_system = -1;
    }
}

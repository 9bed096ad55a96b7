// Allocations of a run fail: each alone, and each with all that follow, all of a short run and many of a longer one.
// After it there is one exception, no result and no block, and the next call on the same thread gives the design of
// an undisturbed one.

#include "tests/campaigns/cells.h"
#include "tests/support/failing_storage.h"

#include "hosts/embedded/embedded_host.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace {

const host_exception malloc_failed{"java/lang/OutOfMemoryError",
                                   "Storage exhausted by malloc() in Optimal Latin Hypercube plugin."};
const host_exception exhausted_on_entry{"java/lang/OutOfMemoryError",
                                        "Storage exhausted on entry in Optimal Latin Hypercube plugin."};

/// The context, eleven plain records, the status word and its chunk make the entry.
constexpr long entry_requests = 14;

/// Fails each request, or so many that they are spread over the run. Returns the number of cases tried.
long fail_each(const cell& which, int n, int k, int fixed, int rounds, long most = 1000000000)
{
    cell_run run(which, n, k, fixed, rounds);
    const auto call = [&](embedded_host& host) { return host.run(n, k, 1000.0, 5, &run.extras); };
    embedded_host undisturbed;
    failing_storage::watch();
    const auto expected = call(undisturbed);
    const long requests = failing_storage::requests();
    EXPECT_EQ(failing_storage::live_blocks(), 0);
    failing_storage::stop();
    EXPECT_TRUE(expected);
    EXPECT_GT(requests, 50);

    const long step = requests / most + 1;
    long cases = 0;
    for (const auto failing : {failing_storage::failing::once, failing_storage::failing::from_then_on}) {
        for (long at = 0; at < requests; at += step) {
            ++cases;
            embedded_host host;
            failing_storage::watch(at, failing);
            const auto design = call(host);
            const long left = failing_storage::live_blocks();
            failing_storage::stop();
            EXPECT_EQ(design, std::nullopt) << at;
            EXPECT_EQ(left, 0) << at;
            EXPECT_EQ(host.pending(), at < entry_requests ? exhausted_on_entry : malloc_failed) << at;
            EXPECT_TRUE(host.violations().empty()) << at;
            EXPECT_EQ(run.outcome.reason, end_reason::failed) << at;
            EXPECT_EQ(call(host), expected) << at;
            if (testing::Test::HasFailure())
                return cases;
        }
    }
    return cases;
}

class failingstoragecampaign : public testing::TestWithParam<cell> {};

TEST_P(failingstoragecampaign, every_allocation_of_a_short_run)
{
    long cases = 0;
    for (const int fixed : {0, 4})
        cases += fail_each(GetParam(), 6, 3, fixed, 2);
    std::printf("%ld cases\n", cases);
}

class failingstoragecampaignfull : public testing::TestWithParam<cell> {};

TEST_P(failingstoragecampaignfull, allocations_all_over_a_longer_run)
{
    std::printf("%ld cases\n", fail_each(GetParam(), 12, 4, 2, 12, 1500));
}

const auto name_of_cell = [](const auto& tested) { return tested.param.name(); };

INSTANTIATE_TEST_SUITE_P(cells, failingstoragecampaign, testing::ValuesIn(all_cells()), name_of_cell);
INSTANTIATE_TEST_SUITE_P(cells, failingstoragecampaignfull, testing::ValuesIn(all_cells()), name_of_cell);

} // namespace

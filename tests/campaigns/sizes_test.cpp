// Sizes at the edges of what 32 bits, a Java array and a machine hold, and the process-wide rotation of factors at
// the ends of its range. (Runs whose storage ends in the middle are the script address_space.sh.)

#include "tests/support/failing_storage.h"

#include "hosts/embedded/embedded_host.h"
#include "optdoe/search/search_driver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <numeric>
#include <vector>

namespace {

const host_exception malloc_failed{"java/lang/OutOfMemoryError",
                                   "Storage exhausted by malloc() in Optimal Latin Hypercube plugin."};

bool columns_are_permutations(const std::vector<std::int32_t>& levels, int n, int k)
{
    std::vector<bool> seen(static_cast<std::size_t>(n) + 1);
    for (int j = 0; j < k; ++j) {
        std::fill(seen.begin(), seen.end(), false);
        for (int i = 0; i < n; ++i) {
            const std::int32_t level =
                levels[static_cast<std::size_t>(i) * static_cast<std::size_t>(k) + static_cast<std::size_t>(j)];
            if (level < 1 || level > n || seen[static_cast<std::size_t>(level)])
                return false;
            seen[static_cast<std::size_t>(level)] = true;
        }
    }
    return levels.size() == static_cast<std::size_t>(n) * static_cast<std::size_t>(k);
}

double seconds_since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(sizecampaign, what_cannot_be_is_refused_at_once)
{
    const auto start = std::chrono::steady_clock::now();
    int cases = 0;
    for (const int n : {2, 3, 46340, 46341, 65535, 65536, 92682, 131072, 1 << 24, INT32_MAX - 1, INT32_MAX})
        for (const int k : {2, 3, 46341, 65536, 65537, 1 << 24, INT32_MAX - 1, INT32_MAX}) {
            const double elements = static_cast<double>(n) * k;
            // What some machine could make is left out: a terabyte of pair tables is beyond those that run this.
            if (elements <= INT32_MAX && 4.0 * n * n < 1e12)
                continue;
            embedded_host host;
            failing_storage::watch();
            EXPECT_EQ(host.run(n, k, 1.0, 5), std::nullopt);
            EXPECT_LT(failing_storage::requests(), 20);
            EXPECT_EQ(failing_storage::live_blocks(), 0);
            failing_storage::stop();
            EXPECT_EQ(host.pending(), malloc_failed) << n << " x " << k;
            EXPECT_EQ(host.line_count(), 1);
            ++cases;
        }
    EXPECT_LT(seconds_since(start), 5.0);
    std::printf("%d cases\n", cases);
}

TEST(sizecampaign, many_rows_with_one_factor)
{
    for (const int n : {65535, 65536, 65537, 200000}) {
        embedded_host host;
        const auto levels = host.run(n, 1, 1.0, 5);
        ASSERT_TRUE(levels);
        EXPECT_TRUE(columns_are_permutations(*levels, n, 1)) << n;
    }
    std::printf("4 cases\n");
}

TEST(sizecampaign, thousands_of_factors)
{
    int cases = 0;
    for (const auto& [n, k] : {std::pair{2, 20000}, {3, 5000}, {10, 2000}, {4, 30000}}) {
        embedded_host host;
        int poll = 0;
        host.on_stop_poll = [&] { return poll++; };
        std::vector<double> design(static_cast<std::size_t>(n * k));
        run_outcome outcome{};
        outcome.design = design.data();
        run_extras extras{};
        extras.outcome = &outcome;
        ASSERT_TRUE(host.run(n, k, 1e-5, 5, &extras)) << n << " x " << k;
        // The doubles: truncation may lose a level of the design that is returned.
        std::vector<std::int32_t> rounded(design.size());
        std::transform(design.begin(), design.end(), rounded.begin(),
                       [](double x) { return static_cast<std::int32_t>(x + 0.5); });
        EXPECT_TRUE(columns_are_permutations(rounded, n, k)) << n << " x " << k;
        EXPECT_TRUE(host.violations().empty());
        ++cases;
    }
    std::printf("%d cases\n", cases);
}

/// The rotation of factors outlives a call; after weeks of calls its counter passes the ends of 31 and 32 bits.
TEST(countercampaign, runs_across_the_ends_of_the_counter)
{
    int cases = 0;
    for (const std::uint32_t end : {0u, 0x80000000u})
        for (std::uint32_t before = 0; before < 40; ++before)
            for (const int k : {2, 3, 7}) {
                choice_counter = end - before;
                embedded_host host;
                const auto levels = host.run(9, k, 1.0, 5);
                ASSERT_TRUE(levels);
                EXPECT_GT(choice_counter - (end - before), before) << "the run did not cross the end";
                ++cases;
            }
    choice_counter = 0;
    std::printf("%d cases\n", cases);
}

} // namespace

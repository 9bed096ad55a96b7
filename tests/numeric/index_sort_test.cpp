#include "optdoe/numeric/index_sort.h"

#include "tests/reference/index_sort_reference.h"
#include "tests/support/designs.h"
#include "tests/support/failing_storage.h"
#include "tests/support/test_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace {

using indices = std::vector<std::int32_t>;
using reference::plain_sort;

indices sorted(test_run& run, const std::vector<double>& keys)
{
    indices index(keys.size());
    indexx_double(run.ctx(), static_cast<std::uint32_t>(keys.size()), keys.data(), index.data());
    return index;
}

indices sorted(test_run& run, const std::vector<std::int32_t>& keys)
{
    indices index(keys.size());
    indexx_int(run.ctx(), static_cast<std::uint32_t>(keys.size()), keys.data(), index.data());
    return index;
}

bool is_permutation_of_positions(indices index)
{
    std::sort(index.begin(), index.end());
    for (std::size_t i = 0; i < index.size(); ++i)
        if (index[i] != static_cast<std::int32_t>(i))
            return false;
    return true;
}

} // namespace

TEST(indexsort, short_lists)
{
    test_run run;
    EXPECT_EQ(sorted(run, std::vector<double>{4.0}), (indices{0}));
    EXPECT_EQ(sorted(run, std::vector<double>{3.0, 1.0, 2.0}), (indices{1, 2, 0}));
    EXPECT_EQ(sorted(run, std::vector<std::int32_t>{INT32_MAX, INT32_MIN, 0}), (indices{1, 2, 0}));
}

TEST(indexsort, insertion_alone_keeps_the_order_of_equal_keys)
{
    test_run run;
    EXPECT_EQ(sorted(run, std::vector<double>{1, 0, 1, 0, 1, 0, 1}), (indices{1, 3, 5, 0, 2, 4, 6}));
    EXPECT_EQ(sorted(run, std::vector<double>{0.0, -0.0, 0.0}), (indices{0, 1, 2}));
}

TEST(indexsort, sizes_1_to_200_with_every_amount_of_ties_follow_the_published_swaps)
{
    test_run run;
    random_stream random{11};
    for (int n = 1; n <= 200; ++n)
        for (const int distinct : {1, 2, 3, 10, n, 1000000}) {
            std::vector<double> keys;
            std::vector<std::int32_t> int_keys;
            for (int i = 0; i < n; ++i) {
                int_keys.push_back(random.below(distinct) - distinct / 2);
                keys.push_back(int_keys.back() * 0.37);
            }
            const indices expected = plain_sort(keys);
            ASSERT_TRUE(is_permutation_of_positions(expected));
            ASSERT_EQ(sorted(run, keys), expected) << n << " keys of " << distinct;
            ASSERT_EQ(sorted(run, int_keys), expected) << n << " keys of " << distinct;
            for (int i = 1; i < n; ++i)
                ASSERT_LE(keys[static_cast<std::size_t>(expected[static_cast<std::size_t>(i - 1)])],
                          keys[static_cast<std::size_t>(expected[static_cast<std::size_t>(i)])]);
        }
}

TEST(indexsort, sorted_reversed_and_sawtooth_keys)
{
    test_run run;
    for (const int n : {8, 100, 1000, 5000}) {
        std::vector<std::int32_t> up, down, saw;
        for (int i = 0; i < n; ++i) {
            up.push_back(i);
            down.push_back(-i);
            saw.push_back(i % 17);
        }
        EXPECT_EQ(sorted(run, up), plain_sort(up));
        EXPECT_EQ(sorted(run, down), plain_sort(down));
        EXPECT_EQ(sorted(run, saw), plain_sort(saw));
    }
}

TEST(indexsort, equal_keys_give_a_permutation)
{
    test_run run;
    for (const std::size_t n : {7u, 8u, 9u, 1000u})
        EXPECT_TRUE(is_permutation_of_positions(sorted(run, std::vector<double>(n, 2.5))));
}

TEST(indexsort, a_nan_among_the_keys_ends_with_a_permutation)
{
    test_run run;
    random_stream random{3};
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (int n = 1; n <= 120; ++n)
        for (int trial = 0; trial < 4; ++trial) {
            std::vector<double> keys;
            for (int i = 0; i < n; ++i)
                keys.push_back(random.below(5));
            for (int k = 0; k <= trial * 10; ++k)
                keys[static_cast<std::size_t>(random.below(n))] = nan;
            ASSERT_TRUE(is_permutation_of_positions(sorted(run, keys))) << n;
        }
}

TEST(indexsort, only_the_stack_is_allocated_and_it_is_freed)
{
    test_run run;
    failing_storage::watch();
    const std::vector<double> keys(64, 1.0);
    indices index(64);
    indexx_double(run.ctx(), 64, keys.data(), index.data());
    EXPECT_EQ(failing_storage::requests(), 1);
    EXPECT_EQ(failing_storage::live_blocks(), 0);
    failing_storage::watch(0);
    EXPECT_FALSE(run.completes([&] { indexx_double(run.ctx(), 64, keys.data(), index.data()); }));
    failing_storage::stop();
    EXPECT_EQ(run.host.pending()->message, "Storage exhausted by malloc() in Optimal Latin Hypercube plugin.");
}

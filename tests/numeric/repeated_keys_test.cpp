#include "numeric/repeated_keys.h"

#include "numeric/index_sort.h"
#include "support/designs.h"
#include "support/test_run.h"

#include <gtest/gtest.h>

#include <vector>

/// Repeats as the index sort tells them: along the sorted order, those equal to their predecessor.
static std::vector<std::uint8_t> repeats_by_sorting(test_run& run, const std::vector<std::int32_t>& keys)
{
    std::vector<std::int32_t> order(keys.size());
    indexx_int(run.ctx(), static_cast<std::uint32_t>(keys.size()), keys.data(), order.data());
    std::vector<std::uint8_t> repeated(keys.size());
    for (std::size_t i = keys.size() - 1; i > 0; --i)
        if (keys[static_cast<std::size_t>(order[i])] == keys[static_cast<std::size_t>(order[i - 1])])
            repeated[static_cast<std::size_t>(order[i])] = 1;
    return repeated;
}

TEST(repeatedkeys, are_those_that_the_index_sort_puts_behind_an_equal_key)
{
    test_run run;
    repeated_keys_scratch scratch{};
    random_stream random{7};
    int with_repeats = 0;
    for (int round = 0; round < 40000; ++round) {
        const int count = 1 + random.below(round % 100 == 0 ? 2000 : 130);
        const int bound = 1 + random.below(round % 3 == 0 ? 4 * count : round % 3 == 1 ? 1000000 : 12);
        std::vector<std::int32_t> keys(static_cast<std::size_t>(count));
        for (std::int32_t& key : keys)
            key = random.below(bound);
        std::vector<std::uint8_t> repeated(keys.size(), 9);
        mark_repeated_keys(run.ctx(), scratch, count, bound, keys.data(), repeated.data());
        const std::vector<std::uint8_t> expected = repeats_by_sorting(run, keys);
        ASSERT_EQ(repeated, expected) << "round " << round << ", " << count << " keys below " << bound;
        for (const std::uint8_t is_repeat : expected)
            if (is_repeat != 0) {
                ++with_repeats;
                break;
            }
    }
    EXPECT_GT(with_repeats, 10000);
    repeated_keys_release(run.ctx(), scratch);
    EXPECT_EQ(run.live_blocks(), 0);
}

TEST(repeatedkeys, of_sorted_reversed_and_equal_keys)
{
    test_run run;
    repeated_keys_scratch scratch{};
    for (int count = 1; count < 100; ++count) {
        std::vector<std::vector<std::int32_t>> lists(4, std::vector<std::int32_t>(static_cast<std::size_t>(count)));
        for (int i = 0; i < count; ++i) {
            const auto at = static_cast<std::size_t>(i);
            lists[0][at] = 5;
            lists[1][at] = i / 2;
            lists[2][at] = (count - i) / 3;
            lists[3][at] = (1 << 20) - 1 - i % 4;
        }
        for (const std::vector<std::int32_t>& keys : lists) {
            std::vector<std::uint8_t> repeated(keys.size());
            mark_repeated_keys(run.ctx(), scratch, count, 1 << 20, keys.data(), repeated.data());
            ASSERT_EQ(repeated, repeats_by_sorting(run, keys));
        }
    }
    repeated_keys_release(run.ctx(), scratch);
}

#include "optdoe/numeric/repeated_keys.h"

#include "optdoe/numeric/index_sort.h"
#include "tests/support/designs.h"
#include "tests/support/test_run.h"

#include <gtest/gtest.h>

#include <algorithm>
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

TEST(repeatedkeys, that_may_count_include_all_that_do_and_those_that_are_certain_count)
{
    test_run run;
    repeated_keys_scratch scratch{};
    random_stream random{9};
    int uncertain = 0;
    int certain_of_all = 0;
    for (int round = 0; round < 40000; ++round) {
        const int count = 1 + random.below(round % 10 == 0 ? most_undecided_keys : 100);
        const int bound = 1 + random.below(round % 3 == 0 ? 2 * count : round % 3 == 1 ? undecided_key_bound : 40);
        const int wanted = 1 + random.below(round % 4 == 0 ? count + 3 : count / 2 + 1);
        std::vector<std::int32_t> keys(static_cast<std::size_t>(count));
        for (std::int32_t& key : keys)
            key = random.below(bound);

        // The keys that count: the first copies as the index sort tells them, up to the number wanted.
        const std::vector<std::uint8_t> repeated = repeats_by_sorting(run, keys);
        std::vector<std::int32_t> counting;
        for (std::size_t i = 0; i < keys.size() && counting.size() < static_cast<std::size_t>(wanted); ++i)
            if (repeated[i] == 0)
                counting.push_back(keys[i]);

        std::vector<std::int32_t> possible(keys.size(), -1);
        std::vector<std::uint8_t> certain(keys.size(), 9);
        const std::int32_t found =
            list_possible_keys(run.ctx(), scratch, count, keys.data(), wanted, possible.data(), certain.data());
        ASSERT_LE(found, count);
        ASSERT_GE(found, static_cast<int>(counting.size()));
        possible.resize(static_cast<std::size_t>(found));
        std::vector<std::int32_t> by_first_copy;
        for (const std::int32_t key : keys)
            if (std::find(by_first_copy.begin(), by_first_copy.end(), key) == by_first_copy.end())
                by_first_copy.push_back(key);
        by_first_copy.resize(possible.size());
        ASSERT_EQ(possible, by_first_copy);
        int certain_keys = 0;
        for (std::size_t t = 0; t < possible.size(); ++t) {
            ASSERT_LE(certain[t], 1);
            certain_keys += certain[t];
            if (certain[t] == 0)
                continue;
            ASSERT_NE(std::find(counting.begin(), counting.end(), possible[t]), counting.end())
                << "round " << round << ": " << possible[t] << " is not certain";
        }
        for (const std::int32_t key : counting)
            ASSERT_NE(std::find(possible.begin(), possible.end(), key), possible.end())
                << "round " << round << ": " << key << " is possible";
        certain_of_all += certain_keys == found;
        uncertain += certain_keys < found;
    }
    EXPECT_GT(uncertain, 5000);
    EXPECT_GT(certain_of_all, 5000);
    repeated_keys_release(run.ctx(), scratch);
    EXPECT_EQ(run.live_blocks(), 0);
}

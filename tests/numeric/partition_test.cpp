#include "optdoe/numeric/partition.h"

#include "tests/support/designs.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

/// Keys at their places, with a list of the exchanges. Its scans read the keys one by one and fail beyond `last`.
struct listed_keys {
    std::vector<int> keys;
    std::vector<std::pair<int, int>> exchanges;

    struct scans {
        const std::vector<int>& keys;
        int pivot;

        int next_right(int i, int last) const
        {
            do
                ++i;
            while (at(i) < pivot);
            EXPECT_LE(i, last);
            return i;
        }
        int next_left(int j, int last) const
        {
            do
                --j;
            while (at(j) > pivot);
            EXPECT_GE(j, last);
            return j;
        }
        int at(int place) const { return keys.at(static_cast<std::size_t>(place)); }
    };

    int& at(int place) { return keys.at(static_cast<std::size_t>(place)); }
    bool greater(int i, int j) { return at(i) > at(j); }
    void exchange(int i, int j)
    {
        std::swap(at(i), at(j));
        exchanges.emplace_back(i, j);
    }
    scans scans_about(int lo, int) { return {keys, at(lo)}; }
};

} // namespace

TEST(partition, exchanges_the_places_that_the_published_loop_exchanges)
{
    // The middle key 5 comes to place 1 and, being the median of 4, 5 and 9, to place 0.
    listed_keys view{{4, 8, 6, 5, 2, 7, 1, 9}, {}};
    const auto parts = partition(view, 0, 7);
    EXPECT_EQ(view.exchanges, (std::vector<std::pair<int, int>>{{3, 1}, {1, 0}, {2, 6}, {3, 4}, {0, 3}}));
    EXPECT_EQ(view.keys, (std::vector<int>{2, 4, 1, 5, 8, 7, 6, 9}));
    EXPECT_EQ(parts.left_end, 2);
    EXPECT_EQ(parts.right_begin, 4);
}

TEST(partition, leaves_no_key_above_the_pivot_on_the_left_and_none_below_on_the_right)
{
    random_stream random{2};
    int met = 0;
    for (int round = 0; round < 20000; ++round) {
        const int count = 3 + random.below(40);
        const int lo = random.below(3);
        listed_keys view;
        for (int i = 0; i < lo + count + 2; ++i)
            view.keys.push_back(random.below(round % 2 == 0 ? 6 : 1000));
        const std::vector<int> before = view.keys;
        const int hi = lo + count - 1;
        const auto [left_end, right_begin] = partition(view, lo, hi);
        ASSERT_TRUE(lo <= left_end && left_end < right_begin - 1 && right_begin <= hi);
        const int pivot = view.at(left_end + 1);
        for (int i = 0; i < static_cast<int>(view.keys.size()); ++i) {
            if (i < lo || i > hi)
                ASSERT_EQ(view.at(i), before[static_cast<std::size_t>(i)]);
            else if (i <= left_end)
                ASSERT_LE(view.at(i), pivot);
            else if (i >= right_begin)
                ASSERT_GE(view.at(i), pivot);
            else
                ASSERT_EQ(view.at(i), pivot);
        }
        met += right_begin - left_end == 3;
    }
    EXPECT_GT(met, 1000) << "the scans hardly ever met at one key";
}

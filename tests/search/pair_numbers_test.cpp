#include "optdoe/search/pair_numbers.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

/// All pairs of m items are the pairs of 0, 1, 2, ..., one by one and many at a time, from any start.
static void expect_all_pairs(std::int32_t m)
{
    const std::int32_t total = m * (m - 1) / 2;
    std::vector<std::int32_t> numbers(static_cast<std::size_t>(total));
    for (std::int32_t p = 0; p < total; ++p)
        numbers[static_cast<std::size_t>(p)] = p;
    std::vector<std::int32_t> first(numbers.size() + 1, -7);
    std::vector<std::int32_t> second(numbers.size() + 1, -7);
    const std::int32_t skipped = total > 3 ? m % 3 : 0; // so that blocks of numbers begin anywhere
    pairs_of_numbers(total - skipped, numbers.data() + skipped, m, first.data() + skipped, second.data() + skipped);
    std::size_t p = 0;
    for (std::int32_t a = 0; a < m; ++a)
        for (std::int32_t b = a + 1; b < m; ++b, ++p) {
            const item_pair one = pair_of_number(static_cast<std::int32_t>(p), m);
            if (one.first != a || one.second != b)
                FAIL() << "pair " << p << " of " << m << " items: " << one.first << ", " << one.second;
            if (static_cast<std::int32_t>(p) >= skipped && (first[p] != a || second[p] != b))
                FAIL() << "pair " << p << " of " << m << " items among others: " << first[p] << ", " << second[p];
        }
    EXPECT_EQ(first.back(), -7) << "written behind the last";
    EXPECT_EQ(second.back(), -7);
}

TEST(pairnumbers, are_the_pairs_in_lexicographic_order)
{
    for (std::int32_t m = 2; m <= 300; ++m)
        expect_all_pairs(m);
    for (const std::int32_t m : {511, 512, 1000, 1023, 1024, 1999, 2000, 2001, 2500})
        expect_all_pairs(m);
}

TEST(pairnumbers, of_many_items_are_found_at_both_ends)
{
    for (const std::int32_t m : {29999, 30000, 30001, 40000, 46340}) {
        const std::int64_t total = std::int64_t{m} * (m - 1) / 2;
        EXPECT_EQ(pair_of_number(0, m).first, 0);
        EXPECT_EQ(pair_of_number(0, m).second, 1);
        EXPECT_EQ(pair_of_number(m - 2, m).second, m - 1);
        EXPECT_EQ(pair_of_number(m - 1, m).first, 1);
        EXPECT_EQ(pair_of_number(m - 1, m).second, 2);
        EXPECT_EQ(pair_of_number(static_cast<std::int32_t>(total - 1), m).first, m - 2);
        EXPECT_EQ(pair_of_number(static_cast<std::int32_t>(total - 1), m).second, m - 1);
    }
}

TEST(pairnumbers, a_pair_is_ascending_and_within_the_items)
{
    EXPECT_TRUE(is_pair(0, 1, 2));
    EXPECT_FALSE(is_pair(1, 1, 5));
    EXPECT_FALSE(is_pair(3, 2, 5));
    EXPECT_FALSE(is_pair(3, 5, 5));
}

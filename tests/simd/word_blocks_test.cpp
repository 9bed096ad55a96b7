#include "optdoe/simd/word_blocks.h"

#include "tests/support/designs.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>

using block_of_words = std::array<std::int32_t, words_per_block>;

static void expect_the_bits_of_the_plain_form(const std::int32_t* words, std::int32_t bound)
{
    ASSERT_EQ(words_below(words, bound), words_below_plain(words, bound)) << bound;
    ASSERT_EQ(words_above(words, bound), words_above_plain(words, bound)) << bound;
    ASSERT_EQ(odd_words(words), odd_words_plain(words));
}

TEST(wordblocks, have_the_bits_of_the_plain_form)
{
    random_stream random{5};
    std::array<std::int32_t, 2 * words_per_block> words{};
    for (int round = 0; round < 5000; ++round) {
        const int spread = round % 2 == 0 ? 4 : INT_MAX;
        for (std::int32_t& word : words)
            word = random.below(spread) - spread / 2;
        words[static_cast<std::size_t>(random.below(2 * words_per_block))] = round % 3 == 0 ? INT_MIN : INT_MAX;
        for (const std::int32_t bound : {words[7], words[40], 0, INT_MIN, INT_MAX})
            expect_the_bits_of_the_plain_form(words.data() + round % words_per_block, bound);
    }
}

TEST(wordblocks, tell_each_word_by_its_own_bit)
{
    for (int at = 0; at < words_per_block; ++at) {
        block_of_words words{};
        words[static_cast<std::size_t>(at)] = 1;
        EXPECT_EQ(words_above(words.data(), 0), 1u << at);
        EXPECT_EQ(words_below(words.data(), 1), ~(1u << at));
        EXPECT_EQ(odd_words(words.data()), 1u << at);
        EXPECT_EQ(words_above(words.data(), 1), 0u);
        EXPECT_EQ(words_below(words.data(), 0), 0u);
    }
}

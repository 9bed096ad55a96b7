#include "optdoe/numeric/random_numbers.h"

#include "tests/support/designs.h"
#include "tests/support/failing_storage.h"
#include "tests/support/test_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <initializer_list>
#include <numeric>
#include <vector>

namespace {

/// The recurrence in 64 bits: X <- 0x5DEECE66D X + 0xB modulo 2^48.
std::uint64_t next_state(std::uint64_t x) { return (0x5DEECE66Du * x + 0xBu) & 0xFFFFFFFFFFFFu; }

std::uint64_t state_of(const rng_state& s)
{
    return s.x0 | static_cast<std::uint64_t>(s.x1) << 16 | static_cast<std::uint64_t>(s.x2) << 32;
}

rng_state words_of(std::uint64_t x)
{
    return {static_cast<std::uint16_t>(x), static_cast<std::uint16_t>(x >> 16), static_cast<std::uint16_t>(x >> 32)};
}

} // namespace

TEST(randomnumbers, a_run_starts_in_the_familys_initial_state)
{
    test_run run;
    EXPECT_EQ(state_of(*run->rng), 0xFFFFB2D8330Eu);
}

TEST(randomnumbers, seeding_sets_the_upper_words)
{
    test_run run;
    rng_seed(run.ctx(), 0xABCD1234u);
    EXPECT_EQ(state_of(*run->rng), 0xABCD1234330Eu);
    rng_seed(run.ctx(), clock_seed);
    EXPECT_EQ(state_of(*run->rng), 0xFFFFFFFF330Eu);
}

TEST(randomnumbers, one_step_from_published_states)
{
    test_run run;
    rng_seed(run.ctx(), 5);
    EXPECT_EQ(rng_uniform(run.ctx()), 0.5248395793605596);
    EXPECT_EQ(state_of(*run->rng), 0x865BE2FD5101u);
    rng_seed(run.ctx(), 5);
    EXPECT_EQ(rng_int31(run.ctx()), 1127084414);
    *run->rng = {0x330E, 0x1234, 0xABCD};
    rng_uniform(run.ctx());
    EXPECT_EQ(state_of(*run->rng), 0x7056DB005101u);
}

TEST(randomnumbers, every_step_is_the_exact_48_bit_product)
{
    test_run run;
    random_stream random{7};
    const std::initializer_list<std::uint64_t> corners{
        0, 1, 0xFFFF, 0x10000, 0xFFFFFFFFFFFF, 0x800000000000, 0x7FFFFFFFFFFF, 0xFFFF0000FFFF};
    std::vector<std::uint64_t> states(corners);
    for (int i = 0; i < 20000; ++i)
        states.push_back(random.next() >> 16);
    for (const std::uint64_t x : states) {
        const std::uint64_t expected = next_state(x);
        *run->rng = words_of(x);
        const double u = rng_uniform(run.ctx());
        ASSERT_EQ(state_of(*run->rng), expected) << x;
        ASSERT_EQ(u, static_cast<double>(expected >> 16) * 0x1p-32);
        ASSERT_LT(u, 1.0);
        *run->rng = words_of(x);
        ASSERT_EQ(rng_int31(run.ctx()), static_cast<std::int32_t>(expected >> 17));
    }
}

TEST(randomnumbers, many_draws_below_a_bound_are_scaled_single_draws)
{
    test_run run;
    test_run one_by_one;
    random_stream random{3};
    for (int round = 0; round < 3000; ++round) {
        const std::uint32_t seed = static_cast<std::uint32_t>(random.below(1 << 30)) * 2654435761u;
        const std::int32_t bound = round % 5 == 0   ? 1 + random.below(2147483647)
                                   : round % 5 == 1 ? (1 << 21) - 1 + random.below(3)
                                                    : 1 + random.below(5000);
        const int count = round % 11;
        rng_seed(run.ctx(), seed);
        rng_seed(one_by_one.ctx(), seed);
        std::vector<std::int32_t> drawn(static_cast<std::size_t>(count) + 1, -7);
        rng_below(run.ctx(), bound, count, drawn.data());
        for (int i = 0; i < count; ++i)
            ASSERT_EQ(drawn[static_cast<std::size_t>(i)],
                      static_cast<std::int32_t>(rng_uniform(one_by_one.ctx()) * bound))
                << "draw " << i << " of " << count << " below " << bound;
        EXPECT_EQ(drawn.back(), -7) << "written behind the last";
        ASSERT_EQ(state_of(*run.ctx()->rng), state_of(*one_by_one.ctx()->rng)) << count << " draws";
    }
}

TEST(randomnumbers, the_clock_seed_is_the_calendar_time)
{
    test_run run;
    const auto before = static_cast<std::uint32_t>(std::time(nullptr));
    rng_seed_or_clock(run.ctx(), clock_seed);
    const auto after = static_cast<std::uint32_t>(std::time(nullptr));
    const auto seed = static_cast<std::uint32_t>(state_of(*run->rng) >> 16);
    EXPECT_LE(before, seed);
    EXPECT_LE(seed, after);
    rng_seed_or_clock(run.ctx(), 0xFFFFFFFEu);
    EXPECT_EQ(state_of(*run->rng), 0xFFFFFFFE330Eu);
}

TEST(randomnumbers, a_latin_hypercube_is_a_forward_shuffle_with_one_draw_a_row)
{
    for (const auto& [n, k] : {std::pair{1, 1}, {2, 1}, {2, 3}, {7, 4}, {50, 5}}) {
        test_run run;
        table design(n, k);
        random_latin_hypercube(run.ctx(), n, k, design.data(), 12345);

        table expected(n, k);
        std::uint64_t x = 12345ull << 16 | 0x330E;
        for (int j = 0; j < k; ++j) {
            std::vector<int> column;
            for (int i = 0; i < n; ++i)
                column.push_back(i + 1);
            for (int p = 1; p <= n; ++p) {
                x = next_state(x);
                const int q = p + static_cast<int>((x >> 17) % static_cast<std::uint64_t>(n - p + 1));
                std::swap(column[static_cast<std::size_t>(p - 1)], column[static_cast<std::size_t>(q - 1)]);
            }
            for (int i = 0; i < n; ++i)
                expected[i][j] = column[static_cast<std::size_t>(i)];
        }
        EXPECT_EQ(design, expected);
        EXPECT_EQ(state_of(*run->rng), x);
    }
}

TEST(randomnumbers, a_latin_hypercube_is_made_in_place)
{
    test_run run;
    table design(5, 2);
    failing_storage::watch(0);
    EXPECT_TRUE(run.completes([&] { random_latin_hypercube(run.ctx(), 5, 2, design.data(), 5); }));
    EXPECT_EQ(failing_storage::requests(), 0);
    failing_storage::stop();
}

TEST(randomnumbers, shuffle_sorts_by_random_keys)
{
    for (const int m : {1, 2, 7, 8, 50}) {
        test_run run;
        rng_seed(run.ctx(), 9);
        std::vector<double> keys;
        for (int i = 0; i < m; ++i)
            keys.push_back(rng_uniform(run.ctx()));
        const std::uint64_t drawn = state_of(*run->rng);
        std::vector<std::int32_t> values(static_cast<std::size_t>(m));
        std::iota(values.begin(), values.end(), 100);
        std::vector<std::int32_t> expected = values;
        std::sort(expected.begin(), expected.end(), [&](int a, int b) {
            return keys[static_cast<std::size_t>(a - 100)] < keys[static_cast<std::size_t>(b - 100)];
        });
        rng_seed(run.ctx(), 9);
        shuffle(run.ctx(), values.data(), m);
        EXPECT_EQ(values, expected);
        EXPECT_EQ(state_of(*run->rng), drawn) << m << " draws";
        EXPECT_EQ(run.live_blocks(), 0);
    }
}

TEST(randomnumbers, shuffling_nothing_draws_nothing)
{
    test_run run;
    const std::uint64_t before = state_of(*run->rng);
    std::int32_t value = 5;
    shuffle(run.ctx(), &value, 0);
    shuffle(run.ctx(), &value, -3);
    shuffle(run.ctx(), nullptr, 4);
    EXPECT_EQ(value, 5);
    EXPECT_EQ(state_of(*run->rng), before);
}

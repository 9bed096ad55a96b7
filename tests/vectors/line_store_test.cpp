// Lines that some rows have and most have not, and vectors that lie side by side.
#include "optdoe/vectors/aligned_tables.h"
#include "optdoe/vectors/line_store.h"
#include "optdoe/vectors/vectors.h"
#include "tests/support/test_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <vector>

namespace {

class linestore : public ::testing::Test {
protected:
    void TearDown() override { line_store_free(run_.ctx(), store_); }
    void make(std::int32_t rows, std::int32_t length) { line_store_alloc(run_.ctx(), store_, rows, length); }

    test_run run_;
    line_store store_{};
};

} // namespace

TEST_F(linestore, rows_without_lines)
{
    make(5, 16);
    for (int r = 0; r < 5; ++r)
        EXPECT_EQ(store_.of_row[r], nullptr);
    release_line(store_, 3); // has none
    EXPECT_EQ(store_.spare_count, 0);
}

TEST_F(linestore, lines_are_apart_and_stay_with_their_rows)
{
    make(100, 24);
    for (int r = 0; r < 100; ++r) {
        reserve_lines(run_.ctx(), store_, 1);
        double* line = take_line(store_, r);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(line) % 64, 0u);
        std::fill_n(line, 24, r);
    }
    EXPECT_EQ(store_.line_count, 100); // never more lines than rows
    for (int r = 0; r < 100; ++r) {
        EXPECT_EQ(take_line(store_, r), store_.of_row[r]);
        EXPECT_EQ(std::count(store_.of_row[r], store_.of_row[r] + 24, r), 24);
    }
}

TEST_F(linestore, all_rows_at_once_follow_one_another)
{
    make(70, 200);
    reserve_lines(run_.ctx(), store_, 70);
    ASSERT_EQ(store_.slab_count, 1);
    for (int r = 0; r < 70; ++r)
        EXPECT_EQ(take_line(store_, r), store_.slabs[0] + static_cast<std::ptrdiff_t>(r) * store_.stride);
    reserve_lines(run_.ctx(), store_, 70);
    EXPECT_EQ(store_.line_count, 70);
}

TEST_F(linestore, long_lines_are_an_odd_number_of_cache_lines_apart)
{
    make(4, 512);
    EXPECT_EQ(store_.stride % 8, 0);
    EXPECT_EQ(store_.stride / 8 % 2, 1);
    EXPECT_GE(store_.stride, 512);
}

TEST_F(linestore, trimming_keeps_what_a_search_needs)
{
    make(5000, 8);
    std::set<double*> given;
    for (int r = 0; r < 1000; ++r) {
        reserve_lines(run_.ctx(), store_, 1);
        given.insert(take_line(store_, r));
    }
    EXPECT_EQ(given.size(), 1000u);
    for (int r = 0; r < 1000; ++r)
        release_line(store_, r);
    trim_lines(run_.ctx(), store_);
    EXPECT_GE(store_.line_count, 82); // two for each of the 41 moves between evaluations
    EXPECT_LE(store_.line_count, 200);
    EXPECT_EQ(store_.spare_count, store_.line_count);
    trim_lines(run_.ctx(), store_);
    for (int r = 0; r < 300; ++r) {
        reserve_lines(run_.ctx(), store_, 2);
        take_line(store_, r)[7] = r;
    }
    for (int r = 0; r < 300; ++r)
        EXPECT_EQ(store_.of_row[r][7], r);
}

TEST_F(linestore, one_that_was_never_made_is_freed)
{
    test_run run;
    line_store store{};
    line_store_free(run.ctx(), store);
    EXPECT_EQ(store.of_row, nullptr);
}

TEST(alignedtables, parallel_vectors_are_filled_aligned_and_apart_within_pages)
{
    for (const int length : {8, 40, 48, 504, 512, 2000, 2048}) {
        test_run run;
        double* block = nullptr;
        parallel_vectors vectors(run.ctx(), block, 12, length);
        std::vector<double*> all;
        for (int i = 0; i < 12; ++i) {
            all.push_back(vectors.next(i));
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(all.back()) % 64, 0u);
        }
        EXPECT_EQ(all[0], block);
        for (std::size_t i = 0; i < all.size(); ++i) {
            EXPECT_EQ(std::count(all[i], all[i] + length, static_cast<double>(i)), length) << length;
            for (std::size_t j = 0; j < i; ++j) {
                const std::uintptr_t apart =
                    (reinterpret_cast<std::uintptr_t>(all[i]) - reinterpret_cast<std::uintptr_t>(all[j])) % 4096;
                EXPECT_GE(std::min<std::uintptr_t>(apart, 4096 - apart), 256u) << length << " " << i << " " << j;
            }
        }
        aligned_free_doubles(run.ctx(), block);
    }
}

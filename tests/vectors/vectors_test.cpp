#include "optdoe/vectors/vectors.h"

#include "tests/support/failing_storage.h"
#include "tests/support/test_run.h"

#include "optdoe/run/tracked_storage.h"

#include <gtest/gtest.h>

#include <algorithm>

TEST(vectors, new_vectors_read_zero)
{
    test_run run;
    const double* d = double_vector_alloc(run.ctx(), 100);
    const std::int32_t* i = int_vector_alloc(run.ctx(), 100);
    const std::uint8_t* b = byte_vector_alloc(run.ctx(), 100);
    EXPECT_TRUE(std::all_of(d, d + 100, [](double x) { return x == 0.0; }));
    EXPECT_TRUE(std::all_of(i, i + 100, [](std::int32_t x) { return x == 0; }));
    EXPECT_TRUE(std::all_of(b, b + 100, [](std::uint8_t x) { return x == 0; }));
    EXPECT_EQ(run.live_blocks(), 3);
    EXPECT_EQ(*run->storage_status, 0);
}

TEST(vectors, a_length_below_one_is_refused_with_status_3000)
{
    for (const std::int32_t n : {0, -1, INT32_MIN}) {
        test_run run;
        EXPECT_EQ(double_vector_alloc(run.ctx(), n), nullptr);
        EXPECT_EQ(*run->storage_status, -3000);
        *run->storage_status = 0;
        EXPECT_EQ(int_vector_alloc(run.ctx(), n), nullptr);
        EXPECT_EQ(*run->storage_status, -3000);
        *run->storage_status = 0;
        EXPECT_EQ(byte_vector_alloc(run.ctx(), n), nullptr);
        EXPECT_EQ(*run->storage_status, -3000);
        EXPECT_EQ(run.live_blocks(), 0);
        EXPECT_TRUE(run.lines.empty());
        EXPECT_EQ(run.host.pending(), std::nullopt);
    }
}

TEST(vectors, freeing_a_null_vector_raises)
{
    test_run run;
    EXPECT_FALSE(run.completes([&] { vector_free(run.ctx(), nullptr); }));
    EXPECT_EQ(run.host.pending()->message,
              "Attempt made to free() unknown storage in Optimal Latin Hypercube plugin.");
}

TEST(vectors, exhausted_storage_never_comes_back_as_null)
{
    for (long fail_at = 0; fail_at < 4; ++fail_at) {
        test_run run;
        failing_storage::watch(fail_at);
        const bool completed = run.completes([&] { double_matrix_alloc(run.ctx(), 3, 4); });
        failing_storage::stop();
        EXPECT_FALSE(completed);
        EXPECT_EQ(run.host.pending()->class_name, "java/lang/OutOfMemoryError");
        EXPECT_EQ(*run->storage_status, 0);
    }
}

TEST(vectors, a_matrix_without_rows_or_columns_is_refused_with_status_5000)
{
    test_run run;
    for (const auto& [rows, cols] : {std::pair{0, 3}, {3, 0}, {-1, 3}, {3, -1}}) {
        *run->storage_status = 0;
        EXPECT_EQ(matrix_alloc(run.ctx(), element_type::real, rows, cols), nullptr);
        EXPECT_EQ(*run->storage_status, -5000);
    }
    EXPECT_EQ(run.live_blocks(), 0);
}

TEST(vectors, an_unknown_element_type_is_refused_with_status_4000)
{
    test_run run;
    for (const int type : {0, 5, -1}) {
        *run->storage_status = 0;
        EXPECT_EQ(matrix_alloc(run.ctx(), static_cast<element_type>(type), 2, 2), nullptr);
        EXPECT_EQ(*run->storage_status, -4000);
    }
    // The extent is looked at first.
    EXPECT_EQ(matrix_alloc(run.ctx(), static_cast<element_type>(5), 0, 2), nullptr);
    EXPECT_EQ(*run->storage_status, -5000);
}

TEST(vectors, a_new_matrix_reads_zero_and_leaves_nothing_behind)
{
    test_run run;
    double** m = double_matrix_alloc(run.ctx(), 3, 4);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 4; ++j)
            EXPECT_EQ(m[i][j], 0.0);
    EXPECT_EQ(run.live_blocks(), 4);
    EXPECT_TRUE(run.completes([&] { matrix_free(run.ctx(), m); }));
    EXPECT_EQ(run.live_blocks(), 0);
}

TEST(vectors, the_header_lies_before_the_handle_and_is_the_first_block)
{
    test_run run;
    std::int32_t** m = int_matrix_alloc(run.ctx(), 5, 2);
    const allocation_chunk* chunk = run->globals->chunks;
    EXPECT_LT(chunk->blocks[1], static_cast<void*>(m));
    EXPECT_EQ(chunk->blocks[2], m[0]);
    EXPECT_EQ(chunk->blocks[6], m[4]);
}

TEST(vectors, freeing_a_null_matrix_does_nothing)
{
    test_run run;
    EXPECT_TRUE(run.completes([&] { matrix_free(run.ctx(), nullptr); }));
    EXPECT_EQ(run.host.pending(), std::nullopt);
}

TEST(vectors, zeroing_rows_is_clipped_to_the_matrix)
{
    test_run run;
    std::int32_t** m = int_matrix_alloc(run.ctx(), 4, 3);
    const auto rows_with_ones = [&] {
        std::string rows;
        for (int i = 0; i < 4; ++i)
            rows += std::all_of(m[i], m[i] + 3, [](std::int32_t x) { return x == 1; })   ? '1'
                    : std::all_of(m[i], m[i] + 3, [](std::int32_t x) { return x == 0; }) ? '0'
                                                                                         : '?';
        return rows;
    };
    const auto fill = [&] {
        for (int i = 0; i < 4; ++i)
            std::fill_n(m[i], 3, 1);
    };
    fill();
    matrix_zero_rows(m, 2, 99);
    EXPECT_EQ(rows_with_ones(), "1100");
    fill();
    matrix_zero_rows(m, -5, 0);
    EXPECT_EQ(rows_with_ones(), "0111");
    fill();
    matrix_zero_rows(m, 3, 2);
    matrix_zero_rows(m, 4, 9);
    EXPECT_EQ(rows_with_ones(), "1111");
}

TEST(vectors, every_element_type_has_its_width)
{
    test_run run;
    for (const element_type type :
         {element_type::real, element_type::integer, element_type::byte, element_type::single}) {
        const int width = type == element_type::real ? 8 : type == element_type::byte ? 1 : 4;
        auto** m = reinterpret_cast<unsigned char**>(matrix_alloc(run.ctx(), type, 2, 7));
        std::fill_n(m[0], 7 * width, std::uint8_t{0xA5}); // the sanitizer build sees a write beyond the block
        EXPECT_TRUE(std::all_of(m[1], m[1] + 7 * width, [](std::uint8_t x) { return x == 0; }));
        matrix_zero_rows(m, 0, 0);
        EXPECT_TRUE(std::all_of(m[0], m[0] + 7 * width, [](std::uint8_t x) { return x == 0; }));
    }
}

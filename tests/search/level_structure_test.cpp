#include "optdoe/search/level_structure.h"

#include "tests/support/search_run.h"

#include "optdoe/numeric/index_sort.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<std::int32_t> column(std::int32_t** m, int rows, int j)
{
    std::vector<std::int32_t> values;
    for (int i = 0; i < rows; ++i)
        values.push_back(m[i][j]);
    return values;
}

using ints = std::vector<std::int32_t>;

void describe(test_run& run, const table& design, int first_row = 0)
{
    describe_levels(run.ctx(), design.data(), design.rows() - first_row, first_row, design.columns());
}

} // namespace

TEST(levelstructure, a_permutation_has_a_level_per_row_and_is_not_balanced)
{
    test_run run;
    describe(run, table(1, {3, 1, 4, 2}));
    EXPECT_EQ(run->levels->level_count[0], 4);
    EXPECT_EQ(run->levels->balanced[0], 0);
    EXPECT_EQ(column(run->levels->rank_order, 4, 0), (ints{1, 3, 0, 2}));
    EXPECT_EQ(column(run->levels->level_index, 4, 0), (ints{0, 1, 2, 3}));
    EXPECT_EQ(column(run->levels->level_size, 4, 0), (ints{1, 1, 1, 1}));
}

TEST(levelstructure, equally_repeated_levels_are_balanced)
{
    test_run run;
    describe(run, table(1, {2, 1, 2, 3, 1, 3}));
    EXPECT_EQ(run->levels->level_count[0], 3);
    EXPECT_EQ(run->levels->balanced[0], 1);
    EXPECT_EQ(column(run->levels->level_index, 6, 0), (ints{0, 0, 1, 1, 2, 2}));
    EXPECT_EQ(run->levels->level_size[0][0], 2);
    EXPECT_EQ(run->levels->level_size[2][0], 2);
}

TEST(levelstructure, unequal_level_sizes_are_not_balanced_wherever_they_differ)
{
    test_run run;
    describe(run, table(3, {1, 1, 1, //
                            1, 1, 2, //
                            2, 1, 2, //
                            2, 2, 3, //
                            3, 2, 3}));
    EXPECT_EQ(run->levels->balanced[0], 0); // 2, 2, 1
    EXPECT_EQ(run->levels->balanced[1], 0); // 3, 2
    EXPECT_EQ(run->levels->balanced[2], 0); // 1, 2, 2
    EXPECT_EQ(run->levels->level_size[2][0], 1);
    EXPECT_EQ(run->levels->level_size[0][1], 3);
}

TEST(levelstructure, a_constant_column_has_one_level)
{
    test_run run;
    describe(run, table(1, {7, 7, 7}));
    EXPECT_EQ(run->levels->level_count[0], 1);
    EXPECT_EQ(run->levels->level_size[0][0], 3);
}

TEST(levelstructure, neighbours_closer_than_1e15_are_one_level)
{
    test_run run;
    // Each step is below the limit, the whole chain is not: it is one level all the same.
    describe(run, table(1, {0.0, 0.9e-15, 1.8e-15, 2.7e-15, 0.5}));
    EXPECT_EQ(run->levels->level_count[0], 2);
    EXPECT_EQ(run->levels->level_size[0][0], 4);
    test_run other;
    describe(other, table(1, {0.0, 1e-15}));
    EXPECT_EQ(other->levels->level_count[0], 2);
}

TEST(levelstructure, ties_are_ranked_as_the_index_sort_leaves_them)
{
    random_stream random{2};
    const table design = random_levels(60, 2, random, 10);
    test_run run;
    describe(run, design);
    for (int j = 0; j < 2; ++j) {
        std::vector<double> keys;
        for (int i = 0; i < 60; ++i)
            keys.push_back(design[i][j]);
        ints order(60);
        indexx_double(run.ctx(), 60, keys.data(), order.data());
        EXPECT_EQ(column(run->levels->rank_order, 60, j), order);
    }
}

TEST(levelstructure, fixed_rows_are_left_out_and_shift_the_row_numbers)
{
    test_run run;
    describe(run, table(1, {99, 98, 3, 1, 2}), 2);
    EXPECT_EQ(run->levels->level_count[0], 3);
    EXPECT_EQ(column(run->levels->rank_order, 3, 0), (ints{3, 4, 2}));
    EXPECT_EQ(run->rows->n, 3);
    EXPECT_EQ(run->rows->k, 1);
    EXPECT_EQ(run->rows->first_row, 2);
    EXPECT_EQ(run->rows->total_rows, 5);
}

TEST(levelstructure, groups_need_a_divisor_that_is_not_n)
{
    random_stream random{4};
    for (int levels = 1; levels <= 12; ++levels) {
        test_run run;
        describe(run, random_levels(12, 1, random));
        group_levels(run.ctx(), &levels);
        const bool grouped = 12 % levels == 0 && levels != 12;
        EXPECT_EQ(run->groups->group_count[0], grouped ? levels : 1) << levels;
        EXPECT_EQ(run->groups->rows_per_group[0], grouped ? 12 / levels : 12) << levels;
        EXPECT_EQ(run->groups->matched[0], 0);
    }
}

TEST(levelstructure, groups_that_are_the_levels_of_a_balanced_factor_are_matched)
{
    random_stream random{4};
    test_run run;
    describe(run, random_levels(12, 3, random, 3));
    const ints levels{4, 2, 1};
    group_levels(run.ctx(), levels.data());
    EXPECT_EQ(ints(run->groups->group_count, run->groups->group_count + 3), levels);
    EXPECT_EQ(run->groups->matched[0], 1);
    EXPECT_EQ(run->groups->matched[1], 0);
    EXPECT_EQ(run->groups->matched[2], 0);
}

TEST(levelstructure, a_level_across_a_group_boundary_gives_one_group)
{
    random_stream random{4};
    test_run run;
    describe(run, random_levels(12, 2, random, 4)); // levels at ranks 0-3, 4-7, 8-11
    const ints levels{2, 3};
    group_levels(run.ctx(), levels.data());
    EXPECT_EQ(run->groups->group_count[0], 1);
    EXPECT_EQ(run->groups->rows_per_group[0], 12);
    EXPECT_EQ(run->groups->group_count[1], 3);
    EXPECT_EQ(run->groups->matched[1], 1);
}

TEST(levelstructure, mirrored_designs_are_symmetric)
{
    random_stream random{8};
    for (const int n : {2, 3, 4, 9, 10, 25}) {
        test_run run;
        describe(run, random_symmetric_levels(n, 4, random));
        EXPECT_TRUE(is_symmetric_design(run.ctx())) << n;
    }
}

TEST(levelstructure, one_free_row_is_symmetric)
{
    test_run run;
    describe(run, table(2, {1, 2, 2, 1, 3, 3}), 2);
    EXPECT_TRUE(is_symmetric_design(run.ctx()));
}

TEST(levelstructure, one_pair_out_of_step_is_not_symmetric)
{
    random_stream random{8};
    for (const int n : {6, 9}) {
        table design = random_symmetric_levels(n, 3, random);
        std::swap(design[0][2], design[1][2]);
        test_run run;
        describe(run, design);
        EXPECT_FALSE(is_symmetric_design(run.ctx())) << n;
    }
}

TEST(levelstructure, repeated_levels_are_never_symmetric)
{
    test_run run;
    describe(run, table(2, {1, 1, 1, 2, 2, 3, 2, 4}));
    EXPECT_FALSE(is_symmetric_design(run.ctx()));
}

TEST(levelstructure, saved_rank_orders_come_back)
{
    random_stream random{9};
    test_run run;
    describe(run, random_levels(8, 3, random));
    std::int32_t** order = run->levels->rank_order;
    const ints before[] = {column(order, 8, 0), column(order, 8, 1), column(order, 8, 2)};
    save_rank_order(run.ctx());
    save_rank_order_column(run.ctx(), 1);
    swap_ranks(run.ctx(), 1, 2, 7);
    swap_ranks(run.ctx(), 1, 7, 0);
    EXPECT_EQ(order[0][1], before[1][2]);
    copy_rank_order_column(run.ctx(), 1);
    for (int r = 0; r < 8; ++r)
        order[r][1] = order[r][2] = -1;
    swap_ranks(run.ctx(), 1, 2, 5); // need not be listed any more
    copy_rank_order_column(run.ctx(), 1);
    restore_rank_order_column(run.ctx(), 1);
    EXPECT_EQ(column(order, 8, 1), before[1]);
    EXPECT_EQ(column(order, 8, 2), ints(8, -1));
    swap_ranks(run.ctx(), 1, 3, 4); // the saved order stays saved
    restore_rank_order_column(run.ctx(), 1);
    EXPECT_EQ(column(order, 8, 1), before[1]);
    restore_rank_order(run.ctx());
    for (int j = 0; j < 3; ++j)
        EXPECT_EQ(column(order, 8, j), before[j]);
}

TEST(levelstructure, exchanges_beyond_the_list_and_in_other_columns)
{
    random_stream random{9};
    test_run run;
    describe(run, random_levels(8, 3, random));
    std::int32_t** order = run->levels->rank_order;
    const ints before = column(order, 8, 1);
    swap_ranks(run.ctx(), 1, 0, 1); // nothing is saved yet
    swap_ranks(run.ctx(), 1, 0, 1);
    save_rank_order_column(run.ctx(), 1);
    for (int i = 0; i < 50; ++i) {
        const int first = random.below(8);
        swap_ranks(run.ctx(), 1, first, (first + 1 + random.below(7)) % 8);
        swap_ranks(run.ctx(), 2, random.below(8), random.below(8));
    }
    const ints other = column(order, 8, 2);
    restore_rank_order_column(run.ctx(), 1);
    EXPECT_EQ(column(order, 8, 1), before);
    EXPECT_EQ(column(order, 8, 2), other);
}

TEST(levelstructure, release_frees_everything_and_may_come_twice)
{
    random_stream random{9};
    test_run run;
    describe(run, random_levels(8, 3, random));
    const ints levels(3, 2);
    group_levels(run.ctx(), levels.data());
    EXPECT_GT(run.live_blocks(), 0);
    EXPECT_TRUE(run.completes([&] {
        level_structure_release(run.ctx());
        level_structure_release(run.ctx());
    }));
    EXPECT_EQ(run.live_blocks(), 0);
}

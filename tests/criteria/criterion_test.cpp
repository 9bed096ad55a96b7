#include "criteria/criterion.h"

#include "reference/criteria_reference.h"
#include "support/search_run.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>

namespace {

constexpr auto bits = [](double x) { return std::bit_cast<std::uint64_t>(x); };

std::function<void(run_settings&)> with_id(int id)
{
    return [id](run_settings& s) {
        s.criterion.criterion_id = static_cast<std::int8_t>(id);
        s.criterion.criterion_function = 0;
        s.criterion.criterion_threshold = 0.75;
    };
}

} // namespace

TEST(criteriondispatch, ids_2_and_4_are_the_same_criterion)
{
    random_stream random{1};
    const table start = random_unit_design(8, 3, random);
    search_run two(start, with_id(2));
    search_run four(start, with_id(4));
    EXPECT_EQ(bits(crit_value(two.ctx())), bits(crit_value(four.ctx())));
    search_run one(start, with_id(1));
    EXPECT_NE(bits(crit_value(two.ctx())), bits(crit_value(one.ctx())));
    four->criterion->criterion_id = 99; // whatever is not 0, 1 or 3
    EXPECT_EQ(bits(crit_evaluate(four.ctx(), nullptr)), bits(crit_value(two.ctx())));
}

TEST(criteriondispatch, the_target_is_that_of_the_options)
{
    random_stream random{1};
    const table start = random_unit_design(8, 3, random);
    for (int id = 0; id <= 4; ++id)
        EXPECT_EQ(crit_target(search_run(start, with_id(id)).ctx()), 0.75);
}

TEST(criteriondispatch, the_working_matrix_itself_comes_without_an_output)
{
    random_stream random{1};
    const table start = random_unit_design(8, 3, random);
    for (int id = 0; id < 4; ++id) {
        search_run run(start, with_id(id));
        double** working = crit_copy_design(run.ctx(), nullptr);
        EXPECT_EQ(working, crit_copy_design(run.ctx(), nullptr));
        const double before = working[2][1];
        const std::int32_t a = 2;
        const std::int32_t b = 5;
        crit_apply_swaps(run.ctx(), 1, 1, &a, &b);
        EXPECT_EQ(working[5][1], before);
    }
}

TEST(criteriondispatch, evaluating_a_design_loads_it)
{
    random_stream random{1};
    for (int id = 0; id < 4; ++id) {
        const int repeats = id == 3 ? 4 : 1; // A2 tells designs apart by their repeated levels
        const table start = random_unit_design(8, 3, random, repeats);
        const table other = random_unit_design(8, 3, random, repeats);
        search_run run(start, with_id(id));
        search_run fresh(other, with_id(id));
        EXPECT_EQ(bits(crit_value_of(run.ctx(), other.data())), bits(crit_value(fresh.ctx())));
        EXPECT_NE(bits(crit_value(run.ctx())), bits(crit_value(fresh.ctx())));
        EXPECT_EQ(bits(crit_evaluate(run.ctx(), other.data())), bits(crit_value(fresh.ctx())));
        EXPECT_EQ(bits(crit_value(run.ctx())), bits(crit_value(fresh.ctx())));
    }
}

TEST(criteriondispatch, the_two_snapshots_are_apart)
{
    random_stream random{1};
    const table start = random_unit_design(8, 3, random);
    const std::int32_t a = 2;
    const std::int32_t b = 5;
    for (int id = 0; id < 4; ++id) {
        search_run run(start, with_id(id));
        run_context* ctx = run.ctx();
        const double first = crit_value(ctx);
        crit_save_design(ctx);
        const double second = crit_apply_swaps(ctx, 1, 1, &a, &b);
        crit_save_column(ctx, 2);
        crit_apply_swaps(ctx, 2, 1, &a, &b);
        crit_restore_column(ctx, 2);
        EXPECT_EQ(bits(crit_value(ctx)), bits(second));
        crit_restore_design(ctx);
        EXPECT_EQ(bits(crit_value(ctx)), bits(first));
        crit_restore_design(ctx); // a snapshot stays
        EXPECT_EQ(bits(crit_value(ctx)), bits(first));
    }
}

TEST(criteriondispatch, lists_without_entries_change_nothing)
{
    random_stream random{1};
    const table start = random_unit_design(8, 3, random);
    const std::int32_t a = 2;
    const std::int32_t b = 5;
    for (const int id : {0, 2, 3}) {
        search_run run(start, with_id(id));
        run_context* ctx = run.ctx();
        const double value = crit_apply_swaps(ctx, 1, 1, &a, &b);
        for (const int count : {0, -1, -5}) {
            EXPECT_EQ(bits(crit_try_swaps(ctx, 1, count, &a, &b)), bits(value)) << id;
            EXPECT_EQ(bits(crit_apply_swaps(ctx, 1, count, &a, &b)), bits(value)) << id;
            EXPECT_EQ(bits(crit_try_moves(ctx, 1, count, &a, &b)), bits(value)) << id;
            EXPECT_EQ(bits(crit_apply_moves(ctx, 1, count, &a, &b)), bits(value)) << id;
            EXPECT_EQ(bits(crit_value(ctx)), bits(value)) << id;
        }
    }
}

TEST(criteriondispatch, neighbouring_entries_are_equal_below_1e15)
{
    EXPECT_TRUE(equal_entries(0.5, 0.5 + 9e-16));
    EXPECT_FALSE(equal_entries(0.0, 1e-15));
    EXPECT_TRUE(equal_entries(0.0, -0.0));
}

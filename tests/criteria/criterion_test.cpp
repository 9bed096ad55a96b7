#include "optdoe/criteria/criterion.h"

#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/criteria/phip/phip_state.h"
#include "tests/reference/criteria_reference.h"
#include "tests/support/search_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

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
    criterion_options unknown{};
    unknown.criterion_id = 99; // whatever is not 0, 1 or 3
    EXPECT_EQ(&criterion_for(unknown), two->criterion->in_force);
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
        EXPECT_EQ(crit_copy_design(run.ctx(), nullptr)[5][1], before);
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

/// The best of the exchanges is that of single trials and the index sort, to the bit.
static void expect_best_swap_of_trials(run_context* ctx, std::int32_t column, const std::vector<std::int32_t>& a,
                                       const std::vector<std::int32_t>& b)
{
    const auto count = static_cast<std::int32_t>(a.size());
    double expected_value = 0.0;
    const std::int32_t expected =
        best_swap_by_trials(ctx, crit_try_swap, column, count, a.data(), b.data(), &expected_value);
    double value = 0.0;
    EXPECT_EQ(crit_best_swap(ctx, column, count, a.data(), b.data(), &value), expected);
    EXPECT_EQ(bits(value), bits(expected_value));
}

/// All exchanges of n rows.
static void expect_best_of_all_swaps(run_context* ctx, std::int32_t column, std::int32_t n)
{
    std::vector<std::int32_t> a;
    std::vector<std::int32_t> b;
    for (std::int32_t i = 0; i < n; ++i)
        for (std::int32_t j = i + 1; j < n; ++j) {
            a.push_back(i);
            b.push_back(j);
        }
    expect_best_swap_of_trials(ctx, column, a, b);
}

TEST(criteriondispatch, the_best_swap_of_a_discrepancy_that_bounds_cannot_tell)
{
    random_stream random{9};
    // Entries too far out for the bounds; then sums of pair terms that come near the largest number.
    for (const auto& [factors, scale] : {std::pair{2, 1e7}, {3, 1e120}, {47, 1e6}}) {
        table start = random_unit_design(6, factors, random);
        for (int i = 0; i < 6; ++i)
            for (int j = 0; j < factors; ++j)
                start[i][j] *= scale;
        search_run run(start, with_id(2));
        for (int j = 0; j < 2; ++j)
            expect_best_of_all_swaps(run.ctx(), j, 6);
    }
}

TEST(criteriondispatch, the_best_swap_that_parts_two_points_close_together)
{
    // Rows 0 and 1 nearly coincide: the matrix is close to a singular one, those of some exchanges are not.
    const double rectangular = 1.0;
    for (const double apart : {1e-9, 2e-10, 5e-11, 1e-11}) {
        search_run run(table(2, {0, 0, apart, apart, 1, 0.4, 0.5, 1}), [&](run_settings& s) {
            s.criterion.criterion_id = 0;
            s.criterion.params.param_count_2 = 1;
            s.criterion.params.param_list_2 = &rectangular;
        });
        expect_best_of_all_swaps(run.ctx(), 0, 4);
        expect_best_of_all_swaps(run.ctx(), 1, 4);
    }
}

TEST(criteriondispatch, the_best_swap_at_the_end_of_what_entropy_estimates)
{
    // Points in line: the value is the sum of -ln(1 - exp(-2 theta distance)) over neighbours, here just below 1000.
    constexpr int n = 251;
    const double theta = -0.5 * (n - 1) * std::log(1.0 - std::exp(-999.6 / (n - 1)));
    const double rectangular = 1.0;
    table start(n, 1);
    for (int i = 0; i < n; ++i)
        start[i][0] = i / (n - 1.0);
    search_run run(start, [&](run_settings& s) {
        s.criterion.criterion_id = 0;
        s.criterion.params.param_count_1 = s.criterion.params.param_count_2 = 1;
        s.criterion.params.param_list_1 = &theta;
        s.criterion.params.param_list_2 = &rectangular;
    });
    EXPECT_NEAR(crit_value(run.ctx()), 999.6, 0.1);
    expect_best_swap_of_trials(run.ctx(), 0, {3, 100, 7}, {200, 101, 8});
}

TEST(criteriondispatch, the_best_swap_of_phi_p_terms_too_small_for_bounds)
{
    random_stream random{9};
    for (const double scale : {1e2, 1e14, 1e30}) {
        const double exponent = 20.0;
        table start = random_unit_design(7, 3, random);
        for (int i = 0; i < 7; ++i)
            for (int j = 0; j < 3; ++j)
                start[i][j] *= scale;
        search_run run(start, [&](run_settings& s) {
            s.criterion.criterion_id = 1;
            s.criterion.params.param_count_1 = 1;
            s.criterion.params.param_list_1 = &exponent;
        });
        expect_best_of_all_swaps(run.ctx(), 0, 7);
    }
}

TEST(criteriondispatch, a_design_of_fixed_rows_only_has_a_value_and_comes_back)
{
    random_stream random{4};
    const table start = random_unit_design(8, 2, random, 2);
    for (int id = 0; id < 4; ++id)
        for (const double exponent : {0.0, 5.0}) {
            search_run run(start, {.fixed_rows = 4, .with_criterion = false}, [&](run_settings& s) {
                with_id(id)(s);
                s.criterion.params.param_count_1 = id == 1;
                s.criterion.params.param_list_1 = &exponent;
            });
            run_context* ctx = run.ctx();
            crit_setup(ctx, start.data(), 0, 8, 2, run.settings().criterion);
            const double value = crit_value(ctx);
            crit_save_design(ctx);
            EXPECT_EQ(bits(crit_evaluate(ctx, nullptr)), bits(value)) << id;
            crit_restore_design(ctx);
            EXPECT_EQ(bits(crit_value(ctx)), bits(value)) << id;
            crit_save_column(ctx, 0);
            EXPECT_EQ(bits(crit_evaluate(ctx, nullptr)), bits(value)) << id << ", with a snapshot of no rows";
            crit_restore_column(ctx, 0);
            EXPECT_EQ(bits(crit_value(ctx)), bits(value)) << id;
            table copy(8, 2);
            crit_copy_saved_design(ctx, copy.data());
            EXPECT_EQ(copy, start) << id;
            crit_release(ctx);
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

namespace {

/// A criterion whose column snapshot meets changes of all columns.
class restored_run {
public:
    restored_run(int id, double exponent, bool many_rows, int fixed, std::uint64_t seed)
        : random_{seed}, n_(18), fixed_(fixed), start_(random_unit_design(n_, k, random_, id == 3 ? 3 : 1)),
          exponent_(exponent), run_(start_, {.fixed_rows = fixed, .with_criterion = false}, with_id(id))
    {
        criterion_options& options = run_.settings().criterion;
        options.params.param_count_1 = id < 2;
        options.params.param_list_1 = &exponent_;
        if (many_rows)
            ctx()->phip->distances.most_rows_with_all_lines = 0;
        crit_setup(ctx(), start_.data(), static_cast<std::uint32_t>(n_ - fixed), static_cast<std::uint32_t>(fixed), k,
                   options);
        crit_save_design(ctx());
    }

    void rounds()
    {
        table saved(n_, k);
        double value = 0.0;
        for (int round = 0; round < 200 && !testing::Test::HasFailure(); ++round) {
            if (round == 0 || random_.below(2) == 0) {
                column_ = random_.below(k);
                crit_save_column(ctx(), column_);
                value = crit_value(ctx());
                saved = working();
            }
            for (int changes = 1 + random_.below(4); changes > 0; --changes)
                change();
            table expected = working();
            for (int i = 0; i < n_; ++i)
                expected[i][column_] = saved[i][column_];
            crit_restore_column(ctx(), column_);
            EXPECT_EQ(bits(crit_value(ctx())), bits(value)) << "round " << round;
            EXPECT_EQ(working(), expected) << "round " << round;
            EXPECT_EQ(bits(crit_evaluate(ctx(), nullptr)), bits(crit_value_of(ctx(), nullptr))) << "round " << round;
            EXPECT_EQ(working(), expected) << "round " << round;
        }
    }

private:
    static constexpr int k = 3;
    run_context* ctx() { return run_.ctx(); }

    table working()
    {
        table copy(n_, k);
        for (int i = 0; i < n_; ++i)
            std::copy_n(crit_copy_design(ctx(), nullptr)[i], k, copy[i]);
        return copy;
    }

    void change()
    {
        const std::int32_t a = fixed_ + random_.below(n_ - fixed_ - 1);
        const std::int32_t b = a + 1;
        const std::int32_t rows[] = {a, b};
        const std::int32_t turned[] = {b, a};
        const int column = random_.below(2) == 0 ? column_ : random_.below(k);
        switch (random_.below(8)) {
        case 0: crit_evaluate(ctx(), nullptr); break;
        case 1: crit_try_moves(ctx(), column, 2, rows, turned); break;
        case 2: crit_apply_moves(ctx(), column, 2, rows, turned); break;
        case 3: random_.below(4) == 0 ? crit_restore_design(ctx()) : crit_save_design(ctx()); break;
        case 4:
            if (random_.below(4) == 0)
                crit_evaluate(ctx(), start_.data());
            break;
        default: crit_apply_swaps(ctx(), column, 1, &a, &b); break;
        }
    }

    random_stream random_;
    int n_;
    int fixed_;
    table start_;
    double exponent_;
    search_run run_;
    int column_ = 0;
};

} // namespace

TEST(criteriondispatch, restoring_a_column_leaves_the_changes_of_the_others)
{
    for (int id = 0; id < 4; ++id)
        for (const double exponent : {0.0, 4.0})
            for (const bool many_rows : {false, true})
                for (const int fixed : {0, 3}) {
                    SCOPED_TRACE(std::to_string(id) + ", " + std::to_string(exponent) + ", " +
                                 std::to_string(many_rows) + ", " + std::to_string(fixed));
                    restored_run(id, exponent, many_rows, fixed, 40).rounds();
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

#include "optdoe/criteria/criterion.h"

#include "optdoe/search/level_structure.h"
#include "tests/reference/criteria_reference.h"
#include "tests/support/search_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

namespace {

double entropy_of(const table& start, const std::vector<double>& thetas, const std::vector<double>& kinds)
{
    search_run run(start, [&](run_settings& s) {
        s.criterion.criterion_id = 0;
        s.criterion.params.param_count_1 = static_cast<std::int32_t>(thetas.size());
        s.criterion.params.param_list_1 = thetas.data();
        s.criterion.params.param_count_2 = static_cast<std::int32_t>(kinds.size());
        s.criterion.params.param_list_2 = kinds.data();
    });
    return crit_value(run.ctx());
}

void entropy_criterion(run_settings& s) { s.criterion.criterion_id = 0; }

constexpr auto bits = [](double x) { return std::bit_cast<std::uint64_t>(x); };

/// Six points of which rows 0 and 4 are one. The pivot of a row equal to the first is zero to the last bit.
const table twins(2, {0.4, 0.6, 0.2, 0.8, 0.0, 0.4, 0.6, 0.0, 0.4, 0.6, 1.0, 0.2});

} // namespace

TEST(entropy, two_points_have_a_closed_form)
{
    const table start(1, {0.0, 1.0});
    EXPECT_NEAR(entropy_of(start, {}, {}), -std::log(1.0 - std::exp(-10.0)), 1e-15);
    EXPECT_NEAR(entropy_of(start, {}, {1}), -std::log(1.0 - std::exp(-6.0)), 1e-15);
    EXPECT_NEAR(entropy_of(start, {0.7}, {2}), -std::log(1.0 - std::exp(-1.4)), 1e-15);
}

TEST(entropy, thetas_outside_their_range_fall_back_and_a_short_list_leaves_the_rest)
{
    random_stream random{3};
    const table start = random_unit_design(7, 3, random);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double standard = entropy_of(start, {}, {});
    for (const double theta : {-1.0, 1000.1, nan, 5.0})
        EXPECT_EQ(entropy_of(start, {theta}, {}), standard) << theta;
    EXPECT_EQ(entropy_of(start, {5, 5}, {}), standard);
    EXPECT_EQ(entropy_of(start, {4, 5}, {}), entropy_of(start, {4, 5, 5}, {}));
    EXPECT_EQ(entropy_of(start, {4, 2}, {1}), entropy_of(start, {4, 2, 3, 99}, {1}));
    EXPECT_EQ(entropy_of(start, {4}, {}), entropy_of(start, {4, 4, 4}, {}));
    EXPECT_NE(entropy_of(start, {4}, {}), standard);
}

TEST(entropy, identical_points_have_the_worst_value)
{
    EXPECT_EQ(entropy_of(table(2, {0, 0, 0, 0, 1, 1}), {}, {}), 1e20);
}

TEST(entropy, correlations_of_points_on_a_line_form_a_chain)
{
    // Exponential correlation: det R is the product of 1 - exp(-2 theta distance) over neighbours (Currin, Mitchell,
    // Morris and Ylvisaker, "Bayesian prediction of deterministic functions", 1991, on the linear spline).
    random_stream random{3};
    std::vector<double> points;
    for (int i = 0; i < 9; ++i)
        points.push_back(random.unit());
    table start(9, 1);
    for (int i = 0; i < 9; ++i)
        start[i][0] = points[static_cast<std::size_t>(i)];
    std::sort(points.begin(), points.end());
    double expected = 0.0;
    for (std::size_t i = 1; i < points.size(); ++i)
        expected -= std::log(1.0 - std::exp(-2.0 * 4.0 * (points[i] - points[i - 1])));
    EXPECT_NEAR(entropy_of(start, {4}, {1}), expected, 1e-11);
}

TEST(entropy, a_grid_multiplies_the_determinants_of_its_factors)
{
    // R of a grid is the Kronecker product of the factors' R: det R = det(R_1)^n_2 det(R_2)^n_1.
    const std::vector<double> first{0.0, 0.3, 1.0};
    const std::vector<double> second{0.0, 0.25, 0.6, 1.0};
    table grid(12, 2);
    table line_1(3, 1);
    table line_2(4, 1);
    for (int i = 0; i < 12; ++i) {
        grid[i][0] = line_1[i % 3][0] = first[static_cast<std::size_t>(i % 3)];
        grid[i][1] = line_2[i % 4][0] = second[static_cast<std::size_t>(i % 4)];
    }
    for (const double kind : {1.0, 2.0})
        EXPECT_NEAR(entropy_of(grid, {6, 9}, {kind}),
                    4.0 * entropy_of(line_1, {6}, {kind}) + 3.0 * entropy_of(line_2, {9}, {kind}), 1e-10);
}

TEST(entropy, the_factorisation_agrees_with_an_independent_one)
{
    random_stream random{3};
    using reference::distance;
    for (const auto& [n, k] : {std::pair{2, 2}, {5, 2}, {9, 3}, {20, 6}}) {
        const table start = random_unit_design(n, k, random);
        const std::vector<double> ones(static_cast<std::size_t>(k), 1.0);
        const std::vector<double> thetas(static_cast<std::size_t>(k), 7.0);
        EXPECT_NEAR(entropy_of(start, {7}, {1}), reference::entropy(start, distance::rectangular, thetas, ones),
                    1e-10);
        EXPECT_NEAR(entropy_of(start, {7}, {2}), reference::entropy(start, distance::euclidean, thetas, ones), 1e-10);
    }
}

TEST(entropy, a_weight_counts_squared_in_the_euclidean_kind)
{
    random_stream random{3};
    const table start = random_unit_design(7, 2, random);
    const auto weighted = [&](double kind, double weight) {
        const std::vector<double> kinds{kind};
        search_run run(start, [&](run_settings& s) {
            s.criterion.criterion_id = 0;
            s.criterion.params.param_count_2 = 1;
            s.criterion.params.param_list_2 = kinds.data();
            s.criterion.factor_weights[0] = weight;
        });
        return crit_value(run.ctx());
    };
    EXPECT_NEAR(weighted(2, 0.5), entropy_of(start, {5 * 0.25, 5}, {2}), 1e-11);
    EXPECT_NEAR(weighted(1, 0.5), entropy_of(start, {3 * 0.5, 3}, {1}), 1e-11);
}

TEST(entropy, no_rows_have_the_value_minus_zero)
{
    test_run run;
    run.reset_settings(2);
    run.settings().criterion.criterion_id = 0;
    run.settings().criterion.factor_weights[0] = run.settings().criterion.factor_weights[1] = 1.0;
    run.settings().criterion.params.param_count_1 = run.settings().criterion.params.param_count_2 = 0;
    std::int32_t level_counts[] = {1, 1};
    run->levels->level_count = level_counts;
    crit_setup(run.ctx(), nullptr, 0, 0, 2, run.settings().criterion);
    EXPECT_EQ(bits(crit_value(run.ctx())), bits(-0.0));
    EXPECT_EQ(bits(crit_evaluate(run.ctx(), nullptr)), bits(-0.0));
    EXPECT_EQ(bits(crit_value_of(run.ctx(), nullptr)), bits(-0.0));
    crit_release(run.ctx());
    run->levels->level_count = nullptr;
}

TEST(entropy, a_product_that_underflows_is_singular)
{
    // Points in one short line: every pivot is positive, but from some number on their product is not.
    const auto value = [](int n) {
        table start(n, 1);
        for (int i = 0; i < n; ++i)
            start[i][0] = i * 1e-13;
        return entropy_of(start, {}, {1});
    };
    EXPECT_EQ(value(60), 1e20);
    EXPECT_NEAR(value(52), -51.0 * std::log(1.0 - std::exp(-6e-13)), 10.0); // a product of about 1e-312
}

TEST(entropy, sums_of_the_factor_run_from_the_highest_index_down)
{
    random_stream random{3};
    const auto value = [](const table& start, bool down) {
        double factor[12][12];
        const auto dot = [&](int i, int j, int count) {
            double sum = 0.0;
            for (int t = 0; t < count; ++t) {
                const int m = down ? count - 1 - t : t;
                sum += factor[i][m] * factor[j][m];
            }
            return sum;
        };
        double product = 1.0;
        const double theta = std::sqrt(5.0);
        for (int j = 0; j < 12; ++j) {
            factor[j][j] = std::sqrt(1.0 - dot(j, j, j));
            product *= factor[j][j];
            for (int i = j + 1; i < 12; ++i) {
                double sum = 0.0;
                for (int k = 0; k < 3; ++k) {
                    const double u = start[j][k] * theta - start[i][k] * theta;
                    sum += u * u;
                }
                factor[i][j] = (std::exp(-sum) - dot(i, j, j)) / factor[j][j];
            }
        }
        return -2.0 * std::log(product);
    };
    int telling = 0;
    for (int trial = 0; trial < 20; ++trial) {
        const table start = random_unit_design(12, 3, random);
        EXPECT_EQ(bits(entropy_of(start, {}, {})), bits(value(start, true)));
        telling += bits(value(start, false)) != bits(value(start, true));
    }
    EXPECT_GT(telling, 3) << "the order makes no difference";
}

TEST(entropy, a_failed_factorisation_is_mended_by_a_change_above_it)
{
    // The factor stops at row 4: changes that begin above it reuse the rows before, and make good what they can.
    for (std::int32_t a = 0; a < 6; ++a)
        for (std::int32_t b = a + 1; b < 6; ++b)
            for (int j = 0; j < 2; ++j) {
                search_run run(twins, entropy_criterion);
                run_context* ctx = run.ctx();
                ASSERT_EQ(crit_value(ctx), 1e20);
                table moved = twins;
                std::swap(moved[a][j], moved[b][j]);
                const bool mended = moved[0][0] != moved[4][0] || moved[0][1] != moved[4][1];
                const double tried = crit_try_swap(ctx, j, a, b);
                EXPECT_EQ(bits(crit_try_swaps(ctx, j, 1, &a, &b)), bits(tried));
                EXPECT_EQ(bits(crit_apply_swaps(ctx, j, 1, &a, &b)), bits(tried));
                if (mended) {
                    EXPECT_NEAR(tried, crit_value_of(ctx, moved.data()), 1e-9) << a << ' ' << b;
                    EXPECT_LT(tried, 100.0);
                } else {
                    EXPECT_EQ(tried, 1e20) << a << ' ' << b;
                }
            }
}

TEST(entropy, trials_over_a_failed_factorisation_leave_nothing_behind)
{
    // A twin makes the committed changes only. Changes of the last rows leave the factor failed; the changes of the
    // other rows that follow work on what it left.
    random_stream random{8};
    for (int sequence = 0; sequence < 60; ++sequence) {
        search_run run(twins, entropy_criterion);
        search_run twin(twins, entropy_criterion);
        for (int step = 0; step < 12; ++step) {
            const int j = random.below(2);
            std::vector<std::int32_t> rows(6);
            std::iota(rows.begin(), rows.end(), 0);
            random.shuffle(rows);
            for (int trial = 0; trial < 4; ++trial) {
                const std::int32_t p = random.below(6);
                const std::int32_t q = (p + 1 + random.below(5)) % 6;
                crit_try_swap(run.ctx(), trial % 2, p, q);
                crit_try_swaps(run.ctx(), j, 1, &p, &q);
                const std::int32_t pair[] = {p, q};
                const std::int32_t turned[] = {q, p};
                crit_try_moves(run.ctx(), j, 2, pair, turned);
            }
            ASSERT_EQ(bits(crit_apply_swaps(run.ctx(), j, 1, &rows[0], &rows[1])),
                      bits(crit_apply_swaps(twin.ctx(), j, 1, &rows[0], &rows[1])))
                << sequence << ' ' << step;
        }
        EXPECT_EQ(bits(crit_evaluate(run.ctx(), nullptr)), bits(crit_evaluate(twin.ctx(), nullptr)));
    }
}

TEST(entropy, equal_rows_further_down_are_singular_up_to_rounding)
{
    // The pivot of the second of them is what rounding leaves of zero: nothing, or some 2^-53, and -ln of that is 37.
    random_stream random{3};
    for (int trial = 0; trial < 50; ++trial) {
        table start = random_unit_design(7, 2, random);
        const int twin = 2 + random.below(5);
        std::copy_n(start[1], 2, start[twin]);
        const double value = entropy_of(start, {}, {});
        EXPECT_TRUE(value == 1e20 || (value > 25.0 && value < 60.0)) << value;
    }
}

TEST(entropy, an_exchange_of_equal_entries_keeps_the_value_of_a_failed_factorisation)
{
    search_run run(twins, entropy_criterion);
    const std::int32_t a = 0;
    const std::int32_t b = 4;
    EXPECT_EQ(crit_try_swap(run.ctx(), 0, a, b), 1e20);
    EXPECT_EQ(crit_apply_swaps(run.ctx(), 0, 1, &a, &b), 1e20);
}

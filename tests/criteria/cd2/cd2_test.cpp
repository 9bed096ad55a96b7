#include "optdoe/criteria/criterion.h"

#include "tests/reference/criteria_reference.h"
#include "tests/support/search_run.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

double cd2_of(const table& start)
{
    search_run run(start, [](run_settings& s) { s.criterion.criterion_id = 2; });
    return crit_value(run.ctx());
}

/// Levels 1..q at the centres of q cells.
table at_cell_centres(table levels, int q)
{
    for (int i = 0; i < levels.rows(); ++i)
        for (int j = 0; j < levels.columns(); ++j)
            levels[i][j] = (levels[i][j] - 0.5) / q;
    return levels;
}

/// Every combination of q levels in k factors.
table full_factorial(int q, int k)
{
    table levels(static_cast<int>(std::lround(std::pow(q, k))), k);
    for (int i = 0; i < levels.rows(); ++i)
        for (int j = 0, rest = i; j < k; ++j, rest /= q)
            levels[i][j] = rest % q + 1;
    return levels;
}

} // namespace

TEST(cd2, published_values)
{
    // Fang, Li and Sudjianto, "Design and modeling for computer experiments", 2006, section 3.2: 0.0081 and 0.0105.
    const table better(2, {1, 3, 2, 6, 3, 2, 4, 5, 5, 1, 6, 4});
    EXPECT_NEAR(cd2_of(at_cell_centres(better, 6)), 0.008142039609053464, 1e-15);
    const table worse(2, {1, 5, 2, 4, 3, 3, 4, 2, 5, 1, 6, 6});
    EXPECT_NEAR(cd2_of(at_cell_centres(worse, 6)), 0.0105, 5e-5);
    // Zhou, Fang and Ning, "Mixture discrepancy for quasi-random point sets", 2013, example 4: 0.3172.
    const table two_level(6, {2, 1, 1, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1, 1,
                              1, 2, 2, 1, 2, 2, 2, 1, 1, 2, 2, 2, 2, 1, 1, 2, 2, 2, 1, 2, 2});
    EXPECT_NEAR(cd2_of(at_cell_centres(two_level, 2)), 0.3172, 5e-5);
}

TEST(cd2, full_factorials_have_a_closed_form)
{
    // The means over one factor to the power of their number. Two levels: Fang, Lu and Winker, "Lower bounds for
    // centered and wrap-around L2-discrepancies and construction of uniform designs by threshold accepting", 2003.
    for (const int k : {2, 3, 4})
        EXPECT_NEAR(cd2_of(at_cell_centres(full_factorial(2, k), 2)),
                    std::pow(13.0 / 12.0, k) - 2.0 * std::pow(35.0 / 32.0, k) + std::pow(9.0 / 8.0, k), 1e-14);
    for (const int q : {3, 4, 5}) {
        double single = 0.0;
        double pair = 0.0;
        for (int i = 0; i < q; ++i) {
            const double u = (i + 0.5) / q - 0.5;
            single += (1.0 + std::fabs(u) / 2.0 - u * u / 2.0) / q;
            for (int j = 0; j < q; ++j)
                pair +=
                    (1.0 + (std::fabs(u) + std::fabs((j + 0.5) / q - 0.5) - std::fabs(i - j) / q) / 2.0) / (q * q);
        }
        for (const int k : {2, 3})
            EXPECT_NEAR(cd2_of(at_cell_centres(full_factorial(q, k), q)),
                        std::pow(13.0 / 12.0, k) - 2.0 * std::pow(single, k) + std::pow(pair, k), 1e-12);
    }
}

TEST(cd2, the_definition_gives_the_value_of_any_design)
{
    random_stream random{3};
    for (const auto& [n, k, repeats] : {std::tuple{3, 1, 1}, {7, 2, 1}, {12, 5, 1}, {12, 4, 3}, {30, 10, 1}}) {
        table start = at_cell_centres(random_levels(n, k, random, repeats), n / repeats);
        EXPECT_NEAR(cd2_of(start), reference::cd2(start, std::vector<double>(static_cast<std::size_t>(k), 1.0)),
                    1e-12);
    }
}

TEST(cd2, two_points_have_a_closed_form)
{
    // Points 1/4 and 3/4, both at distance 1/4 from the centre.
    const double single = 1.0 + 0.125 - 0.03125;
    EXPECT_NEAR(cd2_of(table(1, {0.25, 0.75})), 13.0 / 12.0 - 2.0 * single + (2.0 * 1.25 + 2.0 * 1.0) / 4.0, 1e-15);
}

TEST(cd2, reflecting_a_column_changes_nothing)
{
    random_stream random{3};
    table start = random_unit_design(9, 3, random);
    const double value = cd2_of(start);
    for (int i = 0; i < 9; ++i)
        start[i][1] = 1.0 - start[i][1];
    EXPECT_NEAR(cd2_of(start), value, 1e-14);
}

TEST(cd2, the_constant_is_the_product_over_the_active_factors)
{
    // On both sides of the least active weight the terms are the same; the constant counts one factor less.
    random_stream random{3};
    const table start = random_unit_design(6, 3, random);
    const auto value = [&](double last_weight) {
        search_run run(start, [&](run_settings& s) {
            s.criterion.criterion_id = 2;
            s.criterion.factor_weights[2] = last_weight;
        });
        return crit_value(run.ctx());
    };
    const double active = value(1.1e-15);
    const double inactive = value(1e-15);
    const double square = 1.0833333333333333 * 1.0833333333333333;
    EXPECT_NEAR(active - inactive, square * 1.0833333333333333 - square, 1e-13);
    // Two points at the centre and no rounding: the constant to its last bit.
    const table centre(3, {0.5, 0.5, 0.5, 0.5, 0.5, 0.5});
    EXPECT_EQ(cd2_of(centre), square * 1.0833333333333333 + 0.25 - 1.0 + 0.5 - 1.0 + 0.25);
}

TEST(cd2, a_weight_scales_entries_and_distances_from_the_centre)
{
    random_stream random{3};
    table start = random_unit_design(6, 2, random);
    const auto half_weight = [](run_settings& s) {
        s.criterion.criterion_id = 2;
        s.criterion.factor_weights[1] = 0.5;
    };
    search_run run(start, half_weight);
    double** working = crit_copy_design(run.ctx(), nullptr);
    table copy(6, 2);
    crit_copy_design(run.ctx(), copy.data());
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(working[i][0], start[i][0]);
        EXPECT_EQ(working[i][1], 0.5 * start[i][1]);
        EXPECT_EQ(copy[i][1], start[i][1]);
    }
    // Halved distances from the centre: the same as entries moved half-way towards it, but for the constant offset.
    table towards_centre = start;
    for (int i = 0; i < 6; ++i)
        towards_centre[i][1] = 0.5 + 0.5 * (start[i][1] - 0.5);
    EXPECT_NEAR(crit_value(run.ctx()), cd2_of(towards_centre), 1e-15);
    // Without weights the entries are the design's own.
    search_run plain(start, [](run_settings& s) { s.criterion.criterion_id = 2; });
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(crit_copy_design(plain.ctx(), nullptr)[i][1], start[i][1]);
}

TEST(cd2, equality_is_that_of_scaled_entries)
{
    // Entries 1e-3 apart are equal once a weight of 1e-13 has scaled them.
    const table start(2, {0.1, 0.3, 0.4, 0.301, 0.7, 0.9});
    search_run run(start, [](run_settings& s) {
        s.criterion.criterion_id = 2;
        s.criterion.factor_weights[1] = 1e-13;
    });
    const double value = crit_value(run.ctx());
    EXPECT_EQ(crit_try_swap(run.ctx(), 1, 0, 1), value);
    const std::int32_t a = 0;
    const std::int32_t b = 1;
    EXPECT_EQ(crit_apply_swaps(run.ctx(), 1, 1, &a, &b), value);
    // The entries themselves are exchanged all the same.
    table copy(3, 2);
    crit_copy_design(run.ctx(), copy.data());
    EXPECT_NEAR(copy[0][1], 0.301, 1e-15);
    EXPECT_NEAR(copy[1][1], 0.3, 1e-15);
}

TEST(cd2, an_exchange_and_its_reverse_agree_within_rounding)
{
    random_stream random{3};
    search_run run(random_unit_design(9, 3, random), [](run_settings& s) { s.criterion.criterion_id = 2; });
    const double value = crit_value(run.ctx());
    for (std::int32_t a = 0; a < 8; ++a) {
        const std::int32_t b = a + 1;
        crit_apply_swaps(run.ctx(), 1, 1, &a, &b);
        EXPECT_NEAR(crit_apply_swaps(run.ctx(), 1, 1, &a, &b), value, 1e-14);
    }
}

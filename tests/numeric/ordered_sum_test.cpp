// Sums with the bits of adding one by one, with each variant of their kernels.
#include "optdoe/numeric/ordered_sum.h"

#include "tests/support/designs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

double one_by_one(double total, const std::vector<double>& x)
{
    for (const double summand : x)
        total += summand;
    return total;
}

template <class Check>
void for_each_variant(Check check)
{
    for (std::size_t set = 0; set < instruction_set_count; ++set)
        if (ordered_sum_kernel_variants[set] != nullptr && machine_has(static_cast<instruction_set>(set)))
            check(*ordered_sum_kernel_variants[set]);
}

void expect_the_bits_of_the_chain(double total, const std::vector<double>& x)
{
    const double expected = one_by_one(total, x);
    const bool has_negative = std::any_of(x.begin(), x.end(), [](double summand) { return summand < 0.0; });
    for_each_variant([&](const ordered_sum_kernels& kernels) {
        for (const auto add : {add_in_order, has_negative ? add_in_order : add_positive_in_order}) {
            const double found = add(kernels, total, static_cast<std::int32_t>(x.size()), x.data());
            if (std::isnan(expected))
                EXPECT_TRUE(std::isnan(found)) << kernels.name;
            else
                EXPECT_EQ(std::bit_cast<std::uint64_t>(found), std::bit_cast<std::uint64_t>(expected))
                    << kernels.name << ", " << x.size() << " summands to " << total << ": " << found << " for "
                    << expected;
        }
    });
}

std::vector<double> summands(std::size_t count, random_stream& random, double size, double share_negative)
{
    std::vector<double> x(count);
    for (double& summand : x)
        summand = (random.unit() < share_negative ? -size : size) * random.unit();
    return x;
}

} // namespace

TEST(orderedsum, has_the_bits_of_the_chain_at_any_length_size_and_sign)
{
    random_stream random{41};
    for (std::size_t count = 0; count <= 200; ++count)
        for (const double size : {1e-17, 1e-9, 1e-3, 0.1, 10.0})
            for (const double share_negative : {0.0, 0.02, 0.5, 1.0})
                for (const double total : {0.0, 1.0, -1.0, 1.5 + random.unit(), -1.5 - random.unit()})
                    expect_the_bits_of_the_chain(total, summands(count, random, size, share_negative));
}

TEST(orderedsum, crosses_binades_upwards_downwards_and_through_zero)
{
    random_stream random{42};
    for (int round = 0; round < 50; ++round) {
        const double start = 1.0 + random.unit();
        for (const std::size_t count : {65u, 640u, 5000u}) {
            const double step = 3.0 / static_cast<double>(count);
            expect_the_bits_of_the_chain(start, summands(count, random, step, 1.0));
            expect_the_bits_of_the_chain(-start, summands(count, random, step, 0.0));
            expect_the_bits_of_the_chain(start, summands(count, random, 100.0 * step, 0.0));
            expect_the_bits_of_the_chain(-start, summands(count, random, 100.0 * step, 1.0));
        }
    }
}

TEST(orderedsum, stops_at_the_lower_end_of_a_binade)
{
    // Below a power of two the sum is rounded on a grid of half the step.
    const double u = 0x1p-52;
    for (const double total : {1.0, -1.0, 1.0 + u, -1.0 - u, 2.0 - u, u - 2.0})
        for (const double share : {0.26, 0.3, 0.49, 0.51, 0.74, 0.76, 1.3})
            for (const double sign : {1.0, -1.0})
                for (const int at : {0, 40, 99}) {
                    std::vector<double> x(100, 0.0);
                    x[static_cast<std::size_t>(at)] = sign * share * u;
                    expect_the_bits_of_the_chain(total, x);
                    x[99 - static_cast<std::size_t>(at)] -= 0.3 * sign * u;
                    expect_the_bits_of_the_chain(total, x);
                }
}

TEST(orderedsum, sums_that_lie_half_way_are_rounded_to_even)
{
    random_stream random{43};
    const double half = 0x1p-53;
    for (const double total : {1.0, 1.25, -1.25, 1.0 + 2.0 * half})
        for (int round = 0; round < 50; ++round) {
            std::vector<double> x(130);
            for (double& summand : x)
                summand = half * (random.below(9) - 4);
            expect_the_bits_of_the_chain(total, x);
        }
}

TEST(orderedsum, numbers_that_are_not_finite_and_subnormal_ones_go_one_by_one)
{
    random_stream random{44};
    const double least = std::numeric_limits<double>::denorm_min();
    for (const double odd : {infinity, -infinity, std::nan(""), 1e308, -1e308, least, -0.0})
        for (const int at : {0, 63, 64, 129}) {
            std::vector<double> x = summands(130, random, 1e-3, 0.1);
            x[static_cast<std::size_t>(at)] = odd;
            for (const double total : {0.0, -0.0, 1.0, 1e308, -1e308, 5.0 * least, 1e-300, infinity, std::nan("")})
                expect_the_bits_of_the_chain(total, x);
        }
    expect_the_bits_of_the_chain(-0.0, {});
    expect_the_bits_of_the_chain(-0.0, std::vector<double>(100, -0.0));
}

TEST(orderedsum, rows_of_a_discrepancy_have_one_large_negative_summand_at_their_end)
{
    // The sum falls from about 2 to a thousandth of it over the rows.
    random_stream random{45};
    for (const int n : {10, 100, 500}) {
        double expected = 2.2;
        double found = 2.2;
        const ordered_sum_kernels& kernels = *best_ordered_sum_kernels();
        for (int i = 0; i < n; ++i) {
            std::vector<double> row = summands(static_cast<std::size_t>(n - i), random, 8.8 / n / n, 0.0);
            row.push_back(-4.4 / n);
            expected = one_by_one(expected, row);
            found = add_in_order(kernels, found, static_cast<std::int32_t>(row.size()), row.data());
            ASSERT_EQ(std::bit_cast<std::uint64_t>(found), std::bit_cast<std::uint64_t>(expected)) << n << ", " << i;
        }
    }
}

TEST(orderedsum, the_grid_is_that_of_the_binade)
{
    EXPECT_EQ(grid_limit(1.0), 0.5);
    EXPECT_EQ(grid_limit(-1.999), 0.5);
    EXPECT_EQ(grid_limit(4.0), 2.0);
    for (const double none : {0.0, 1e-291, infinity, -infinity, std::nan("")})
        EXPECT_EQ(grid_limit(none), 0.0);
    for_each_variant([](const ordered_sum_kernels& kernels) {
        const double x[] = {0.3, -0.2, 0.5 * 0x1p-52, 0.0, 0.1};
        const grid_sum sum = kernels.sum_on_grid(5, x, 0.5);
        EXPECT_NEAR(sum.above, 0.4, 0x1p-51);
        EXPECT_NEAR(sum.below, -0.2, 0x1p-51);
        EXPECT_EQ(sum.ties, 1.0);
        EXPECT_EQ(kernels.sum_on_grid(1, x, 0.25).ties, infinity);
        const double positive[] = {0.3, 0.5 * 0x1p-52, 0.0, 0.1, 0.2, 1e-20, 0.4, 0.1, 0.1};
        for (const double limit : {0.25, 0.5, 1.0}) {
            const grid_sum any = kernels.sum_on_grid(9, positive, limit);
            const grid_sum none_negative = kernels.sum_positive_on_grid(9, positive, limit);
            EXPECT_EQ(none_negative.above, any.above) << kernels.name;
            EXPECT_EQ(none_negative.below, 0.0) << kernels.name;
            EXPECT_EQ(none_negative.ties, any.ties) << kernels.name;
        }
        const double odd[] = {0.1, std::nan(""), 0.1};
        EXPECT_EQ(kernels.sum_positive_on_grid(3, odd, 0.5).ties, infinity);
    });
}

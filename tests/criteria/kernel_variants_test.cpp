// Every kernel variant that this machine runs against the baseline, bit for bit, at all small sizes.
#include "optdoe/criteria/a2/a2_kernels.h"
#include "optdoe/criteria/cd2/cd2_kernels.h"
#include "optdoe/criteria/entropy/entropy_kernels.h"
#include "optdoe/vectors/aligned_tables.h"
#include "tests/support/designs.h"
#include "tests/support/test_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace {

constexpr int most_rows = 67;

template <class Kernels, class Check>
void for_each_variant(const kernel_variants<Kernels>& variants, Check check)
{
    for (std::size_t set = 1; set < instruction_set_count; ++set)
        if (variants[set] != nullptr && machine_has(static_cast<instruction_set>(set)))
            check(*variants[set]);
}

/// Numbers with ties, signed zeroes and subnormals among them.
double any_number(random_stream& random)
{
    switch (random.below(8)) {
    case 0: return 0.0;
    case 1: return -0.0;
    case 2: return std::numeric_limits<double>::denorm_min() * random.below(1000);
    case 3: return 0.5;
    default: return random.unit();
    }
}

struct aligned_rows {
    aligned_rows(test_run& run, int rows, int columns) : row(aligned_matrix_alloc(run.ctx(), rows, columns)) {}
    double** row; // freed with the run
};

bool same_bits(const double* x, const double* y, int n)
{
    return n <= 0 || std::memcmp(x, y, static_cast<std::size_t>(n) * sizeof(double)) == 0;
}

} // namespace

TEST(kernel_variants, entropy_factors_have_the_same_bits)
{
    random_stream random{5};
    for (int n = 0; n <= most_rows; ++n) {
        test_run run;
        const upper_table r = upper_table_alloc(run.ctx(), n);
        for (int i = 0; i < n; ++i)
            for (int j = i + 1; j < n; ++j)
                r.row[i][j] = any_number(random) / (n % 5 == 4 ? 2.0 : n); // some are not positive definite
        const upper_table expected = upper_table_alloc(run.ctx(), n);
        aligned_rows pivots(run, 2, n);
        const double product = entropy_kernels_baseline.factorise(
            {n, 0, r.row, expected.row, pivots.row[0], expected.row, pivots.row[0]});
        for_each_variant(entropy_kernel_variants, [&](const entropy_kernels& kernels) {
            for (const int k0 : {0, n / 3, n}) {
                if (k0 > 0 && product == 0.0)
                    continue;
                const upper_table found = upper_table_alloc(run.ctx(), n);
                const double result =
                    kernels.factorise({n, k0, r.row, expected.row, pivots.row[0], found.row, pivots.row[1]});
                ASSERT_TRUE(same_bits(&result, &product, 1)) << kernels.name << ", " << n << " rows from " << k0;
                ASSERT_TRUE(same_bits(pivots.row[0], pivots.row[1], n)) << kernels.name << ", " << n;
                for (int i = 0; i < n && pivots.row[0][i] != 0.0; ++i) {
                    const int from = std::max(i + 1, k0);
                    ASSERT_TRUE(same_bits(found.row[i] + from, expected.row[i] + from, n - from))
                        << kernels.name << ", " << n << " rows, row " << i;
                }
            }
        });
    }
}

TEST(kernel_variants, entropy_factors_of_wide_rows_fail_alike)
{
    for (int n = 16; n <= 136; n += 8) {
        test_run run;
        const upper_table r = upper_table_alloc(run.ctx(), n);
        r.row[0][1] = 1.0; // the first two points are one
        const upper_table factor = upper_table_alloc(run.ctx(), n);
        const auto check = [&](const entropy_kernels& kernels) {
            std::vector<double> pivot(static_cast<std::size_t>(n), 7.0);
            EXPECT_EQ(kernels.factorise({n, 0, r.row, factor.row, pivot.data(), factor.row, pivot.data()}), 0.0);
            EXPECT_EQ(pivot[0], 1.0);
            EXPECT_EQ(std::count(pivot.begin() + 1, pivot.end(), 0.0), n - 1) << kernels.name << ", " << n;
        };
        check(entropy_kernels_baseline);
        for_each_variant(entropy_kernel_variants, check);
    }
}

TEST(kernel_variants, entropy_solutions_solve_the_system_for_any_number_of_right_sides)
{
    random_stream random{8};
    constexpr int most_eights = 17;
    for (const int n : {1, 2, 9, 16}) {
        test_run run;
        const upper_table factor = upper_table_alloc(run.ctx(), n); // row j holds column j of L
        std::vector<double> pivot;
        for (int j = 0; j < n; ++j) {
            pivot.push_back(0.5 + random.unit());
            for (int i = j + 1; i < n; ++i)
                factor.row[j][i] = 0.2 * random.unit();
        }
        aligned_rows sides(run, n, 8 * (most_eights + 1));
        aligned_rows y(run, n, 8 * (most_eights + 1));
        const auto check = [&](const entropy_kernels& kernels, int first, int eights) {
            for (int i = 0; i < n; ++i)
                for (int c = 0; c < 8 * (most_eights + 1); ++c)
                    y.row[i][c] = sides.row[i][c] = i < first ? 0.0 : random.unit() - 0.5;
            kernels.substitute(n, first, factor.row, pivot.data(), y.row, 8, eights);
            for (int i = first; i < n; ++i)
                for (int c = 0; c < 8 * (most_eights + 1); ++c) {
                    const bool solved = c >= 8 && c < 8 + 8 * eights;
                    double side = solved ? pivot[static_cast<std::size_t>(i)] * y.row[i][c] : y.row[i][c];
                    for (int m = first; m < i && solved; ++m)
                        side += factor.row[m][i] * y.row[m][c];
                    ASSERT_NEAR(side, sides.row[i][c], 1e-12) << kernels.name << ", " << eights << ", column " << c;
                }
        };
        for (const int first : {0, n / 2})
            for (int eights = 1; eights <= most_eights; ++eights) {
                check(entropy_kernels_baseline, first, eights);
                for_each_variant(entropy_kernel_variants,
                                 [&](const entropy_kernels& kernels) { check(kernels, first, eights); });
            }
    }
}

TEST(kernel_variants, discrepancy_loops_have_the_same_bits)
{
    random_stream random{6};
    for (int n = 2; n <= most_rows; ++n) {
        test_run run;
        constexpr int factors = 3;
        aligned_rows columns(run, 2 * factors, n);
        aligned_rows terms(run, 2, n + 1);
        for (int r = 0; r < n; ++r) {
            for (int k = 0; k < factors; ++k) {
                columns.row[k][r] = any_number(random);
                columns.row[factors + k][r] = std::abs(columns.row[k][r] - 0.5);
            }
            terms.row[0][r] = any_number(random);
            terms.row[1][r] = any_number(random);
        }
        aligned_rows expected(run, 3, n + 1);
        aligned_rows found(run, 3, n + 1);
        const int a = random.below(n);
        const cd2_exchange x{n,
                             columns.row[0],
                             columns.row[factors],
                             terms.row[0],
                             terms.row[1],
                             a,
                             (a + 1 + random.below(n - 1)) % n};
        const int i = random.below(n);
        const auto fill = [&](const cd2_kernels& kernels, double* const* out) {
            out[2][n] = 0.0;
            kernels.pair_terms(n, factors, i, columns.row, columns.row + factors, 0.125, out[2]);
            return kernels.exchange(x, out[0], out[1], 0.25);
        };
        const double delta = fill(cd2_kernels_baseline, expected.row);
        for_each_variant(cd2_kernel_variants, [&](const cd2_kernels& kernels) {
            const double result = fill(kernels, found.row);
            ASSERT_TRUE(same_bits(&result, &delta, 1)) << kernels.name << ", " << n << " rows";
            ASSERT_TRUE(same_bits(found.row[0], expected.row[0], n)) << kernels.name << ", " << n << " rows";
            ASSERT_TRUE(same_bits(found.row[1], expected.row[1], n)) << kernels.name << ", " << n << " rows";
            ASSERT_TRUE(same_bits(found.row[2] + i + 1, expected.row[2] + i + 1, n - i - 1)) << kernels.name;
        });
    }
}

TEST(kernel_variants, a2_loops_give_the_same_integers)
{
    random_stream random{7};
    for (int n = 0; n <= most_rows; ++n) {
        const auto size = static_cast<std::size_t>(n) + 1; // one cell that nobody may write
        std::vector<double> column(size);
        std::vector<std::int32_t> counts_a(size);
        std::vector<std::int32_t> counts_b(size);
        for (std::size_t r = 0; r < size; ++r) {
            column[r] = random.below(4) == 0 ? 0.25 + 0.4e-15 * random.below(5) : any_number(random);
            counts_a[r] = static_cast<std::int32_t>(random.next());
            counts_b[r] = random.below(30);
        }
        const std::int32_t weight = 1 + random.below(100000);
        std::vector<std::int32_t> expected(size, 7);
        a2_kernels_baseline.count_changes(n, column.data(), 0.25, -0.0, weight, expected.data());
        std::uint32_t all_bits = 0;
        const std::int64_t sum =
            a2_kernels_baseline.square_changes(n, counts_a.data(), counts_b.data(), expected.data(), &all_bits);
        std::vector<std::int32_t> expected_counts = counts_a;
        a2_kernels_baseline.add_coincidences(n, column.data(), 0.5, weight, expected_counts.data());
        EXPECT_EQ(expected.back(), 7);
        for_each_variant(a2_kernel_variants, [&](const a2_kernels& kernels) {
            std::vector<std::int32_t> found(size, 7);
            kernels.count_changes(n, column.data(), 0.25, -0.0, weight, found.data());
            EXPECT_EQ(found, expected) << kernels.name;
            std::uint32_t found_bits = 0;
            EXPECT_EQ(kernels.square_changes(n, counts_a.data(), counts_b.data(), found.data(), &found_bits), sum)
                << kernels.name;
            EXPECT_EQ(found_bits, all_bits) << kernels.name;
            std::vector<std::int32_t> found_counts = counts_a;
            kernels.add_coincidences(n, column.data(), 0.5, weight, found_counts.data());
            EXPECT_EQ(found_counts, expected_counts) << kernels.name;
        });
    }
}

TEST(kernel_variants, are_named_and_the_best_one_is_chosen)
{
    EXPECT_STREQ(entropy_kernels_baseline.name, "baseline");
    const instruction_set best = machine_has(instruction_set::avx512) ? instruction_set::avx512
                                 : machine_has(instruction_set::avx2) ? instruction_set::avx2
                                                                      : instruction_set::baseline;
    EXPECT_EQ(best_variant(entropy_kernel_variants), entropy_kernel_variants[static_cast<std::size_t>(best)]);
    const kernel_variants<cd2_kernels> only_baseline{&cd2_kernels_baseline, nullptr, nullptr};
    EXPECT_EQ(best_variant(only_baseline), &cd2_kernels_baseline);
    EXPECT_EQ(best_variant(kernel_variants<cd2_kernels>{}), nullptr);
}

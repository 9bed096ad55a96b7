#include "optdoe/simd/ordered_sum_kernels.h"

#include "optdoe/numeric/ordered_sum.h"
#include "tests/support/kernel_comparison.h"

namespace {

constexpr double limit = 0.25;

/// A summand of at most `most`, sometimes half way between two points of the grid, sometimes zero or subnormal.
double summand(random_stream& random, double most)
{
    const double step = limit * 0x1p-51;
    switch (random.below(4)) {
    case 0: return any_number(random) * most;
    case 1: return step * (0.5 + random.below(1000));
    default: return most * (2.0 * random.unit() - 1.0);
    }
}

using sum_kernel = decltype(ordered_sum_kernels::sum_on_grid) ordered_sum_kernels::*;

void expect_same_sums(sum_kernel sum_of, const std::vector<double>& x, bool may_be_too_large)
{
    const int count = static_cast<int>(x.size());
    const grid_sum expected = (ordered_sum_kernels_plain.*sum_of)(count, x.data(), limit);
    for_each_variant(ordered_sum_kernel_variants, [&](const ordered_sum_kernels& kernels) {
        SCOPED_TRACE(std::string(kernels.name) + ", " + std::to_string(count) + " summands");
        const grid_sum found = (kernels.*sum_of)(count, x.data(), limit);
        EXPECT_EQ(found.ties, expected.ties);
        if (may_be_too_large && expected.ties == std::numeric_limits<double>::infinity())
            return;
        EXPECT_EQ(found.above, expected.above);
        EXPECT_EQ(found.below, expected.below);
    });
}

/// Rows of a triangle and a line of summands that is replaced.
struct grid_input {
    grid_input(test_run& run, int stride, random_stream& random)
        : length(stride), line(aligned_lines(run, 5, stride).line)
    {
        for (int r = 0; r < stride; ++r) {
            line[0][r] = random.below(8) == 0 ? 0.0 : limit;
            line[1][r] = limit * (2.0 + 2.5 * random.unit());
            line[2][r] = random.below(8) == 0 ? std::numeric_limits<double>::infinity() : random.below(3);
            line[3][r] = std::abs(summand(random, 0.2 * limit));
            line[4][r] = std::abs(summand(random, random.below(8) == 0 ? 2.0 * limit : 0.2 * limit));
        }
    }

    /// Into copies of the sums and ties.
    void replace(const ordered_sum_kernels& kernels, int at, double* sum, double* ties) const
    {
        std::copy_n(line[1], length, sum);
        std::copy_n(line[2], length, ties);
        kernels.replace_on_grid(length, at, line[3], line[4], {line[0], sum, ties});
    }

    int length;
    double** line; ///< limits, sums, ties, summands before and after
};

} // namespace

TEST(orderedsumkernels, sums_have_the_bits_of_the_plain_form)
{
    random_stream random{31};
    for (const int n : kernel_sizes()) {
        for (int repeat = 0; repeat < 4; ++repeat) {
            std::vector<double> x;
            for (int i = 0; i < n; ++i)
                x.push_back(summand(random, limit / n));
            expect_same_sums(&ordered_sum_kernels::sum_on_grid, x, false);
            for (double& summand : x)
                summand = std::abs(summand);
            expect_same_sums(&ordered_sum_kernels::sum_positive_on_grid, x, false);
        }
    }
}

TEST(orderedsumkernels, what_is_too_large_or_no_number_is_told)
{
    random_stream random{32};
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const int n : kernel_sizes(1)) {
        for (const double strange : {limit, -limit, 1e300, -std::numeric_limits<double>::infinity(), nan}) {
            std::vector<double> x(static_cast<std::size_t>(n), 1e-3 * limit);
            x[static_cast<std::size_t>(random.below(n))] = strange;
            EXPECT_EQ(ordered_sum_kernels_plain.sum_on_grid(n, x.data(), limit).ties,
                      std::numeric_limits<double>::infinity());
            expect_same_sums(&ordered_sum_kernels::sum_on_grid, x, true);
            if (!(strange < 0.0))
                expect_same_sums(&ordered_sum_kernels::sum_positive_on_grid, x, true);
        }
    }
}

TEST(orderedsumkernels, replaced_lines_have_the_bits_of_the_plain_form)
{
    random_stream random{33};
    for (const int n : kernel_sizes(1)) {
        test_run run;
        const grid_input in(run, padded_length(n), random);
        double** out = aligned_lines(run, 4, in.length).line;
        for (const int at : {0, n / 2, n - 1}) {
            in.replace(ordered_sum_kernels_plain, at, out[0], out[1]);
            for_each_variant(ordered_sum_kernel_variants, [&](const ordered_sum_kernels& kernels) {
                in.replace(kernels, at, out[2], out[3]);
                ASSERT_TRUE(same_numbers(out[2], out[0], 0, in.length))
                    << kernels.name << ", line " << at << " of " << n;
                ASSERT_TRUE(same_numbers(out[3], out[1], 0, in.length))
                    << kernels.name << ", line " << at << " of " << n;
            });
        }
    }
}

TEST(orderedsumkernels, are_measured_against_the_plain_form)
{
    random_stream random{34};
    test_run run;
    const grid_input in(run, 504, random);
    double** out = aligned_lines(run, 2, in.length).line;
    grid_sum sums{};
    for_each_variant(ordered_sum_kernel_variants, [&](const ordered_sum_kernels& variant) {
        report_speed("sum_on_grid", variant, ordered_sum_kernels_plain, [&](const ordered_sum_kernels& kernels) {
            sums = kernels.sum_on_grid(in.length, in.line[3], limit);
        });
        report_speed("sum_positive_on_grid", variant, ordered_sum_kernels_plain,
                     [&](const ordered_sum_kernels& kernels) {
                         sums = kernels.sum_positive_on_grid(in.length, in.line[3], limit);
                     });
        report_speed("replace_on_grid", variant, ordered_sum_kernels_plain,
                     [&](const ordered_sum_kernels& kernels) { in.replace(kernels, 100, out[0], out[1]); });
    });
}

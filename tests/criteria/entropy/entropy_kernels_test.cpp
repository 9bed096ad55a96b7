#include "optdoe/criteria/entropy/entropy_kernels.h"

#include "tests/support/kernel_comparison.h"

namespace {

/// A factor and its diagonal.
struct factorisation {
    factorisation(test_run& run, int n)
        : factor(upper_table_alloc(run.ctx(), n)), pivot(aligned_lines(run, 1, n + 1).line[0])
    {
    }

    upper_table factor;
    double* pivot;
    double product = 0.0;
};

upper_table correlations(test_run& run, int n, random_stream& random)
{
    const upper_table r = upper_table_alloc(run.ctx(), n);
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j)
            r.row[i][j] = any_number(random) / (n % 5 == 4 ? 2.0 : n); // some are not positive definite
    return r;
}

/// Rows 0 .. k0-1 of the known factorisation are kept; null: none is.
void factorise(const entropy_kernels& kernels, int n, int k0, const upper_table& r, const factorisation* known,
               factorisation& out)
{
    const factorisation& kept = known != nullptr ? *known : out;
    out.product = kernels.factorise({n, k0, r.row, kept.factor.row, kept.pivot, out.factor.row, out.pivot});
}

/// Right sides 8 .. 8 + 8 * eights - 1 of a triangular system; the columns beside them are not solved.
struct triangular_system {
    triangular_system(test_run& run, int n, int columns, random_stream& random)
        : rows(n), width(columns), factor(upper_table_alloc(run.ctx(), n)), pivot(aligned_lines(run, 1, n).line[0]),
          sides(aligned_lines(run, n, columns).line)
    {
        for (int j = 0; j < n; ++j) { // row j holds column j of L
            pivot[j] = 0.5 + random.unit();
            for (int i = j + 1; i < n; ++i)
                factor.row[j][i] = 0.2 * random.unit();
            for (int c = 0; c < columns; ++c)
                sides[j][c] = random.unit() - 0.5;
        }
    }

    void solve(const entropy_kernels& kernels, int first, int eights, double** y) const
    {
        for (int i = 0; i < rows; ++i)
            for (int c = 0; c < width; ++c)
                y[i][c] = i < first ? 0.0 : sides[i][c];
        kernels.substitute(rows, first, factor.row, pivot, y, 8, eights);
    }

    int rows;
    int width;
    upper_table factor;
    double* pivot;
    double** sides;
};

} // namespace

TEST(entropykernels, factors_have_the_bits_of_the_plain_form)
{
    random_stream random{5};
    for (const int n : kernel_sizes()) {
        test_run run;
        const upper_table r = correlations(run, n, random);
        factorisation expected(run, n);
        factorise(entropy_kernels_plain, n, 0, r, nullptr, expected);
        for_each_variant(entropy_kernel_variants, [&](const entropy_kernels& kernels) {
            for (const int k0 : {0, n / 3, n}) {
                if (k0 > 0 && expected.product == 0.0)
                    continue;
                SCOPED_TRACE(std::string(kernels.name) + ", " + std::to_string(n) + " rows from " +
                             std::to_string(k0));
                factorisation found(run, n);
                factorise(kernels, n, k0, r, &expected, found);
                ASSERT_TRUE(same_number(found.product, expected.product));
                ASSERT_TRUE(same_numbers(found.pivot, expected.pivot, 0, n));
                for (int i = 0; i < n && expected.pivot[i] != 0.0; ++i)
                    ASSERT_TRUE(same_numbers(found.factor.row[i], expected.factor.row[i], std::max(i + 1, k0), n))
                        << "row " << i;
            }
        });
    }
}

TEST(entropykernels, the_plain_form_keeps_rows_too)
{
    random_stream random{6};
    for (const int n : {1, 7, 33}) {
        test_run run;
        const upper_table r = correlations(run, n, random);
        factorisation whole(run, n);
        factorise(entropy_kernels_plain, n, 0, r, nullptr, whole);
        factorisation rest(run, n);
        factorise(entropy_kernels_plain, n, n / 2, r, &whole, rest);
        EXPECT_TRUE(same_number(rest.product, whole.product)) << n;
        EXPECT_TRUE(same_numbers(rest.pivot, whole.pivot, 0, n)) << n;
    }
}

TEST(entropykernels, factors_of_wide_rows_fail_as_the_plain_form_does)
{
    for (int n = 16; n <= 136; n += 8) {
        test_run run;
        const upper_table r = upper_table_alloc(run.ctx(), n);
        r.row[0][1] = 1.0; // the first two points are one
        const auto check = [&](const entropy_kernels& kernels) {
            factorisation found(run, n);
            std::fill_n(found.pivot, n, 7.0);
            factorise(kernels, n, 0, r, nullptr, found);
            EXPECT_EQ(found.product, 0.0);
            EXPECT_EQ(found.pivot[0], 1.0);
            EXPECT_EQ(std::count(found.pivot + 1, found.pivot + n, 0.0), n - 1) << kernels.name << ", " << n;
        };
        check(entropy_kernels_plain);
        for_each_variant(entropy_kernel_variants, check);
    }
}

TEST(entropykernels, a_product_that_underflows_is_a_failure)
{
    constexpr int n = 50;
    test_run run;
    const upper_table r = upper_table_alloc(run.ctx(), n);
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j)
            r.row[i][j] = 1.0 - 1e-14;
    factorisation expected(run, n);
    factorise(entropy_kernels_plain, n, 0, r, nullptr, expected);
    EXPECT_EQ(expected.product, 0.0);
    EXPECT_EQ(expected.pivot[n - 1], 0.0);
    for_each_variant(entropy_kernel_variants, [&](const entropy_kernels& kernels) {
        factorisation found(run, n);
        factorise(kernels, n, 0, r, nullptr, found);
        EXPECT_EQ(found.product, 0.0) << kernels.name;
        EXPECT_TRUE(same_numbers(found.pivot, expected.pivot, 0, n)) << kernels.name;
    });
}

TEST(entropykernels, solutions_are_near_those_of_the_plain_form_for_any_number_of_right_sides)
{
    random_stream random{8};
    constexpr int most_eights = 17;
    for (const int n : {1, 2, 9, 16, 67}) {
        test_run run;
        const triangular_system in(run, n, 8 * (most_eights + 1), random);
        double** expected = aligned_lines(run, n, in.width).line;
        double** found = aligned_lines(run, n, in.width).line;
        for (const int first : {0, n / 2}) {
            for (int eights = 1; eights <= most_eights; ++eights) {
                in.solve(entropy_kernels_plain, first, eights, expected);
                for_each_variant(entropy_kernel_variants, [&](const entropy_kernels& kernels) {
                    in.solve(kernels, first, eights, found);
                    for (int i = 0; i < n; ++i)
                        for (int c = 0; c < in.width; ++c)
                            ASSERT_NEAR(found[i][c], expected[i][c], 1e-12 * std::max(1.0, std::abs(expected[i][c])))
                                << kernels.name << ", " << n << " rows, " << eights << ", column " << c;
                });
            }
        }
    }
}

TEST(entropykernels, dot_products_are_near_those_of_the_plain_form)
{
    random_stream random{9};
    for (const int n : kernel_sizes()) {
        test_run run;
        const aligned_lines y(run, n, 4 * candidate_width);
        for (int i = 0; i < n; ++i)
            for (int c = 0; c < 4 * candidate_width; ++c)
                y.line[i][c] = random.unit() - 0.5;
        const aligned_lines dots(run, 2, 10 * candidate_width);
        entropy_kernels_plain.candidate_dots(n, y.line, dots.line[0]);
        for_each_variant(entropy_kernel_variants, [&](const entropy_kernels& kernels) {
            kernels.candidate_dots(n, y.line, dots.line[1]);
            for (int c = 0; c < 10 * candidate_width; ++c)
                ASSERT_NEAR(dots.line[1][c], dots.line[0][c], 1e-15 * n)
                    << kernels.name << ", " << n << " rows, " << c;
        });
    }
}

TEST(entropykernels, are_measured_against_the_plain_form)
{
    random_stream random{10};
    constexpr int n = 100;
    test_run run;
    const upper_table r = upper_table_alloc(run.ctx(), n);
    std::fill_n(r.cells, r.extent, 0.5 / n);
    factorisation out(run, n);
    const triangular_system in(run, n, 8 * 15, random);
    double** y = aligned_lines(run, n, 4 * candidate_width).line;
    double* dots = aligned_lines(run, 1, 10 * candidate_width).line[0];
    for_each_variant(entropy_kernel_variants, [&](const entropy_kernels& variant) {
        const auto report = [&](const char* member, auto call) {
            report_speed(member, variant, entropy_kernels_plain, call);
        };
        report("factorise", [&](const entropy_kernels& kernels) { factorise(kernels, n, 0, r, nullptr, out); });
        report("substitute", [&](const entropy_kernels& kernels) { in.solve(kernels, 0, 14, y); });
        report("candidate_dots", [&](const entropy_kernels& kernels) { kernels.candidate_dots(n, y, dots); });
    });
}

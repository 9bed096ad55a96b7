#include "optdoe/criteria/cd2/cd2_kernels.h"

#include "tests/support/kernel_comparison.h"

namespace {

constexpr int factors = 3;

/// One input of all kernels: columns, the terms of two rows, and an exchange of these rows.
struct cd2_input {
    cd2_input(test_run& run, int n, random_stream& random, double (*number)(random_stream&) = any_number)
        : rows(n), z(aligned_lines(run, 2 * factors, n + 1).line), a(z + factors),
          terms(aligned_lines(run, 2, n + 1).line), counted(aligned_lines(run, 1, n + 1).line[0])
    {
        for (int r = 0; r < n; ++r) {
            for (int k = 0; k < factors; ++k) {
                z[k][r] = number(random);
                a[k][r] = std::abs(z[k][r] - 0.5);
            }
            terms[0][r] = number(random);
            terms[1][r] = number(random);
            counted[r] = 1.0;
        }
        row = n > 0 ? random.below(n) : 0;
        if (n < 2)
            return;
        const int other = (row + 1 + random.below(n - 1)) % n;
        exchange = {n, z[0], a[0], terms[0], terms[1], row, other};
        counted[row] = counted[other] = 0.0;
    }

    int rows;
    double** z;
    double** a;
    double** terms;
    double* counted;
    cd2_exchange exchange{};
    int row; ///< whose pair terms are computed
    cd2_entry from{0.25, 0.25};
    cd2_entry to{0.875, 0.375};
};

struct cd2_results {
    cd2_results(test_run& run, int n) : lines(aligned_lines(run, 5, n + 1).line) {}

    void fill(const cd2_kernels& kernels, const cd2_input& in)
    {
        if (in.rows >= 2)
            delta = kernels.exchange(in.exchange, lines[0], lines[1], 0.25);
        if (in.rows > 0) {
            kernels.pair_terms(in.rows, factors, in.row, in.z, in.a, 0.125, lines[2]);
            kernels.pair_terms_before(in.rows, factors, in.row, in.z, in.a, 0.125, lines[3]);
        }
        kernels.pair_ratios(in.rows, in.from, in.to, in.z[1], in.a[1], lines[4]);
    }

    double** lines; ///< new terms of both rows, pair terms behind and before a row, ratios
    double delta = 0.0;
};

void expect_same(const cd2_input& in, const cd2_results& found, const cd2_results& expected, const char* name)
{
    SCOPED_TRACE(std::string(name) + ", " + std::to_string(in.rows) + " rows");
    ASSERT_TRUE(same_number(found.delta, expected.delta)) << found.delta << ", not " << expected.delta;
    for (int r = 0; r < in.rows && in.rows >= 2; ++r) {
        if (r == in.exchange.row_a || r == in.exchange.row_b)
            continue;
        ASSERT_TRUE(same_numbers(found.lines[0], expected.lines[0], r, r + 1));
        ASSERT_TRUE(same_numbers(found.lines[1], expected.lines[1], r, r + 1));
    }
    ASSERT_TRUE(same_numbers(found.lines[2], expected.lines[2], in.row + 1, in.rows));
    ASSERT_TRUE(same_numbers(found.lines[3], expected.lines[3], 0, in.row));
    ASSERT_TRUE(same_numbers(found.lines[4], expected.lines[4], 0, in.rows));
}

void compare(int n, random_stream& random, double strange_entry)
{
    test_run run;
    cd2_input in(run, n, random);
    for (int r = 0; r < n && strange_entry != 0.0; r += 1 + random.below(9)) {
        in.z[random.below(factors)][r] = strange_entry;
        in.a[random.below(factors)][r] = std::abs(strange_entry);
    }
    cd2_results expected(run, n);
    expected.fill(cd2_kernels_plain, in);
    for_each_variant(cd2_kernel_variants, [&](const cd2_kernels& kernels) {
        cd2_results found(run, n);
        found.fill(kernels, in);
        expect_same(in, found, expected, kernels.name);
    });
}

} // namespace

TEST(cd2kernels, have_the_bits_of_the_plain_form)
{
    random_stream random{6};
    for (const int n : kernel_sizes())
        for (int repeat = 0; repeat < 4; ++repeat)
            compare(n, random, 0.0);
}

TEST(cd2kernels, have_the_bits_of_the_plain_form_beside_infinite_and_huge_entries)
{
    random_stream random{7};
    for (const int n : kernel_sizes())
        for (const double entry : {std::numeric_limits<double>::infinity(), 1e300, -1e300})
            compare(n, random, entry);
}

TEST(cd2kernels, estimates_are_near_the_sum_of_the_plain_form)
{
    random_stream random{8};
    for (const int n : kernel_sizes(2)) {
        test_run run;
        const cd2_input in(run, n, random);
        const double expected = cd2_kernels_plain.estimate(in.exchange, in.counted);
        for_each_variant(cd2_kernel_variants, [&](const cd2_kernels& kernels) {
            EXPECT_NEAR(kernels.estimate(in.exchange, in.counted), expected, 1e-14 * n) << kernels.name << ", " << n;
        });
    }
}

TEST(cd2kernels, are_measured_against_the_plain_form)
{
    random_stream random{9};
    test_run run;
    cd2_input in(run, 500, random, ordinary_number);
    in.row = 250;
    cd2_results out(run, 500);
    for_each_variant(cd2_kernel_variants, [&](const cd2_kernels& variant) {
        const auto report = [&](const char* member, auto call) {
            report_speed(member, variant, cd2_kernels_plain, call);
        };
        report("exchange", [&](const cd2_kernels& kernels) {
            out.delta += kernels.exchange(in.exchange, out.lines[0], out.lines[1], 0.25);
        });
        report("estimate",
               [&](const cd2_kernels& kernels) { out.delta += kernels.estimate(in.exchange, in.counted); });
        report("pair_terms", [&](const cd2_kernels& kernels) {
            kernels.pair_terms(in.rows, factors, in.row, in.z, in.a, 0.125, out.lines[2]);
        });
        report("pair_terms_before", [&](const cd2_kernels& kernels) {
            kernels.pair_terms_before(in.rows, factors, in.row, in.z, in.a, 0.125, out.lines[3]);
        });
        report("pair_ratios", [&](const cd2_kernels& kernels) {
            kernels.pair_ratios(in.rows, in.from, in.to, in.z[1], in.a[1], out.lines[4]);
        });
    });
}

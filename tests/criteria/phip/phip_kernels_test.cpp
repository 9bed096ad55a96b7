#include "optdoe/criteria/phip/phip_kernels.h"

#include "tests/support/bounded_run.h"
#include "tests/support/kernel_comparison.h"

namespace {

constexpr distance_kind kinds[]{distance_kind::rectangular, distance_kind::euclidean};
constexpr std::int32_t exponents[]{1, 2, 5, 10, 20};
constexpr double infinity = std::numeric_limits<double>::infinity();

/// Lines of two rows and a column: some distances carry a mark, some are below the floor.
struct line_input {
    line_input(test_run& run, int n, random_stream& random, double (*number)(random_stream&))
        : rows(n), stride(padded_length(n)), line(aligned_lines(run, 3, stride).line)
    {
        for (int r = 0; r < stride; ++r) {
            line[0][r] = r < n ? number(random) : 0.0;
            for (double* distances : {line[1], line[2]})
                distances[r] = r >= n ? infinity : random.below(8) == 0 ? -number(random) : number(random);
        }
        exchange = {line[0], 0.25, 0.75, line[1], line[2], random.below(n), 0};
        exchange.b = (exchange.a + 1) % n;
        line[1][exchange.a] = line[2][exchange.b] = infinity;
        exchange.entry_a = line[0][exchange.a];
        exchange.entry_b = line[0][exchange.b];
    }

    int rows;
    int stride;
    double** line; ///< column, distances of row a, distances of row b
    exchange_lines exchange;
    double floor = 0.01;
};

exchange_results into(double** lines) { return {lines[0], lines[1], lines[2], lines[3], lines[4], lines[5]}; }

template <class Check>
void for_each_case(int n, Check check)
{
    for (const distance_kind kind : kinds)
        for (const std::int32_t p : exponents)
            for_each_variant(phip_kernel_variants, [&](const phip_kernels& kernels) {
                SCOPED_TRACE(std::string(kernels.name) + ", " + std::to_string(n) + " rows, exponent " +
                             std::to_string(p) + (kind == distance_kind::euclidean ? ", Euclidean" : ""));
                check(kernels, kind, p);
            });
}

} // namespace

TEST(phipkernels, terms_and_moves_have_the_bits_of_the_plain_form)
{
    random_stream random{41};
    for (const int n : kernel_sizes(2)) {
        test_run run;
        const line_input in(run, n, random, any_number);
        double** out = aligned_lines(run, 2, n).line;
        for_each_case(n, [&](const phip_kernels& kernels, distance_kind kind, std::int32_t p) {
            phip_kernels_plain.terms(p, in.floor, in.stride, in.line[1], out[0]);
            kernels.terms(p, in.floor, in.stride, in.line[1], out[1]);
            ASSERT_TRUE(same_numbers(out[1], out[0], 0, in.stride));
            phip_kernels_plain.move(kind, in.stride, in.line[0], 0.75, 0.125, in.line[1], out[0]);
            kernels.move(kind, in.stride, in.line[0], 0.75, 0.125, in.line[1], out[1]);
            ASSERT_TRUE(same_numbers(out[1], out[0], 0, in.stride));
        });
    }
}

TEST(phipkernels, exchanges_have_the_bits_of_the_plain_form)
{
    random_stream random{42};
    for (const int n : kernel_sizes(2)) {
        test_run run;
        const line_input in(run, n, random, any_number);
        double** expected = aligned_lines(run, 6, n).line;
        double** found = aligned_lines(run, 6, n).line;
        for_each_case(n, [&](const phip_kernels& kernels, distance_kind kind, std::int32_t p) {
            const auto fill = [&](const phip_kernels& with, double** lines) {
                return with.exchange(kind, p, in.floor, in.rows, in.stride, in.exchange, into(lines));
            };
            const exchange_sums sums = fill(phip_kernels_plain, expected);
            const exchange_sums result = fill(kernels, found);
            ASSERT_TRUE(same_number(result.old_sum, sums.old_sum)) << result.old_sum << ", not " << sums.old_sum;
            ASSERT_TRUE(same_number(result.new_sum, sums.new_sum)) << result.new_sum << ", not " << sums.new_sum;
            for (int line = 0; line < 6; ++line)
                ASSERT_TRUE(same_numbers(found[line], expected[line], 0, in.stride)) << "line " << line;
        });
    }
}

TEST(phipkernels, sums_are_near_those_of_the_plain_form)
{
    random_stream random{43};
    for (const int n : kernel_sizes(2)) {
        test_run run;
        const line_input in(run, n, random, ordinary_number);
        for_each_case(n, [&](const phip_kernels& kernels, distance_kind kind, std::int32_t p) {
            const auto estimate = [&](const phip_kernels& with) {
                return with.sum_after_exchange(kind, p, in.floor, in.stride, in.exchange);
            };
            const double expected = estimate(phip_kernels_plain);
            EXPECT_NEAR(estimate(kernels), expected, (kernels.estimate_error + 1e-15 * n) * expected);
            EXPECT_NEAR(kernels.sum(in.stride / 2 / 8 * 8, in.line[0]),
                        phip_kernels_plain.sum(in.stride / 2 / 8 * 8, in.line[0]), 1e-15 * n);
        });
    }
}

TEST(phipkernels, sums_of_rows_have_the_bits_of_the_plain_form_and_stay_below_their_bound)
{
    random_stream random{44};
    for (const int n : kernel_sizes(2)) {
        test_run run;
        double** terms = aligned_lines(run, 2, n).line;
        double** before = aligned_lines(run, 2, n).line; // sums, upper bounds
        double** expected = aligned_lines(run, 2, n).line;
        double** found = aligned_lines(run, 2, n).line;
        for (int r = 0; r < n; ++r) {
            terms[0][r] = any_number(random);
            terms[1][r] = any_number(random);
            before[0][r] = terms[0][r] + random.unit();
            before[1][r] = before[0][r] * (1.0 + 1e-15);
        }
        const auto replace = [&](const phip_kernels& kernels, double* const* sums) {
            std::copy_n(before[0], n, sums[0]);
            std::copy_n(before[1], n, sums[1]);
            kernels.replace_terms(padded_length(n), terms[0], terms[1], sums[0], sums[1]);
        };
        replace(phip_kernels_plain, expected);
        for_each_variant(phip_kernel_variants, [&](const phip_kernels& kernels) {
            replace(kernels, found);
            ASSERT_TRUE(same_numbers(found[0], expected[0], 0, n)) << kernels.name;
            for (int r = 0; r < n; ++r) {
                ASSERT_GE(found[1][r], found[0][r]) << kernels.name;
                ASSERT_NEAR(found[1][r], expected[1][r], 1e-15) << kernels.name;
            }
        });
    }
}

TEST(phipkernels, bounds_lie_between_those_of_the_plain_form)
{
    random_stream random{45};
    for (const int n : {2, 3, 7, 8, 9, 16, 17, 31, 32, 33, 64, 67, 200}) {
        for_each_case(n, [&](const phip_kernels& kernels, distance_kind kind, std::int32_t p) {
            bounded_run run(n, kind, p, random);
            if (!run.usable)
                return;
            const coarse_lines& lines = run.candidates.coarse;
            std::vector<float> least(20);
            std::vector<float> found(20);
            phip_kernels_plain.bound_exchanges(kind, p, lines, 20, run.a.data(), run.b.data(), least.data());
            kernels.bound_exchanges(kind, p, lines, 20, run.a.data(), run.b.data(), found.data());
            for (std::size_t c = 0; c < 20; ++c) {
                const coarse_sum all = phip_kernels_plain.close_bound(kind, p, lines, run.a[c], run.b[c]);
                const coarse_sum close = kernels.close_bound(kind, p, lines, run.a[c], run.b[c]);
                // Single precision moves a distance by a part of a step that the doubt covers.
                const double shift = 0x1p-6 / (all.least + lines.doubt);
                const double error = bound_error(lines.stride) + std::expm1(2.0 * p * shift);
                if (all.least + lines.doubt < 1.0)
                    continue;
                EXPECT_NEAR(close.terms, all.terms, error * all.terms);
                EXPECT_NEAR(close.least, all.least, 0x1p-6);
                EXPECT_GE(found[c], least[c] * (1.0 - error));
                EXPECT_LE(found[c], all.terms * (1.0 + error));
            }
        });
    }
}

TEST(phipkernels, are_measured_against_the_plain_form)
{
    random_stream random{46};
    constexpr int n = 200;
    constexpr std::int32_t p = 10;
    constexpr distance_kind kind = distance_kind::euclidean;
    test_run run;
    const line_input in(run, n, random, ordinary_number);
    bounded_run bounded(n, kind, p, random);
    const coarse_lines& lines = bounded.candidates.coarse;
    double** out = aligned_lines(run, 6, n).line;
    float bounds[20];
    volatile double keep = 0.0;
    for_each_variant(phip_kernel_variants, [&](const phip_kernels& variant) {
        const auto report = [&](const char* member, auto call) {
            report_speed(member, variant, phip_kernels_plain, call);
        };
        report("terms",
               [&](const phip_kernels& kernels) { kernels.terms(p, in.floor, in.stride, in.line[1], out[0]); });
        report("exchange", [&](const phip_kernels& kernels) {
            keep = kernels.exchange(kind, p, in.floor, in.rows, in.stride, in.exchange, into(out)).new_sum;
        });
        report("bound_exchanges", [&](const phip_kernels& kernels) {
            kernels.bound_exchanges(kind, p, lines, 20, bounded.a.data(), bounded.b.data(), bounds);
        });
        report("close_bound", [&](const phip_kernels& kernels) {
            keep = kernels.close_bound(kind, p, lines, bounded.a[0], bounded.b[0]).terms;
        });
        report("sum_after_exchange", [&](const phip_kernels& kernels) {
            keep = kernels.sum_after_exchange(kind, p, in.floor, in.stride, in.exchange);
        });
        report("move", [&](const phip_kernels& kernels) {
            kernels.move(kind, in.stride, in.line[0], 0.75, 0.125, in.line[1], out[0]);
        });
        report("sum", [&](const phip_kernels& kernels) { keep = kernels.sum(in.stride, in.line[0]); });
        report("replace_terms", [&](const phip_kernels& kernels) {
            kernels.replace_terms(in.stride, in.line[0], in.line[0], out[0], out[1]);
        });
    });
}

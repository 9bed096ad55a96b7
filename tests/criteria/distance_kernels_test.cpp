#include "optdoe/criteria/distance_kernels.h"

#include "tests/support/kernel_comparison.h"

namespace {

constexpr int factors = 5;

/// Rows and a point; every ninth entry may be strange.
struct distance_input {
    distance_input(test_run& run, int n, random_stream& random, double (*number)(random_stream&),
                   double strange = 0.0)
        : count(n), stride(padded_length(n)), columns(aligned_lines(run, factors, stride).line[0])
    {
        for (int k = 0; k < factors; ++k) {
            point[k] = number(random);
            for (int r = 0; r < n; ++r)
                columns[k * stride + r] = strange != 0.0 && random.below(9) == 0 ? strange : number(random);
        }
    }

    void fill(const distance_kernels& kernels, distance_kind kind, double* out) const
    {
        kernels.distances(kind, count, stride, factors, columns, point, out);
    }

    int count;
    int stride;
    double* columns;
    double point[factors];
};

constexpr distance_kind kinds[]{distance_kind::rectangular, distance_kind::euclidean};

} // namespace

TEST(distancekernels, have_the_bits_of_the_plain_form)
{
    random_stream random{21};
    for (const int n : kernel_sizes()) {
        for (const double strange : {0.0, 1e200, -std::numeric_limits<double>::infinity()}) {
            test_run run;
            const distance_input in(run, n, random, any_number, strange);
            double** lines = aligned_lines(run, 2, n + 8).line;
            for (const distance_kind kind : kinds) {
                in.fill(distance_kernels_plain, kind, lines[0]);
                for_each_variant(distance_kernel_variants, [&](const distance_kernels& kernels) {
                    std::fill_n(lines[1], in.stride + 1, 7.0);
                    in.fill(kernels, kind, lines[1]);
                    ASSERT_TRUE(same_numbers(lines[1], lines[0], 0, in.stride))
                        << kernels.name << ", " << n << " rows";
                    ASSERT_EQ(lines[1][in.stride], 7.0) << kernels.name << ", " << n << " rows";
                });
            }
        }
    }
}

TEST(distancekernels, are_measured_against_the_plain_form)
{
    random_stream random{22};
    test_run run;
    const distance_input in(run, 500, random, ordinary_number);
    double* out = aligned_lines(run, 1, in.stride).line[0];
    for_each_variant(distance_kernel_variants, [&](const distance_kernels& variant) {
        for (const distance_kind kind : kinds)
            report_speed(kind == distance_kind::euclidean ? "distances_euclidean" : "distances_rectangular", variant,
                         distance_kernels_plain,
                         [&](const distance_kernels& kernels) { in.fill(kernels, kind, out); });
    });
}

#include "optdoe/criteria/a2/a2_kernels.h"

#include "tests/support/kernel_comparison.h"

namespace {

/// One input of all kernels: a column with entries 1e-15 apart, and counts that wrap when they are squared.
struct a2_input {
    a2_input(int n, random_stream& random, double (*number)(random_stream&)) : rows(n)
    {
        for (int r = 0; r <= n; ++r) { // one cell more, which nobody may write
            column.push_back(random.below(4) == 0 ? 0.25 + 0x1p-54 * random.below(40) : number(random));
            counts_a.push_back(static_cast<std::int32_t>(random.next()));
            counts_b.push_back(random.below(30));
        }
        if (n > 2) {
            column[0] = std::numeric_limits<double>::infinity();
            column[1] = -column[0];
        }
        from = random.below(4) == 0 ? column[0] : 0.25;
        to = random.below(2) == 0 ? -0.0 : 0.5;
        weight = random.below(4) == 0 ? static_cast<std::int32_t>(random.next()) : 1 + random.below(100000);
    }

    int rows;
    std::vector<double> column;
    std::vector<std::int32_t> counts_a;
    std::vector<std::int32_t> counts_b;
    double from;
    double to;
    std::int32_t weight;
};

struct a2_results {
    bool operator==(const a2_results&) const = default;

    std::vector<std::int32_t> changes;
    std::vector<std::int32_t> counts;
    std::int64_t squares;
};

a2_results results_of(const a2_kernels& kernels, const a2_input& in)
{
    a2_results out{std::vector<std::int32_t>(in.column.size(), 7), in.counts_a, 0};
    kernels.count_changes(in.rows, in.column.data(), in.from, in.to, in.weight, out.changes.data());
    out.squares = kernels.square_changes(in.rows, in.counts_a.data(), in.counts_b.data(), out.changes.data());
    kernels.add_coincidences(in.rows, in.column.data(), in.to, in.weight, out.counts.data());
    return out;
}

} // namespace

TEST(a2kernels, have_the_integers_of_the_plain_form)
{
    random_stream random{7};
    for (const int n : kernel_sizes()) {
        for (int repeat = 0; repeat < 4; ++repeat) {
            const a2_input in(n, random, any_number);
            const a2_results expected = results_of(a2_kernels_plain, in);
            EXPECT_EQ(expected.changes.back(), 7);
            for_each_variant(a2_kernel_variants, [&](const a2_kernels& kernels) {
                EXPECT_EQ(results_of(kernels, in), expected) << kernels.name << ", " << n << " rows";
            });
        }
    }
}

TEST(a2kernels, are_measured_against_the_plain_form)
{
    random_stream random{8};
    const a2_input in(500, random, ordinary_number);
    a2_results out = results_of(a2_kernels_plain, in);
    for_each_variant(a2_kernel_variants, [&](const a2_kernels& variant) {
        report_speed("count_changes", variant, a2_kernels_plain, [&](const a2_kernels& kernels) {
            kernels.count_changes(in.rows, in.column.data(), in.from, in.to, in.weight, out.changes.data());
        });
        report_speed("square_changes", variant, a2_kernels_plain, [&](const a2_kernels& kernels) {
            out.squares +=
                kernels.square_changes(in.rows, in.counts_a.data(), in.counts_b.data(), out.changes.data());
        });
        report_speed("add_coincidences", variant, a2_kernels_plain, [&](const a2_kernels& kernels) {
            kernels.add_coincidences(in.rows, in.column.data(), in.to, in.weight, out.counts.data());
        });
    });
}

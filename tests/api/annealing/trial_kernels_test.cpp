#include "api/annealing/aligned_floats.h"
#include "api/annealing/cd2_table.h"
#include "api/annealing/phip_table.h"
#include "tests/support/annealed.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

using optdoe::annealed_problem;

namespace {

/// Values after random trials and commits, for the comparison of variants bit by bit and with fresh tables.
template <class Table>
std::vector<double> drive(Table& table, const annealed_problem& problem)
{
    std::vector<std::int32_t> columns(problem.levels.size());
    for (std::size_t r = 0; r < problem.rows; ++r)
        for (std::size_t c = 0; c < problem.columns; ++c)
            columns[c * problem.rows + r] = problem.levels[r * problem.columns + c];
    table.load(columns);
    random_stream random{3};
    std::vector<double> seen{table.energy()};
    for (int t = 0; t < 100; ++t) {
        const std::size_t column = random.next() % problem.columns;
        const std::size_t a = random.next() % problem.rows;
        const std::size_t b = random.next() % problem.rows;
        if (columns[column * problem.rows + a] == columns[column * problem.rows + b])
            continue;
        double growth = 0.0;
        const bool accepted = table.accepts(column, a, b, random.unit(), &growth);
        seen.push_back(accepted ? growth : -1.0);
        if (!accepted)
            continue;
        const double before = table.energy();
        // Trials sum in single precision.
        const double tolerance = 1e-4 * (std::fabs(before) + static_cast<double>(problem.rows));
        table.commit(column, a, b, growth);
        std::swap(columns[column * problem.rows + a], columns[column * problem.rows + b]);
        EXPECT_NEAR(table.energy() - before, growth, tolerance);
        seen.push_back(table.energy());
    }
    const double last = table.energy();
    table.load(columns);
    EXPECT_NEAR(table.energy(), last, 1e-4 * (std::fabs(last) + static_cast<double>(problem.rows)));
    return seen;
}

/// Every variant that the machine runs, against the baseline.
template <class Table, class Kernels, class Make>
void expect_same_bits(const kernel_variants<Kernels>& variants, const annealed_problem& problem, Make make)
{
    Table plain = make(variants[0]);
    const std::vector<double> expected = drive(plain, problem);
    for (std::size_t set = 1; set < variants.size(); ++set) {
        if (variants[set] == nullptr || !machine_has(static_cast<instruction_set>(set)))
            continue;
        Table table = make(variants[set]);
        const std::vector<double> values = drive(table, problem);
        ASSERT_EQ(values.size(), expected.size());
        EXPECT_EQ(std::memcmp(values.data(), expected.data(), values.size() * sizeof(double)), 0)
            << variants[set]->name << ", " << problem.rows << " rows";
    }
}

void expect_same_bits_of_phip(annealed_problem problem, int exponent)
{
    for (const bool euclidean : {true, false}) {
        problem.euclidean = euclidean;
        problem.p = euclidean ? 2 * exponent : exponent;
        expect_same_bits<optdoe::phip_table>(optdoe::phip_trial_kernel_variants, problem, [&](const auto* kernels) {
            return optdoe::phip_table(problem, kernels);
        });
    }
}

} // namespace

TEST(trialkernels, variants_of_phip_give_the_same_bits)
{
    for (const int rows : {3, 4, 15, 16, 17, 31, 33, 64, 67, 130, 300})
        for (const int exponent : {1, 7, 10, 50})
            expect_same_bits_of_phip(random_problem(rows, 3, annealed_problem::phip), exponent);
}

TEST(trialkernels, variants_of_cd2_give_the_same_bits)
{
    for (const int rows : {3, 4, 15, 16, 17, 31, 33, 64, 67, 130, 300}) {
        annealed_problem problem = random_problem(rows, 4, annealed_problem::centered_l2);
        problem.weights = {1.0, 0.3, 1.0, 0.9};
        expect_same_bits<optdoe::cd2_table>(optdoe::cd2_trial_kernel_variants, problem,
                                            [&](const auto* kernels) { return optdoe::cd2_table(problem, kernels); });
    }
}

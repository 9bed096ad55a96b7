// Designs that are so small, by their entries or by their weights, that entries count as equal (they differ by less
// than 1e-15) while their distances do not: the best exchange against its definition.
#include "tests/support/criterion_twins.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <string>
#include <vector>

namespace {

bool same_bits(double x, double y) { return std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(y); }

/// The unit design, smaller.
table scaled_design(int n, int k, double scale, random_stream& random)
{
    table design = random_unit_design(n, k, random);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < k; ++j)
            design[i][j] *= scale;
    return design;
}

/// Rows in clusters: those of one cluster are next to each other in every column.
table clustered_rows(int n, int k, double distance, random_stream& random)
{
    const int clusters = 1 + random.below(n / 2);
    table design(n, k);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < k; ++j)
            design[i][j] = static_cast<double>(i % clusters) / clusters + distance * random.unit();
    return design;
}

struct course {
    int moves;
    int moves_between_evaluations; ///< in the mean; 0: none
};

/// Moves as the search makes them, with an evaluation from time to time.
void compare_with_definition(const table& design, const twin_case& how, const course& moves, random_stream& random)
{
    const int n = design.rows();
    const int k = design.columns();
    SCOPED_TRACE(std::to_string(n) + " x " + std::to_string(k));
    {
        criterion_twins twins(design, how);
        twins.setup();
        for (int move = 0; move < moves.moves; ++move) {
            SCOPED_TRACE("move " + std::to_string(move));
            const int column = random.below(k);
            std::vector<std::int32_t> a;
            std::vector<std::int32_t> b;
            for (int t = 1 + random.below(40); t > 0; --t) {
                a.push_back(random.below(n));
                b.push_back((a.back() + 1 + random.below(n - 1)) % n);
            }
            const criterion_twins::best fast = twins.fast_best_swap(column, a, b);
            const criterion_twins::best plain = twins.plain_best_swap(column, a, b);
            ASSERT_EQ(fast.position, plain.position);
            ASSERT_TRUE(same_bits(fast.value, plain.value)) << fast.value << " instead of " << plain.value;
            const auto at = static_cast<std::size_t>(random.below(3) == 0 ? 0 : fast.position);
            const auto commit = [&](const criterion_ops& ops, run_context* ctx) {
                return ops.apply_swaps(ctx, column, 1, &a[at], &b[at]);
            };
            const criterion_twins::results value = twins.both(commit);
            ASSERT_TRUE(same_bits(value.fast, value.plain));
            if (moves.moves_between_evaluations == 0 || random.below(moves.moves_between_evaluations) != 0)
                continue;
            const criterion_twins::results evaluated =
                twins.both([](const criterion_ops& ops, run_context* ctx) { return ops.evaluate(ctx, nullptr); });
            ASSERT_TRUE(same_bits(evaluated.fast, evaluated.plain));
        }
    }
}

constexpr double scales[] = {1e-13, 2e-14, 5e-15, 2e-15};

template <class Case>
void for_all_kinds(int designs, Case one_case)
{
    for (const double scale : scales)
        for (const double p : {1.0, 2.0, 5.0, 10.0})
            for (const double distance : {1.0, 2.0})
                for (int d = 0; d < designs && !::testing::Test::HasFailure(); ++d) {
                    SCOPED_TRACE("scale " + ::testing::PrintToString(scale) + ", p " + std::to_string(p) +
                                 ", distance " + std::to_string(distance) + ", design " + std::to_string(d));
                    random_stream random{static_cast<std::uint64_t>(d) + 1000u * static_cast<std::uint64_t>(p)};
                    twin_case how;
                    how.criterion_id = 1;
                    how.params_1 = {p};
                    how.params_2 = {distance};
                    const int n = 4 + random.below(30);
                    one_case(scale, n, 1 + random.below(3), how, random);
                }
}

} // namespace

TEST(tinyentries, by_their_size)
{
    for_all_kinds(60, [&](double scale, int n, int k, const twin_case& how, random_stream& random) {
        compare_with_definition(scaled_design(n, k, scale, random), how, {20, 4}, random);
    });
}

TEST(tinyentries, by_their_weights)
{
    for_all_kinds(60, [&](double scale, int n, int k, twin_case how, random_stream& random) {
        how.weights.assign(static_cast<std::size_t>(k), scale);
        compare_with_definition(random_unit_design(n, k, random), how, {20, 4}, random);
    });
}

// Exchanges of equal entries change no distance, so that the distances leave those of the points more and more.
TEST(tinyentries, in_long_courses_without_an_evaluation)
{
    for_all_kinds(4, [&](double scale, int n, int k, const twin_case& how, random_stream& random) {
        compare_with_definition(scaled_design(n, k, scale, random), how, {1500, 0}, random);
    });
}

// Of usual size, but with rows that nearly coincide.
TEST(tinyentries, in_rows_next_to_each_other)
{
    for_all_kinds(60, [&](double distance, int n, int k, const twin_case& how, random_stream& random) {
        compare_with_definition(clustered_rows(n, k, distance, random), how, {20, 4}, random);
    });
}

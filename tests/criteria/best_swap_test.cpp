// The best exchange of a list against its definition, on many small cases; ties are common there.
#include "tests/support/criterion_twins.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>

namespace {

/// Designs in which many exchanges have the same value: few levels, mirrored rows, equal rows.
table design_with_ties(int n, int k, random_stream& random)
{
    table design = random.below(3) == 0 ? random_symmetric_levels(n, k, random)
                                        : random_unit_design(n, k, random, n % 2 == 0 ? 2 : 1);
    if (random.below(8) == 0)
        for (int j = 0; j < k; ++j)
            design[n - 1][j] = design[0][j];
    return design;
}

void compare_with_definition(int id, int designs)
{
    random_stream random{static_cast<std::uint64_t>(id) + 41u};
    int ties = 0;
    for (int d = 0; d < designs && !::testing::Test::HasFailure(); ++d) {
        const int n = 4 + random.below(id == 0 ? 9 : 20);
        const int k = 1 + random.below(3);
        twin_case how;
        how.criterion_id = id;
        how.levels.assign(static_cast<std::size_t>(k), n % 2 == 0 ? n / 2 : n);
        if (id == 0 && random.below(2) == 0)
            how.params_1 = {std::pow(10.0, 3.0 * random.unit() - 1.0)};
        criterion_twins twins(design_with_ties(n, k, random), how);
        twins.setup();
        for (int move = 0; move < 12; ++move) {
            const int column = random.below(k);
            std::vector<std::int32_t> a;
            std::vector<std::int32_t> b;
            const int count = 1 + random.below(random.below(10) == 0 ? 150 : 60);
            for (int t = 0; t < count; ++t) {
                a.push_back(random.below(n));
                b.push_back((a.back() + 1 + random.below(n - 1)) % n);
            }
            const criterion_twins::best fast = twins.fast_best_swap(column, a, b);
            const criterion_twins::best plain = twins.plain_best_swap(column, a, b);
            ASSERT_EQ(fast.position, plain.position) << "design " << d << ", move " << move;
            ASSERT_EQ(std::bit_cast<std::uint64_t>(fast.value), std::bit_cast<std::uint64_t>(plain.value));
            const auto at = static_cast<std::size_t>(fast.position);
            for (std::size_t t = 0; t < a.size(); ++t)
                ties += t != at && twins.plain_ops().try_swap(twins.plain(), column, a[t], b[t]) == plain.value;
            const auto commit = [&](const criterion_ops& ops, run_context* ctx) {
                return ops.apply_swaps(ctx, column, 1, &a[at], &b[at]);
            };
            const criterion_twins::results value = twins.both(commit);
            ASSERT_EQ(std::bit_cast<std::uint64_t>(value.fast), std::bit_cast<std::uint64_t>(value.plain));
        }
    }
    EXPECT_GT(ties, designs) << "the cases should hold ties";
}

} // namespace

TEST(bestswap, entropy_agrees_with_the_definition) { compare_with_definition(0, 1500); }

TEST(bestswap, discrepancy_agrees_with_the_definition) { compare_with_definition(2, 1500); }

TEST(bestswap, a2_agrees_with_the_definition) { compare_with_definition(3, 500); }

// Large cases, in which the estimates decide: nearly every candidate is left without a trial.
TEST(bestswap, agrees_with_the_definition_in_larger_designs)
{
    random_stream random{77};
    for (const int id : {0, 2}) {
        for (const int n : {40, 75, 120}) {
            for (const int k : {2, 5, 10}) {
                twin_case how;
                how.criterion_id = id;
                criterion_twins twins(random_unit_design(n, k, random), how);
                twins.setup();
                for (int move = 0; move < 10; ++move) {
                    const int column = random.below(k);
                    std::vector<std::int32_t> a;
                    std::vector<std::int32_t> b;
                    for (int t = 0; t < 50; ++t) {
                        a.push_back(random.below(n));
                        b.push_back((a.back() + 1 + random.below(n - 1)) % n);
                    }
                    const criterion_twins::best fast = twins.fast_best_swap(column, a, b);
                    const criterion_twins::best plain = twins.plain_best_swap(column, a, b);
                    ASSERT_EQ(fast.position, plain.position) << id << ": " << n << " x " << k;
                    ASSERT_EQ(std::bit_cast<std::uint64_t>(fast.value), std::bit_cast<std::uint64_t>(plain.value));
                    const auto at = static_cast<std::size_t>(fast.position);
                    twins.both([&](const criterion_ops& ops, run_context* ctx) {
                        return ops.apply_swaps(ctx, column, 1, &a[at], &b[at]);
                    });
                }
            }
        }
    }
}

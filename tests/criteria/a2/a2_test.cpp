#include "optdoe/criteria/criterion.h"

#include "tests/reference/criteria_reference.h"
#include "tests/support/search_run.h"

#include "hosts/embedded/embedded_host.h"
#include "optdoe/entry/optdoe.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/search_driver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace {

double a2_of(const table& start)
{
    search_run run(start, [](run_settings& s) { s.criterion.criterion_id = 3; });
    return crit_value(run.ctx());
}

/// Plackett and Burman, "The design of optimum multifactorial experiments", 1946: 12 runs, 11 two-level factors.
table plackett_burman_12()
{
    const std::string generator = "++-+++---+-";
    table design(12, 11);
    for (int i = 0; i < 12; ++i)
        for (int j = 0; j < 11; ++j)
            design[i][j] = i == 11 || generator[static_cast<std::size_t>((j + 11 - i) % 11)] == '-' ? 0.0 : 1.0;
    return design;
}

/// The 8 runs of all products of three two-level factors.
table two_level_8()
{
    table design(8, 7);
    for (int i = 0; i < 8; ++i)
        for (int j = 0; j < 7; ++j) {
            const int common = i & (j + 1);
            design[i][j] = ((common >> 2) ^ (common >> 1) ^ common) & 1;
        }
    return design;
}

const table l9(4, {1, 1, 1, 1, 1, 2, 2, 2, 1, 3, 3, 3, 2, 1, 2, 3, 2, 2,
                   3, 1, 2, 3, 1, 2, 3, 1, 3, 2, 3, 2, 1, 3, 3, 3, 2, 1});

/// Taguchi, "System of experimental design", 1987: one factor of 2 levels and seven of 3.
const table l18(8, {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 1, 1, 3, 3, 3, 3, 3, 3, 1, 2, 1, 1, 2,
                    2, 3, 3, 1, 2, 2, 2, 3, 3, 1, 1, 1, 2, 3, 3, 1, 1, 2, 2, 1, 3, 1, 2, 1, 3, 2, 3, 1, 3,
                    2, 3, 2, 1, 3, 1, 1, 3, 3, 1, 3, 2, 1, 2, 2, 1, 1, 3, 3, 2, 2, 1, 2, 1, 2, 1, 1, 3, 3,
                    2, 2, 1, 3, 2, 2, 1, 1, 3, 2, 2, 1, 2, 3, 1, 3, 2, 2, 2, 2, 3, 1, 2, 1, 3, 2, 2, 3, 1,
                    2, 3, 2, 1, 2, 3, 1, 3, 2, 3, 1, 2, 2, 3, 2, 1, 3, 1, 2, 3, 2, 3, 3, 2, 1, 2, 3, 1});

/// The columns, beside each other, of designs of as many rows.
table beside(const table& left, const table& right)
{
    table both(left.rows(), left.columns() + right.columns());
    for (int i = 0; i < both.rows(); ++i) {
        std::copy_n(left[i], left.columns(), both[i]);
        std::copy_n(right[i], right.columns(), both[i] + left.columns());
    }
    return both;
}

bool is_balanced(const std::vector<double>& levels, int n, int k)
{
    for (int j = 0; j < k; ++j) {
        int ones = 0;
        for (int i = 0; i < n; ++i)
            ones += levels[static_cast<std::size_t>(i * k + j)] == 1.0;
        if (2 * ones != n)
            return false;
    }
    return true;
}

/// What a run from a random balanced start with two-level factors of 12 runs reached.
struct two_level_run {
    two_level_run(int k, std::uint32_t seed, std::int32_t rounds) : levels(static_cast<std::size_t>(12 * k))
    {
        random_stream random{seed};
        const table start = random_levels(12, k, random, 6);
        const starting_design given{start[0], 0};
        outcome.design = levels.data();
        run_extras extras{};
        extras.start = &given;
        extras.outcome = &outcome;
        extras.user = &rounds;
        extras.edit_settings = [](run_settings* s, std::int32_t, void* user) {
            s->criterion.criterion_id = 3;
            s->iteration_budget = *static_cast<std::int32_t*>(user);
        };
        choice_counter = 0;
        EXPECT_TRUE(embedded_host().run(12, k, 1.0, seed, &extras));
        for (double& level : levels)
            level = std::round(level);
    }

    std::vector<double> levels;
    run_outcome outcome{};
};

} // namespace

TEST(a2, orthogonal_arrays_have_the_value_zero)
{
    const table l4(3, {0, 0, 0, 0, 1, 1, 1, 0, 1, 1, 1, 0});
    for (const table& array : {l4, two_level_8(), l9, plackett_burman_12(), l18}) {
        EXPECT_EQ(a2_of(array), 0.0) << array.rows();
        EXPECT_NEAR(reference::a2_by_contrasts(array), 0.0, 1e-30) << array.rows();
    }
}

TEST(a2, a_column_beside_itself_is_fully_aliased)
{
    // Two copies of an array of s_j-level factors: the contrasts of each factor with its copy give s_j - 1.
    EXPECT_DOUBLE_EQ(a2_of(beside(plackett_burman_12(), plackett_burman_12())), 11.0);
    EXPECT_DOUBLE_EQ(a2_of(beside(l9, l9)), 8.0);
    EXPECT_DOUBLE_EQ(a2_of(beside(l18, l18)), 1.0 + 7.0 * 2.0);
}

TEST(a2, a_half_fraction_of_plackett_and_burman_reaches_the_bound_of_supersaturated_designs)
{
    // Lin, "A new class of supersaturated designs", 1993: 6 runs and 10 factors with E(s^2) = 4, which is the bound
    // of Nguyen, "An algorithmic approach to constructing supersaturated designs", 1996. A2 is the sum of (s/n)^2.
    const table whole = plackett_burman_12();
    table half(6, 10);
    int row = 0;
    for (int i = 0; i < 12; ++i) {
        if (whole[i][10] != 0.0)
            continue;
        std::copy_n(whole[i], 10, half[row++]);
    }
    ASSERT_EQ(row, 6);
    EXPECT_DOUBLE_EQ(a2_of(half), 45.0 * 4.0 / 36.0);
}

TEST(a2, balanced_designs_have_the_value_of_the_word_length_pattern)
{
    random_stream random{3};
    for (const auto& [n, k, repeats] : {std::tuple{12, 3, 4},
                                        {12, 4, 6},
                                        {16, 3, 4},
                                        {10, 2, 5},
                                        {8, 3, 1},
                                        {12, 11, 6},
                                        {18, 7, 6},
                                        {9, 4, 3},
                                        {20, 6, 4}}) {
        const table start = random_levels(n, k, random, repeats);
        EXPECT_NEAR(a2_of(start), reference::a2_by_contrasts(start), 1e-12) << n << ' ' << repeats;
    }
}

TEST(a2, mixed_levels_have_the_value_of_the_word_length_pattern)
{
    random_stream random{4};
    for (int trial = 0; trial < 20; ++trial) {
        const table two_and_three = beside(random_levels(12, 3, random, 6), random_levels(12, 2, random, 4));
        const table mixed = beside(two_and_three, random_levels(12, 2, random, 1 + random.below(3)));
        EXPECT_NEAR(a2_of(mixed), reference::a2_by_contrasts(mixed), 1e-12);
    }
}

TEST(a2, factors_of_different_level_counts)
{
    const table start(2, {0, 0, 0, 1, 0, 2, 1, 0, 1, 1, 1, 2});
    EXPECT_NEAR(a2_of(start), 0.0, 1e-15);
    const table aliased(2, {0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 1, 2});
    EXPECT_NEAR(a2_of(aliased), reference::a2_by_contrasts(aliased), 1e-14);
    EXPECT_GT(a2_of(aliased), 0.1);
}

TEST(a2, rows_that_never_agree_leave_the_constant)
{
    // Levels that are all distinct: S = mn.
    for (const int k : {2, 3, 5})
        for (const int n : {4, 7, 12}) {
            random_stream random{3};
            const int sum = k * n;
            const int constant = ((1 - k) * k * n + (sum - n) * sum) * n;
            EXPECT_EQ(a2_of(random_levels(n, k, random)), constant * 0.5 / (n * n));
        }
}

TEST(a2, an_inactive_factor_counts_nowhere)
{
    random_stream random{3};
    const table start = random_levels(12, 4, random, 4);
    for (const double weight : {1e-15, 1e-16, 1e-40}) {
        search_run with(start, [&](run_settings& s) {
            s.criterion.criterion_id = 3;
            s.criterion.factor_weights[1] = weight;
        });
        table without(12, 3);
        for (int i = 0; i < 12; ++i)
            for (int j = 0; j < 3; ++j)
                without[i][j] = start[i][j == 0 ? 0 : j + 1];
        EXPECT_EQ(crit_value(with.ctx()), a2_of(without));
        // Exchanging its entries changes nothing.
        for (std::int32_t b = 1; b < 12; ++b)
            EXPECT_EQ(crit_try_swap(with.ctx(), 1, 0, b), crit_value(with.ctx()));
    }
    search_run barely(start, [&](run_settings& s) {
        s.criterion.criterion_id = 3;
        s.criterion.factor_weights[1] = 1.1e-15;
    });
    EXPECT_EQ(crit_value(barely.ctx()), a2_of(start)); // any weight above counts whole
}

TEST(a2, the_constant_wraps_around)
{
    // n (S^2 - n (m^2 - m + S)) for two factors of n levels passes 2^31 at n = 1025.
    for (const int n : {1024, 1025, 1300}) {
        table start(n, 2);
        for (int i = 0; i < n; ++i)
            start[i][0] = start[i][1] = i;
        const std::int64_t sum = 2 * n;
        const std::int64_t constant = (-2 * static_cast<std::int64_t>(n) + (sum - n) * sum) * n;
        const auto wrapped = static_cast<std::int32_t>(static_cast<std::uint32_t>(constant));
        EXPECT_EQ(constant == wrapped, n == 1024);
        EXPECT_EQ(a2_of(start), wrapped * 0.5 / (n * n));
    }
}

TEST(a2, squares_of_coincidences_wrap_around)
{
    // The criterion takes the level counts it is given: with counts of 30000 two factors weigh 60000, whose square
    // leaves 32 bits, and so does the square of the sum.
    const table start(3, {0, 0, 0, 0, 0, 1, 1, 1, 0, 1, 1, 1});
    search_run run(start, {.with_criterion = false}, [](run_settings& s) { s.criterion.criterion_id = 3; });
    std::fill_n(run->levels->level_count, 3, 30000);
    crit_setup(run.ctx(), start.data(), 4, 0, 3, run.settings().criterion);

    const auto low = [](std::int64_t x) { return static_cast<std::int32_t>(static_cast<std::uint32_t>(x)); };
    const auto value_of = [&](const table& design) {
        const std::int64_t levels = 90000;
        double sum = low((-6 * 4 + (levels - 4) * levels) * 4) * 0.5;
        for (int i = 0; i < 4; ++i)
            for (int j = i + 1; j < 4; ++j) {
                std::int64_t count = 0;
                for (int k = 0; k < 3; ++k)
                    count += design[i][k] == design[j][k] ? 30000 : 0;
                sum += low(count * count);
            }
        return sum / 16;
    };
    EXPECT_EQ(crit_value(run.ctx()), value_of(start));
    // A trial takes the squares after it in double, less those that are kept; a commit keeps to 32 bits.
    double tried = 0.0;
    std::int64_t applied = 0;
    table moved = start;
    std::swap(moved[0][1], moved[2][1]);
    const std::int32_t a = 0;
    const std::int32_t b = 2;
    for (const int r : {1, 3})
        for (const int d : {0, 2}) {
            const auto count = [&](const table& design) {
                std::int64_t c = 0;
                for (int k = 0; k < 3; ++k)
                    c += design[r][k] == design[d][k] ? 30000 : 0;
                return c;
            };
            tried += static_cast<double>(count(moved) * count(moved) - low(count(start) * count(start)));
            applied += std::int64_t{low(count(moved) * count(moved))} - low(count(start) * count(start));
        }
    const double value = crit_value(run.ctx());
    EXPECT_EQ(crit_try_swap(run.ctx(), 1, 0, 2), value + tried / 16);
    EXPECT_EQ(crit_try_swaps(run.ctx(), 1, 1, &a, &b), value + low(applied) / 16.0);
    EXPECT_EQ(crit_apply_swaps(run.ctx(), 1, 1, &a, &b), value + low(applied) / 16.0);
    EXPECT_EQ(crit_evaluate(run.ctx(), nullptr), value_of(moved));
}

TEST(a2, a_trial_of_a_row_whose_squares_have_wrapped)
{
    // Rows 0 and 1 are equal in all 217 factors, each of weight 217; no others agree anywhere.
    constexpr int n = 217;
    table start(n, n);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            start[i][j] = i == 1 ? 0 : i;
    search_run run(start, {.with_criterion = false});
    run.settings().criterion.criterion_id = 3;
    std::fill_n(run->levels->level_count, n, n);
    crit_setup(run.ctx(), start.data(), n, 0, n, run.settings().criterion);

    // Row 0 loses a factor to row 2.
    constexpr double before = 47089.0; // its square is above 2^31
    constexpr double kept = before * before - 0x1p32;
    constexpr double after = before - n;
    const double value = crit_value(run.ctx());
    EXPECT_EQ(crit_try_swap(run.ctx(), 0, 0, 2), value + (after * after - kept + n * n) / (n * n));
    double best = 0.0;
    const std::int32_t rows_a[] = {0, 3};
    const std::int32_t rows_b[] = {2, 4};
    EXPECT_EQ(crit_best_swap(run.ctx(), 0, 2, rows_a, rows_b, &best), 1);
    EXPECT_EQ(best, value); // of rows that agree with none
    // A commit, and the trial of a list, take the difference of what is kept before and after.
    const double applied = value + (after * after - before * before + n * n) / (n * n);
    EXPECT_EQ(crit_try_swaps(run.ctx(), 0, 1, rows_a, rows_b), applied);
    EXPECT_EQ(crit_apply_swaps(run.ctx(), 0, 1, rows_a, rows_b), applied);
}

/// Exchanges at random, and after each an evaluation, which finds what a look at the whole design finds.
static void expect_true_evaluations(run_context* ctx, int n, int k, random_stream& random)
{
    for (int t = 0; t < 10; ++t) {
        const std::int32_t a = random.below(n);
        const std::int32_t b = (a + 1 + random.below(n - 1)) % n;
        crit_apply_swaps(ctx, random.below(k), 1, &a, &b);
        ASSERT_EQ(crit_evaluate(ctx, nullptr), crit_value_of(ctx, nullptr));
    }
}

TEST(a2, an_evaluation_finds_what_the_design_is)
{
    random_stream random{17};
    for (const int n : {24, 2048, 2049}) { // sums of more rows may be rounded
        const table start = random_levels(n, 2, random, n % 2 == 0 ? 2 : 3);
        search_run run(start, [](run_settings& s) { s.criterion.criterion_id = 3; });
        expect_true_evaluations(run.ctx(), n, 2, random);
    }
}

TEST(a2, an_evaluation_of_entries_that_are_nearly_equal_or_infinite)
{
    random_stream random{18};
    for (const double odd : {1.0 + 0.6e-15, 1.0 + 1.2e-15, HUGE_VAL}) {
        table start = random_levels(12, 3, random, 3);
        for (int i = 0; i < 3; ++i)
            start[i][1] = odd;
        search_run run(start, {.with_criterion = false}, [](run_settings& s) { s.criterion.criterion_id = 3; });
        crit_setup(run.ctx(), start.data(), 12, 0, 3, run.settings().criterion);
        expect_true_evaluations(run.ctx(), 12, 3, random);
    }
}

TEST(a2, an_evaluation_after_a_snapshot_from_before_another_design)
{
    random_stream random{19};
    const table start = random_levels(12, 3, random, 3);
    const table other = random_levels(12, 3, random, 3);
    search_run run(start, [](run_settings& s) { s.criterion.criterion_id = 3; });
    crit_save_design(run.ctx());
    crit_save_column(run.ctx(), 1);
    crit_evaluate(run.ctx(), other.data());
    expect_true_evaluations(run.ctx(), 12, 3, random);
    crit_restore_column(run.ctx(), 1);
    EXPECT_EQ(crit_evaluate(run.ctx(), nullptr), crit_value_of(run.ctx(), nullptr));
    crit_restore_design(run.ctx());
    EXPECT_EQ(crit_evaluate(run.ctx(), nullptr), a2_of(start));
}

TEST(a2, a_run_ends_at_the_target_of_zero)
{
    const two_level_run run(3, 1, 100);
    EXPECT_EQ(run.outcome.reason, end_reason::target_reached);
    EXPECT_EQ(run.outcome.best_objective, 0.0);
    EXPECT_LT(run.outcome.iterations, 100);
    // A target that is asked for comes before it.
    run_extras extras{};
    run_outcome outcome{};
    extras.outcome = &outcome;
    random_stream random{1};
    const table start = random_levels(12, 11, random, 6);
    const starting_design given{start[0], 0};
    extras.start = &given;
    extras.edit_settings = [](run_settings* s, std::int32_t, void*) {
        s->criterion.criterion_id = 3;
        s->criterion.criterion_threshold = 1.0;
    };
    EXPECT_TRUE(embedded_host().run(12, 11, 1.0, 5, &extras));
    EXPECT_EQ(outcome.reason, end_reason::target_reached);
    EXPECT_LE(outcome.best_objective, 1.0);
    EXPECT_GT(outcome.initial_objective, 1.0);
}

TEST(a2, eleven_two_level_factors_of_twelve_runs)
{
    // All of the seeds 1..100 were seen to reach an orthogonal array within 30 rounds, most within 3. The running
    // value may miss zero by the rounding of its changes: seed 70 ends at 2.2e-16, and so goes on to the last round.
    for (const std::uint32_t seed : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 10u, 11u, 12u, 22u, 70u}) {
        const two_level_run run(11, seed, 400);
        EXPECT_TRUE(is_balanced(run.levels, 12, 11)) << seed;
        table design(12, 11);
        std::copy(run.levels.begin(), run.levels.end(), design[0]);
        EXPECT_NEAR(reference::a2_by_contrasts(design), 0.0, 1e-30) << seed;
        EXPECT_NEAR(run.outcome.best_objective, 0.0, 1e-14) << seed;
        EXPECT_GT(run.outcome.initial_objective, 1.0) << seed;
        EXPECT_EQ(run.outcome.reason, seed == 70 ? end_reason::iteration_limit : end_reason::target_reached) << seed;
    }
}

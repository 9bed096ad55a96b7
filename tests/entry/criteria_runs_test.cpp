// Runs through the internal call with each criterion, each method and each kind of design: what must stay stays, the
// objective told is that of the design returned, and a seed stands for a design.

#include "tests/reference/criteria_reference.h"
#include "tests/support/search_run.h"

#include "hosts/embedded/embedded_host.h"
#include "optdoe/criteria/criterion.h"
#include "optdoe/entry/optdoe.h"
#include "optdoe/search/search_driver.h"
#include "optdoe/search/unit_scaling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace {

enum class kind { standard, level_groups, balanced, matched, symmetric, inactive_factor };

constexpr const char* kind_names[] = {"standard", "level_groups", "balanced",
                                      "matched",  "symmetric",    "inactive_factor"};
constexpr const char* criterion_names[] = {"entropy", "phip", "cd2", "a2", "maximin"};
constexpr const char* method_names[] = {"threshold", "greedy", "annealing"};
constexpr int maximin = 4;
const double zero_exponent = 0.0;

constexpr int factors = 4;

struct plan {
    int criterion, method;
    kind design;

    int rows() const { return design == kind::symmetric ? 13 : 12; }
    int repeats() const { return design == kind::balanced || design == kind::matched ? 3 : 1; }
    int groups_asked() const { return design == kind::level_groups ? 3 : design == kind::matched ? 4 : 1; }
    /// A2 takes no level groups.
    int groups() const { return criterion == 3 ? 1 : groups_asked(); }
    int scaling() const { return criterion == 2 ? 2 : 1; }

    table start(std::uint64_t seed) const
    {
        random_stream random{seed};
        return design == kind::symmetric ? random_symmetric_levels(rows(), factors, random)
                                         : random_levels(rows(), factors, random, repeats());
    }
    std::vector<double> weights() const
    {
        return design == kind::inactive_factor ? std::vector<double>{1.0, 1e-40, 0.5, 1.0}
                                               : std::vector<double>(factors, 1.0);
    }

    void edit(run_settings& s) const
    {
        s.criterion.criterion_id = static_cast<std::int8_t>(criterion == maximin ? 1 : criterion);
        if (criterion == maximin) {
            s.criterion.params.param_count_1 = 1;
            s.criterion.params.param_list_1 = &zero_exponent;
        }
        s.search_mode = static_cast<std::uint8_t>(method);
        s.symmetric_design = design == kind::symmetric;
        std::fill_n(s.factor_counts, factors, groups_asked());
        const std::vector<double> all = weights();
        std::copy(all.begin(), all.end(), s.criterion.factor_weights);
        s.iteration_budget = method == 2 ? 400 : 30;
        s.restart_limit = 5;
    }
};

void call_plan(run_settings* settings, std::int32_t, void* user) { static_cast<const plan*>(user)->edit(*settings); }

struct finished_run {
    finished_run(plan p, const table& start, std::int64_t seed) : design(start)
    {
        const starting_design given{start[0], 0};
        outcome.design = design[0];
        const run_extras extras{call_plan, &p, &given, &outcome};
        embedded_host host;
        choice_counter = 0;
        levels = host.run(start.rows(), factors, 1.0, seed, &extras);
        EXPECT_EQ(host.violations(), std::vector<std::string>{});
    }

    table design; ///< levels before truncation
    run_outcome outcome{};
    std::optional<std::vector<std::int32_t>> levels;
};

/// The design as the criterion saw it.
table scaled(const plan& p, table design)
{
    test_run run;
    scale_to_unit(run.ctx(), p.scaling(), design.data(), design.rows(), factors);
    return design;
}

/// The objective of a design in criterion units, by the definition.
double defined_value(const plan& p, const table& design)
{
    using reference::distance;
    const int levels = p.rows() / p.repeats();
    switch (p.criterion) {
    case 0: {
        const double value =
            reference::entropy(design, distance::euclidean, std::vector<double>(factors, 5.0), p.weights());
        return std::isfinite(value) ? value : 1e20;
    }
    case 1: return reference::phip(design, 20, distance::euclidean, p.weights());
    case maximin: return reference::maximin(design, distance::euclidean, p.weights());
    case 3: return reference::a2_by_coincidences(design, std::vector<int>(factors, levels), p.weights());
    default: return reference::cd2(design, p.weights());
    }
}

std::vector<double> sorted_column(const table& design, int j)
{
    std::vector<double> values;
    for (int i = 0; i < design.rows(); ++i)
        values.push_back(design[i][j]);
    std::sort(values.begin(), values.end());
    return values;
}

/// The rows of a column that share a level group, as sets of rows.
std::set<std::set<int>> partition(const table& design, int j, int groups, int levels)
{
    std::vector<std::set<int>> rows(static_cast<std::size_t>(groups));
    for (int i = 0; i < design.rows(); ++i)
        rows[static_cast<std::size_t>((static_cast<int>(design[i][j]) - 1) * groups / levels)].insert(i);
    return {rows.begin(), rows.end()};
}

bool is_symmetric(const table& design)
{
    for (int i = 0; i < design.rows(); ++i) {
        bool mirrored = false;
        for (int m = 0; m < design.rows() && !mirrored; ++m) {
            mirrored = true;
            for (int j = 0; j < design.columns(); ++j)
                mirrored = mirrored && design[i][j] + design[m][j] == design.rows() + 1;
        }
        if (!mirrored)
            return false;
    }
    return true;
}

class criteriaruns : public testing::TestWithParam<std::tuple<int, int, int>> {
protected:
    plan plan_of() const
    {
        const auto& [criterion, method, design] = GetParam();
        return {criterion, method, static_cast<kind>(design)};
    }
};

} // namespace

TEST_P(criteriaruns, the_design_stays_what_it_must_and_the_objective_is_its_own)
{
    const plan p = plan_of();
    const table start = p.start(31);
    finished_run run(p, start, 5);
    ASSERT_TRUE(run.levels);
    table rounded = run.design;
    for (int i = 0; i < start.rows(); ++i)
        for (int j = 0; j < factors; ++j) {
            rounded[i][j] = std::round(run.design[i][j]);
            EXPECT_NEAR(run.design[i][j], rounded[i][j], 1e-9);
            EXPECT_EQ((*run.levels)[static_cast<std::size_t>(i * factors + j)], static_cast<int>(run.design[i][j]));
        }
    for (int j = 0; j < factors; ++j) {
        EXPECT_EQ(sorted_column(rounded, j), sorted_column(start, j)) << j;
        const int levels = p.rows() / p.repeats();
        EXPECT_EQ(partition(rounded, j, p.groups(), levels), partition(start, j, p.groups(), levels)) << j;
    }
    if (p.design == kind::symmetric) {
        EXPECT_TRUE(is_symmetric(rounded));
    }
    if (p.design == kind::inactive_factor && p.method != 1) {
        for (int i = 0; i < start.rows(); ++i)
            EXPECT_EQ(rounded[i][1], start[i][1]) << "an inactive factor is moved by greedy sweeps only";
    }

    const double told = run.outcome.best_objective;
    const table seen = scaled(p, rounded);
    const double least = p.criterion == 3 ? 1e-3 : 0.0; // A2 may be zero, and is a multiple of 1/n^2
    const double defined = defined_value(p, seen);
    EXPECT_NEAR(told, defined, 1e-9 * std::max(std::fabs(defined), least));
    search_run fresh(seen, [&](run_settings& s) { p.edit(s); });
    EXPECT_NEAR(told, crit_value(fresh.ctx()), 1e-9 * std::max(std::fabs(defined), least));
    const double initial = defined_value(p, scaled(p, start));
    EXPECT_NEAR(run.outcome.initial_objective, initial, 1e-9 * std::max(std::fabs(initial), least));
    EXPECT_LE(told, run.outcome.initial_objective);
    // Levels that are all distinct never coincide; every other search finds something better.
    if (p.criterion != 3 || p.repeats() > 1) {
        EXPECT_LT(told, run.outcome.initial_objective);
        EXPECT_FALSE(rounded == start);
    }
}

TEST_P(criteriaruns, a_seed_stands_for_a_design)
{
    const plan p = plan_of();
    const table start = p.start(32);
    const finished_run first(p, start, 5);
    const finished_run again(p, start, 5);
    EXPECT_EQ(first.design, again.design);
    EXPECT_EQ(first.levels, again.levels);
    EXPECT_EQ(first.outcome.best_objective, again.outcome.best_objective);
    EXPECT_EQ(first.outcome.effort, again.outcome.effort);
}

INSTANTIATE_TEST_SUITE_P(runs, criteriaruns,
                         testing::Combine(testing::Range(0, 5), testing::Range(0, 3), testing::Range(0, 6)),
                         [](const auto& tested) {
                             return std::string(criterion_names[std::get<0>(tested.param)]) + '_' +
                                    method_names[std::get<1>(tested.param)] + '_' +
                                    kind_names[std::get<2>(tested.param)];
                         });

// Every exchange and every re-arrangement of every small design, for every criterion: the trial, the committed
// operation, an evaluation from scratch and the definition agree.

#include "optdoe/criteria/criterion.h"

#include "tests/reference/criteria_reference.h"
#include "tests/support/search_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <numeric>
#include <vector>

namespace {

using column = std::vector<double>;
using row_list = std::vector<std::int32_t>;

bool same_bits(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }

/// All orders of the entries, each once.
std::vector<column> orders_of(column entries)
{
    std::vector<column> all;
    std::sort(entries.begin(), entries.end());
    do
        all.push_back(entries);
    while (std::next_permutation(entries.begin(), entries.end()));
    return all;
}

/// Every design of k columns whose columns are orders of the entries.
std::vector<table> designs_of(const column& entries, int k)
{
    const std::vector<column> orders = orders_of(entries);
    std::vector<table> all;
    std::vector<std::size_t> choice(static_cast<std::size_t>(k));
    for (std::size_t at = 0; at < choice.size();) {
        table design(static_cast<int>(entries.size()), k);
        for (int i = 0; i < design.rows(); ++i)
            for (int j = 0; j < k; ++j)
                design[i][j] = orders[choice[static_cast<std::size_t>(j)]][static_cast<std::size_t>(i)];
        all.push_back(design);
        for (at = 0; at < choice.size() && ++choice[at] == orders.size(); ++at)
            choice[at] = 0;
    }
    return all;
}

struct world {
    const char* name;
    int criterion;
    std::vector<double> list_1;
    std::function<double(const table&)> definition;
};

void PrintTo(const world& w, std::ostream* out) { *out << w.name; }

std::vector<double> ones(const table& design)
{
    return std::vector<double>(static_cast<std::size_t>(design.columns()), 1.0);
}

/// Distinct entries of the first column, as of every other.
int level_count(const table& design)
{
    column levels;
    for (int i = 0; i < design.rows(); ++i)
        levels.push_back(design[i][0]);
    std::sort(levels.begin(), levels.end());
    return static_cast<int>(std::unique(levels.begin(), levels.end()) - levels.begin());
}

std::vector<world> worlds()
{
    using reference::distance;
    return {
        {"entropy",
         0,
         {},
         [](const table& d) {
             return reference::entropy(d, distance::euclidean, {5, 5, 5}, ones(d));
         }},
        {"phip", 1, {}, [](const table& d) { return reference::phip(d, 20, distance::euclidean, ones(d)); }},
        {"maximin", 1, {0}, [](const table& d) { return reference::maximin(d, distance::euclidean, ones(d)); }},
        {"cd2", 2, {}, [](const table& d) { return reference::cd2(d, ones(d)); }},
        {"a2",
         3,
         {},
         [](const table& d) {
             return reference::a2_by_coincidences(d, {level_count(d), level_count(d), level_count(d)}, ones(d));
         }},
    };
}

class explorer {
public:
    explorer(const world& w, const table& start)
        : world_(w), start_(start), run_(start, [&](run_settings& s) {
              s.criterion.criterion_id = static_cast<std::int8_t>(w.criterion);
              s.criterion.params.param_count_1 = static_cast<std::int32_t>(w.list_1.size());
              s.criterion.params.param_list_1 = w.list_1.data();
          })
    {
        value_ = crit_value(run_.ctx());
        EXPECT_TRUE(agrees(value_, w.definition(start)));
    }

    void exchange(int j, std::int32_t a, std::int32_t b)
    {
        run_context* ctx = run_.ctx();
        const double single = crit_try_swap(ctx, j, a, b);
        const double batch = crit_try_swaps(ctx, j, 1, &a, &b);
        ASSERT_TRUE(same_bits(crit_value(ctx), value_));
        table moved = start_;
        std::swap(moved[a][j], moved[b][j]);
        crit_save_column(ctx, j);
        const double applied = crit_apply_swaps(ctx, j, 1, &a, &b);
        EXPECT_TRUE(same_bits(single, applied)) << single << ' ' << applied;
        EXPECT_TRUE(same_bits(batch, applied)) << batch << ' ' << applied;
        check_commit(applied, moved, j);
    }

    void rearrange(int j, const row_list& rows, const row_list& sources)
    {
        run_context* ctx = run_.ctx();
        const int count = static_cast<int>(rows.size());
        const double tried = crit_try_moves(ctx, j, count, rows.data(), sources.data());
        ASSERT_TRUE(same_bits(crit_value(ctx), value_));
        table moved = start_;
        for (std::size_t t = 0; t < rows.size(); ++t)
            moved[rows[t]][j] = start_[sources[t]][j];
        crit_save_column(ctx, j);
        const double applied = crit_apply_moves(ctx, j, count, rows.data(), sources.data());
        EXPECT_TRUE(same_bits(tried, applied)) << tried << ' ' << applied;
        check_commit(applied, moved, j);
    }

private:
    /// Phi-p loses the digits by which the terms that an exchange removes exceed those that stay.
    bool agrees(double a, double b) const
    {
        const double tolerance = world_.criterion == 1 ? 1e-9 : 1e-12;
        return std::fabs(a - b) <= tolerance * std::max(1.0, std::fabs(b));
    }

    void check_commit(double applied, const table& moved, int j)
    {
        run_context* ctx = run_.ctx();
        EXPECT_TRUE(same_bits(crit_value(ctx), applied));
        const double fresh = crit_value_of(ctx, moved.data());
        EXPECT_TRUE(agrees(applied, fresh)) << applied << ' ' << fresh;
        EXPECT_TRUE(agrees(fresh, world_.definition(moved))) << fresh;
        table copy(start_.rows(), start_.columns());
        crit_copy_design(ctx, copy.data());
        for (std::size_t i = 0; i < copy.values().size(); ++i)
            ASSERT_NEAR(copy.values()[i], moved.values()[i], 1e-15);
        EXPECT_TRUE(agrees(crit_evaluate(ctx, nullptr), fresh));
        crit_restore_column(ctx, j);
        ASSERT_TRUE(same_bits(crit_value(ctx), value_));
    }

    const world& world_;
    const table& start_;
    search_run run_;
    double value_;
};

void explore(const world& w, const column& entries, int k)
{
    row_list rows(entries.size());
    std::iota(rows.begin(), rows.end(), 0);
    const auto n = static_cast<std::int32_t>(rows.size());
    for (const table& start : designs_of(entries, k)) {
        explorer from(w, start);
        for (int j = 0; j < k; ++j) {
            for (std::int32_t a = 0; a < n; ++a)
                for (std::int32_t b = 0; b < n; ++b)
                    if (a != b)
                        from.exchange(j, a, b);
            row_list sources = rows;
            do
                from.rearrange(j, rows, sources);
            while (std::next_permutation(sources.begin(), sources.end()));
        }
        if (testing::Test::HasFailure())
            return;
    }
}

} // namespace

class smallworld : public testing::TestWithParam<world> {};

TEST_P(smallworld, all_latin_hypercubes_of_3_points) { explore(GetParam(), {0.0, 0.5, 1.0}, 2); }

TEST_P(smallworld, all_latin_hypercubes_of_4_points_at_cell_centres)
{
    explore(GetParam(), {0.125, 0.375, 0.625, 0.875}, 2);
}

/// Rows that are equal in every factor have no correlation matrix and no distance, but a discrepancy and
/// coincidences.
class balancedworld : public smallworld {};

TEST_P(balancedworld, all_designs_of_4_points_and_3_two_level_factors)
{
    explore(GetParam(), {0.25, 0.25, 0.75, 0.75}, 3);
}

static std::string world_name(const testing::TestParamInfo<world>& tested) { return tested.param.name; }

INSTANTIATE_TEST_SUITE_P(criteria, smallworld, testing::ValuesIn(worlds()), world_name);
INSTANTIATE_TEST_SUITE_P(criteria, balancedworld, testing::Values(worlds()[3], worlds()[4]), world_name);

#include "optdoe/criteria/phip/phip_best_swap.h"

#include "tests/support/phip_invariants.h"
#include "tests/support/phip_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

/// All pairs of rows of one column, or some of them, and the value of each trial.
struct candidates {
    candidates(phip_tables_run& of, std::int32_t in_column, int one_in, random_stream& random)
        : run(of), column(in_column)
    {
        const std::int32_t n = run.state().distances.rows;
        for (std::int32_t i = 0; i < n; ++i)
            for (std::int32_t j = 0; j < i; ++j)
                if (values.empty() || random.below(one_in) == 0) {
                    a.push_back(i);
                    b.push_back(j);
                    values.push_back(crit_try_swap(run.ctx(), column, i, j));
                }
        least = *std::min_element(values.begin(), values.end());
        is_unique = std::count(values.begin(), values.end(), least) == 1;
    }

    std::int32_t unique_best() { return best_by(crit_unique_best_swap); }
    std::int32_t best() { return best_by(crit_best_swap); }

    /// An answer is the only trial of the least value.
    void expect_right(std::int32_t position) const
    {
        if (position < 0)
            return;
        EXPECT_TRUE(is_unique);
        EXPECT_EQ(values[static_cast<std::size_t>(position)], least);
        EXPECT_EQ(bits_of(value), bits_of(least));
    }

    phip_tables_run& run;
    std::int32_t column;
    std::vector<std::int32_t> a;
    std::vector<std::int32_t> b;
    std::vector<double> values;
    double least = 0.0;
    double value = 0.0; ///< of the last answer
    bool is_unique = false;

private:
    template <class Search>
    std::int32_t best_by(Search search)
    {
        return search(run.ctx(), column, static_cast<std::int32_t>(a.size()), a.data(), b.data(), &value);
    }
};

} // namespace

TEST(phipbestswap, is_the_only_trial_of_the_least_value)
{
    random_stream random{95};
    int told = 0;
    int asked = 0;
    for (const int n : {3, 8, 16, 17, 41})
        for (const distance_kind kind : {distance_kind::rectangular, distance_kind::euclidean})
            for (const bool all_lines : {true, false}) {
                SCOPED_TRACE(n);
                phip_tables_run run(random_unit_design(n, 4, random), all_lines, kind);
                for (int round = 0; round < 12; ++round) { // toward a good design
                    candidates k(run, round % 4, 1 + round % 3, random);
                    const std::int32_t position = k.unique_best();
                    k.expect_right(position);
                    told += position >= 0;
                    asked += k.is_unique;
                    const std::size_t best = static_cast<std::size_t>(k.best());
                    EXPECT_EQ(k.values[best], k.least);
                    run.swap(k.column, k.a[best], k.b[best]);
                }
            }
    EXPECT_GT(asked, 150);
    EXPECT_GT(told, asked * 9 / 10);
}

TEST(phipbestswap, two_that_tie_are_not_told)
{
    // Whole levels and mirrored rows: an exchange and its mirror image have the same distances.
    random_stream random{96};
    int tied = 0;
    for (const int n : {6, 16, 18, 40})
        for (const bool all_lines : {true, false}) {
            phip_tables_run run(random_symmetric_levels(n, 3, random), all_lines, distance_kind::rectangular);
            for (int column = 0; column < 3; ++column) {
                candidates k(run, column, 1, random);
                const std::int32_t position = k.unique_best();
                k.expect_right(position);
                if (!k.is_unique) {
                    EXPECT_EQ(position, -1);
                }
                tied += !k.is_unique;
                EXPECT_EQ(k.values[static_cast<std::size_t>(k.best())], k.least);
            }
        }
    EXPECT_GT(tied, 5);
}

TEST(phipbestswap, equal_entries_have_the_present_value)
{
    random_stream random{97};
    int of_equal = 0;
    for (const int n : {8, 16, 24, 42})
        for (const bool all_lines : {true, false}) {
            table start = random_unit_design(n, 3, random, 2);
            for (int i = 0; i < n; ++i)
                for (int j = 0; j < 3; ++j)
                    start[i][j] += 0x1p-52 * random.below(3); // equal all the same
            phip_tables_run run(start, all_lines);
            for (int round = 0; round < 30; ++round) { // until no exchange is better
                candidates k(run, round % 3, 1 + round % 4, random);
                k.expect_right(k.unique_best());
                const std::size_t best = static_cast<std::size_t>(k.best());
                EXPECT_EQ(k.values[best], k.least);
                of_equal += k.least == run.value();
                run.swap(k.column, k.a[best], k.b[best]);
            }
        }
    EXPECT_GT(of_equal, 20);
}

TEST(phipbestswap, a_commit_finds_the_lines_of_the_winner)
{
    random_stream random{98};
    int told = 0;
    for (const int n : {12, 30})
        for (int round = 0; round < 40; ++round) {
            table start = random_symmetric_levels(n, 3, random);
            for (int i = 0; i < n; ++i)
                for (int j = 0; j < 3; ++j)
                    start[i][j] = start[i][j] / n + 1e-6 * random.unit(); // the mirror image is a close second
            phip_tables_run run(start, round % 2 == 0);
            phip_state& s = run.state();
            candidates k(run, 1, 1, random);
            const auto before = points_and_lines(s);
            const std::int32_t position = k.unique_best();
            EXPECT_EQ(points_and_lines(s), before);
            EXPECT_EQ(broken_phip_invariant(run.ctx()), "");
            if (position < 0)
                continue;
            ++told;
            EXPECT_EQ(s.exchange.as_of, s.distances.version);
            EXPECT_EQ(s.exchange.column, 1);
            EXPECT_EQ(s.exchange.a, k.a[static_cast<std::size_t>(position)]);
            EXPECT_EQ(s.exchange.b, k.b[static_cast<std::size_t>(position)]);
            EXPECT_EQ(bits_of(run.swap(1, s.exchange.a, s.exchange.b)), bits_of(k.value));
        }
    EXPECT_GT(told, 60);
}

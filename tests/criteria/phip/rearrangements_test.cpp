#include "optdoe/criteria/phip/phip_pending.h"

#include "optdoe/criteria/phip/phip_exchange.h"
#include "tests/support/phip_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace {

/// The points and distances of a run as plain tables.
struct plain_rearrangement {
    explicit plain_rearrangement(phip_state& of)
        : s(of), n(of.distances.rows), points(n, of.distances.factors), lines(n, n)
    {
        for (int r = 0; r < n; ++r) {
            std::copy_n(s.distances.points[r], points.columns(), points[r]);
            std::copy_n(line_of(s.distances, r, n, s.line), n, lines[r]);
        }
    }

    /// One row after the other takes its entry, and its terms are replaced; the new ones have no floor.
    ///   returns the sum of terms
    double sum_after(int column, const std::vector<std::int32_t>& dst, const std::vector<std::int32_t>& src)
    {
        const table start = points;
        double old_sum = 0.0;
        double new_sum = 0.0;
        for (std::size_t t = 0; t < dst.size(); ++t) {
            const int row = dst[t];
            const double entry = start[src[t]][column];
            for (int r = 0; r < n; ++r) {
                if (r == row)
                    continue;
                const double x = points[r][column];
                const double left = distance_part(s.distances.kind, x - points[row][column]);
                const double came = distance_part(s.distances.kind, x - entry);
                old_sum += term_of(s.terms, lines[row][r]);
                lines[row][r] = lines[r][row] = std::fmax(lines[row][r] + (came - left), 0.0);
                new_sum += 1.0 / int_power(lines[row][r], static_cast<std::uint32_t>(s.terms.p));
            }
            points[row][column] = entry;
        }
        return updated_sum(s, old_sum, new_sum);
    }

    phip_state& s;
    int n;
    table points;
    table lines;
};

} // namespace

TEST(phiprearrangements, is_what_the_definition_gives_row_by_row)
{
    random_stream random{94};
    for (const distance_kind kind : {distance_kind::rectangular, distance_kind::euclidean})
        for (const bool all_lines : {true, false})
            for (const int n : {3, 8, 15, 33}) {
                phip_tables_run run(random_unit_design(n, 3, random), all_lines, kind);
                phip_state& s = run.state();
                for (int round = 0; round < 5; ++round) {
                    std::vector<std::int32_t> dst(static_cast<std::size_t>(n));
                    std::iota(dst.begin(), dst.end(), 0);
                    random.shuffle(dst);
                    dst.resize(static_cast<std::size_t>(2 + random.below(n - 1)));
                    std::vector<std::int32_t> src = dst;
                    std::rotate(src.begin(), src.begin() + 1, src.end());
                    crit_evaluate(run.ctx(), nullptr); // the sum is not due to be taken in full
                    plain_rearrangement plain(s);
                    const double sum = plain.sum_after(1, dst, src);
                    const double value =
                        crit_apply_moves(run.ctx(), 1, static_cast<std::int32_t>(dst.size()), dst.data(), src.data());
                    EXPECT_EQ(bits_of(value), bits_of(value_of_sum(s, sum)));
                    EXPECT_EQ(s.update_count, 1);
                    EXPECT_NEAR(value, crit_value_of(run.ctx(), nullptr), 1e-9 * value);
                    for (int r = 0; r < n; ++r) {
                        EXPECT_EQ(run.entry(r, 1), plain.points[r][1]);
                        for (int i = 0; i < n; ++i)
                            EXPECT_EQ(line_of(s.distances, r, n, s.line)[i], plain.lines[r][i]);
                    }
                }
            }
}

TEST(phiprearrangements, equal_entries_take_their_places_and_change_nothing_else)
{
    const double x = 0.5;
    const double y = 0.5 + 0x1p-52;
    phip_tables_run run(table(2, {x, 0.1, 0.9, 0.4, y, 0.8, 0.2, 0.3, x, 0.6}), true);
    phip_state& s = run.state();
    const running_sum before = s;
    const std::vector<double> line(stored_line(s.distances, 2), stored_line(s.distances, 2) + 5);
    const std::uint64_t version = s.distances.version;
    const std::int32_t rows_dst[] = {0, 2, 4};
    const std::int32_t rows_src[] = {4, 0, 2};
    const double value = crit_apply_moves(run.ctx(), 0, 3, rows_dst, rows_src);
    EXPECT_EQ(bits_of(value), bits_of(before.value));
    EXPECT_EQ(bits_of(s.term_sum), bits_of(before.term_sum));
    EXPECT_EQ(s.update_count, before.update_count);
    EXPECT_EQ(run.entry(2, 0), x);
    EXPECT_EQ(run.entry(4, 0), y);
    EXPECT_EQ(s.distances.is_changed[0], 0); // its entry is the same to the bit
    EXPECT_EQ(s.distances.is_changed[2] + s.distances.is_changed[4], 2);
    EXPECT_NE(s.distances.version, version);
    EXPECT_EQ(std::vector<double>(stored_line(s.distances, 2), stored_line(s.distances, 2) + 5), line);
}

TEST(phiprearrangements, terms_have_no_floor)
{
    // Rows 0 and 1 come as close as d: a term of d^-20, of squared distances the applied exponent is 10. The floor of
    // squared distances is at 1e-10.
    for (const double d : {0.0, 5e-6}) {
        phip_tables_run run(table(2, {0.5, 0.5, 1.0, 0.5 + d, 0.5, 9.0}), true);
        phip_state& s = run.state();
        const double cap = std::pow(phip_cap, 0.5 / s.terms.p);
        EXPECT_EQ(crit_try_swap(run.ctx(), 0, 1, 2), cap); // which has one
        const std::int32_t rows_dst[] = {1, 2};
        const std::int32_t rows_src[] = {2, 1};
        const double value = crit_apply_moves(run.ctx(), 0, 2, rows_dst, rows_src);
        const double close = d == 0.0 ? cap : std::pow(d, -20.0 * 0.5 / s.terms.p);
        EXPECT_NEAR(value, close, 1e-4 * close);
        EXPECT_TRUE(std::signbit(stored_line(s.distances, 0)[1])); // such a distance is marked
        EXPECT_FALSE(std::signbit(stored_line(s.distances, 0)[2]));
        EXPECT_EQ(crit_evaluate(run.ctx(), nullptr), cap);
        EXPECT_FALSE(std::signbit(stored_line(s.distances, 0)[1]));
    }
}

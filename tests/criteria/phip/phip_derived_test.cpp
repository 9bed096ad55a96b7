#include "optdoe/criteria/phip/phip_derived.h"

#include "optdoe/criteria/phip/phip_exchange.h"
#include "optdoe/criteria/phip/phip_pending.h"
#include "tests/support/phip_invariants.h"
#include "tests/support/phip_tables.h"

#include <gtest/gtest.h>

namespace {

phip_tables_run random_run(int n, bool all_lines)
{
    random_stream random{92};
    return {random_unit_design(n, 3, random), all_lines};
}

/// Moves one point of a design in the unit cube, after its line.
void move_point(phip_tables_run& run, std::int32_t r, double x)
{
    phip_state& s = run.state();
    const pair_distances& d = s.distances;
    const double* line = line_of(d, r, d.rows, s.line_b);
    s.terms.kernels->move(d.kind, d.stride, column_line(d, 1), d.points[r][1], x, line, s.line_a);
    s.line_a[r] = __builtin_inf();
    replace_line(run.ctx(), s, r, s.line_a);
    replace_entry(s, r, 1, x);
}

/// All terms added one by one, row by row left of the diagonal.
///   distance   (j, i)
template <class Distance>
double chain_of_terms(const phip_state& s, Distance distance)
{
    double total = 0.0;
    for (std::int32_t j = 0; j < s.distances.rows; ++j)
        for (std::int32_t i = 0; i < j; ++i)
            total += term_of(s.terms, distance(j, i));
    return total;
}

} // namespace

TEST(phipderived, brought_up_to_date_totals_and_copies_are_those_of_the_present_lines)
{
    for (const bool all_lines : {true, false}) {
        phip_tables_run run = random_run(24, all_lines);
        phip_state& s = run.state();
        const pair_distances& d = s.distances;
        for (std::int32_t r = 0; r < 20; r += 2)
            run.swap(r % 3, r, r + 1);
        finish(run.ctx(), s);
        EXPECT_FALSE(in_step(s).rows || in_step(s).copies);
        bring_up_to_date(s);
        EXPECT_TRUE(in_step(s).rows && in_step(s).copies);
        ASSERT_TRUE(coarse_is_usable(s.coarse));
        EXPECT_EQ(broken_phip_invariant(run.ctx()), ""); // among others, of every copy
        for (std::int32_t r = 0; r < d.rows; ++r) {
            terms_of_line(s.terms, d.stride, line_of(d, r, d.rows, s.line), s.new_terms);
            set_row_total(s.terms, s.totals_before, r, s.new_terms);
            EXPECT_EQ(bits_of(s.totals.row_total[r]), bits_of(s.totals_before.row_total[r])) << r;
            EXPECT_EQ(bits_of(s.totals.row_upper[r]), bits_of(s.totals_before.row_upper[r])) << r;
        }
    }
}

TEST(phipderived, what_was_in_step_follows_a_line_and_what_was_not_stays_behind)
{
    for (const bool all_lines : {true, false})
        for (const bool rows : {false, true})
            for (const bool triangle : {false, true})
                for (const bool copies : {false, true}) {
                    phip_tables_run run = random_run(24, all_lines);
                    phip_state& s = run.state();
                    bring_up_to_date(s);
                    sum_of_terms(s);
                    s.totals.rows_as_of *= rows;
                    s.totals.triangle_as_of *= triangle;
                    s.coarse.as_of *= copies;
                    const double total = s.totals.row_total[11];
                    const std::uint64_t version = s.distances.version;
                    move_point(run, 4, 0.77);
                    move_point(run, 9, 0.31);
                    EXPECT_NE(s.distances.version, version);
                    const derived_in_step now = in_step(s);
                    EXPECT_EQ(now.rows, rows);
                    EXPECT_EQ(now.triangle, triangle);
                    EXPECT_EQ(now.copies, copies);
                    EXPECT_EQ(s.totals.row_total[11] == total, !rows);
                    EXPECT_EQ(broken_phip_invariant(run.ctx()), "");
                }
}

TEST(phipderived, the_sum_of_terms_has_the_bits_of_adding_them_one_by_one)
{
    random_stream random{93};
    for (const int n : {2, 9, 16, 17, 40})
        for (const bool all_lines : {true, false}) {
            SCOPED_TRACE(n);
            phip_tables_run run = random_run(n, all_lines);
            phip_state& s = run.state();
            const pair_distances& d = s.distances;
            for (int t = 0; t < 10; ++t) {
                const std::int32_t a = random.below(n);
                const std::int32_t b = (a + 1 + random.below(n - 1)) % n;
                const auto stored = [&](std::int32_t j, std::int32_t i) { return line_of(d, j, d.rows, s.line)[i]; };
                EXPECT_EQ(bits_of(sum_of_terms(s)), bits_of(chain_of_terms(s, stored)));
                const phip_exchange& e = compute_exchange(s, 1, a, b);
                const replaced_line replaced[] = {{a, e.old_term_a, e.term_a}, {b, e.old_term_b, e.term_b}};
                const double after = chain_of_terms(s, [&](std::int32_t j, std::int32_t i) {
                    return j == a   ? e.distance_a[i]
                           : j == b ? e.distance_b[i]
                           : i == a ? e.distance_a[j]
                           : i == b ? e.distance_b[j]
                                    : stored(j, i);
                });
                EXPECT_EQ(bits_of(sum_of_terms(s, 2, replaced)), bits_of(after));
                if (t % 2 == 1)
                    s.totals.triangle_as_of = 0; // it does not follow then
                write_exchange(run.ctx(), s);
                EXPECT_EQ(bits_of(sum_of_terms(s)), bits_of(after));
            }
            const double fresh = chain_of_terms(s, [&](std::int32_t j, std::int32_t i) {
                return distance_of(d.kind, d.points[i], d.points[j], d.factors);
            });
            EXPECT_EQ(bits_of(sum_of_fresh_terms(s)), bits_of(fresh));
        }
}

TEST(phipderived, equal_entries_change_places_and_the_lines_keep_their_distances)
{
    const double x = 0.5;
    const double y = 0.5 + 0x1p-52;
    phip_tables_run run(table(2, {x, 0.1, 0.9, 0.4, y, 0.8, 0.2, 0.3, x, 0.6}), true);
    phip_state& s = run.state();
    const std::uint64_t version = s.distances.version;
    exchange_equal_entries(run.ctx(), s, 0, 4, 0); // the same to the bit
    EXPECT_EQ(s.distances.version, version);
    EXPECT_EQ(s.distances.changed_count, 0);
    bring_up_to_date(s);
    const double kept = stored_line(s.distances, 0)[1];
    exchange_equal_entries(run.ctx(), s, 0, 2, 0);
    EXPECT_EQ(run.entry(0, 0), y);
    EXPECT_EQ(run.entry(2, 0), x);
    EXPECT_EQ(bits_of(stored_line(s.distances, 0)[1]), bits_of(kept));
    EXPECT_EQ(s.distances.changed_count, 2);
    EXPECT_TRUE(in_step(s).rows && in_step(s).copies);
    EXPECT_EQ(broken_phip_invariant(run.ctx()), "");
}

TEST(phipderived, undoing_brings_the_version_back_and_what_follows_with_it)
{
    for (const bool all_lines : {true, false}) {
        phip_tables_run run = random_run(24, all_lines);
        phip_state& s = run.state();
        bring_up_to_date(s);
        const auto before = points_and_lines(s);
        crit_save_column(run.ctx(), 1);
        run.swap(1, 3, 7);
        run.swap(1, 7, 12);
        finish(run.ctx(), s);
        undo_changes(run.ctx(), s, s.distances.column_mark);
        EXPECT_EQ(points_and_lines(s), before);
        EXPECT_TRUE(in_step(s).rows && in_step(s).triangle && in_step(s).copies);
        EXPECT_EQ(broken_phip_invariant(run.ctx()), "");
    }
}

#include "optdoe/criteria/phip/term_totals.h"

#include "optdoe/vectors/aligned_tables.h"
#include "tests/support/designs.h"
#include "tests/support/test_run.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

term_function terms_of_order(std::int32_t p) { return {best_variant(phip_kernel_variants), p, 1e-3}; }

} // namespace

TEST(termtotals, a_term_ends_at_the_cap_unless_its_distance_has_a_mark)
{
    const term_function f = terms_of_order(2);
    EXPECT_EQ(term_of(f, 0.5), 4.0);
    EXPECT_EQ(term_of(f, -0.5), 4.0);
    EXPECT_EQ(term_of(f, 1e-4), phip_cap);
    EXPECT_EQ(term_of(f, -1e-4), 1.0 / (1e-4 * 1e-4));
    EXPECT_EQ(term_of(f, std::numeric_limits<double>::infinity()), 0.0);
    EXPECT_EQ(capped(std::nan("")), phip_cap);
    EXPECT_EQ(capped(2e200), phip_cap);
    EXPECT_EQ(capped(3.0), 3.0);
}

TEST(termtotals, stay_within_their_bound_while_lines_are_replaced)
{
    constexpr int n = 19;
    random_stream random{72};
    test_run run;
    const term_function f = terms_of_order(1);
    double** table = aligned_matrix_alloc(run.ctx(), n, n); // symmetric, zero on the diagonal
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < i; ++j)
            table[i][j] = table[j][i] = random.unit();
    term_totals t{};
    totals_alloc(run.ctx(), t, n, padded_length(n));
    for (int r = 0; r < n; ++r)
        set_row_total(f, t, r, table[r]);
    double* before = aligned_matrix_alloc(run.ctx(), 1, n)[0];
    for (int step = 0; step < 500; ++step) {
        const int line = random.below(n);
        std::copy_n(table[line], n, before);
        for (int r = 0; r < n; ++r)
            if (r != line)
                table[line][r] = table[r][line] = random.unit() * std::pow(10.0, random.below(7) - 3);
        replace_in_row_totals(f, t, {line, before, table[line]});
        for (int r = 0; r < n; ++r) {
            long double exact = 0.0;
            for (int j = 0; j < n; ++j)
                exact += table[r][j];
            ASSERT_GE(t.row_upper[r], exact) << "row " << r << " at step " << step;
            ASSERT_LE(std::abs(t.row_total[r] - exact), t.row_upper[r] - t.row_total[r]) << r << " at step " << step;
        }
    }
    totals_free(run.ctx(), t);
    EXPECT_EQ(t.vectors, nullptr);
}

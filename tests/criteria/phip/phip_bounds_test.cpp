#include "optdoe/criteria/phip/phip_bounds.h"

#include "optdoe/criteria/phip/phip_derived.h"
#include "optdoe/criteria/phip/phip_exchange.h"
#include "tests/support/bounded_run.h"

#include <gtest/gtest.h>

TEST(phipbounds, hold_the_total_of_every_trial_between_them)
{
    random_stream random{71};
    int bracketed = 0;
    for (const int n : {3, 8, 17, 40, 130}) {
        for (const distance_kind kind : {distance_kind::rectangular, distance_kind::euclidean}) {
            for (const std::int32_t p : {1, 3, 10}) {
                SCOPED_TRACE(std::to_string(n) + " rows, exponent " + std::to_string(p));
                bounded_run run(n, kind, p, random);
                ASSERT_TRUE(run.usable);
                phip_state& s = run.state();
                bring_up_to_date(s);
                bound_candidates(s, run.candidates);
                for (int c = 0; c < 20; ++c) {
                    const auto i = static_cast<std::size_t>(c);
                    const phip_exchange& x = compute_exchange(s, 1, run.a[i], run.b[i]);
                    const double total = updated_sum(s, x.old_sum, x.new_sum);
                    const double& lower = s.candidates.lower[c];
                    EXPECT_LE(lower, total);
                    add_pair_to_bound(s, run.candidates, c);
                    EXPECT_LE(lower, total) << "with the pair's own term";
                    const double upper = bracket_total(s, run.candidates, c, __builtin_inf());
                    EXPECT_LE(lower, total) << "from all new terms";
                    EXPECT_GE(upper, total);
                    bracketed += upper < 2.0 * total;
                    bound_closely(s, run.candidates, c);
                    EXPECT_LE(lower, total) << "from distances in double precision";
                    EXPECT_NEAR(lower, total, (1e-3 + s.terms.kernels->estimate_error) * (s.term_sum + total));
                }
            }
        }
    }
    EXPECT_GT(bracketed, 200); // of 600: the upper bounds tell something
}

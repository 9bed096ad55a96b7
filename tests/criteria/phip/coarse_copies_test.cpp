#include "optdoe/criteria/phip/coarse_copies.h"

#include "optdoe/criteria/phip/phip_state.h"
#include "tests/support/phip_run.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(coarsecopies, distances_are_copied_only_where_they_have_a_scale)
{
    random_stream random{34};
    const std::int32_t a[] = {0, 1, 2, 3};
    const std::int32_t b[] = {5, 6, 7, 4};
    for (const double kind : {1.0, 2.0})
        for (const double size : {1e-310, 1e-160, 1e-120, 1.0, 1e120, 1e155, 1e160, 1e190, 1e300}) {
            table start = random_unit_design(9, 3, random);
            for (int i = 0; i < 9; ++i)
                for (int j = 0; j < 3; ++j)
                    start[i][j] *= size;
            phip_run run(start, {1}, {kind});
            double value = 0.0;
            crit_best_swap(run.ctx(), 0, 4, a, b, &value);
            const coarse_copies& copies = run->phip->coarse;
            EXPECT_TRUE(!coarse_is_usable(copies) || std::isnormal(copies.scale)) << kind << ' ' << size;
            EXPECT_TRUE(coarse_is_usable(copies) || size != 1.0);
        }
}

#include "optdoe/criteria/rearrangement_list.h"

#include "tests/support/test_run.h"

#include <gtest/gtest.h>

TEST(rearrangementlist, knows_the_re_arrangement_that_was_listed_last)
{
    test_run run;
    rearrangement_list list{};
    const double entries[] = {10.0, 11.0, 12.0, 13.0};
    const std::int32_t dst[] = {0, 2, 3};
    const std::int32_t src[] = {2, 3, 0};
    list_rearrangement(run.ctx(), list, 1, entries, 3, dst, src);
    EXPECT_EQ(list.taken[0], 12.0);
    EXPECT_EQ(list.taken[2], 10.0);
    EXPECT_TRUE(is_listed(list, 1, 3, dst, src));
    EXPECT_FALSE(is_listed(list, 0, 3, dst, src));
    EXPECT_FALSE(is_listed(list, 1, 2, dst, src));
    EXPECT_FALSE(is_listed(list, 1, 3, src, dst));

    list_rearrangement(run.ctx(), list, 1, entries, 2, dst, src); // a shorter one takes the same storage
    EXPECT_EQ(list.capacity, 3);
    EXPECT_TRUE(is_listed(list, 1, 2, dst, src));
    EXPECT_FALSE(is_listed(list, 1, 3, dst, src));
    rearrangement_free(run.ctx(), list);
    EXPECT_EQ(list.capacity, 0);
    rearrangement_free(run.ctx(), list);
}

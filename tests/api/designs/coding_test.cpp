#include "api/designs/design.h"
#include "api/designs/start_designs.h"
#include "api/text/errors.h"

#include <gtest/gtest.h>

using namespace optdoe;

TEST(coding, factors_split_at_the_range)
{
    const factor plain = parse_factor("Temp=20:80:C");
    EXPECT_EQ(plain.name, "Temp");
    EXPECT_EQ(plain.range->low, 20.0);
    EXPECT_EQ(plain.range->high, 80.0);
    EXPECT_EQ(plain.unit, "C");
    const factor odd = parse_factor("a=b=-1:1e3:m:s=2");
    EXPECT_EQ(odd.name, "a=b");
    EXPECT_EQ(odd.range->high, 1000.0);
    EXPECT_EQ(odd.unit, "m:s=2");
    const factor name_alone = parse_factor("Temp");
    EXPECT_EQ(name_alone.name, "Temp");
    EXPECT_FALSE(name_alone.range);
    for (const factor& f : {plain, odd, name_alone})
        EXPECT_EQ(factor_text(parse_factor(factor_text(f))), factor_text(f));
}

TEST(coding, bad_factors_are_refused)
{
    for (const char* bad : {"x=1", "x:1", "x=1:", "x=2:1", "x=1:1", "x=a:b", "x=-1e308:1e308"})
        EXPECT_THROW(parse_factor(bad), usage_error) << bad;
    EXPECT_THROW(check_factors({{"", {}, ""}}), usage_error);
    EXPECT_THROW(check_factors({{"12", {}, ""}}), usage_error);
    EXPECT_THROW(check_factors({{"a", {}, ""}, {"a", {}, ""}}), usage_error);
    EXPECT_THROW(check_factors({{"a", {}, ""}, {"b", bounds{0, 1}, ""}}), usage_error);
}

TEST(coding, every_coding_reads_back_to_the_level)
{
    const factor f{"x", bounds{-3.7, 1234.56}, ""};
    for (const placement p : {placement::centres, placement::ends})
        for (const coding c : {coding::levels, coding::unit, coding::physical})
            for (const std::size_t count : {2U, 3U, 7U, 1000U})
                for (std::size_t level = 1; level <= count; ++level)
                    EXPECT_EQ(decode(encode(static_cast<double>(level), count, f, c, p), count, f, c, p),
                              static_cast<double>(level));
}

TEST(coding, ends_are_the_ends_of_the_range)
{
    const factor f{"x", bounds{0.1, 0.7}, ""};
    EXPECT_EQ(encode(1, 9, f, coding::physical, placement::ends), 0.1);
    EXPECT_EQ(encode(9, 9, f, coding::physical, placement::ends), 0.7);
    EXPECT_EQ(encode(1, 4, f, coding::unit, placement::centres), 0.125);
}

TEST(coding, exact_levels_take_the_nearest_level_of_the_start)
{
    table start(3, 1);
    start.cells = {1.0, 2.0, 3.0};
    table search(3, 1);
    search.cells = {2.9999999999999996, 1.0000000000000002, 2.0};
    EXPECT_EQ(exact_levels(search, start).cells, (std::vector<double>{3.0, 1.0, 2.0}));
}

TEST(coding, a_lost_level_is_a_fault)
{
    table start(3, 1);
    start.cells = {1.0, 2.0, 3.0};
    table search(3, 1);
    search.cells = {2.9, 3.0, 1.0};
    EXPECT_THROW(exact_levels(search, start), input_error);
}

TEST(coding, levels_columns_are_whole_and_complete)
{
    table design(4, 3);
    design.cells = {1, 1, 1, 2, 1, 2, 3, 2, 4, 4, 2, 5};
    EXPECT_TRUE(is_levels_column(design, 0));
    EXPECT_TRUE(is_levels_column(design, 1));
    EXPECT_FALSE(is_levels_column(design, 2));
    EXPECT_EQ(distinct_counts(design), (std::vector<std::size_t>{4, 2, 4}));
}

TEST(startdesigns, are_what_they_are_called)
{
    std::mt19937_64 generator(5);
    for (const std::size_t rows : {2U, 5U, 8U, 9U}) {
        const table symmetric = random_symmetric(generator, rows, 4);
        EXPECT_TRUE(is_symmetric(symmetric)) << rows;
        for (std::size_t j = 0; j < 4; ++j)
            EXPECT_TRUE(is_levels_column(symmetric, j));
        EXPECT_EQ(distinct_counts(symmetric), std::vector<std::size_t>(4, rows));
    }
    EXPECT_FALSE(is_symmetric(random_latin(generator, 9, 4)));
    const table balanced = random_balanced(generator, 12, {2, 3, 12});
    EXPECT_EQ(distinct_counts(balanced), (std::vector<std::size_t>{2, 3, 12}));
    EXPECT_FALSE(is_symmetric(balanced));
}

TEST(startdesigns, follow_the_seed)
{
    std::mt19937_64 a(9), b(9), c(10);
    const table first = random_latin(a, 20, 3);
    EXPECT_EQ(first.cells, random_latin(b, 20, 3).cells);
    EXPECT_NE(first.cells, random_latin(c, 20, 3).cells);
}

#include "api/designs/design_file.h"
#include "api/text/csv_reader.h"
#include "api/text/errors.h"
#include "api/text/output_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdio>

using namespace optdoe;
using testing::HasSubstr;

namespace {

/// A file in the test's own folder, removed at the end.
struct scratch_file {
    std::string name =
        testing::TempDir() + "optdoe_" + testing::UnitTest::GetInstance()->current_test_info()->name() + ".txt";
    explicit scratch_file(std::string_view content) { write_output(name, content); }
    ~scratch_file() { std::remove(name.c_str()); }
    scratch_file(const scratch_file&) = delete;
    scratch_file& operator=(const scratch_file&) = delete;
};

std::string refusal(std::string_view content)
{
    const scratch_file file(content);
    try {
        read_design(file.name);
    } catch (const input_error& error) {
        return std::string(error.what()).substr(file.name.size());
    }
    return "accepted";
}

} // namespace

TEST(designfile, foreign_csv_with_header_comments_and_spaces)
{
    const scratch_file file("\xEF\xBB\xBF# a note\r\n a , \"b \"\"1\"\"\"\r\n\r\n1, 2\r\n2,1\r\n");
    const design_file design = read_design(file.name);
    EXPECT_EQ(design.factors[0].name, "a");
    EXPECT_EQ(design.factors[1].name, "b \"1\"");
    EXPECT_EQ(design.values.cells, (std::vector<double>{1, 2, 2, 1}));
    EXPECT_EQ(design.code, coding::levels);
    EXPECT_TRUE(design.whole_levels());
    EXPECT_EQ(design.row_texts[0], "1, 2\r\n");
}

TEST(designfile, semicolons_tabulators_and_no_header)
{
    for (const char* content : {"0.5;0.25\n0.125;1\n", "0.5\t0.25\n0.125\t1"}) {
        const scratch_file file(content);
        const design_file design = read_design(file.name);
        EXPECT_EQ(design.values.cells, (std::vector<double>{0.5, 0.25, 0.125, 1}));
        EXPECT_EQ(design.factors[1].name, "x2");
        EXPECT_EQ(design.code, coding::raw);
    }
}

TEST(designfile, refusals_name_the_place)
{
    EXPECT_THAT(refusal("a,b\n1,2\n3,x\n"), HasSubstr(":3:3: expected a number with a decimal point, found \"x\""));
    EXPECT_THAT(refusal("# c\na,ü,c\n1,2,3\n1,2\n"), HasSubstr(":4:1: 2 fields where the first line has 3"));
    EXPECT_THAT(refusal("1,2\n1,2,\n"), HasSubstr(":2:1: 3 fields"));
    EXPECT_THAT(refusal("ä,b\n1,nan\n"), HasSubstr(":2:3: expected a number"));
    EXPECT_THAT(refusal("\"ä\",b\n\"1\",1e999\n"), HasSubstr(":2:5: expected a number"));
    EXPECT_THAT(refusal(""), HasSubstr(":1:1: holds no runs"));
    EXPECT_THAT(refusal("a,b\n"), HasSubstr(":1:1: holds no runs"));
    EXPECT_THAT(refusal("a,\"b\n1,2\n"), HasSubstr("the file ends inside a quoted field"));
    EXPECT_THAT(refusal("a,b\n1,2\"3\n"), HasSubstr(":2:4: a quotation mark inside a field"));
    EXPECT_THAT(refusal("{\"design\": [[1,2],\n[3,]]}"), HasSubstr(":2:4: is not valid JSON"));
    EXPECT_THAT(refusal("{\"design\": [[1,2],\n[3, 1e999]]}"),
                HasSubstr(":2:5: a number is beyond the range of a double"));
    EXPECT_THAT(refusal("{\"design\": [[1,2],[3]]}"), HasSubstr("run 2 is not an array of 2 numbers"));
    EXPECT_THAT(refusal("{\"design\": [[1,\"2\"]]}"), HasSubstr("run 1, number 2 is not a number"));
}

TEST(designfile, what_is_written_reads_back)
{
    const std::vector<factor> factors{{"a,\"b\"", bounds{-1.5, 2.5}, "m/s"}, {"#ü", bounds{0.0, 1.0}, ""}};
    table values(3, 2);
    values.cells = {-0.8333333333333333, 0.5, 0.5, 1.0 / 6.0, 1.8333333333333333, 5.0 / 6.0};
    nlohmann::ordered_json provenance = {{"program", "optdoe"}, {"note", "two\nlines"}, {"objective", 0.1}};
    describe_coding(provenance, factors, coding::physical, placement::centres, {3, 3});
    design_file written = design_of_values(values);
    written.factors = factors;
    *written.provenance = provenance;
    for (const file_format format : {file_format::csv, file_format::json}) {
        const scratch_file file(design_text(written, format));
        const design_file read = read_design(file.name);
        EXPECT_EQ(read.format, format);
        EXPECT_EQ(read.values.cells, values.cells);
        EXPECT_EQ(*read.provenance, provenance);
        EXPECT_EQ(read.factors[0].name, factors[0].name);
        EXPECT_EQ(read.factors[1].name, factors[1].name);
        EXPECT_EQ(read.factors[0].unit, "m/s");
        EXPECT_EQ(read.levels().cells, (std::vector<double>{1, 2, 2, 1, 3, 3}));
    }
}

TEST(designfile, damaged_provenance_leaves_the_numbers)
{
    const scratch_file file("# optdoe design\n# coding: \"unit\"\n# factors: [1,2\na,b\n0.25,0.75\n0.75,0.25\n");
    const design_file design = read_design(file.name);
    EXPECT_EQ(design.code, coding::raw);
    EXPECT_EQ(design.values.rows, 2U);
}

TEST(designfile, meaning_given_by_the_user_is_checked)
{
    const scratch_file file("a,b\n0.1,5\n0.9,7\n");
    design_file design = read_design(file.name);
    try {
        interpret(design, {}, coding::unit);
        FAIL();
    } catch (const input_error& error) {
        EXPECT_THAT(error.what(), HasSubstr(":2:5: run 1, factor b: 5 does not lie in 0:1"));
    }
    design = read_design(file.name);
    EXPECT_THROW(interpret(design, {{"a", bounds{0, 1}, ""}}, {}), usage_error);
    interpret(design, {{"b", bounds{4, 8}, "m"}, {"a", bounds{0, 1}, ""}}, {});
    EXPECT_EQ(design.code, coding::physical);
    EXPECT_EQ(design.factors[0].name, "a");
    EXPECT_EQ(design.factors[0].range->high, 1.0);
    EXPECT_EQ(design.factors[1].unit, "m");
}

TEST(designfile, a_range_is_of_the_column_of_its_name)
{
    const scratch_file file("a,b\n1,2\n2,1\n");
    design_file design = read_design(file.name);
    try {
        interpret(design, {{"a", bounds{0, 1}, ""}, {"c", bounds{0, 1}, ""}}, {});
        FAIL();
    } catch (const usage_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("has no factor c; it has a, b"));
    }
    EXPECT_FALSE(design.factors[0].range);
}

TEST(designfile, columns_without_names_are_named_in_their_order)
{
    const scratch_file file("x1,x2\n1,2\n2,1\n");
    design_file design = read_design(file.name);
    interpret(design, {{"B", bounds{0, 1}, ""}, {"A", bounds{4, 8}, ""}}, {});
    EXPECT_EQ(design.factors[0].name, "B");
    EXPECT_EQ(design.factors[1].range->low, 4.0);
    design = read_design(file.name);
    interpret(design, {{"x2", bounds{0, 1}, ""}, {"x1", bounds{4, 8}, ""}}, {});
    EXPECT_EQ(design.factors[0].range->low, 4.0);
    design = read_design(file.name);
    EXPECT_THROW(interpret(design, {{"x2", bounds{0, 1}, ""}, {"A", bounds{4, 8}, ""}}, {}), usage_error);
}

TEST(designfile, bounds_have_three_or_four_columns)
{
    const scratch_file file("name,low,high,unit\n\"T, in\",20,80,C\nq,1,5\n");
    const std::vector<factor> factors = read_bounds(file.name);
    ASSERT_EQ(factors.size(), 2U);
    EXPECT_EQ(factors[0].name, "T, in");
    EXPECT_EQ(factors[1].range->high, 5.0);
    const scratch_file bad("q,1,5\nr,2,\"1,5\"\n");
    EXPECT_THROW(read_bounds(bad.name), input_error);
}

TEST(csvreader, quoted_line_ends_keep_the_place)
{
    const csv_text text = read_csv("f", "\"a\nb\",c\n1,2\n");
    ASSERT_EQ(text.rows.size(), 2U);
    EXPECT_EQ(text.rows[0].fields[0].text, "a\nb");
    EXPECT_EQ(text.rows[0].fields[1].line, 2U);
    EXPECT_EQ(text.rows[1].fields[1].line, 3U);
    EXPECT_EQ(text.rows[1].fields[1].column, 3U);
    EXPECT_EQ(text.rows[1].source, "1,2\n");
}

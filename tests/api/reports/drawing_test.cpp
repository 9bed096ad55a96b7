#include "api/reports/drawing.h"
#include "api/reports/plot.h"
#include "api/reports/report.h"
#include "api/scores/evaluation.h"
#include "api/text/output_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <memory>
#include <sstream>

using namespace optdoe;
using testing::HasSubstr;
using testing::Not;

namespace {

design_file small_design()
{
    design_file design;
    design.values = table(4, 2);
    design.values.cells = {0.125, 0.625, 0.375, 0.125, 0.625, 0.875, 0.875, 0.375};
    design.factors = {{"it's `date`", bounds{0.0, 1.0}, "m<s"}, {"{x}_2", std::nullopt, ""}};
    design.code = coding::unit;
    design.level_counts = {4, 4};
    design.provenance = std::make_shared<nlohmann::ordered_json>(
        nlohmann::ordered_json{{"program", "optdoe"},
                               {"version", "0"},
                               {"command", "optdoe 4 2 --seed 1"},
                               {"seed", 1},
                               {"settings", {{"criterion", "phip"}, {"moves", nullptr}}}});
    return design;
}

const std::vector<search_trace> history{{5, {{1, 0.0, 3.0}, {2, 0.5, 2.5}, {3, 1.0, 2.5}}}};

/// Compares with the recorded page; OPTDOE_RECORD=1 in the environment writes it instead.
void expect_recorded(const std::string& name, const std::string& text)
{
    const std::string path = std::string(TEST_DATA) + "/" + name;
    if (std::getenv("OPTDOE_RECORD") != nullptr)
        write_output(path, text);
    std::ostringstream recorded;
    recorded << std::ifstream(path).rdbuf();
    EXPECT_EQ(text, recorded.str()) << name;
}

} // namespace

TEST(drawing, pages_are_as_recorded)
{
    const design_file design = small_design();
    evaluation quality;
    quality.runs = 4;
    quality.factors = 2;
    quality.measures = {{"a", "smallest distance", 0.5, 0.25, "runs 1 and 2"}};
    expect_recorded("pairs.svg", pair_matrix_svg(design.values, design.factors));
    expect_recorded("history.svg", history_svg(history));
    expect_recorded("report.html", report_page(design, quality, 200, history));
    expect_recorded("plot.gp", plot_script(design, history, "svg", "out's.svg"));
}

TEST(drawing, pages_hold_nothing_from_outside)
{
    const std::string page = report_page(small_design(), {}, 200, history);
    for (const char* outside : {"<script", "src=", "href=", "@import", "url("})
        EXPECT_THAT(page, Not(HasSubstr(outside)));
}

TEST(drawing, words_of_the_user_run_nothing_in_gnuplot)
{
    const std::string script = plot_script(small_design(), {}, "svg", "a`b`.svg");
    EXPECT_THAT(script, HasSubstr("'it''s `date` [m<s]' at graph 0.5,0.55 center noenhanced"));
    EXPECT_THAT(script, Not(HasSubstr("\"")));
}

TEST(drawing, one_value_and_one_point_have_a_picture)
{
    design_file design = small_design();
    design.values = table(1, 1);
    design.factors.resize(1);
    design.factors[0].range.reset();
    EXPECT_THAT(pair_matrix_svg(design.values, design.factors), Not(HasSubstr("nan")));
    EXPECT_EQ(history_svg({{0, {{1, 0.0, 1.0}}}}), "");
    EXPECT_THAT(history_svg({{0, {{1, 0.0, 1.0}, {2, 0.0, 1.0}}}}), Not(HasSubstr("nan")));
}

// What each function of optdoe.h refuses, and what it says then.
#include "support.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <set>

using testing::HasSubstr;

namespace {

constexpr double no_number = std::numeric_limits<double>::quiet_NaN();

std::string refusal(const std::string& name, const std::string& text)
{
    const request_handle request = new_request();
    EXPECT_EQ(optdoe_request_set(request.get(), name.c_str(), text.c_str()), OPTDOE_INVALID) << name << "=" << text;
    return optdoe_request_message(request.get());
}

std::string refused_run(const request_handle& request, optdoe_status status = OPTDOE_INVALID)
{
    const design_handle design = new_design();
    EXPECT_EQ(optdoe_request_check(request.get()), status);
    EXPECT_EQ(optdoe_request_run(request.get(), design.get()), status);
    return optdoe_request_message(request.get());
}

} // namespace

TEST(contract, null_handles_are_invalid_and_have_no_message)
{
    double number = 0;
    EXPECT_EQ(optdoe_request_new(nullptr), OPTDOE_INVALID);
    EXPECT_EQ(optdoe_design_new(nullptr), OPTDOE_INVALID);
    EXPECT_EQ(optdoe_scores_new(nullptr), OPTDOE_INVALID);
    EXPECT_EQ(optdoe_request_set(nullptr, "p", "5"), OPTDOE_INVALID);
    EXPECT_EQ(optdoe_request_run(nullptr, nullptr), OPTDOE_INVALID);
    EXPECT_EQ(optdoe_design_values(nullptr, "unit", &number, 1), OPTDOE_INVALID);
    EXPECT_EQ(optdoe_scores_evaluate(nullptr, nullptr, nullptr, 0), OPTDOE_INVALID);
    EXPECT_STREQ(optdoe_request_message(nullptr), "");
    EXPECT_STREQ(optdoe_design_message(nullptr), "");
    EXPECT_STREQ(optdoe_scores_message(nullptr), "");
    EXPECT_STREQ(optdoe_request_remarks(nullptr), "");
    optdoe_request_stop(nullptr);
    optdoe_request_free(nullptr);
    optdoe_design_free(nullptr);
    optdoe_scores_free(nullptr);
}

TEST(contract, null_arguments_are_named)
{
    const request_handle request = new_request({{"runs", "5"}, {"factors", "2"}});
    EXPECT_EQ(optdoe_request_set(request.get(), nullptr, "5"), OPTDOE_INVALID);
    EXPECT_STREQ(optdoe_request_message(request.get()), "name is null");
    EXPECT_EQ(optdoe_request_run(request.get(), nullptr), OPTDOE_INVALID);
    EXPECT_STREQ(optdoe_request_message(request.get()), "result is null");
    EXPECT_EQ(optdoe_request_set_numbers(request.get(), "weights", nullptr, 2), OPTDOE_INVALID);
    EXPECT_STREQ(optdoe_request_message(request.get()), "values is null");
    const design_handle design = new_design();
    EXPECT_EQ(optdoe_design_read(design.get(), nullptr), OPTDOE_INVALID);
    EXPECT_STREQ(optdoe_design_message(design.get()), "file is null");
    EXPECT_EQ(optdoe_design_text(design.get(), "csv", nullptr), OPTDOE_INVALID);
}

TEST(contract, every_setting_has_a_name_a_help_and_a_range_or_none)
{
    std::set<std::string> names;
    for (std::size_t i = 0; i < optdoe_setting_count(); ++i) {
        EXPECT_TRUE(names.insert(optdoe_setting_name(i)).second);
        EXPECT_GT(std::strlen(optdoe_setting_help(i)), 5U);
        double low = 1;
        double high = 0;
        double fallback = 0;
        EXPECT_EQ(optdoe_setting_range(i, &low, &high, &fallback), OPTDOE_OK);
        EXPECT_FALSE(low > high) << optdoe_setting_name(i);
        EXPECT_FALSE(fallback < low || fallback > high) << optdoe_setting_name(i);
        EXPECT_EQ(optdoe_setting_range(i, nullptr, nullptr, nullptr), OPTDOE_OK);
    }
    EXPECT_TRUE(names.contains("criterion") && names.contains("no-pre-improvement") && names.contains("starts"));
    EXPECT_EQ(optdoe_setting_name(names.size()), nullptr);
    EXPECT_EQ(optdoe_setting_help(names.size()), nullptr);
    EXPECT_EQ(optdoe_setting_range(names.size(), nullptr, nullptr, nullptr), OPTDOE_INVALID);
}

TEST(contract, a_bad_value_is_refused_with_setting_value_and_range)
{
    EXPECT_EQ(refusal("p", "200"), "p: 200 is not in 0 .. 100");
    EXPECT_EQ(refusal("p", "2.5"), "p: 2.5 is not a whole number");
    EXPECT_EQ(refusal("iterations", "99999999999"), "iterations: 99999999999 is not in 1 .. 100000000");
    EXPECT_EQ(refusal("criterion", "best"), "criterion: \"best\" is not one of phip, entropy, cd2, a2");
    EXPECT_EQ(refusal("symmetric", "perhaps"), "symmetric: \"perhaps\" is neither true nor false");
    EXPECT_EQ(refusal("runs", "1"), "runs: 1 is not in 2 .. 1073741824");
    EXPECT_EQ(refusal("seed", "-1"), "seed: -1 is not in 0 .. 4294967294");
    EXPECT_EQ(refusal("jobs", "0"), "jobs: 0 is not in 1 .. 4096");
    EXPECT_EQ(refusal("coding", "raw"), "coding: \"of another program\" is not one of levels, unit, physical");
    EXPECT_EQ(refusal("nonsense", "1"), "\"nonsense\" is no setting");
    EXPECT_THAT(refusal("time", "soon"), HasSubstr("\"soon\" is no time"));
    EXPECT_THAT(refusal("factor", "A=5:5"), HasSubstr("LOW must be below HIGH"));
    EXPECT_THAT(refusal("shard", "3/2"), HasSubstr("expected I/M"));
}

TEST(contract, what_depends_on_other_settings_is_refused_by_check_and_run_alike)
{
    EXPECT_EQ(refused_run(new_request({{"factors", "2"}})), "N, the number of runs, is missing");
    EXPECT_THAT(refused_run(new_request({{"runs", "10"}, {"factors", "2"}, {"criterion", "cd2"}, {"p", "5"}})),
                HasSubstr("p is read by"));
    EXPECT_THAT(refused_run(new_request({{"runs", "10"}, {"factors", "3"}, {"weights", "1,0.5"}})),
                HasSubstr("weights: 2 values for 3 factors"));
    EXPECT_THAT(refused_run(new_request({{"runs", "10"}, {"factors", "3"}, {"effort", "5"}, {"moves", "7"}})),
                HasSubstr("effort chooses its methods"));
    EXPECT_THAT(refused_run(new_request({{"runs", "1000000"}, {"factors", "50"}}), OPTDOE_REFUSED),
                HasSubstr("this machine grants"));
}

TEST(contract, a_failed_call_leaves_the_request_as_it_was)
{
    const request_handle request = new_request({{"runs", "10"}, {"factors", "2"}, {"seed", "5"}, {"p", "7"}});
    EXPECT_EQ(optdoe_request_set(request.get(), "p", "x"), OPTDOE_INVALID);
    EXPECT_EQ(optdoe_request_add_factor(request.get(), "7", 0, 1, nullptr), OPTDOE_INVALID);
    EXPECT_STREQ(optdoe_request_message(request.get()), "factor \"7\": a name must not be a number");
    EXPECT_EQ(optdoe_request_set(request.get(), "seed", "5"), OPTDOE_OK);
    EXPECT_STREQ(optdoe_request_message(request.get()), "");
    EXPECT_THAT(provenance_of(run(request)), HasSubstr("\"p\":7"));
}

TEST(contract, numbers_and_lists_say_the_same_as_texts)
{
    const request_handle by_text = new_request({{"runs", "12"},
                                                {"factors", "2"},
                                                {"seed", "4"},
                                                {"weights", "1,0.5"},
                                                {"symmetric", "true"},
                                                {"no_pre_improvement", "1"}});
    const request_handle by_number = new_request();
    const double weights[] = {1, 0.5};
    const std::pair<const char*, double> numbers[]{
        {"runs", 12}, {"factors", 2}, {"seed", 4}, {"symmetric", 1}, {"no-pre-improvement", 1}};
    for (const auto& [name, value] : numbers)
        EXPECT_EQ(optdoe_request_set_number(by_number.get(), name, value), OPTDOE_OK) << name;
    EXPECT_EQ(optdoe_request_set_numbers(by_number.get(), "weights", weights, 2), OPTDOE_OK);
    EXPECT_EQ(text_of(run(by_text)), text_of(run(by_number)));
    EXPECT_EQ(optdoe_request_set_number(by_number.get(), "weights", no_number), OPTDOE_INVALID);
    EXPECT_STREQ(optdoe_request_message(by_number.get()), "weights: nan is not a finite number");
}

TEST(contract, a_setting_can_be_taken_back)
{
    const request_handle request = new_request({{"runs", "10"}, {"factors", "2"}, {"seed", "5"}});
    const std::string usual = text_of(run(request));
    const std::pair<const char*, const char*> settings[]{
        {"p", "7"},          {"method", "greedy"}, {"symmetric", "true"},
        {"weights", "1,.5"}, {"starts", "3"},      {"criterion", "cd2"}};
    for (const auto& [name, text] : settings) {
        EXPECT_EQ(optdoe_request_set(request.get(), name, text), OPTDOE_OK);
        EXPECT_EQ(optdoe_request_set(request.get(), name, nullptr), OPTDOE_OK);
    }
    EXPECT_EQ(text_of(run(request)), usual);
}

TEST(contract, factors_have_names_ranges_and_units)
{
    const request_handle request = new_request({{"runs", "4"}, {"seed", "1"}});
    EXPECT_EQ(optdoe_request_add_factor(request.get(), "Temp", 20, 80, "C"), OPTDOE_OK);
    EXPECT_EQ(optdoe_request_add_factor(request.get(), "Flow", 1, 5, nullptr), OPTDOE_OK);
    EXPECT_EQ(optdoe_request_add_factor(request.get(), "Flow", 1, 5, nullptr), OPTDOE_INVALID);
    EXPECT_STREQ(optdoe_request_message(request.get()), "factor \"Flow\" is named twice");
    EXPECT_EQ(optdoe_request_add_factor(request.get(), "Load", 5, 1, nullptr), OPTDOE_INVALID);
    EXPECT_THAT(optdoe_request_message(request.get()), HasSubstr("5 .. 1 is no range"));
    EXPECT_EQ(optdoe_request_add_factor(request.get(), "Load", no_number, no_number, nullptr), OPTDOE_INVALID);
    EXPECT_THAT(optdoe_request_message(request.get()), HasSubstr("either all factors have a range"));
    const design_handle design = run(request);
    const char* name = nullptr;
    const char* unit = nullptr;
    double low = 0;
    double high = 0;
    std::size_t levels = 0;
    EXPECT_EQ(optdoe_design_factor(design.get(), 0, &name, &unit, &low, &high, &levels), OPTDOE_OK);
    EXPECT_STREQ(name, "Temp");
    EXPECT_STREQ(unit, "C");
    EXPECT_EQ(low, 20);
    EXPECT_EQ(high, 80);
    EXPECT_EQ(levels, 4U);
    EXPECT_EQ(optdoe_design_factor(design.get(), 2, nullptr, nullptr, nullptr, nullptr, nullptr), OPTDOE_INVALID);
    const std::vector<double> physical = values_of(design, "physical");
    const std::vector<double> unit_values = values_of(design, "unit");
    EXPECT_EQ(values_of(design, "written"), physical);
    for (std::size_t c = 0; c < physical.size(); c += 2) {
        EXPECT_DOUBLE_EQ(physical[c], 20 + 60 * unit_values[c]);
        EXPECT_DOUBLE_EQ(physical[c + 1], 1 + 4 * unit_values[c + 1]);
    }
}

TEST(contract, factors_without_ranges_have_their_names)
{
    const request_handle request = new_request({{"runs", "4"}, {"seed", "1"}, {"factor", "A"}});
    EXPECT_EQ(optdoe_request_add_factor(request.get(), "B", no_number, no_number, ""), OPTDOE_OK);
    const design_handle design = run(request);
    EXPECT_THAT(text_of(design), HasSubstr("\nA,B\n"));
    EXPECT_THAT(provenance_of(design), HasSubstr("--factor=A --factor=B"));
    double value[8];
    EXPECT_EQ(optdoe_design_values(design.get(), "physical", value, 8), OPTDOE_REFUSED);
    EXPECT_THAT(optdoe_design_message(design.get()), HasSubstr("factor A has no range"));
}

TEST(contract, room_of_another_size_is_refused)
{
    const design_handle design = run(new_request({{"runs", "6"}, {"factors", "2"}, {"seed", "1"}}));
    std::int32_t levels[12];
    double values[12];
    EXPECT_EQ(optdoe_design_levels(design.get(), levels, 11), OPTDOE_INVALID);
    EXPECT_STREQ(optdoe_design_message(design.get()), "room for 11 numbers where 6 runs of 2 factors have 12");
    EXPECT_EQ(optdoe_design_values(design.get(), "unit", values, 13), OPTDOE_INVALID);
    EXPECT_EQ(optdoe_design_values(design.get(), "inches", values, 12), OPTDOE_INVALID);
    EXPECT_EQ(optdoe_design_levels(design.get(), nullptr, 12), OPTDOE_INVALID);
    EXPECT_EQ(optdoe_design_levels(design.get(), levels, 12), OPTDOE_OK);
}

TEST(contract, a_design_without_runs_has_nothing_to_give)
{
    const design_handle design = new_design();
    std::size_t runs = 7;
    EXPECT_EQ(optdoe_design_size(design.get(), &runs, nullptr), OPTDOE_OK);
    EXPECT_EQ(runs, 0U);
    EXPECT_EQ(provenance_of(design), "{}");
    EXPECT_EQ(optdoe_design_write(design.get(), "never.csv"), OPTDOE_INVALID);
    EXPECT_STREQ(optdoe_design_message(design.get()), "the design has no runs yet");
    optdoe_outcome outcome{};
    outcome.size = sizeof outcome;
    EXPECT_EQ(optdoe_design_outcome(design.get(), &outcome), OPTDOE_REFUSED);
}

TEST(contract, an_older_caller_gets_the_front_of_a_structure)
{
    const design_handle design = run(new_request({{"runs", "6"}, {"factors", "2"}, {"seed", "9"}}));
    optdoe_outcome outcome{};
    outcome.seconds = -1;
    outcome.size = offsetof(optdoe_outcome, seconds);
    EXPECT_EQ(optdoe_design_outcome(design.get(), &outcome), OPTDOE_OK);
    EXPECT_GT(outcome.objective, 0);
    EXPECT_EQ(outcome.seconds, -1);
    EXPECT_EQ(outcome.size, offsetof(optdoe_outcome, seconds));
    outcome.size = 0;
    EXPECT_EQ(optdoe_design_outcome(design.get(), &outcome), OPTDOE_INVALID);
}

TEST(contract, arrays_are_refused_by_what_is_wrong_with_them)
{
    const design_handle design = design_of({1, 2, 3, 4}, 2, 2);
    const double bad[] = {1, 2, no_number, 4};
    EXPECT_EQ(optdoe_design_set(design.get(), bad, 4, 2, 2), OPTDOE_INVALID);
    EXPECT_STREQ(optdoe_design_message(design.get()), "run 2, factor 1: nan is not a finite number");
    EXPECT_EQ(optdoe_design_set(design.get(), bad, 4, 3, 2), OPTDOE_INVALID);
    EXPECT_STREQ(optdoe_design_message(design.get()), "4 numbers where 3 runs of 2 factors have 6");
    EXPECT_EQ(optdoe_design_set(design.get(), bad, 0, 0, 2), OPTDOE_INVALID);
    EXPECT_EQ(optdoe_design_set(design.get(), bad, 4, SIZE_MAX / 2, 4), OPTDOE_INVALID);
    EXPECT_EQ(optdoe_design_set(design.get(), nullptr, 4, 2, 2), OPTDOE_INVALID);
    EXPECT_EQ(values_of(design, "written"), (std::vector<double>{1, 2, 3, 4}));
}

TEST(contract, files_are_refused_with_their_place)
{
    const design_handle design = new_design();
    EXPECT_EQ(optdoe_design_read(design.get(), "there/is/none.csv"), OPTDOE_REFUSED);
    EXPECT_THAT(optdoe_design_message(design.get()), HasSubstr("there/is/none.csv"));
    const char* text = "a,b\n1,2\n3,x\n";
    EXPECT_EQ(optdoe_design_parse(design.get(), text, std::strlen(text)), OPTDOE_REFUSED);
    EXPECT_THAT(optdoe_design_message(design.get()), HasSubstr("-:3:3: expected a number"));
    const char* missing[] = {"there/is/none.jsonl"};
    EXPECT_EQ(optdoe_design_merge(design.get(), missing, 1, 0), OPTDOE_REFUSED);
    EXPECT_EQ(optdoe_design_merge(design.get(), nullptr, 0, 0), OPTDOE_INVALID);
}

TEST(contract, what_augmentation_does_not_read_is_refused)
{
    const design_handle old = run(new_request({{"runs", "6"}, {"factors", "2"}, {"seed", "1"}}));
    const std::pair<const char*, const char*> others[]{
        {"runs", "9"},         {"factors", "2"},      {"balanced", "3"},  {"symmetric", "1"},
        {"placement", "ends"}, {"entry-levels", "1"}, {"scaling", "none"}};
    for (const auto& [name, text] : others) {
        const request_handle request = new_request({{name, text}});
        EXPECT_EQ(optdoe_request_augment(request.get(), old.get(), 3), OPTDOE_OK);
        EXPECT_EQ(refused_run(request), std::string(name) + " does not go with runs that are added to a design");
    }
    const request_handle request = new_request();
    EXPECT_EQ(optdoe_request_augment(request.get(), old.get(), 0), OPTDOE_INVALID);
    EXPECT_STREQ(optdoe_request_message(request.get()), "add: 0 is not in 1 .. 1073741824");
}

TEST(contract, scores_refuse_what_they_cannot_score)
{
    const scores_handle scores = new_scores();
    EXPECT_EQ(optdoe_scores_evaluate(scores.get(), nullptr, nullptr, 0), OPTDOE_INVALID);
    EXPECT_EQ(optdoe_scores_evaluate(scores.get(), design_of({1, 2}, 1, 2).get(), nullptr, 0), OPTDOE_INVALID);
    EXPECT_STREQ(optdoe_scores_message(scores.get()), "design: 1 runs; measures need at least two");
    const design_handle two = design_of({1, 2, 2, 1}, 2, 2);
    EXPECT_EQ(optdoe_scores_evaluate(scores.get(), two.get(), nullptr, 100001), OPTDOE_INVALID);
    EXPECT_EQ(optdoe_scores_evaluate(scores.get(), two.get(), new_request({{"weights", "1,1,1"}}).get(), 0),
              OPTDOE_INVALID);
    std::size_t count = 7;
    EXPECT_EQ(optdoe_scores_count(scores.get(), &count), OPTDOE_OK);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(optdoe_scores_measure(scores.get(), 0, nullptr, nullptr, nullptr, nullptr, nullptr), OPTDOE_INVALID);
}

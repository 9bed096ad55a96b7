// Recorded cases: see README.md beside this file for their form.

#include "tests/support/designs.h"
#include "tests/support/test_run.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/entry/settings.h"
#include "optdoe/numeric/index_sort.h"
#include "optdoe/numeric/random_numbers.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/search_driver.h"
#include "optdoe/vectors/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace {

using strings = std::vector<std::string>;

strings words(const std::string& line)
{
    std::istringstream in(line);
    return {std::istream_iterator<std::string>(in), {}};
}

double to_double(const std::string& text) { return std::strtod(text.c_str(), nullptr); }
int to_int(const std::string& text) { return std::atoi(text.c_str()); }

std::vector<double> to_doubles(const strings& texts)
{
    std::vector<double> values;
    for (const std::string& text : texts)
        values.push_back(to_double(text));
    return values;
}

/// A case file: arguments, settings and designs by name, and the expected lines.
struct recorded_case {
    std::string what;
    std::map<std::string, strings> arguments;
    std::map<std::string, std::vector<double>> settings;
    std::map<std::string, std::vector<std::vector<double>>> designs; ///< "start", and "second" to be loaded later
    strings expected;

    explicit recorded_case(const std::string& path)
    {
        std::ifstream in(path);
        std::string line;
        bool in_expected = false;
        std::string design;
        int design_rows = 0;
        while (std::getline(in, line)) {
            const strings w = words(line);
            if (in_expected)
                expected.push_back(line);
            else if (w.empty() || w[0] == "#")
                continue;
            else if (what.empty())
                what = w[0];
            else if (design_rows > 0) {
                designs[design].push_back(to_doubles(w));
                --design_rows;
            } else if (w[0] == "expect")
                in_expected = true;
            else if (w[0] == "start" || w[0] == "second") {
                design = w[0];
                design_rows = to_int(w[1]);
            } else if (w[0] == "set")
                settings[w[1]] = to_doubles({w.begin() + 2, w.end()});
            else
                arguments[w[0]] = {w.begin() + 1, w.end()};
        }
    }

    table design(const std::string& name) const
    {
        const auto& rows = designs.at(name);
        table design(static_cast<int>(rows.size()), static_cast<int>(rows[0].size()));
        for (int i = 0; i < design.rows(); ++i)
            std::copy(rows[static_cast<std::size_t>(i)].begin(), rows[static_cast<std::size_t>(i)].end(), design[i]);
        return design;
    }

    bool has(const char* name) const { return arguments.contains(name); }
    const std::string& argument(const char* name) const { return arguments.at(name).at(0); }
    int number(const char* name) const { return to_int(argument(name)); }
};

/// Writes one setting by its name.
void apply_setting(run_settings& s, int nfactors, const std::string& name, const std::vector<double>& values)
{
    const auto byte = static_cast<std::uint8_t>(values[0]);
    const auto integer = static_cast<std::int32_t>(values[0]);
    const auto factors = static_cast<std::size_t>(nfactors);
    ASSERT_LE(values.size(), name.starts_with("factor_") ? factors : 200u);
    criterion_params& params = s.criterion.params;
    if (name == "criterion_id")
        s.criterion.criterion_id = static_cast<std::int8_t>(integer);
    else if (name == "search_mode")
        s.search_mode = byte;
    else if (name == "scaling_mode")
        s.scaling_mode = static_cast<std::int8_t>(integer);
    else if (name == "weighted_factor_choice")
        s.weighted_factor_choice = byte;
    else if (name == "reduced_neighbourhoods")
        s.reduced_neighbourhoods = byte;
    else if (name == "pre_improvement")
        s.pre_improvement = byte;
    else if (name == "iteration_budget")
        s.iteration_budget = integer;
    else if (name == "restart_limit")
        s.restart_limit = integer;
    else if (name == "factor_counts")
        std::transform(values.begin(), values.end(), s.factor_counts,
                       [](double v) { return static_cast<std::int32_t>(v); });
    else if (name == "factor_shares")
        std::copy(values.begin(), values.end(), s.factor_shares);
    else if (name == "factor_weights")
        std::copy(values.begin(), values.end(), s.criterion.factor_weights);
    else if (name == "param_list_1") {
        params.param_count_1 = static_cast<std::int32_t>(values.size());
        params.param_list_1 = values.data();
    } else if (name == "param_list_2") {
        params.param_count_2 = static_cast<std::int32_t>(values.size());
        params.param_list_2 = values.data();
    } else
        FAIL() << "unknown setting " << name;
}

void edit_settings(run_settings* settings, std::int32_t nfactors, void* user)
{
    for (const auto& [name, values] : static_cast<const recorded_case*>(user)->settings)
        apply_setting(*settings, nfactors, name, values);
}

template <class T>
void append_rows(strings& lines, const T* values, int rows, int columns)
{
    for (int i = 0; i < rows; ++i) {
        std::string line;
        for (int j = 0; j < columns; ++j)
            line += (j > 0 ? " " : "") + std::to_string(static_cast<long>(values[i * columns + j]));
        lines.push_back(line);
    }
}

/// A computation-time line, whatever its figure.
bool is_computation_time(const std::string& line)
{
    const std::string label = "Computation time                     = ";
    if (!line.starts_with(label))
        return false;
    char text[64];
    const double figure = to_double(line.substr(label.size()));
    std::snprintf(text, sizeof text, line.ends_with("seconds") ? "%.3f seconds" : "%.2f minutes", figure);
    return line == label + text;
}

/// A status line in the form of the case files.
std::string recorded_line(std::string_view line)
{
    std::string text(line);
    if (is_computation_time(text))
        return "computation_time";
    for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at))
        text.replace(at, 1, "\\n");
    return "line " + text;
}

strings outcome_of_run(const recorded_case& recorded)
{
    strings lines;
    embedded_host host;
    host.on_status_line = [&](std::string_view line) { lines.push_back(recorded_line(line)); };
    int polls = 0;
    if (recorded.has("stop_after_polls"))
        host.on_stop_poll = [&] { return polls++ < recorded.number("stop_after_polls") ? 0 : 1; };

    run_extras extras{};
    extras.edit_settings = edit_settings;
    extras.user = const_cast<recorded_case*>(&recorded);
    // Through the exported method whenever the case asks for nothing that it cannot be given.
    const run_extras* given = recorded.settings.empty() ? nullptr : &extras;
    const int calls = recorded.has("calls") ? recorded.number("calls") : 1;
    choice_counter = 0;
    for (int call = 0; call < calls; ++call) {
        polls = 0;
        const int n = recorded.number("nsamples");
        const int k = recorded.number("nfactors");
        const auto design = host.run(n, k, to_double(recorded.argument("minutes")),
                                     std::atoll(recorded.argument("seed").c_str()), given);
        EXPECT_EQ(host.pending(), std::nullopt);
        EXPECT_EQ(host.violations(), strings{});
        lines.emplace_back(design ? "design" : "null");
        if (design)
            append_rows(lines, design->data(), n, k);
    }
    return lines;
}

struct row_pairs {
    std::vector<std::int32_t> first, second;
    int count() const { return static_cast<int>(first.size()); }
};

row_pairs to_pairs(const std::string& text)
{
    row_pairs pairs;
    std::istringstream in(text == "-" ? "" : text);
    std::string pair;
    while (std::getline(in, pair, ',')) {
        pairs.first.push_back(to_int(pair));
        pairs.second.push_back(to_int(pair.substr(pair.find(':') + 1)));
    }
    return pairs;
}

/// Performs one operation of a script.
///   returns its value; designs go to `out`
double perform(run_context* ctx, const recorded_case& recorded, const strings& w, table& out, bool& is_design)
{
    const std::string& operation = w[0];
    const int column = w.size() > 1 ? to_int(w[1]) : 0;
    const row_pairs pairs = w.size() > 2 ? to_pairs(w[2]) : row_pairs{};
    const std::int32_t* first = pairs.first.data();
    const std::int32_t* second = pairs.second.data();
    if (operation == "try_swap")
        return crit_try_swap(ctx, column, to_int(w[2]), to_int(w[3]));
    if (operation == "try_swaps")
        return crit_try_swaps(ctx, column, pairs.count(), first, second);
    if (operation == "apply_swaps")
        return crit_apply_swaps(ctx, column, pairs.count(), first, second);
    if (operation == "try_moves")
        return crit_try_moves(ctx, column, pairs.count(), first, second);
    if (operation == "apply_moves")
        return crit_apply_moves(ctx, column, pairs.count(), first, second);
    if (operation == "evaluate" && w[1] == "second")
        return crit_evaluate(ctx, recorded.design("second").data());
    if (operation == "evaluate")
        return crit_evaluate(ctx, nullptr);
    if (operation == "value_of")
        return crit_value_of(ctx, nullptr);
    if (operation == "save_column")
        crit_save_column(ctx, column);
    else if (operation == "restore_column")
        crit_restore_column(ctx, column);
    else if (operation == "save_design")
        crit_save_design(ctx);
    else if (operation == "restore_design")
        crit_restore_design(ctx);
    else if (operation == "copy_design" || operation == "copy_saved_design") {
        is_design = true;
        if (operation == "copy_design")
            crit_copy_design(ctx, out.data());
        else
            crit_copy_saved_design(ctx, out.data());
    } else
        EXPECT_EQ(operation, "value");
    return crit_value(ctx);
}

std::int64_t ulps_apart(double a, double b)
{
    return std::bit_cast<std::int64_t>(a) - std::bit_cast<std::int64_t>(b);
}

void expect_bits(double value, const std::string& recorded, const std::string& where)
{
    const double expected = to_double(recorded);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(expected))
        << where << ": " << value << " instead of " << expected << ", " << ulps_apart(value, expected) << " ulps";
}

void check_criterion(const recorded_case& recorded)
{
    const table start = recorded.design("start");
    const int rows = start.rows();
    const int factors = start.columns();
    const int fixed = recorded.number("fixed_rows");

    test_run run;
    run.reset_settings(factors);
    run.settings().criterion.criterion_id = static_cast<std::int8_t>(recorded.number("id"));
    for (const auto& [name, values] : recorded.settings)
        apply_setting(run.settings(), factors, name, values);
    describe_levels(run.ctx(), start.data(), rows - fixed, fixed, factors);
    ASSERT_EQ(settings_validate(run.ctx(), factors, rows - fixed), 0);
    crit_setup(run.ctx(), start.data(), static_cast<std::uint32_t>(rows - fixed), static_cast<std::uint32_t>(fixed),
               factors, run.settings().criterion);

    table design(rows, factors);
    for (std::size_t i = 0; i < recorded.expected.size(); ++i) {
        const strings w = words(recorded.expected[i]);
        if (w[0] == "setup") {
            expect_bits(crit_value(run.ctx()), w[2], w[0]);
            continue;
        }
        bool is_design = false;
        const double value = perform(run.ctx(), recorded, w, design, is_design);
        if (!is_design)
            expect_bits(value, w.back(), recorded.expected[i]);
        for (int r = 0; is_design && r < rows; ++r) {
            const strings entries = words(recorded.expected[++i]);
            ASSERT_EQ(entries.size(), static_cast<std::size_t>(factors));
            for (int j = 0; j < factors; ++j)
                expect_bits(design[r][j], entries[static_cast<std::size_t>(j)], w[0]);
        }
        if (testing::Test::HasFailure())
            return; // every later value depends on this one
    }
    crit_release(run.ctx());
}

strings outcome_of_sort(const recorded_case& recorded)
{
    test_run run;
    const std::vector<double> keys = to_doubles(recorded.arguments.at("keys"));
    const auto n = static_cast<std::uint32_t>(keys.size());
    std::vector<std::int32_t> index(n);
    if (recorded.what == "indexx_int")
        indexx_int(run.ctx(), n, std::vector<std::int32_t>(keys.begin(), keys.end()).data(), index.data());
    else
        indexx_double(run.ctx(), n, keys.data(), index.data());
    std::string line = "index";
    for (const std::int32_t i : index)
        line += " " + std::to_string(i);
    return {line};
}

strings outcome_of_latin_hypercube(const recorded_case& recorded)
{
    const int n = recorded.number("nsamples");
    const int k = recorded.number("nfactors");
    test_run run;
    table design(n, k);
    random_latin_hypercube(run.ctx(), n, k, design.data(), static_cast<std::uint32_t>(recorded.number("seed")));
    strings lines{"design"};
    append_rows(lines, design.values().data(), n, k);
    return lines;
}

void check_random_numbers(const recorded_case& recorded)
{
    test_run run;
    rng_seed(run.ctx(), static_cast<std::uint32_t>(recorded.number("seed")));
    for (const std::string& line : recorded.expected) {
        const strings w = words(line);
        const rng_state before = *run->rng;
        EXPECT_EQ(rng_int31(run.ctx()), to_int(w[5])) << line;
        *run->rng = before;
        EXPECT_EQ(rng_uniform(run.ctx()), to_double(w[4])) << line;
        EXPECT_EQ(run->rng->x0, std::stoi(w[1], nullptr, 16)) << line;
        EXPECT_EQ(run->rng->x1, std::stoi(w[2], nullptr, 16)) << line;
        EXPECT_EQ(run->rng->x2, std::stoi(w[3], nullptr, 16)) << line;
    }
}

strings case_files()
{
    strings files;
    for (const auto& entry : std::filesystem::directory_iterator(GOLDEN_DIRECTORY))
        if (entry.path().extension() == ".case")
            files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

/// Names the first line that differs, which says more than two long lists.
void expect_lines(const strings& lines, const strings& expected)
{
    const auto [found, wanted] = std::mismatch(lines.begin(), lines.end(), expected.begin(), expected.end());
    if (found != lines.end() || wanted != expected.end())
        ADD_FAILURE() << "line " << found - lines.begin() + 1 << "\n  is       "
                      << (found == lines.end() ? "missing" : *found) << "\n  expected "
                      << (wanted == expected.end() ? "nothing" : *wanted);
}

} // namespace

class golden : public testing::TestWithParam<std::string> {};

TEST_P(golden, comes_out_as_recorded)
{
    const recorded_case recorded(GetParam());
    ASSERT_FALSE(recorded.expected.empty());
    if (recorded.what == "run")
        expect_lines(outcome_of_run(recorded), recorded.expected);
    else if (recorded.what == "criterion")
        check_criterion(recorded);
    else if (recorded.what == "indexx_double" || recorded.what == "indexx_int")
        expect_lines(outcome_of_sort(recorded), recorded.expected);
    else if (recorded.what == "latin_hypercube")
        expect_lines(outcome_of_latin_hypercube(recorded), recorded.expected);
    else if (recorded.what == "random_numbers")
        check_random_numbers(recorded);
    else
        FAIL() << "unknown kind of case: " << recorded.what;
}

INSTANTIATE_TEST_SUITE_P(cases, golden, testing::ValuesIn(case_files()),
                         [](const auto& tested) { return std::filesystem::path(tested.param).stem().string(); });

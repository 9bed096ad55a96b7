#include "optdoe/run/settings_table.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/search/search_driver.h"
#include "optdoe/search/search_state.h"
#include "tests/support/search_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace {

std::vector<setting> all_settings()
{
    std::vector<setting> rows;
    for (int i = 0; i < setting_count; ++i)
        rows.push_back(setting_of(static_cast<setting_id>(i)));
    return rows;
}

/// A setting of a run: how a caller writes it, and what the run uses when the search has ended.
struct field {
    setting_id id;
    std::function<void(run_settings&, double)> write;
    std::function<double(search_run&)> read;
};

/// The field of the settings block that has this row.
template <class Member>
field block_field(setting_id id, Member run_settings::*member)
{
    return {id, [member](run_settings& s, double value) { s.*member = static_cast<Member>(value); },
            [member](search_run& run) { return static_cast<double>(run.settings().*member); }};
}

template <class Value>
field list_field(setting_id id, Value* run_settings::*list)
{
    return {id, [list](run_settings& s, double value) { (s.*list)[0] = static_cast<Value>(value); },
            [list](search_run& run) { return static_cast<double>((run.settings().*list)[0]); }};
}

/// What the settings' check settles.
std::vector<field> settled_fields()
{
    return {
        block_field(setting_id::symmetric, &run_settings::symmetric_design),
        block_field(setting_id::scaling, &run_settings::scaling_mode),
        block_field(setting_id::time, &run_settings::time_limit),
        block_field(setting_id::pairs, &run_settings::exchange_pairs),
        block_field(setting_id::all_pairs, &run_settings::reduced_neighbourhoods),
        block_field(setting_id::restarts, &run_settings::restart_limit),
        block_field(setting_id::weighted_choice, &run_settings::weighted_factor_choice),
        block_field(setting_id::no_pre_improvement, &run_settings::pre_improvement),
        block_field(setting_id::auxiliary, &run_settings::auxiliary_mode),
        list_field(setting_id::shares, &run_settings::factor_shares),
        list_field(setting_id::levels, &run_settings::factor_counts),
        {setting_id::method, [](run_settings& s, double v) { s.search_mode = static_cast<std::uint8_t>(v); },
         [](search_run& run) { return static_cast<double>(run.settings().search_mode); }},
        {setting_id::weights, [](run_settings& s, double v) { s.criterion.factor_weights[0] = v; },
         [](search_run& run) { return run.settings().criterion.factor_weights[0]; }},
        {setting_id::target, [](run_settings& s, double v) { s.criterion.criterion_threshold = v; },
         [](search_run& run) { return run.settings().criterion.criterion_threshold; }},
        {setting_id::negate_target,
         [](run_settings& s, double v) { s.criterion.criterion_negate = static_cast<std::uint8_t>(v); },
         [](search_run& run) { return static_cast<double>(run.settings().criterion.criterion_negate); }},
    };
}

/// What the search settles, annealing for all of them.
std::vector<field> searched_fields()
{
    const auto annealed = [](double run_settings::*member) {
        return [member](run_settings& s, double v) { s.search_mode = 2, s.*member = v; };
    };
    return {
        {setting_id::iterations, [](run_settings& s, double v) { s.iteration_budget = static_cast<int>(v); },
         [](search_run& run) { return static_cast<double>(run->search->max_iterations); }},
        {setting_id::moves, [](run_settings& s, double v) { s.moves_per_iteration = static_cast<int>(v); },
         [](search_run& run) { return static_cast<double>(run->search->inner_moves); }},
        {setting_id::threshold, annealed(&run_settings::threshold_setting),
         [](search_run& run) { return run->search->threshold; }},
        {setting_id::cooling, annealed(&run_settings::threshold_factor_setting),
         [](search_run& run) { return run->search->threshold_factor; }},
        {setting_id::tolerance, annealed(&run_settings::tolerance_setting),
         [](search_run& run) { return run->search->tolerance; }},
    };
}

constexpr int rows = 12;

/// What a run uses for the field; with no value it stays unset. The run is stopped at its first poll.
double used(const field& f, const double* value)
{
    random_stream random{1};
    search_run run(random_unit_design(rows, 3, random), [&](run_settings& s) {
        if (value != nullptr)
            f.write(s, *value);
    });
    run.host.on_stop_poll = [] { return 1; };
    table out(rows, 3);
    EXPECT_TRUE(run.completes([&] { run_search(run.ctx(), out.data()); }));
    return f.read(run);
}

double used(const field& f, double value) { return used(f, &value); }

/// The objective of a start under a first parameter list; empty: none given.
double objective(int criterion, const std::vector<double>& list)
{
    random_stream random{1};
    search_run run(random_unit_design(rows, 3, random), [&](run_settings& s) {
        s.criterion.criterion_id = static_cast<std::int8_t>(criterion);
        s.criterion.params.param_count_1 = static_cast<std::int32_t>(list.size());
        s.criterion.params.param_list_1 = list.data();
    });
    return crit_value(run.ctx());
}

double step_outside(const setting& row, double end)
{
    return row.kind == setting_kind::number || row.kind == setting_kind::numbers
               ? std::max(1e-6, 1e-6 * std::fabs(end))
               : 1.0;
}

} // namespace

TEST(settingstable, every_row_has_a_name_of_its_own_as_an_option_has_one)
{
    std::set<std::string> names;
    for (const setting& row : all_settings()) {
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        EXPECT_EQ(std::string(row.name).find_first_not_of("abcdefghijklmnopqrstuvwxyz-"), std::string::npos)
            << row.name;
    }
}

TEST(settingstable, a_default_lies_in_its_range_or_is_told_in_words)
{
    for (const setting& row : all_settings()) {
        if (std::isnan(row.fallback)) {
            EXPECT_NE(row.default_words, nullptr) << row.name;
        } else {
            EXPECT_LE(row.low, row.fallback) << row.name;
            EXPECT_FALSE(row.fallback > highest_value(row, 100)) << row.name;
        }
    }
}

TEST(settingstable, a_choice_has_a_name_for_each_number)
{
    for (const setting& row : all_settings()) {
        if (row.kind != setting_kind::choice || row.id == setting_id::criterion)
            continue;
        const std::string names = row.choices;
        EXPECT_EQ(std::count(names.begin(), names.end(), ' '), row.high - row.low) << row.name;
    }
}

TEST(settingstable, a_range_ends_at_its_number_or_with_the_rows)
{
    EXPECT_EQ(highest_value(setting_of(setting_id::restarts), 10), 500000.0);
    EXPECT_EQ(highest_value(setting_of(setting_id::levels), 10), 10.0);
    EXPECT_EQ(highest_value(setting_of(setting_id::pairs), 10), 45.0);
    EXPECT_EQ(highest_value(setting_of(setting_id::pairs), 65537), 32768.0) << "wraps";
    EXPECT_TRUE(std::isnan(highest_value(setting_of(setting_id::criterion), 10)));
}

TEST(settingstable, a_run_keeps_the_ends_of_each_range_and_nothing_beyond)
{
    std::vector<field> fields = settled_fields();
    for (field& f : searched_fields())
        fields.push_back(std::move(f));
    for (const field& f : fields) {
        const setting& row = setting_of(f.id);
        const double high = highest_value(row, rows);
        const double unset = used(f, nullptr);
        if (!std::isnan(row.fallback)) {
            EXPECT_EQ(unset, row.fallback) << row.name;
        }
        EXPECT_EQ(used(f, row.low), row.low) << row.name;
        EXPECT_EQ(used(f, high), high) << row.name;
        const double above = high + step_outside(row, high);
        EXPECT_NE(used(f, above), above) << row.name;
        if (row.low > 0.0 || f.id == setting_id::threshold) {
            const double below = row.low - step_outside(row, row.low);
            EXPECT_NE(used(f, below), below) << row.name;
        }
    }
}

TEST(settingstable, the_parameters_of_criteria_fall_back_beyond_their_ranges)
{
    const setting& p = setting_of(setting_id::exponent);
    const double usual = objective(1, {});
    EXPECT_EQ(objective(1, {p.fallback}), usual);
    EXPECT_EQ(objective(1, {p.high + 1}), usual);
    EXPECT_EQ(objective(1, {p.low - 2}), usual); // cut towards 0 after 0.01 is added: -1 would be 0
    EXPECT_NE(objective(1, {p.high}), usual);
    EXPECT_NE(objective(1, {p.low}), usual);

    const setting& theta = setting_of(setting_id::theta);
    const double usual_theta = objective(0, {});
    EXPECT_EQ(objective(0, {theta.fallback}), usual_theta);
    EXPECT_EQ(objective(0, {theta.high + 1}), usual_theta);
    EXPECT_EQ(objective(0, {-1.0}), usual_theta);
    EXPECT_NE(objective(0, {theta.high}), usual_theta);
    EXPECT_NE(objective(0, {theta.low}), usual_theta);
}

TEST(settingstable, rectangular_distances_have_a_default_theta_of_their_own)
{
    random_stream random{1};
    const table start = random_unit_design(rows, 3, random);
    const double rectangular = 1.0;
    const auto value = [&](const std::vector<double>& theta) {
        search_run run(start, [&](run_settings& s) {
            s.criterion.criterion_id = 0;
            s.criterion.params.param_count_1 = static_cast<std::int32_t>(theta.size());
            s.criterion.params.param_list_1 = theta.data();
            s.criterion.params.param_count_2 = 1;
            s.criterion.params.param_list_2 = &rectangular;
        });
        return crit_value(run.ctx());
    };
    EXPECT_EQ(value({}), value({theta_for_rectangular_distances}));
    EXPECT_NE(value({}), value({setting_of(setting_id::theta).fallback}));
    char words[80];
    std::snprintf(words, sizeof words, "%g, with rectangular distances %g", setting_of(setting_id::theta).fallback,
                  theta_for_rectangular_distances);
    EXPECT_STREQ(setting_of(setting_id::theta).default_words, words);
}

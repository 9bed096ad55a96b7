#include "api/settings/settings.h"

#include "api/settings/criteria.h"
#include "api/text/errors.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace optdoe {

namespace {

/// The row's highest value for a design of these rows.
double highest(setting_id id, std::int64_t rows)
{
    return highest_value(setting_of(id), static_cast<std::int32_t>(rows));
}

void refuse_outside(setting_id id, double value, double low, double high)
{
    if (!(value >= low && value <= high))
        throw usage_error(fmt::format("{}: {} is not in {} .. {}", option_name(id), plain_number(value),
                                      plain_number(low), plain_number(high)));
}

template <class T>
void check_range(setting_id id, const std::optional<T>& value, std::int64_t rows = 0)
{
    if (value)
        refuse_outside(id, static_cast<double>(*value), setting_of(id).low, highest(id, rows));
}

void check_list(setting_id id, const std::vector<double>& list, std::int64_t factors, std::int64_t rows = 0)
{
    if (list.size() > 1 && static_cast<std::int64_t>(list.size()) != factors)
        throw usage_error(fmt::format("{}: {} values for {} factors (give one for all, or one each)", option_name(id),
                                      list.size(), factors));
    for (const double value : list)
        check_range(id, std::optional(value), rows);
}

void refuse_unless(bool read, bool given, setting_id id, std::string_view reader)
{
    if (given && !read)
        throw usage_error(fmt::format("{} is read by {} only", option_name(id), reader));
}

/// Refuses a parameter that the criterion does not read.
void refuse_unless_read(bool read, bool given, setting_id id)
{
    if (given && !read)
        refuse_unless(read, given, id, readers_text(setting_of(id)));
}

std::vector<std::int64_t> group_counts(std::int64_t rows)
{
    std::vector<std::int64_t> counts;
    for (std::int64_t count = 1; count < rows && counts.size() < 20; ++count)
        if (rows % count == 0)
            counts.push_back(count);
    return counts;
}

void check_groups(const std::vector<double>& groups, std::int64_t rows)
{
    for (const double count : groups)
        if (count != std::floor(count) ||
            (count > 1 && (std::fmod(static_cast<double>(rows), count) != 0.0 || count == static_cast<double>(rows))))
            throw usage_error(fmt::format("{}: {} groups do not divide {} rows; possible are {}",
                                          option_name(setting_id::levels), count, rows,
                                          fmt::join(group_counts(rows), ", ")));
}

} // namespace

double list_value(const std::vector<double>& list, std::size_t j)
{
    return list.size() == 1 ? list.front() : list[j];
}

int settings::exponent() const { return p.value_or(static_cast<int>(setting_of(setting_id::exponent).fallback)); }

std::string settings::distance_in_force() const
{
    return distance.empty() ? default_choice(setting_id::distance) : distance;
}

std::string settings::method_in_force() const { return method.empty() ? default_choice(setting_id::method) : method; }

std::size_t settings::scaling_in_force() const
{
    const setting& row = setting_of(setting_id::scaling);
    if (!scaling.empty())
        return static_cast<std::size_t>(number_of_choice(setting_id::scaling, scaling));
    const criterion_facts& facts = facts_of(criterion);
    return static_cast<std::size_t>(facts.scaling >= 0 ? facts.scaling : row.fallback);
}

double settings::target_in_force() const
{
    const double usual = facts_of(criterion).target_is_not_negative ? 0.0 : setting_of(setting_id::target).fallback;
    return negate_target ? -target.value_or(usual) : target.value_or(usual);
}

std::int64_t settings::rounds_in_force(std::int64_t rows, std::int64_t factors) const
{
    const std::int64_t most = static_cast<std::int64_t>(setting_of(setting_id::iterations).high);
    return iterations ? *iterations : std::clamp<std::int64_t>(2 * rows * moving_factors(factors), 100, most);
}

bool settings::steers_the_method() const
{
    return !method.empty() || iterations || moves || pairs || all_pairs || restarts || tolerance || threshold ||
           cooling || weighted_choice || no_pre_improvement;
}

std::int64_t settings::moving_factors(std::int64_t factors) const
{
    std::int64_t count = 0;
    for (std::size_t j = 0; j < static_cast<std::size_t>(factors); ++j)
        count += (shares.empty() || list_value(shares, j) > share_floor) &&
                 (weights.empty() || list_value(weights, j) >= active_weight_floor);
    return count;
}

void settings::check_criterion(std::int64_t factors) const
{
    check_range(setting_id::exponent, p);
    check_list(setting_id::theta, theta, factors);
    if (theta.size() > most_list_values)
        throw usage_error(fmt::format("{}: at most {} values; give one for all factors",
                                      option_name(setting_id::theta), most_list_values));
    check_list(setting_id::weights, weights, factors);
}

void settings::check_lists(std::int64_t rows, std::int64_t factors) const
{
    check_list(setting_id::shares, shares, factors);
    if (moving_factors(factors) == 0)
        throw usage_error(fmt::format("{}, {}: at least one factor needs a share above {} and a weight above {}",
                                      option_name(setting_id::shares), option_name(setting_id::weights),
                                      plain_number(share_floor), plain_number(active_weight_floor)));
    check_list(setting_id::levels, level_groups, factors, rows);
    if (level_groups.empty())
        return;
    refuse_unless(!symmetric && facts_of(criterion).has_level_groups, true, setting_id::levels,
                  readers_text(setting_of(setting_id::levels)) + " without " + option_name(setting_id::symmetric));
    check_groups(level_groups, rows);
}

void settings::check(std::int64_t rows, std::int64_t factors) const
{
    const bool threshold_method = method_in_force() == "threshold";
    const bool greedy = method_in_force() == "greedy";
    const bool annealing = method_in_force() == "annealing";
    const criterion_facts& facts = facts_of(criterion);

    refuse_unless_read(facts.reads_exponent, p.has_value(), setting_id::exponent);
    refuse_unless_read(facts.reads_theta, !theta.empty(), setting_id::theta);
    refuse_unless_read(facts.reads_distance, !distance.empty(), setting_id::distance);
    check_criterion(factors);
    if (target)
        refuse_outside(setting_id::target, *target,
                       facts.target_is_not_negative ? 0.0 : setting_of(setting_id::target).low,
                       setting_of(setting_id::target).high);
    refuse_unless_read(!facts.target_is_not_negative, negate_target, setting_id::negate_target);
    if (negate_target && !target)
        throw usage_error(
            fmt::format("{} needs {}", option_name(setting_id::negate_target), option_name(setting_id::target)));

    check_range(setting_id::time, seconds);
    check_range(setting_id::iterations, iterations);
    check_range(setting_id::moves, moves);
    refuse_unless(threshold_method, moves.has_value(), setting_id::moves, "--method threshold");
    check_range(setting_id::pairs, pairs, rows);
    refuse_unless(threshold_method && !all_pairs, pairs.has_value(), setting_id::pairs,
                  "--method threshold without --all-pairs");
    refuse_unless(threshold_method, all_pairs, setting_id::all_pairs, "--method threshold");
    check_range(setting_id::restarts, restarts);
    refuse_unless(greedy, restarts.has_value(), setting_id::restarts, "--method greedy");
    check_range(setting_id::tolerance, tolerance);
    check_range(setting_id::threshold, threshold);
    refuse_unless(!greedy, threshold.has_value(), setting_id::threshold, "the methods threshold and annealing");
    check_range(setting_id::cooling, cooling);
    refuse_unless(annealing, cooling.has_value(), setting_id::cooling, "--method annealing");
    refuse_unless(threshold_method, weighted_choice, setting_id::weighted_choice,
                  "--method threshold (annealing always draws by shares, greedy sweeps all factors)");
    check_range(setting_id::auxiliary, auxiliary);
    check_lists(rows, factors);
}

void settings::apply_criterion(criterion_options* out) const
{
    out->criterion_id = criterion_id(criterion);
    criterion_params& params = out->params;
    const criterion_facts& facts = facts_of(criterion);
    if (facts.reads_exponent && p) {
        exponent_ = *p;
        params.param_count_1 = 1;
        params.param_list_1 = &exponent_;
    }
    if (facts.reads_theta && !theta.empty()) {
        params.param_count_1 = static_cast<std::int32_t>(theta.size());
        params.param_list_1 = theta.data();
    }
    if (!distance.empty()) {
        distance_kind_ = number_of_choice(setting_id::distance, distance);
        params.param_count_2 = 1;
        params.param_list_2 = &distance_kind_;
    }
}

void settings::apply(run_settings* out, std::int32_t factors) const
{
    apply_criterion(&out->criterion);
    out->search_mode = static_cast<std::uint8_t>(number_of_choice(setting_id::method, method_in_force()));
    if (!scaling.empty())
        out->scaling_mode = static_cast<std::int8_t>(number_of_choice(setting_id::scaling, scaling));
    if (auxiliary)
        out->auxiliary_mode = static_cast<std::uint8_t>(*auxiliary);
    out->symmetric_design = symmetric;
    out->weighted_factor_choice = weighted_choice;
    out->reduced_neighbourhoods = !all_pairs;
    out->pre_improvement = !no_pre_improvement;
    out->criterion.criterion_negate = negate_target;
    out->iteration_budget = iterations.value_or(out->iteration_budget);
    out->moves_per_iteration = moves.value_or(out->moves_per_iteration);
    out->exchange_pairs = pairs.value_or(out->exchange_pairs);
    out->restart_limit = restarts.value_or(out->restart_limit);
    out->time_limit = seconds.value_or(out->time_limit);
    out->tolerance_setting = tolerance.value_or(out->tolerance_setting);
    out->threshold_setting = threshold.value_or(out->threshold_setting);
    out->threshold_factor_setting = cooling.value_or(out->threshold_factor_setting);
    out->criterion.criterion_threshold = target.value_or(out->criterion.criterion_threshold);

    for (std::size_t j = 0; j < static_cast<std::size_t>(factors); ++j) {
        if (!level_groups.empty())
            out->factor_counts[j] = static_cast<std::int32_t>(list_value(level_groups, j));
        if (!shares.empty())
            out->factor_shares[j] = list_value(shares, j);
        if (!weights.empty())
            out->criterion.factor_weights[j] = list_value(weights, j);
    }
}

namespace {

using nlohmann::ordered_json;

/// Adds a setting: its value, else its default; null where the run derives that.
template <class T>
void add(ordered_json& s, setting_id id, const std::optional<T>& value)
{
    const setting& row = setting_of(id);
    if (value || !std::isnan(row.fallback))
        s[row.name] = value ? *value : static_cast<T>(row.fallback);
    else
        s[row.name] = nullptr;
}

void add_list(ordered_json& s, setting_id id, const std::vector<double>& list, double otherwise)
{
    s[setting_of(id).name] = list.empty() ? std::vector<double>{otherwise} : list;
}

void add_flag(ordered_json& s, setting_id id, bool given)
{
    if (given)
        s[setting_of(id).name] = true;
}

} // namespace

void settings::add_criterion(ordered_json& s) const
{
    const criterion_facts& facts = facts_of(criterion);
    s[setting_of(setting_id::criterion).name] = criterion;
    if (facts.reads_exponent)
        add(s, setting_id::exponent, p);
    if (facts.reads_distance)
        s[setting_of(setting_id::distance).name] = distance_in_force();
    if (facts.reads_theta)
        add_list(s, setting_id::theta, theta,
                 distance_in_force() == "rectangular" ? theta_for_rectangular_distances
                                                      : setting_of(setting_id::theta).fallback);
    add_list(s, setting_id::weights, weights, setting_of(setting_id::weights).fallback);
    const setting& row = setting_of(setting_id::scaling);
    s[row.name] = choices_of(row)[scaling_in_force()];
    add(s, setting_id::target, target ? target : facts.target_is_not_negative ? std::optional(0.0) : std::nullopt);
    add_flag(s, setting_id::negate_target, negate_target);
}

void settings::add_search(ordered_json& s, std::int64_t rows, std::int64_t factors) const
{
    const std::string used = method_in_force();
    s[setting_of(setting_id::method).name] = used;
    add(s, setting_id::time, seconds);
    s[setting_of(setting_id::iterations).name] = rounds_in_force(rows, factors);
    if (used == "threshold") {
        add(s, setting_id::moves, moves);
        const setting& row = setting_of(setting_id::pairs);
        add_flag(s, setting_id::all_pairs, all_pairs);
        if (!all_pairs)
            s[row.name] = clamp_or_default_int(static_cast<std::int32_t>(row.low),
                                               static_cast<std::int32_t>(highest(setting_id::pairs, rows)),
                                               static_cast<std::int32_t>(row.fallback), pairs.value_or(-1));
        add_flag(s, setting_id::weighted_choice, weighted_choice);
    }
    if (used == "greedy")
        add(s, setting_id::restarts, restarts);
    add(s, setting_id::tolerance, tolerance);
    if (used != "greedy")
        add(s, setting_id::threshold, threshold);
    if (used == "annealing")
        add(s, setting_id::cooling, cooling);
    add_list(s, setting_id::shares, shares, setting_of(setting_id::shares).fallback);
}

ordered_json settings::effective(std::int64_t rows, std::int64_t factors) const
{
    ordered_json s = ordered_json::object();
    add_criterion(s);
    add_search(s, rows, factors);
    if (!level_groups.empty())
        s[setting_of(setting_id::levels).name] = level_groups;
    add_flag(s, setting_id::symmetric, symmetric);
    add_flag(s, setting_id::no_pre_improvement, no_pre_improvement);
    if (auxiliary)
        add(s, setting_id::auxiliary, auxiliary);
    return s;
}

ordered_json settings::effective_for_effort(std::int64_t rounds) const
{
    ordered_json s = ordered_json::object();
    add_criterion(s);
    s["effort"] = rounds;
    add_list(s, setting_id::shares, shares, setting_of(setting_id::shares).fallback);
    if (!level_groups.empty())
        s[setting_of(setting_id::levels).name] = level_groups;
    add_flag(s, setting_id::symmetric, symmetric);
    return s;
}

} // namespace optdoe

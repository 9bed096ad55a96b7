#include "cli/settings.h"

#include "cli/errors.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

namespace cli {

namespace {

constexpr std::array<std::string_view, 3> methods{"threshold", "greedy", "annealing"};
constexpr std::array<std::string_view, 4> criteria{"entropy", "phip", "cd2", "a2"};
constexpr std::array<std::string_view, 3> scalings{"none", "range", "centres"};

template <std::size_t count>
int position(const std::array<std::string_view, count>& names, std::string_view name)
{
    return static_cast<int>(std::find(names.begin(), names.end(), name) - names.begin());
}

template <typename T>
void check_range(std::string_view option, const std::optional<T>& value, double low, double high)
{
    if (value && !(static_cast<double>(*value) >= low && static_cast<double>(*value) <= high))
        throw usage_error(fmt::format("{}: {} is not in {} .. {}", option, *value, low, high));
}

void check_list(std::string_view option, const std::vector<double>& list, std::int64_t factors, double low,
                double high)
{
    if (list.size() > 1 && static_cast<std::int64_t>(list.size()) != factors)
        throw usage_error(fmt::format("{}: {} values for {} factors (give one for all, or one each)", option,
                                      list.size(), factors));
    for (const double value : list)
        check_range(option, std::optional(value), low, high);
}

void refuse_unless(bool read, bool given, std::string_view option, std::string_view reader)
{
    if (given && !read)
        throw usage_error(fmt::format("{} is read by {} only", option, reader));
}

std::vector<std::int64_t> group_counts(std::int64_t rows)
{
    std::vector<std::int64_t> counts;
    for (std::int64_t count = 1; count < rows && counts.size() < 20; ++count)
        if (rows % count == 0)
            counts.push_back(count);
    return counts;
}

} // namespace

double list_value(const std::vector<double>& list, std::size_t j)
{
    return list.size() == 1 ? list.front() : list[j];
}

void settings::check_criterion(std::int64_t factors) const
{
    check_range("--p", p, 0, 100);
    check_list("--theta", theta, factors, 1e-40, 1000.0);
    // The library takes parameter lists of up to 200 values.
    if (theta.size() > 200)
        throw usage_error("--theta: at most 200 values; give one for all factors");
    check_list("--weights", weights, factors, 1e-40, 1.0);
}

void settings::check(std::int64_t rows, std::int64_t factors) const
{
    const bool threshold_method = method == "threshold";
    const bool greedy = method == "greedy";
    const bool annealing = method == "annealing";
    const bool distances = criterion == "phip" || criterion == "entropy";

    refuse_unless(criterion == "phip", p.has_value(), "--p", "--criterion phip");
    refuse_unless(criterion == "entropy", !theta.empty(), "--theta", "--criterion entropy");
    refuse_unless(distances, !distance.empty(), "--distance", "the criteria phip and entropy");
    check_criterion(factors);
    check_range("--target", target, criterion == "a2" ? 0.0 : -1e20, 1e20);
    refuse_unless(criterion != "a2", negate_target, "--negate-target", "the criteria phip, entropy and cd2");
    if (negate_target && !target)
        throw usage_error("--negate-target needs --target");

    check_range("--time", seconds, 1e-4, 1e6);
    check_range("--iterations", iterations, 1, 1e8);
    check_range("--moves", moves, 1, 1e8);
    refuse_unless(threshold_method, moves.has_value(), "--moves", "--method threshold");
    const std::int64_t all = rows * (rows - 1) / 2;
    check_range("--pairs", pairs, 1, static_cast<double>(all));
    refuse_unless(threshold_method && !all_pairs, pairs.has_value(), "--pairs",
                  "--method threshold without --all-pairs");
    refuse_unless(threshold_method, all_pairs, "--all-pairs", "--method threshold");
    check_range("--restarts", restarts, 0, 500000);
    refuse_unless(greedy, restarts.has_value(), "--restarts", "--method greedy");
    check_range("--tolerance", tolerance, 1e-15, 0.1);
    check_range("--threshold", threshold, 0.0, 1e200);
    refuse_unless(!greedy, threshold.has_value(), "--threshold", "the methods threshold and annealing");
    check_range("--cooling", cooling, 0.5, 0.999);
    refuse_unless(annealing, cooling.has_value(), "--cooling", "--method annealing");
    refuse_unless(threshold_method, weighted_choice, "--weighted-choice",
                  "--method threshold (annealing always draws by shares, greedy sweeps all factors)");
    check_range("--auxiliary", auxiliary, 0, 2);

    check_list("--shares", shares, factors, 0.0, 1.0);
    bool any_moves = false;
    for (std::size_t j = 0; j < static_cast<std::size_t>(factors); ++j)
        any_moves = any_moves || ((shares.empty() || list_value(shares, j) > 1e-10) &&
                                  (weights.empty() || list_value(weights, j) >= 1e-15));
    if (!any_moves)
        throw usage_error(
            "--shares, --weights: at least one factor needs a share above 1e-10 and a weight above 1e-15");

    check_list("--levels", level_groups, factors, 1.0, static_cast<double>(rows));
    refuse_unless(!symmetric && criterion != "a2", !level_groups.empty(), "--levels",
                  "the criteria phip, entropy and cd2 without --symmetric");
    for (const double count : level_groups)
        if (count != std::floor(count) ||
            (count > 1 && (std::fmod(static_cast<double>(rows), count) != 0.0 || count == static_cast<double>(rows))))
            throw usage_error(fmt::format("--levels: {} groups do not divide {} rows; possible are {}", count, rows,
                                          fmt::join(group_counts(rows), ", ")));
}

void settings::apply_criterion(criterion_options* out) const
{
    out->criterion_id = static_cast<std::int8_t>(position(criteria, criterion));
    criterion_params& params = out->params;
    if (criterion == "phip" && p) {
        exponent_ = *p;
        params.param_count_1 = 1;
        params.param_list_1 = &exponent_;
    }
    if (criterion == "entropy" && !theta.empty()) {
        params.param_count_1 = static_cast<std::int32_t>(theta.size());
        params.param_list_1 = theta.data();
    }
    if (!distance.empty()) {
        distance_kind_ = distance == "rectangular" ? 1.0 : 2.0;
        params.param_count_2 = 1;
        params.param_list_2 = &distance_kind_;
    }
}

void settings::apply(run_settings* out, std::int32_t factors) const
{
    apply_criterion(&out->criterion);
    out->search_mode = static_cast<std::uint8_t>(position(methods, method));
    if (!scaling.empty())
        out->scaling_mode = static_cast<std::int8_t>(position(scalings, scaling));
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

nlohmann::ordered_json settings::effective(std::int64_t rows, std::int64_t factors) const
{
    using nlohmann::ordered_json;
    ordered_json s = ordered_json::object();
    const auto list_or = [](const std::vector<double>& list, double otherwise) {
        return list.empty() ? std::vector<double>{otherwise} : list;
    };
    const auto or_null = [](const auto& value) { return value ? ordered_json(*value) : ordered_json(nullptr); };
    s["criterion"] = criterion;
    if (criterion == "phip")
        s["p"] = p.value_or(20);
    if (criterion == "phip" || criterion == "entropy")
        s["distance"] = distance.empty() ? "euclidean" : distance;
    if (criterion == "entropy")
        s["theta"] = list_or(theta, distance == "rectangular" ? 3.0 : 5.0);
    s["weights"] = list_or(weights, 1.0);
    s["scaling"] = scaling.empty() ? (criterion == "cd2" ? "centres" : "range") : scaling;
    s["target"] = target ? *target : (criterion == "a2" ? 0.0 : -1e20);
    if (negate_target)
        s["negate-target"] = true;
    s["method"] = method;
    s["time"] = seconds.value_or(10000.0);
    std::int64_t active = 0;
    for (std::size_t j = 0; j < static_cast<std::size_t>(factors); ++j)
        active +=
            (shares.empty() || list_value(shares, j) > 1e-10) && (weights.empty() || list_value(weights, j) >= 1e-15);
    s["iterations"] = iterations ? *iterations : std::clamp<std::int64_t>(2 * rows * active, 100, 100000000);
    if (method == "threshold") {
        s["moves"] = or_null(moves);
        if (all_pairs)
            s["all-pairs"] = true;
        else
            s["pairs"] = pairs ? *pairs : std::min<std::int64_t>(50, rows * (rows - 1) / 2);
        if (weighted_choice)
            s["weighted-choice"] = true;
    }
    if (method == "greedy")
        s["restarts"] = restarts.value_or(30);
    s["tolerance"] = or_null(tolerance);
    if (method != "greedy")
        s["threshold"] = or_null(threshold);
    if (method == "annealing")
        s["cooling"] = or_null(cooling);
    s["shares"] = list_or(shares, 1.0);
    if (!level_groups.empty())
        s["levels"] = level_groups;
    if (symmetric)
        s["symmetric"] = true;
    if (no_pre_improvement)
        s["no-pre-improvement"] = true;
    if (auxiliary)
        s["auxiliary"] = *auxiliary;
    return s;
}

} // namespace cli

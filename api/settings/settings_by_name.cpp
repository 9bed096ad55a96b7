#include "api/settings/settings_by_name.h"

#include "api/text/errors.h"
#include "api/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <variant>

namespace optdoe {

namespace {

using place = std::variant<std::string*, std::optional<int>*, std::optional<double>*, bool*, std::vector<double>*>;

place place_of(settings& s, setting_id id)
{
    switch (id) {
    case setting_id::symmetric: return &s.symmetric;
    case setting_id::criterion: return &s.criterion;
    case setting_id::exponent: return &s.p;
    case setting_id::distance: return &s.distance;
    case setting_id::theta: return &s.theta;
    case setting_id::weights: return &s.weights;
    case setting_id::scaling: return &s.scaling;
    case setting_id::target: return &s.target;
    case setting_id::negate_target: return &s.negate_target;
    case setting_id::method: return &s.method;
    case setting_id::time: return &s.seconds;
    case setting_id::iterations: return &s.iterations;
    case setting_id::moves: return &s.moves;
    case setting_id::pairs: return &s.pairs;
    case setting_id::all_pairs: return &s.all_pairs;
    case setting_id::restarts: return &s.restarts;
    case setting_id::threshold: return &s.threshold;
    case setting_id::cooling: return &s.cooling;
    case setting_id::tolerance: return &s.tolerance;
    case setting_id::shares: return &s.shares;
    case setting_id::weighted_choice: return &s.weighted_choice;
    case setting_id::levels: return &s.level_groups;
    case setting_id::no_pre_improvement: return &s.no_pre_improvement;
    case setting_id::auxiliary: return &s.auxiliary;
    case setting_id::seed: break;
    }
    throw usage_error(fmt::format("{} is no setting of the search", option_name(id)));
}

std::string chosen(setting_id id, std::string_view text)
{
    const std::vector<std::string> names = choices_of(setting_of(id));
    if (text.empty())
        return id == setting_id::criterion ? default_choice(id) : "";
    if (std::find(names.begin(), names.end(), text) == names.end())
        throw usage_error(fmt::format("{}: \"{}\" is not one of {}", option_name(id), text, fmt::join(names, ", ")));
    return std::string(text);
}

double number_of(setting_id id, std::string_view text)
{
    if (id == setting_id::time) {
        if (const auto seconds = parse_duration(text))
            return *seconds;
        throw usage_error(
            fmt::format("{}: \"{}\" is no time; expected a number with s, m or h, as in 30s", option_name(id), text));
    }
    if (const auto number = parse_number(text))
        return *number;
    throw usage_error(fmt::format("{}: \"{}\" is not a number", option_name(id), text));
}

/// The highest 32-bit number where the row's range depends on the design.
double highest_whole(const setting& row) { return std::isnan(row.high) ? 2147483647.0 : row.high; }

/// The number, if it is in the row's range.
double in_range(setting_id id, double number)
{
    const setting& row = setting_of(id);
    if (!(number >= row.low && number <= highest_whole(row)))
        throw usage_error(fmt::format("{}: {} is not in {} .. {}", option_name(id), plain_number(number),
                                      plain_number(row.low), plain_number(highest_whole(row))));
    return number;
}

std::vector<double> list_of(setting_id id, std::string_view text)
{
    std::vector<double> list = parse_list(option_name(id), text);
    for (const double number : list)
        in_range(id, number);
    return list;
}

} // namespace

bool flag_of(std::string_view option, std::string_view text)
{
    if (text == "true" || text == "1")
        return true;
    if (text == "false" || text == "0" || text.empty())
        return false;
    throw usage_error(fmt::format("{}: \"{}\" is neither true nor false", option, text));
}

std::int64_t whole_number_of(std::string_view option, std::string_view text, double low, double high)
{
    const auto number = parse_integer(text);
    if (!number && !parse_number(text))
        throw usage_error(fmt::format("{}: \"{}\" is not a number", option, text));
    if (!number)
        throw usage_error(fmt::format("{}: {} is not a whole number", option, text));
    if (static_cast<double>(*number) < low || static_cast<double>(*number) > high)
        throw usage_error(
            fmt::format("{}: {} is not in {} .. {}", option, text, plain_number(low), plain_number(high)));
    return *number;
}

std::string list_text(const std::vector<double>& list)
{
    std::string text;
    for (const double value : list)
        text += (text.empty() ? "" : ",") + number_text(value);
    return text;
}

void set_by_name(settings& s, setting_id id, std::string_view text)
{
    const auto set = [&](auto* value) {
        using type = std::remove_pointer_t<decltype(value)>;
        if constexpr (std::is_same_v<type, std::string>)
            *value = chosen(id, text);
        else if constexpr (std::is_same_v<type, bool>)
            *value = flag_of(option_name(id), text);
        else if constexpr (std::is_same_v<type, std::vector<double>>)
            *value = text.empty() ? type{} : list_of(id, text);
        else if (text.empty())
            value->reset();
        else if constexpr (std::is_same_v<type, std::optional<double>>)
            *value = in_range(id, number_of(id, text));
        else
            *value = static_cast<int>(
                whole_number_of(option_name(id), text, setting_of(id).low, highest_whole(setting_of(id))));
    };
    std::visit(set, place_of(s, id));
}

std::string text_of(const settings& s, setting_id id)
{
    settings copy = s;
    const auto text = [&](const auto* value) -> std::string {
        using type = std::remove_cv_t<std::remove_pointer_t<decltype(value)>>;
        if constexpr (std::is_same_v<type, std::string>)
            return id == setting_id::criterion && *value == default_choice(id) ? "" : *value;
        else if constexpr (std::is_same_v<type, bool>)
            return *value ? "true" : "";
        else if constexpr (std::is_same_v<type, std::vector<double>>)
            return list_text(*value);
        else
            return value->has_value() ? number_text(**value) : "";
    };
    return std::visit(text, place_of(copy, id));
}

} // namespace optdoe

#include "api/designs/design.h"

#include "api/text/errors.h"
#include "api/text/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>

namespace optdoe {

std::vector<double> table::column(std::size_t j) const
{
    std::vector<double> values(rows);
    for (std::size_t i = 0; i < rows; ++i)
        values[i] = at(i, j);
    return values;
}

std::string_view name_of(coding c)
{
    switch (c) {
    case coding::levels: return "levels";
    case coding::unit: return "unit";
    case coding::physical: return "physical";
    default: return "raw";
    }
}

std::string_view name_of(placement p) { return p == placement::centres ? "centres" : "ends"; }

std::optional<coding> coding_named(std::string_view name)
{
    for (const coding c : {coding::levels, coding::unit, coding::physical, coding::raw})
        if (name == name_of(c))
            return c;
    return std::nullopt;
}

std::optional<placement> placement_named(std::string_view name)
{
    for (const placement p : {placement::centres, placement::ends})
        if (name == name_of(p))
            return p;
    return std::nullopt;
}

factor parse_factor(std::string_view text)
{
    if (text.find('=') == std::string_view::npos && text.find(':') == std::string_view::npos)
        return {std::string(text), std::nullopt, ""};
    // A name may hold '=' and a unit may hold ':' or '=': the first '=' that is followed by LOW:HIGH counts.
    for (std::size_t equals = text.find('='); equals != std::string_view::npos; equals = text.find('=', equals + 1)) {
        const std::string_view rest = text.substr(equals + 1);
        const std::size_t first = rest.find(':');
        if (first == std::string_view::npos)
            break;
        const std::size_t second = std::min(rest.find(':', first + 1), rest.size());
        const auto low = parse_number(rest.substr(0, first));
        const auto high = parse_number(rest.substr(first + 1, second - first - 1));
        if (!low || !high)
            continue;
        if (!(*low < *high) || !std::isfinite(*high - *low))
            throw usage_error(fmt::format("--factor {}: LOW must be below HIGH", text));
        return {std::string(text.substr(0, equals)), bounds{*low, *high},
                std::string(second < rest.size() ? rest.substr(second + 1) : "")};
    }
    throw usage_error(fmt::format("--factor {}: expected NAME=LOW:HIGH[:UNIT], as in Temperature=20:80:C", text));
}

std::string factor_text(const factor& f)
{
    if (!f.range)
        return f.name;
    const std::string text = fmt::format("{}={}:{}", f.name, number_text(f.range->low), number_text(f.range->high));
    return f.unit.empty() ? text : text + ":" + f.unit;
}

void check_factors(const std::vector<factor>& factors)
{
    std::set<std::string_view> seen;
    for (const factor& f : factors) {
        if (f.name.empty())
            throw usage_error("a factor needs a name");
        if (parse_number(f.name))
            throw usage_error(fmt::format("factor \"{}\": a name must not be a number", f.name));
        if (!seen.insert(f.name).second)
            throw usage_error(fmt::format("factor \"{}\" is named twice", f.name));
        if (f.range.has_value() != factors.front().range.has_value())
            throw usage_error(fmt::format("factor \"{}\": either all factors have a range or none has", f.name));
    }
}

std::vector<factor> default_factors(std::size_t count)
{
    std::vector<factor> factors(count);
    for (std::size_t j = 0; j < count; ++j)
        factors[j].name = fmt::format("x{}", j + 1);
    return factors;
}

double level_to_unit(double level, std::size_t level_count, placement p)
{
    const double count = static_cast<double>(level_count);
    if (p == placement::centres)
        return (level - 0.5) / count;
    return level_count > 1 ? (level - 1.0) / (count - 1.0) : 0.5;
}

double unit_to_level(double unit, std::size_t level_count, placement p)
{
    const double count = static_cast<double>(level_count);
    const double level = p == placement::centres ? unit * count + 0.5 : unit * (count - 1.0) + 1.0;
    const double whole = std::nearbyint(level);
    return std::fabs(level - whole) <= 1e-6 ? whole : level;
}

double encode(double level, std::size_t level_count, const factor& f, coding c, placement p)
{
    if (c == coding::levels || c == coding::raw)
        return level;
    const double unit = level_to_unit(level, level_count, p);
    return c == coding::unit ? unit : std::lerp(f.range->low, f.range->high, unit);
}

double decode(double value, std::size_t level_count, const factor& f, coding c, placement p)
{
    if (c == coding::levels || c == coding::raw)
        return value;
    const double unit = c == coding::unit ? value : (value - f.range->low) / (f.range->high - f.range->low);
    return unit_to_level(unit, level_count, p);
}

std::vector<std::size_t> distinct_counts(const table& design)
{
    std::vector<std::size_t> counts(design.columns);
    for (std::size_t j = 0; j < design.columns; ++j) {
        std::vector<double> values = design.column(j);
        std::sort(values.begin(), values.end());
        const double same = values.empty() ? 0.0 : (values.back() - values.front()) * 1e-12;
        for (std::size_t i = 0; i < values.size(); ++i)
            counts[j] += i == 0 || values[i] - values[i - 1] > same;
    }
    return counts;
}

bool is_levels_column(const table& design, std::size_t j)
{
    std::vector<double> values = design.column(j);
    std::sort(values.begin(), values.end());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double step = values[i] - (i == 0 ? 0.0 : values[i - 1]);
        if (step != 1.0 && !(step == 0.0 && i > 0))
            return false;
    }
    return !values.empty();
}

table exact_levels(const table& design, const table& start)
{
    table exact = design;
    for (std::size_t j = 0; j < design.columns; ++j) {
        std::vector<double> wanted = start.column(j);
        std::sort(wanted.begin(), wanted.end());
        for (std::size_t i = 0; i < design.rows; ++i) {
            const double x = design.at(i, j);
            auto above = std::lower_bound(wanted.begin(), wanted.end(), x);
            if (above == wanted.end() || (above != wanted.begin() && x - *(above - 1) <= *above - x))
                --above;
            exact.at(i, j) = *above;
        }
        std::vector<double> found = exact.column(j);
        std::sort(found.begin(), found.end());
        if (found != wanted)
            throw input_error(fmt::format("internal fault: column {} of the design lost its levels", j + 1));
    }
    return exact;
}

} // namespace optdoe

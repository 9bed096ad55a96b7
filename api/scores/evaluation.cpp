#include "api/scores/evaluation.h"

#include "api/designs/metrics.h"
#include "api/designs/start_designs.h"
#include "api/runs/engine.h"
#include "api/settings/criteria.h"
#include "api/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace optdoe {

namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();

/// One design in the three scales that the measures need.
struct coordinates {
    table criterion; ///< as the library receives it
    bool unit_as_is; ///< the runs stand at known places of 0..1: nothing may rescale them
    table distances; ///< 0..1
    table cells;     ///< 0..1, levels at cell centres
};

bool is_augmented(const design_file& file) { return file.provenance->contains("old_runs"); }

coordinates coordinates_of(const design_file& file)
{
    if (file.code == coding::raw)
        return {file.values, false, scaled_by_range(file.values, false), scaled_by_range(file.values, true)};
    const table levels = file.levels();
    if (file.whole_levels() && !is_augmented(file))
        return {levels, false, scaled_by_range(levels, false), scaled_by_range(levels, true)};
    table unit = levels;
    for (std::size_t i = 0; i < unit.rows; ++i)
        for (std::size_t j = 0; j < unit.columns; ++j)
            unit.at(i, j) = level_to_unit(levels.at(i, j), file.level_counts[j], file.place);
    return {unit, true, unit, unit};
}

/// The random counterpart in the same scales.
coordinates coordinates_of_random(const table& levels, bool unit_as_is)
{
    const table cells = scaled_by_range(levels, true);
    return unit_as_is ? coordinates{cells, true, cells, cells}
                      : coordinates{levels, false, scaled_by_range(levels, false), cells};
}

/// The numbers that every design has; the order is that of the measures.
std::vector<double> plain_values(const coordinates& c)
{
    const double cd2 = centered_l2_squared(c.cells);
    return {smallest_distance(c.distances, false).distance,
            smallest_distance(c.distances, true).distance,
            textbook_phi_p(c.distances, 15),
            textbook_phi_p(c.distances, 50),
            cd2,
            std::sqrt(std::max(cd2, 0.0)),
            largest_correlation(c.distances).value,
            static_cast<double>(repeated_rows(c.criterion))};
}

std::string pair_of_runs(const closest_pair& pair)
{
    return fmt::format("runs {} and {}", pair.row_a + 1, pair.row_b + 1);
}

double score_or_none(const coordinates& c, const settings& options)
{
    return score(c.criterion, options).value_or(none);
}

std::string plain_label(const std::string& criterion) { return "objective " + criterion; }

/// With the parameters that people compare by.
std::string criterion_label(const settings& s)
{
    const criterion_facts& facts = facts_of(s.criterion);
    std::vector<std::string> notes;
    if (facts.reads_exponent)
        notes.push_back(fmt::format("p = {}", s.exponent()));
    if (facts.reads_distance && s.distance_in_force() != default_choice(setting_id::distance))
        notes.push_back(s.distance);
    return notes.empty() ? plain_label(s.criterion)
                         : fmt::format("{} ({})", plain_label(s.criterion), fmt::join(notes, ", "));
}

std::size_t latin_columns(const coordinates& c)
{
    std::size_t count = 0;
    for (std::size_t j = 0; j < c.cells.columns; ++j)
        count += filled_strata(c.cells, j) == c.cells.rows;
    return count;
}

std::string not_latin(const coordinates& c, const design_file& file)
{
    for (std::size_t j = 0; j < c.cells.columns; ++j)
        if (const std::size_t filled = filled_strata(c.cells, j); filled != c.cells.rows)
            return fmt::format("{} fills {} of {}", file.factors[j].name, filled, c.cells.rows);
    return "";
}

std::string shown(double value) { return std::isnan(value) ? "-" : short_text(value); }

/// Columns on a terminal, for the ASCII and UTF-8 that names hold.
std::size_t width(const std::string& text)
{
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string padded(const std::string& text, std::size_t to, bool right)
{
    const std::string fill(to > width(text) ? to - width(text) : 0, ' ');
    return right ? fill + text : text + fill;
}

} // namespace

settings settings_for(const design_file& file, const std::string& criterion, const evaluation_options& options)
{
    settings s;
    s.criterion = criterion;
    try {
        const nlohmann::ordered_json recorded = file.provenance->value("settings", nlohmann::ordered_json::object());
        if (recorded.contains("weights"))
            s.weights = recorded["weights"].get<std::vector<double>>();
        if (recorded.value("criterion", "") == criterion) {
            if (recorded.contains("p"))
                s.p = recorded["p"].get<int>();
            if (recorded.contains("theta"))
                s.theta = recorded["theta"].get<std::vector<double>>();
            s.distance = recorded.value("distance", "");
            s.scaling = recorded.value("scaling", "");
        }
        s.check_criterion(static_cast<std::int64_t>(file.factors.size()));
    } catch (const std::exception& error) {
        throw input_error(fmt::format("{}:1:1: the recorded settings cannot be used: {}", file.name, error.what()));
    }
    const settings& o = options.overrides;
    const criterion_facts& facts = facts_of(criterion);
    if (facts.reads_exponent && o.p)
        s.p = o.p;
    if (facts.reads_theta && !o.theta.empty())
        s.theta = o.theta;
    if (facts.reads_distance && !o.distance.empty())
        s.distance = o.distance;
    if (!o.weights.empty())
        s.weights = o.weights;
    if (!o.scaling.empty())
        s.scaling = o.scaling;
    return s;
}

std::optional<double> objective_of(const design_file& file, const settings& options)
{
    const coordinates c = coordinates_of(file);
    settings fitted = options;
    if (c.unit_as_is)
        fitted.scaling = "none";
    const double value = score_or_none(c, fitted);
    return std::isnan(value) ? std::nullopt : std::optional(value);
}

evaluation evaluate(const design_file& file, const evaluation_options& options)
{
    const coordinates c = coordinates_of(file);
    evaluation e;
    e.file = file.name;
    e.runs = c.criterion.rows;
    e.factors = c.criterion.columns;
    const auto recorded_settings = file.provenance->find("settings");
    if (recorded_settings != file.provenance->end() && recorded_settings->is_object())
        e.recorded_criterion = recorded_settings->value("criterion", "");
    if (file.provenance->contains("objective") && (*file.provenance)["objective"].is_number())
        e.recorded = (*file.provenance)["objective"].get<double>();

    std::vector<settings> scored;
    for (const std::string& criterion : criterion_names()) {
        settings s = settings_for(file, criterion, options);
        if (c.unit_as_is && options.overrides.scaling.empty())
            s.scaling = "none";
        scored.push_back(s);
        e.measures.push_back(
            {fmt::format("objective_{}", criterion), criterion_label(s), score_or_none(c, s), none, ""});
    }
    const std::vector<double> values = plain_values(c);
    const strongest_correlation correlation = largest_correlation(c.distances);
    e.measures.push_back({"smallest_distance", "smallest distance", values[0], none,
                          pair_of_runs(smallest_distance(c.distances, false))});
    e.measures.push_back({"smallest_distance_rectangular", "smallest rectangular distance", values[1], none,
                          pair_of_runs(smallest_distance(c.distances, true))});
    e.measures.push_back({"phi_15", "textbook phi-p, p = 15", values[2], none, ""});
    e.measures.push_back({"phi_50", "textbook phi-p, p = 50", values[3], none, ""});
    e.measures.push_back({"cd2_squared", "centered L2 discrepancy squared", values[4], none, ""});
    e.measures.push_back({"cd2", "centered L2 discrepancy", values[5], none, ""});
    e.measures.push_back({"largest_correlation", "largest absolute correlation", values[6], none,
                          e.factors > 1 ? fmt::format("{} and {}", file.factors[correlation.factor_a].name,
                                                      file.factors[correlation.factor_b].name)
                                        : ""});
    e.measures.push_back({"repeated_runs", "repeated runs", values[7], none, ""});
    e.measures.push_back(
        {"latin_columns", "Latin columns", static_cast<double>(latin_columns(c)), none, not_latin(c, file)});
    if (options.random_designs == 0)
        return e;

    // Any seed will do; a fixed one makes the table repeatable.
    std::mt19937_64 generator(1);
    std::vector<double> sums(e.measures.size());
    table own_columns = c.criterion;
    for (std::size_t t = 0; t < options.random_designs; ++t) {
        const coordinates random = coordinates_of_random(random_latin(generator, e.runs, e.factors), c.unit_as_is);
        for (std::size_t m = 0; m < scored.size(); ++m) {
            const settings& s = scored[m];
            if (facts_of(s.criterion).needs_balanced_columns) {
                // Its value depends on the numbers of levels: the design's own columns are re-arranged.
                shuffle_columns(generator, own_columns);
                sums[m] += score_or_none({own_columns, c.unit_as_is, {}, {}}, s);
            } else {
                sums[m] += score_or_none(random, s);
            }
        }
        const std::vector<double> plain = plain_values(random);
        for (std::size_t m = 0; m < plain.size(); ++m)
            sums[scored.size() + m] += plain[m];
        sums.back() += static_cast<double>(e.factors);
    }
    for (std::size_t m = 0; m < sums.size(); ++m)
        e.measures[m].random_mean = sums[m] / static_cast<double>(options.random_designs);
    return e;
}

bool contradicts_record(const evaluation& e)
{
    const auto found = std::find_if(e.measures.begin(), e.measures.end(),
                                    [&](const measure& m) { return m.key == "objective_" + e.recorded_criterion; });
    return e.recorded && found != e.measures.end() &&
           !(std::fabs(found->value - *e.recorded) <= 1e-9 * std::max(std::fabs(*e.recorded), 1e-12));
}

std::string evaluation_table(const std::vector<evaluation>& evaluations, std::size_t random_designs)
{
    std::vector<std::vector<std::string>> columns(1);
    columns[0] = {"", "runs x factors"};
    for (const measure& m : evaluations.front().measures)
        columns[0].push_back(m.label);
    bool same_labels = true;
    for (const evaluation& e : evaluations) {
        std::vector<std::string> values{e.file, fmt::format("{} x {}", e.runs, e.factors)};
        std::vector<std::string> where{"", ""};
        std::vector<std::string> random{fmt::format("mean of {}", random_designs), "random"};
        for (const measure& m : e.measures) {
            same_labels = same_labels && m.label == columns[0][values.size()];
            values.push_back(shown(m.value));
            where.push_back(m.where);
            random.push_back(shown(m.random_mean));
        }
        columns.push_back(std::move(values));
        if (random_designs > 0)
            columns.push_back(std::move(random));
        columns.push_back(std::move(where));
    }
    if (!same_labels)
        for (std::size_t m = 0; m < criterion_names().size(); ++m)
            columns[0][2 + m] = plain_label(criterion_names()[m]);

    std::vector<std::size_t> widths;
    widths.reserve(columns.size());
    for (const auto& column : columns)
        widths.push_back(width(*std::max_element(column.begin(), column.end(),
                                                 [](const auto& a, const auto& b) { return width(a) < width(b); })));
    const std::size_t group = random_designs > 0 ? 3 : 2;
    std::string text;
    for (std::size_t r = 0; r < columns[0].size(); ++r) {
        std::string line;
        for (std::size_t c = 0; c < columns.size(); ++c) {
            const bool words = c == 0 || (c - 1) % group == group - 1;
            if (widths[c] > 0)
                line += (c == 0 ? "" : "  ") + padded(columns[c][r], widths[c], !words);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

nlohmann::ordered_json evaluation_json(const std::vector<evaluation>& evaluations, std::size_t random_designs)
{
    using nlohmann::ordered_json;
    const auto number = [](double value) {
        return std::isfinite(value) ? ordered_json(value) : ordered_json(nullptr);
    };
    ordered_json files = ordered_json::array();
    for (const evaluation& e : evaluations) {
        ordered_json entry = {{"file", e.file}, {"runs", e.runs}, {"factors", e.factors}};
        if (e.recorded) {
            entry["recorded_criterion"] = e.recorded_criterion;
            entry["recorded_objective"] = *e.recorded;
        }
        ordered_json measures = ordered_json::object();
        for (const measure& m : e.measures) {
            measures[m.key] = {{"value", number(m.value)}};
            if (random_designs > 0)
                measures[m.key]["random_mean"] = number(m.random_mean);
            if (!m.where.empty())
                measures[m.key]["where"] = m.where;
        }
        entry["measures"] = std::move(measures);
        files.push_back(std::move(entry));
    }
    return {{"random_designs", random_designs}, {"files", std::move(files)}};
}

} // namespace optdoe

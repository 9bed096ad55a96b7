#include "cli/commands.h"

#include "api/designs/start_designs.h"
#include "api/designs/strata.h"
#include "api/runs/memory.h"
#include "api/settings/criteria.h"
#include "api/text/csv_reader.h"
#include "api/text/errors.h"
#include "cli/result.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>

namespace cli {

namespace {

/// The old runs in 0..1.
table unit_runs(const design_file& old)
{
    table unit = old.levels();
    for (std::size_t i = 0; i < unit.rows; ++i) {
        for (std::size_t j = 0; j < unit.columns; ++j) {
            double& u = unit.at(i, j);
            u = level_to_unit(u, old.level_counts[j], old.place);
            if (u < -1e-9 || u > 1.0 + 1e-9)
                throw refused_value(old, i, j, "lies outside of the factor's range");
            u = std::clamp(u, 0.0, 1.0);
        }
    }
    return unit;
}

/// Old runs followed by new ones at the free strata's centres, each column in random order.
table with_added(const table& unit, std::size_t added, std::uint32_t seed)
{
    std::mt19937_64 generator(seed);
    table fresh(added, unit.columns);
    for (std::size_t j = 0; j < unit.columns; ++j) {
        const column_strata strata = free_strata(unit.column(j), added);
        for (std::size_t i = 0; i < added; ++i)
            fresh.at(i, j) = strata.centres[i];
    }
    shuffle_columns(generator, fresh);
    table whole = unit;
    whole.rows += added;
    whole.cells.insert(whole.cells.end(), fresh.cells.begin(), fresh.cells.end());
    return whole;
}

void tell_of_shared_strata(const table& unit, std::size_t added, const design_file& old)
{
    for (std::size_t j = 0; j < unit.columns; ++j)
        if (const std::size_t shared = free_strata(unit.column(j), added).shared; shared > 0)
            std::fprintf(stderr,
                         "optdoe: factor %s: %zu of the old runs share one of the %zu strata with another; as many "
                         "strata near them stay empty\n",
                         old.factors[j].name.c_str(), shared, unit.rows + added);
}

/// The new file: the old bytes, then the new runs.
std::string augmented_text(const design_file& d, const design_file& old)
{
    if (d.format == file_format::json || old.format == file_format::json)
        return design_text(d.format, d.values, d.factors, *d.provenance);
    std::string text = provenance_comments(*d.provenance);
    text += old.header_text.empty() ? csv_header(d.factors) : old.header_text;
    const bool dos = old.row_texts.front().ends_with("\r\n");
    for (const std::string& row : old.row_texts)
        text += row.ends_with('\n') ? row : row + "\n";
    const std::string& first = old.row_texts.front();
    const char separator = first.find(',') != std::string::npos    ? ','
                           : first.find('\t') != std::string::npos ? '\t'
                                                                   : ';';
    for (std::size_t i = old.values.rows; i < d.values.rows; ++i) {
        std::string line = csv_line(d.values, i);
        std::replace(line.begin(), line.end(), ',', separator);
        text += dos ? line.substr(0, line.size() - 1) + "\r\n" : line;
    }
    return text;
}

} // namespace

int run_augment(const options& o, const design_source& source)
{
    if (facts_of(o.run.criterion).needs_balanced_columns)
        throw usage_error(fmt::format(
            "--criterion {} counts equal levels, and added runs stand on levels of their own; use {}",
            o.run.criterion, enumerated(criteria_where(&criterion_facts::needs_balanced_columns, false), "or")));
    design_file old = read_design(o.files.front());
    interpret(old, o.factors, o.code);
    if (old.code == coding::raw)
        throw usage_error(fmt::format(
            "{}: the ranges of its factors are unknown; give --bounds, --factor or --coding unit", old.name));
    const table unit = unit_runs(old);
    const std::size_t added = static_cast<std::size_t>(o.added);
    const std::size_t rows = unit.rows + added;
    if (static_cast<double>(rows) * static_cast<double>(unit.columns) > 2147483647.0)
        throw usage_error("runs times factors must stay below 2147483648");
    search_problem problem;
    problem.rows = static_cast<std::int32_t>(added);
    problem.factors = static_cast<std::int32_t>(unit.columns);
    problem.fixed_rows = static_cast<std::int32_t>(unit.rows);
    problem.options = o.run;
    problem.options.scaling = "none";
    problem.options.check(std::max<std::int64_t>(o.added, 2), static_cast<std::int64_t>(unit.columns));
    refuse_beyond_memory(problem.options, o.added, static_cast<std::int64_t>(unit.rows),
                         static_cast<std::int64_t>(unit.columns));
    problem.options.seconds.reset();
    problem.start = [&](std::uint32_t seed) { return with_added(unit, added, seed); };
    if (!o.quiet)
        tell_of_shared_strata(unit, added, old);
    const std::optional<finished_campaign> finished = source(o, problem, resolved_seed(o));
    if (!finished)
        return exit_done;
    const table& whole = finished->best.levels;

    design_file design = old;
    design.name = o.output;
    design.format = resolved_format(o, old.format);
    design.values.rows = rows;
    design.values.cells.resize(whole.cells.size());
    for (std::size_t i = unit.rows; i < rows; ++i)
        for (std::size_t j = 0; j < unit.columns; ++j)
            design.values.at(i, j) = encode(unit_to_level(whole.at(i, j), old.level_counts[j], old.place),
                                            old.level_counts[j], old.factors[j], old.code, old.place);
    design.provenance = std::make_shared<nlohmann::ordered_json>(
        search_provenance(o, problem.options, finished->best, rows, std::max<std::size_t>(added, 2), unit.columns));
    nlohmann::ordered_json& p = *design.provenance;
    p["old_file"] = old.name;
    p["old_runs"] = old.values.rows;
    describe_coding(p, design.factors, design.code, design.place, design.level_counts);
    return deliver(o, design, problem.options, *finished,
                   [&old](const design_file& d) { return augmented_text(d, old); });
}

} // namespace cli

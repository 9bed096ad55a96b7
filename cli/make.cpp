#include "cli/commands.h"

#include "api/designs/start_designs.h"
#include "api/runs/memory.h"
#include "api/settings/criteria.h"
#include "api/text/errors.h"
#include "api/text/output_file.h"
#include "api/text/text.h"
#include "cli/result.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdio>

namespace cli {

namespace {

/// What a run of make begins with: sizes, factors and, unless the library makes it, the starting design.
struct beginning {
    std::int64_t rows = 0;
    std::int64_t factors = 0;
    std::vector<factor> described;
    std::vector<std::size_t> level_counts;
    std::optional<table> start;
    bool raw = false; ///< the start's own values, in no coding of ours
    placement place = placement::centres;
    std::optional<coding> code; ///< of the start file
};

void agree(const std::optional<std::int64_t>& given, std::int64_t found, const char* what, const std::string& source)
{
    if (given && *given != found)
        throw usage_error(fmt::format("{} {} asked for, {} has {}", *given, what, source, found));
}

void begin_with_file(const options& o, beginning& b)
{
    design_file file = read_design(o.start);
    interpret(file, o.factors, std::nullopt);
    agree(o.rows, static_cast<std::int64_t>(file.values.rows), "runs", o.start);
    agree(o.factor_count, static_cast<std::int64_t>(file.values.columns), "factors", o.start);
    b.rows = static_cast<std::int64_t>(file.values.rows);
    b.factors = static_cast<std::int64_t>(file.values.columns);
    if (b.rows < 2)
        throw input_error(fmt::format("{}:1:1: holds one run; a design has at least two", o.start));
    b.described = file.factors;
    b.raw = !file.whole_levels();
    b.start = b.raw ? file.values : file.levels();
    b.level_counts = distinct_counts(*b.start);
    b.place = file.place;
    b.code = b.raw ? coding::raw : file.code;
    for (std::size_t j = 0; j < b.level_counts.size(); ++j)
        if (b.level_counts[j] < 2)
            throw refused_value(file, 0, j, "the factor has one level only");
}

beginning begin(const options& o)
{
    beginning b;
    if (!o.start.empty()) {
        if (!o.balanced.empty())
            throw usage_error("--start and --balanced exclude each other");
        begin_with_file(o, b);
    } else {
        if (!o.rows)
            throw usage_error("N, the number of runs, is missing");
        if (!o.factor_count && o.factors.empty())
            throw usage_error("K, the number of factors, is missing; give it, or --factor or --bounds");
        b.rows = *o.rows;
        b.factors = o.factor_count.value_or(static_cast<std::int64_t>(o.factors.size()));
        if (!o.factors.empty() && static_cast<std::int64_t>(o.factors.size()) != b.factors)
            throw usage_error(
                fmt::format("{} factors where --bounds and --factor give {}", b.factors, o.factors.size()));
        if (static_cast<double>(b.rows) * static_cast<double>(b.factors) > 2147483647.0)
            throw usage_error("N times K must stay below 2147483648");
    }
    return b;
}

/// Factors, level counts and checks; the start of a seed comes from start_of.
void describe_start(const options& o, beginning& b)
{
    const std::size_t rows = static_cast<std::size_t>(b.rows);
    const std::size_t factors = static_cast<std::size_t>(b.factors);
    if (b.start) {
        if (o.run.symmetric && !is_symmetric(*b.start))
            throw input_error(fmt::format("{}:1:1: --symmetric: the design is not symmetric", o.start));
        return;
    }
    b.described = o.factors.empty() ? default_factors(factors) : o.factors;
    b.level_counts.assign(factors, rows);
    if (!o.balanced.empty()) {
        if (o.run.symmetric)
            throw usage_error("--balanced and --symmetric exclude each other");
        if (o.balanced.size() > 1 && o.balanced.size() != factors)
            throw usage_error(fmt::format("--balanced: {} values for {} factors (give one for all, or one each)",
                                          o.balanced.size(), factors));
        for (std::size_t j = 0; j < factors; ++j) {
            const double count = list_value(o.balanced, j);
            if (count != std::floor(count) || count < 2 || count > static_cast<double>(rows) ||
                std::fmod(static_cast<double>(rows), count) != 0.0)
                throw usage_error(fmt::format("--balanced: {} levels do not divide {} runs evenly", count, rows));
            b.level_counts[j] = static_cast<std::size_t>(count);
        }
    }
}

/// The start of a seed: that of the file, else a random one; nothing where the library makes it.
std::optional<table> start_of(const options& o, const beginning& b, std::uint32_t seed)
{
    std::mt19937_64 generator(seed);
    if (b.start)
        return b.start;
    if (!o.balanced.empty())
        return random_balanced(generator, static_cast<std::size_t>(b.rows), b.level_counts);
    if (o.run.symmetric)
        return random_symmetric(generator, static_cast<std::size_t>(b.rows), static_cast<std::size_t>(b.factors));
    return std::nullopt;
}

coding resolved_coding(const options& o, const beginning& b)
{
    const bool ranges = !b.described.empty() && b.described.front().range.has_value();
    if (o.entry_levels && o.code && *o.code != coding::levels)
        throw usage_error("--entry-levels writes levels; --coding cannot change that");
    if (b.raw) {
        if (o.code)
            throw usage_error(fmt::format("--coding: {} has no levels of ours; its own values are kept", o.start));
        return coding::raw;
    }
    const coding code =
        o.entry_levels ? coding::levels
                       : o.code.value_or(!o.factors.empty() ? coding::physical : b.code.value_or(coding::levels));
    if (code == coding::physical && !ranges)
        throw usage_error("--coding physical needs --bounds or --factor");
    return code;
}

nlohmann::ordered_json config_of(const options& o, const settings& used, const beginning& b, coding code,
                                 placement place, std::uint32_t seed)
{
    nlohmann::ordered_json config = used.effective(b.rows, b.factors);
    if (!used.seconds)
        config["time"] = nullptr; // a time that is given is used to its end
    config["seed"] = std::to_string(seed);
    if (!o.balanced.empty())
        config["balanced"] = o.balanced;
    if (!o.start.empty())
        config["start"] = o.start;
    for (const factor& f : b.described)
        if (f.range)
            config["factor"].push_back(
                fmt::format("{}={}:{}{}{}", f.name, f.range->low, f.range->high, f.unit.empty() ? "" : ":", f.unit));
    if (code != coding::raw)
        config["coding"] = name_of(code);
    config["placement"] = name_of(place);
    if (o.entry_levels)
        config["entry-levels"] = true;
    const std::pair<const char*, std::optional<std::int64_t>> counts[]{
        {"starts", o.starts}, {"effort", o.effort}, {"stop-after", o.stop_after}};
    for (const auto& [name, count] : counts)
        if (count)
            config[name] = *count;
    config["format"] = resolved_format(o, file_format::csv) == file_format::json ? "json" : "csv";
    return config;
}

/// The numbers to write from levels.
table encoded(const table& levels, const beginning& b, coding code, placement place)
{
    table values = levels;
    for (std::size_t i = 0; i < values.rows; ++i)
        for (std::size_t j = 0; j < values.columns; ++j)
            values.at(i, j) = encode(levels.at(i, j), b.level_counts[j], b.described[j], code, place);
    return values;
}

search_problem problem_of(const options& o, const beginning& b)
{
    search_problem problem;
    problem.rows = static_cast<std::int32_t>(b.rows);
    problem.factors = static_cast<std::int32_t>(b.factors);
    problem.options = o.run;
    problem.options.seconds.reset();
    problem.start = [&o, &b](std::uint32_t seed) { return start_of(o, b, seed); };
    return problem;
}

} // namespace

int run_make(const options& o, const design_source& source)
{
    const std::uint32_t seed = resolved_seed(o);
    beginning b = begin(o);
    o.run.check(b.rows, b.factors);
    refuse_beyond_memory(o.run, b.rows, 0, b.factors);
    describe_start(o, b);
    const coding code = resolved_coding(o, b);
    const placement place = o.place.value_or(b.place);
    if (o.print_config) {
        write_output("-", config_of(o, o.run, b, code, place, seed).dump(2) + "\n");
        return exit_done;
    }
    const bool moves_entries = !o.start.empty() || !o.balanced.empty();
    if (facts_of(o.run.criterion).needs_balanced_columns && !moves_entries && !o.quiet)
        std::fprintf(stderr,
                     "optdoe: warning: every Latin hypercube has the same %s, so there is nothing to improve;\n"
                     "optdoe: %s is meant for balanced designs: see --balanced and --start\n",
                     o.run.criterion.c_str(), o.run.criterion.c_str());

    const search_problem problem = problem_of(o, b);
    const std::optional<finished_campaign> finished = source(o, problem, seed);
    if (!finished)
        return exit_done;
    table levels = finished->best.levels;
    if (o.entry_levels)
        levels.cells.assign(finished->best.entry_levels.begin(), finished->best.entry_levels.end());

    design_file design;
    design.name = o.output;
    design.format = resolved_format(o, file_format::csv);
    design.values = encoded(levels, b, code, place);
    design.factors = b.described;
    design.code = code;
    design.place = place;
    design.level_counts = b.level_counts;
    design.provenance = std::make_shared<nlohmann::ordered_json>(search_provenance(
        o, problem.options, finished->best, design.values.rows, design.values.rows, design.values.columns));
    if (!o.start.empty())
        (*design.provenance)["start"] = o.start;
    if (o.entry_levels)
        (*design.provenance)["entry_levels"] = true;
    describe_coding(*design.provenance, design.factors, code, place, b.level_counts);
    return deliver(o, design, problem.options, *finished,
                   [](const design_file& d) { return design_text(d.format, d.values, d.factors, *d.provenance); });
}

} // namespace cli

#include "c/handles.h"

#include "api/reports/plot.h"
#include "api/reports/report.h"
#include "api/requests/prepared_design.h"
#include "api/text/output_file.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

double optdoe::recorded_objective(const design_file& design)
{
    const auto objective = design.provenance->find("objective");
    return objective != design.provenance->end() ? objective->get<double>()
                                                 : std::numeric_limits<double>::quiet_NaN();
}

using namespace optdoe;

namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();

void replace(optdoe_design& design, design_file content)
{
    design.content = std::move(content);
    design.outcome.reset();
    design.traces.clear();
}

void refuse_without_runs(const optdoe_design& design)
{
    if (design.content.values.rows == 0)
        throw usage_error("the design has no runs yet");
}

void refuse_other_size(const optdoe_design& design, std::size_t count)
{
    refuse_without_runs(design);
    const table& values = design.content.values;
    if (count != values.cells.size())
        throw usage_error(fmt::format("room for {} numbers where {} runs of {} factors have {}", count, values.rows,
                                      values.columns, values.cells.size()));
}

/// Numbers of a coding that is not the one of the design.
table recoded(const design_file& design, coding code)
{
    if (design.code == coding::raw)
        throw input_error(
            fmt::format("{}: its levels are unknown; give its ranges or its coding (interpret)", design.name));
    table values = design.levels();
    for (std::size_t j = 0; j < values.columns; ++j) {
        if (code == coding::physical && !design.factors[j].range)
            throw input_error(fmt::format("{}: factor {} has no range", design.name, design.factors[j].name));
        for (std::size_t i = 0; i < values.rows; ++i)
            values.at(i, j) = encode(values.at(i, j), design.level_counts[j], design.factors[j], code, design.place);
    }
    return values;
}

/// The numbers in a coding by name.
table values_in(const design_file& design, std::string_view name)
{
    const std::optional<coding> code = coding_named(name);
    if (name == "written" || code == design.code)
        return design.values;
    if (!code || *code == coding::raw)
        throw usage_error(fmt::format("coding: \"{}\" is not one of levels, unit, physical, written", name));
    return recoded(design, *code);
}

file_format format_of(std::string_view name)
{
    if (name != "csv" && name != "json")
        throw usage_error(fmt::format("format: \"{}\" is not one of csv, json", name));
    return name == "json" ? file_format::json : file_format::csv;
}

/// The file's text, with what reads its numbers back.
std::string file_text(const optdoe_design& design, file_format format)
{
    refuse_without_runs(design);
    design_file d = design.content;
    d.provenance = std::make_shared<nlohmann::ordered_json>(*d.provenance);
    if (d.code != coding::raw && !d.provenance->contains("coding"))
        describe_coding(*d.provenance, d.factors, d.code, d.place, d.level_counts);
    return design_text(d, format);
}

optdoe_status give_text(optdoe_design* design, const char** out, const std::function<std::string()>& made)
{
    return guarded(design, [&] {
        given(out, "the place for the text");
        design->text = made();
        *out = design->text.c_str();
    });
}

} // namespace

optdoe_status optdoe_design_new(optdoe_design** design) { return made(design); }

void optdoe_design_free(optdoe_design* design) { delete design; }

const char* optdoe_design_message(const optdoe_design* design)
{
    return design != nullptr ? design->message.c_str() : "";
}

optdoe_status optdoe_design_read(optdoe_design* design, const char* file)
{
    return guarded(design, [&] { replace(*design, read_design(given(file, "file"))); });
}

optdoe_status optdoe_design_parse(optdoe_design* design, const char* text, size_t size)
{
    return guarded(design, [&] { replace(*design, parse_design("-", std::string(given(text, "text"), size))); });
}

optdoe_status optdoe_design_set(optdoe_design* design, const double* values, size_t count, size_t runs,
                                size_t factors)
{
    return guarded(design, [&] {
        if (runs == 0 || factors == 0 || runs > 2147483647 / factors)
            throw usage_error(fmt::format(
                "{} runs of {} factors: both are at least 1, their product below 2147483648", runs, factors));
        if (count != runs * factors)
            throw usage_error(
                fmt::format("{} numbers where {} runs of {} factors have {}", count, runs, factors, runs * factors));
        table cells(runs, factors);
        std::copy_n(given(values, "values"), count, cells.cells.begin());
        for (std::size_t c = 0; c < count; ++c)
            if (!std::isfinite(values[c]))
                throw usage_error(fmt::format("run {}, factor {}: {} is not a finite number", c / factors + 1,
                                              c % factors + 1, values[c]));
        replace(*design, design_of_values(cells));
    });
}

optdoe_status optdoe_design_interpret(optdoe_design* design, const optdoe_request* request)
{
    return guarded(design, [&] {
        refuse_without_runs(*design);
        const design_request& by = given(request, "request")->what;
        design_file changed = design->content;
        interpret(changed, by.factors, by.code);
        design->content = std::move(changed);
    });
}

optdoe_status optdoe_design_merge(optdoe_design* design, const char* const* files, size_t count, int incomplete)
{
    return guarded(design, [&] {
        std::vector<std::string> names;
        for (std::size_t i = 0; i < count; ++i)
            names.emplace_back(given(given(files, "files")[i], "a file's name"));
        merged_search merged = merge(names, incomplete != 0);
        const std::unique_ptr<prepared_design> prepared = prepare(merged.request);
        arrange_levels(merged.best, static_cast<std::size_t>(prepared->problem().factors), names.front());
        design_file content = prepared->design_of(merged.best);
        content.name = std::string("-");
        const optdoe_outcome outcome{sizeof(optdoe_outcome), recorded_objective(content), merged.best.initial,   0.0,
                                     merged.searches,        merged.best.rounds,          merged.best.task.seed, 0};
        replace(*design, std::move(content));
        design->outcome = outcome;
    });
}

optdoe_status optdoe_design_size(optdoe_design* design, size_t* runs, size_t* factors)
{
    return guarded(design, [&] {
        if (runs != nullptr)
            *runs = design->content.values.rows;
        if (factors != nullptr)
            *factors = design->content.values.columns;
    });
}

optdoe_status optdoe_design_factor(optdoe_design* design, size_t factor, const char** name, const char** unit,
                                   double* low, double* high, size_t* level_count)
{
    return guarded(design, [&] {
        const design_file& content = design->content;
        if (factor >= content.factors.size())
            throw usage_error(
                fmt::format("factor {}: the design has {}, counted from 0", factor, content.factors.size()));
        const optdoe::factor& f = content.factors[factor];
        if (name != nullptr)
            *name = f.name.c_str();
        if (unit != nullptr)
            *unit = f.unit.c_str();
        if (low != nullptr)
            *low = f.range ? f.range->low : none;
        if (high != nullptr)
            *high = f.range ? f.range->high : none;
        if (level_count != nullptr)
            *level_count = content.level_counts[factor];
    });
}

optdoe_status optdoe_design_levels(optdoe_design* design, int32_t* levels, size_t count)
{
    return guarded(design, [&] {
        refuse_other_size(*design, count);
        const table values = values_in(design->content, "levels");
        for (const double level : values.cells)
            if (level != std::floor(level))
                throw input_error(
                    fmt::format("{}: added runs stand between levels; ask for values", design->content.name));
        std::transform(values.cells.begin(), values.cells.end(), given(levels, "levels"),
                       [](double level) { return static_cast<int32_t>(level); });
    });
}

optdoe_status optdoe_design_values(optdoe_design* design, const char* coding, double* values, size_t count)
{
    return guarded(design, [&] {
        refuse_other_size(*design, count);
        const table cells = values_in(design->content, given(coding, "coding"));
        std::copy(cells.cells.begin(), cells.cells.end(), given(values, "values"));
    });
}

optdoe_status optdoe_design_outcome(optdoe_design* design, optdoe_outcome* outcome)
{
    return guarded(design, [&] {
        if (!design->outcome)
            throw input_error("the design came of no search");
        const std::size_t size = given(outcome, "outcome")->size; // less than here where the caller is older
        if (size < sizeof(std::size_t) || size > 4096)
            throw usage_error("outcome: set its size to sizeof(optdoe_outcome)");
        std::memcpy(outcome, &*design->outcome, std::min(size, sizeof(optdoe_outcome)));
        outcome->size = size;
    });
}

optdoe_status optdoe_design_provenance(optdoe_design* design, const char** json)
{
    return give_text(design, json, [&] {
        return design->content.provenance->dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    });
}

optdoe_status optdoe_design_history(optdoe_design* design, const char** csv)
{
    return give_text(design, csv, [&] { return history_text(design->traces); });
}

optdoe_status optdoe_design_set_history(optdoe_design* design, const char* csv, size_t size)
{
    return guarded(design, [&] {
        refuse_without_runs(*design);
        design->traces = parse_history("-", std::string(given(csv, "csv"), size));
    });
}

optdoe_status optdoe_design_text(optdoe_design* design, const char* format, const char** text)
{
    return give_text(design, text, [&] { return file_text(*design, format_of(given(format, "format"))); });
}

optdoe_status optdoe_design_write(optdoe_design* design, const char* file)
{
    return guarded(design, [&] {
        const std::string name = given(file, "file");
        write_output(name, file_text(*design, name.ends_with(".json") ? file_format::json : file_format::csv));
        design->content.name = name;
    });
}

optdoe_status optdoe_design_report(optdoe_design* design, const char* file, size_t random_designs)
{
    return guarded(design, [&] {
        refuse_without_runs(*design);
        evaluation_options how;
        how.random_designs = random_designs;
        write_output(given(file, "file"),
                     report_page(design->content, evaluate(design->content, how), random_designs, design->traces));
    });
}

optdoe_status optdoe_design_plot(optdoe_design* design, const char* file)
{
    return guarded(design, [&] {
        refuse_without_runs(*design);
        plot(design->content, design->traces, given(file, "file"));
    });
}

#include "cli/result.h"

#include "api/reports/report.h"
#include "api/scores/evaluation.h"
#include "api/text/errors.h"
#include "api/text/output_file.h"
#include "api/text/text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cmath>
#include <cstdio>

#include <unistd.h>

namespace cli {

std::uint32_t resolved_seed(const options& o)
{
    if (o.seed)
        return *o.seed;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto ticks = static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
    // Nine digits are enough to tell runs apart and short enough to be typed again.
    return static_cast<std::uint32_t>((ticks * 1000003U + static_cast<std::uint64_t>(getpid())) % 1000000000U);
}

file_format resolved_format(const options& o, file_format otherwise)
{
    if (o.format)
        return *o.format;
    if (o.output.ends_with(".json"))
        return file_format::json;
    return o.output.ends_with(".csv") ? file_format::csv : otherwise;
}

std::string repeating_command(const options& o, std::uint32_t seed)
{
    return o.seed ? o.command_text : fmt::format("{} --seed {}", o.command_text, seed);
}

nlohmann::ordered_json run_provenance(const options& o, const settings& used, const run_outcome& outcome,
                                      std::uint32_t seed, std::size_t rows, std::size_t factors)
{
    nlohmann::ordered_json p = nlohmann::ordered_json::object();
    p["program"] = "optdoe";
    p["version"] = OPTDOE_VERSION;
    p["command"] = repeating_command(o, seed);
    p["runs"] = rows;
    p["seed"] = seed;
    p["end"] = name_of(outcome.reason);
    // The round in which the stop was asked for did not take place.
    p["rounds"] = outcome.iterations - (outcome.reason == end_reason::stop_requested ? 1 : 0);
    p["settings"] = used.effective(static_cast<std::int64_t>(rows), static_cast<std::int64_t>(factors));
    return p;
}

void refuse_unwritable_results(const options& o)
{
    for (const std::string& file : {o.output, o.history, o.report})
        if (!file.empty())
            refuse_unwritable(file);
}

int deliver(const options& o, design_file& design, const settings& used, const run_outcome& outcome,
            const progress& watch, std::uint32_t seed, const std::function<std::string(const design_file&)>& text)
{
    const double seconds = watch.seconds();
    std::vector<history_point> history = watch.history();
    const auto objective = objective_of(design, used);
    if (objective) {
        (*design.provenance)["objective"] = *objective;
        history.push_back({outcome.iterations, seconds, *objective});
    }
    write_output(o.output, text(design));
    if (!o.history.empty())
        write_output(o.history, history_text(history));
    if (!o.report.empty()) {
        const evaluation_options comparison;
        write_output(o.report, report_page(design, evaluate(design, comparison), comparison.random_designs, history));
    }
    if (!o.quiet) {
        const std::string gain = objective ? fmt::format(", {} {} (start {})", used.criterion, short_text(*objective),
                                                         short_text(outcome.initial_objective))
                                           : "";
        std::fprintf(stderr, "optdoe: %zu x %zu%s, seed %u, %d rounds in %.1f s: %s\n", design.values.rows,
                     design.values.columns, gain.c_str(), seed, outcome.iterations, seconds,
                     std::string(describe(outcome.reason)).c_str());
    }
    return outcome.reason == end_reason::stop_requested ? exit_stopped : exit_done;
}

} // namespace cli

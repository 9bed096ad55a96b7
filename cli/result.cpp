#include "cli/result.h"

#include "api/reports/report.h"
#include "api/runs/engine.h"
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

std::string repeating_command(const options& o, const search_result& best)
{
    const bool campaign = o.starts || o.run.seconds || o.effort || o.stop_after || o.jobs > 0 || o.shards > 1 ||
                          !o.results.empty() || !o.resume.empty();
    if (!campaign && !best.cut)
        return o.seed ? o.command_text : fmt::format("{} --seed {}", o.command_text, best.task.seed);
    std::vector<std::string> words = o.problem_words;
    if (best.task.effort > 0)
        words.push_back(fmt::format("--effort={}", best.task.effort));
    if (best.cut)
        words.push_back(fmt::format("--stop-after={}", best.task.stop_after));
    words.push_back(fmt::format("--seed={}", best.task.seed));
    if (resolved_format(o, file_format::csv) == file_format::json)
        words.push_back("--format=json");
    return "optdoe " + shell_text(words);
}

nlohmann::ordered_json search_provenance(const options& o, const settings& used, const search_result& best,
                                         std::size_t runs, std::size_t rows, std::size_t factors)
{
    nlohmann::ordered_json p = nlohmann::ordered_json::object();
    p["program"] = "optdoe";
    p["version"] = OPTDOE_VERSION;
    p["command"] = repeating_command(o, best);
    p["runs"] = runs;
    p["seed"] = best.task.seed;
    p["end"] = end_text(best);
    p["rounds"] = best.rounds;
    const auto n = static_cast<std::int64_t>(rows);
    const auto k = static_cast<std::int64_t>(factors);
    p["settings"] = best.task.effort > 0 ? used.effective_for_effort(best.task.effort) : used.effective(n, k);
    return p;
}

namespace {

/// Why everything ended, as a sentence's end.
std::string end_sentence(const finished_campaign& f)
{
    if (f.stopped)
        return std::string(describe(end_reason::stop_requested));
    if (f.single && !f.best.cut)
        return std::string(describe(f.best.reason));
    if (f.best.cut && f.best.task.stop_after == 0)
        return "no round was done";
    return f.by_time ? std::string(describe(end_reason::time_limit)) : "all searches are done";
}

void print_summary(const options& o, const design_file& design, const settings& used, const finished_campaign& f,
                   const std::optional<double>& objective)
{
    const std::string gain = objective ? fmt::format(", {} {} (start {})", used.criterion, short_text(*objective),
                                                     short_text(f.best.initial))
                                       : "";
    const std::string work =
        f.single ? fmt::format("{} rounds", f.best.rounds)
                 : fmt::format("best of {} searches on {} {}", f.searches, f.jobs, f.jobs == 1 ? "core" : "cores");
    std::fprintf(stderr, "optdoe: %zu x %zu%s, seed %u, %s in %.1f s: %s\n", design.values.rows,
                 design.values.columns, gain.c_str(), f.best.task.seed, work.c_str(), f.seconds,
                 end_sentence(f).c_str());
    if (f.best.cut && f.best.rounds == 0)
        std::fprintf(stderr,
                     "optdoe: warning: no round was done in the time: this is the start as it is, which is %s\n",
                     o.start.empty() ? "random" : "the given design");
    else if (f.single && f.best.reason == end_reason::iteration_limit && !o.run.seconds && !o.effort && !f.stopped)
        std::fputs("optdoe: more time finds better designs: --time 30s searches for 30 seconds on all cores\n",
                   stderr);
}

} // namespace

int deliver(const options& o, design_file& design, const settings& used, const finished_campaign& finished,
            const std::function<std::string(const design_file&)>& text)
{
    const auto objective = objective_of(design, used);
    if (objective)
        (*design.provenance)["objective"] = *objective;
    write_output(o.output, text(design));
    if (!o.history.empty())
        write_output(o.history, history_text(finished.traces));
    if (!o.report.empty()) {
        const evaluation_options comparison;
        write_output(o.report,
                     report_page(design, evaluate(design, comparison), comparison.random_designs, finished.traces));
    }
    if (!o.quiet)
        print_summary(o, design, used, finished, objective);
    if (!finished.results_failure.empty()) {
        std::fprintf(stderr, "optdoe: %s: searches are missing in it\n", finished.results_failure.c_str());
        return exit_failed;
    }
    return finished.stopped ? exit_stopped : exit_done;
}

} // namespace cli

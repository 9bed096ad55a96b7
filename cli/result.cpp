#include "cli/result.h"

#include "api/reports/report.h"
#include "api/runs/engine.h"
#include "api/scores/evaluation.h"
#include "api/text/errors.h"
#include "api/text/output_file.h"
#include "api/text/text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cstdio>

namespace cli {

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

void print_summary(const options& o, const design_file& design, const finished_campaign& f)
{
    const auto objective = design.provenance->find("objective");
    const std::string gain = objective != design.provenance->end()
                                 ? fmt::format(", {} {} (start {})", o.request.run.criterion,
                                               short_text(objective->get<double>()), short_text(f.best.initial))
                                 : "";
    const std::string work =
        f.single ? fmt::format("{} rounds", f.best.rounds)
                 : fmt::format("best of {} searches on {} {}", f.searches, f.jobs, f.jobs == 1 ? "core" : "cores");
    std::fprintf(stderr, "optdoe: %zu x %zu%s, seed %u, %s in %.1f s: %s\n", design.values.rows,
                 design.values.columns, gain.c_str(), f.best.task.seed, work.c_str(), f.seconds,
                 end_sentence(f).c_str());
    const design_request& r = o.request;
    if (f.best.cut && f.best.rounds == 0)
        std::fprintf(stderr,
                     "optdoe: warning: no round was done in the time: this is the start as it is, which is %s\n",
                     r.start.is_given() ? "the given design" : "random");
    else if (f.single && f.best.reason == end_reason::iteration_limit && !r.run.seconds && !r.effort && !f.stopped)
        std::fputs("optdoe: more time finds better designs: --time 30s searches for 30 seconds on all cores\n",
                   stderr);
}

} // namespace

int deliver(const options& o, const design_file& design, const finished_campaign& finished)
{
    write_output(o.output, design_text(design, design.format));
    if (!o.history.empty())
        write_output(o.history, history_text(finished.traces));
    if (!o.report.empty()) {
        const evaluation_options comparison;
        write_output(o.report,
                     report_page(design, evaluate(design, comparison), comparison.random_designs, finished.traces));
    }
    if (!o.quiet)
        print_summary(o, design, finished);
    if (!finished.results_failure.empty()) {
        std::fprintf(stderr, "optdoe: %s: searches are missing in it\n", finished.results_failure.c_str());
        return exit_failed;
    }
    return finished.stopped ? exit_stopped : exit_done;
}

} // namespace cli

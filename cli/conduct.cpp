#include "cli/conduct.h"

#include "api/text/errors.h"
#include "api/text/output_file.h"
#include "cli/progress.h"
#include "cli/signals.h"

#include <fmt/format.h>

#include <atomic>
#include <cstdio>

namespace cli {

namespace {

/// A run of the library alone has what the Java method returns.
void refuse_contradictions(const options& o)
{
    if (o.effort && o.run.steers_the_method())
        throw usage_error("--effort chooses its methods; --method and what steers one go without it");
    if (o.effort && o.entry_levels)
        throw usage_error("--entry-levels needs a run of the library; --effort is none");
    const bool many = o.starts.value_or(1) > 1 || o.run.seconds;
    if (o.stop_after && many)
        throw usage_error("--stop-after ends one search; --time and --starts go without it");
    if (o.shards > 1 && !many)
        throw usage_error("--shard needs --starts or --time");
}

} // namespace

campaign_request requested_campaign(const options& o, const search_problem& problem, std::uint32_t seed)
{
    refuse_contradictions(o);
    campaign_request request;
    request.first_seed = seed;
    request.seconds = o.run.seconds;
    request.effort = o.effort.value_or(0);
    request.stop_after = o.stop_after.value_or(-1);
    request.shard = o.shard;
    request.shards = o.shards;
    request.starts = o.starts.value_or(o.run.seconds ? 0 : 1);
    if (problem.factors < 2 || problem.rows < 2) // nothing to search for
        request.starts = 1;
    request.plans_efforts = request.starts == 0 && !o.effort && !o.run.steers_the_method() && !o.entry_levels;
    return request;
}

campaign_identity identity_of(const options& o, const campaign_request& request)
{
    std::vector<std::string> words = o.problem_words;
    if (request.effort > 0)
        words.push_back(fmt::format("--effort={}", request.effort));
    return {words, request.first_seed, request.starts, request.shard, request.shards};
}

void refuse_unwritable_results(const options& o)
{
    for (const std::string& file : {o.output, o.history, o.report, o.results})
        if (!file.empty())
            refuse_unwritable(file);
}

namespace {

/// Takes over what a file of --resume holds; refuses one of other settings.
recorded_campaign resumed(campaign& c, const options& o, const campaign_identity& identity)
{
    recorded_campaign recorded = read_results(o.resume);
    if (recorded.identity.hash() != identity.hash())
        throw input_error(fmt::format("{}:1:1: is of other settings:\n  optdoe {}\nasked for is\n  optdoe {}",
                                      o.resume, shell_text(recorded.identity.command), shell_text(identity.command)));
    const campaign_request& asked = c.request();
    if (recorded.identity.starts > 0 && asked.starts > 0 && recorded.identity.first_seed != asked.first_seed)
        throw input_error(fmt::format("{}:1:1: begins with seed {}; give --seed {}", o.resume,
                                      recorded.identity.first_seed, recorded.identity.first_seed));
    if (recorded.truncated && !o.quiet)
        std::fprintf(stderr, "optdoe: %s: the last line has no end; its search is made again\n", o.resume.c_str());
    for (const std::uint32_t seed : recorded.seeds)
        c.take_done(seed, std::nullopt);
    if (recorded.best) {
        arrange_levels(*recorded.best, static_cast<std::size_t>(c.problem().factors), o.resume);
        c.take_done(recorded.best->task.seed, recorded.best);
    }
    return recorded;
}

void open_results(std::optional<results_file>& file, campaign& c, const options& o)
{
    const campaign_identity identity = identity_of(o, c.request());
    if (!o.results.empty())
        file.emplace(o.results, identity);
    else if (!o.resume.empty())
        file.emplace(resumed(c, o, identity));
}

} // namespace

finished_campaign conduct(const options& o, const search_problem& problem, std::uint32_t seed,
                          const campaign_runner& run, int jobs)
{
    refuse_unwritable_results(o);
    campaign c(problem, requested_campaign(o, problem, seed));
    std::optional<results_file> results;
    open_results(results, c, o);
    if (jobs == 0) {
        jobs = jobs_for(c, o.jobs);
        const int wanted = jobs_for_cores(c, o.jobs);
        if (jobs < wanted && !o.quiet)
            std::fprintf(stderr, "optdoe: %d searches at a time, not %d: more do not fit into memory\n", jobs,
                         wanted);
    }

    finished_campaign finished;
    finished.jobs = jobs;
    finished.single = c.request().is_single();
    progress watch(o.quiet, c.request());
    crew_orders orders;
    std::atomic<bool> results_failed{false};
    bool told = false;
    orders.keep_watch = [&](const campaign_status& status) {
        watch.update(status);
        if (results_failed && !told)
            watch.say(fmt::format("{}; the search goes on without it", results->failure()));
        told = results_failed;
        return stop_signalled();
    };
    orders.on_result = [&](const search_result& result, bool leads) {
        if (!results)
            return;
        results->add(result, leads);
        results_failed = !results->failure().empty();
    };
    finished.seconds = run(c, jobs, orders);
    watch.finish();
    if (!c.best())
        throw input_error("no search was finished");
    finished.best = *c.best();
    finished.traces = c.traces();
    finished.searches = c.done() + c.done_before();
    finished.stopped = stop_signalled();
    finished.by_time = c.request().seconds && finished.seconds >= *c.request().seconds * 0.99;
    finished.results_failure = results ? results->failure() : "";
    return finished;
}

std::optional<finished_campaign> searched_here(const options& o, const search_problem& problem, std::uint32_t seed)
{
    return conduct(o, problem, seed, run_on_threads);
}

} // namespace cli

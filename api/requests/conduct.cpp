#include "api/requests/conduct.h"

#include "api/requests/request_options.h"
#include "api/text/errors.h"
#include "api/text/output_file.h"

#include <fmt/format.h>

#include <atomic>

namespace optdoe {

namespace {

/// A run of the library alone has what the Java method returns.
void refuse_contradictions(const design_request& r)
{
    if (r.effort && r.run.steers_the_method())
        throw usage_error("--effort chooses its methods; --method and what steers one go without it");
    if (r.effort && r.entry_levels)
        throw usage_error("--entry-levels needs a run of the library; --effort is none");
    const bool many = r.starts.value_or(1) > 1 || r.run.seconds;
    if (r.stop_after && many)
        throw usage_error("--stop-after ends one search; --time and --starts go without it");
    if (r.shards > 1 && !many)
        throw usage_error("--shard needs --starts or --time");
    if (!r.results.empty() && !r.resume.empty())
        throw usage_error("--resume writes its own file further; --results goes without it");
}

void remark(const conduct_orders& orders, const std::string& text)
{
    if (orders.remark)
        orders.remark(text);
}

/// Takes over what a file of --resume holds; refuses one of other settings.
recorded_campaign resumed(campaign& c, const std::string& file, const campaign_identity& identity,
                          const conduct_orders& orders)
{
    recorded_campaign recorded = read_results(file);
    if (recorded.identity.hash() != identity.hash())
        throw input_error(fmt::format("{}:1:1: is of other settings:\n  optdoe {}\nasked for is\n  optdoe {}", file,
                                      shell_text(recorded.identity.command), shell_text(identity.command)));
    const campaign_request& asked = c.request();
    if (recorded.identity.starts > 0 && asked.starts > 0 && recorded.identity.first_seed != asked.first_seed)
        throw input_error(fmt::format("{}:1:1: begins with seed {}; give --seed {}", file,
                                      recorded.identity.first_seed, recorded.identity.first_seed));
    if (recorded.truncated)
        remark(orders, fmt::format("{}: the last line has no end; its search is made again", file));
    for (const std::uint32_t seed : recorded.seeds)
        c.take_done(seed, std::nullopt);
    if (recorded.best) {
        arrange_levels(*recorded.best, static_cast<std::size_t>(c.problem().factors), file);
        c.take_done(recorded.best->task.seed, recorded.best);
    }
    return recorded;
}

void open_results(std::optional<results_file>& file, campaign& c, const design_request& request,
                  const conduct_orders& orders)
{
    const campaign_identity identity = identity_of(request, c.request());
    if (!request.results.empty())
        file.emplace(request.results, identity);
    else if (!request.resume.empty())
        file.emplace(resumed(c, request.resume, identity, orders));
}

} // namespace

campaign_request requested_campaign(const design_request& request, const search_problem& problem, std::uint32_t seed)
{
    refuse_contradictions(request);
    campaign_request asked;
    asked.first_seed = seed;
    asked.seconds = request.run.seconds;
    asked.effort = request.effort.value_or(0);
    asked.stop_after = request.stop_after.value_or(-1);
    asked.shard = request.shard;
    asked.shards = request.shards;
    asked.starts = request.starts.value_or(request.run.seconds ? 0 : 1);
    if (problem.factors < 2 || problem.rows < 2) // nothing to search for
        asked.starts = 1;
    asked.plans_efforts =
        asked.starts == 0 && !request.effort && !request.run.steers_the_method() && !request.entry_levels;
    return asked;
}

campaign_identity identity_of(const design_request& request, const campaign_request& campaign)
{
    std::vector<std::string> words = problem_words(request);
    if (campaign.effort > 0)
        words.push_back(fmt::format("--effort={}", campaign.effort));
    return {words, campaign.first_seed, campaign.starts, campaign.shard, campaign.shards};
}

finished_campaign conduct(const design_request& request, const search_problem& problem, std::uint32_t seed,
                          const conduct_orders& orders)
{
    if (!request.results.empty())
        refuse_unwritable(request.results);
    campaign c(problem, requested_campaign(request, problem, seed));
    std::optional<results_file> results;
    open_results(results, c, request, orders);
    finished_campaign finished;
    finished.jobs = orders.jobs > 0 ? orders.jobs : jobs_for(c, request.jobs);
    const int wanted = orders.jobs > 0 ? orders.jobs : jobs_for_cores(c, request.jobs);
    if (finished.jobs < wanted)
        remark(orders,
               fmt::format("{} searches at a time, not {}: more do not fit into memory", finished.jobs, wanted));
    finished.single = c.request().is_single();

    crew_orders crew;
    std::atomic<bool> results_failed{false};
    bool told = false;
    crew.keep_watch = [&](const campaign_status& status) {
        finished.stopped = finished.stopped || (orders.watch && orders.watch(status));
        if (results_failed && !told)
            remark(orders, fmt::format("{}; the search goes on without it", results->failure()));
        told = results_failed;
        return finished.stopped;
    };
    crew.on_result = [&](const search_result& result, bool leads) {
        if (!results)
            return;
        results->add(result, leads);
        results_failed = !results->failure().empty();
    };
    finished.seconds = orders.run(c, finished.jobs, crew);
    if (!c.best())
        throw input_error("no search was finished");
    finished.best = *c.best();
    finished.traces = c.traces();
    finished.searches = c.done() + c.done_before();
    finished.by_time = c.request().seconds && finished.seconds >= *c.request().seconds * 0.99;
    finished.results_failure = results ? results->failure() : "";
    return finished;
}

} // namespace optdoe

#include "cli/conduct.h"

#include "api/text/output_file.h"
#include "cli/progress.h"
#include "cli/signals.h"

namespace cli {

finished_campaign conduct(const options& o, const search_problem& problem, std::uint32_t seed,
                          const campaign_runner& run, int jobs)
{
    for (const std::string& file : {o.output, o.history, o.report})
        if (!file.empty())
            refuse_unwritable(file);
    progress watch(o.quiet, requested_campaign(o.request, problem, seed));
    conduct_orders orders;
    orders.run = run;
    orders.jobs = jobs;
    orders.watch = [&](const campaign_status& status) {
        watch.update(status);
        return stop_signalled();
    };
    orders.remark = [&](const std::string& text) {
        if (!o.quiet)
            watch.say(text);
    };
    finished_campaign finished = optdoe::conduct(o.request, problem, seed, orders);
    watch.finish();
    finished.stopped = stop_signalled();
    return finished;
}

std::optional<finished_campaign> searched_here(const options& o, const search_problem& problem, std::uint32_t seed)
{
    return conduct(o, problem, seed, run_on_threads);
}

} // namespace cli

#include "cli/conduct.h"

#include "api/text/errors.h"
#include "api/text/output_file.h"
#include "cli/progress.h"
#include "cli/signals.h"

#include <fmt/format.h>

#include <filesystem>
#include <vector>

namespace cli {

namespace {

bool is_same_file(const std::string& a, const std::string& b)
{
    namespace fs = std::filesystem;
    if (a.empty() || b.empty() || a == "-" || b == "-")
        return false;
    const bool is_device = fs::exists(a) && !fs::is_regular_file(a);
    return !is_device && fs::weakly_canonical(fs::absolute(a)) == fs::weakly_canonical(fs::absolute(b));
}

/// A file that is written twice holds the last only, and what was read is lost once it is written.
void refuse_shared_files(const options& o)
{
    const design_request& r = o.request;
    std::vector<std::string> inputs = o.inputs;
    inputs.insert(inputs.end(), {r.start.name, r.old.name});
    const std::vector<std::string> outputs{o.output, o.history, o.report, r.results, r.resume};
    for (auto output = outputs.begin(); output != outputs.end(); ++output) {
        for (const std::string& input : inputs)
            if (is_same_file(*output, input))
                throw usage_error(fmt::format("{}: is read; give the output another name", *output));
        for (auto other = outputs.begin(); other != output; ++other)
            if (is_same_file(*output, *other))
                throw usage_error(fmt::format("{}: two outputs; give each a file of its own", *output));
    }
}

} // namespace

finished_campaign conduct(const options& o, const search_problem& problem, std::uint32_t seed,
                          const campaign_runner& run, int jobs)
{
    refuse_shared_files(o);
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

#include "cli/commands.h"

#include "api/campaign/results_file.h"
#include "api/requests/prepared_design.h"

namespace cli {

int run_merge(const options& given)
{
    merged_search merged = merge(given.files, given.incomplete);
    options o = given;
    o.request = merged.request;
    o.request.output_words = given.request.output_words;
    // The best of the files takes the place of a search.
    return run_search(o, [&](const options&, const search_problem& problem, std::uint32_t) {
        finished_campaign f;
        f.best = std::move(merged.best);
        arrange_levels(f.best, static_cast<std::size_t>(problem.factors), o.request.results);
        f.searches = merged.searches;
        f.single = false;
        return std::optional(f);
    });
}

} // namespace cli

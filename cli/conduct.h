/// From a problem to its best design: the searches of make, augment and merge, on whatever they run.
#pragma once

#include "api/campaign/crew.h"
#include "api/campaign/results_file.h"
#include "cli/options.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace cli {

/// What a campaign leaves for the design file, the report and the summary.
struct finished_campaign {
    search_result best;
    std::vector<search_trace> traces;
    double seconds = 0.0;
    std::int64_t searches = 0; ///< finished or cut, those of resumed files included
    int jobs = 1;
    bool single = true;          ///< one search was asked for
    bool stopped = false;        ///< by a signal
    bool by_time = false;        ///< there was a time limit, and it was reached
    std::string results_failure; ///< why the results file is incomplete; empty: it is not
};

/// Finds the best design of a problem. Nothing where this process only works for another, which has the result.
using design_source =
    std::function<std::optional<finished_campaign>(const options&, const search_problem&, std::uint32_t seed)>;

/// Runs a campaign to its end: threads of this process or ranks of several. Returns the seconds that it took.
using campaign_runner = std::function<double(campaign&, int jobs, const crew_orders&)>;

/// The campaign that the options ask for. Throws usage_error where they do not go together.
campaign_request requested_campaign(const options& o, const search_problem& problem, std::uint32_t seed);

/// Runs the campaign of the options, with progress, results file and signals.
///   jobs   of the runner; 0: as the options and the machine allow
finished_campaign conduct(const options& o, const search_problem& problem, std::uint32_t seed,
                          const campaign_runner& run, int jobs = 0);

/// The source of the program: threads.
std::optional<finished_campaign> searched_here(const options& o, const search_problem& problem, std::uint32_t seed);

/// Words of the options that make the problem again, as results files keep them.
campaign_identity identity_of(const options& o, const campaign_request& request);

/// Throws when one of the files that the run is to write cannot be written.
void refuse_unwritable_results(const options& o);

} // namespace cli

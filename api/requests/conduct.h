/// From a problem to its best design: the searches of a request, on whatever they run.
#pragma once

#include "api/campaign/crew.h"
#include "api/campaign/results_file.h"
#include "api/requests/design_request.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace optdoe {

/// What a campaign leaves for the design file, the report and the summary.
struct finished_campaign {
    search_result best;
    std::vector<search_trace> traces;
    double seconds = 0.0;
    std::int64_t searches = 0; ///< finished or cut, those of resumed files included
    int jobs = 1;
    bool single = true;          ///< one search was asked for
    bool stopped = false;        ///< somebody said stop
    bool by_time = false;        ///< there was a time limit, and it was reached
    std::string results_failure; ///< why the results file is incomplete; empty: it is not
};

/// Runs a campaign to its end: threads of this process or ranks of several. Returns the seconds that it took.
using campaign_runner = std::function<double(campaign&, int jobs, const crew_orders&)>;

/// Who runs the searches, who watches and who listens.
struct conduct_orders {
    campaign_runner run = run_on_threads;
    int jobs = 0; ///< of the runner; 0: as the request and the machine allow
    /// About 20 times a second, on the caller's thread; true ends the searches. May be empty.
    std::function<bool(const campaign_status&)> watch;
    std::function<void(const std::string&)> remark; ///< what a person should know and no error is; may be empty
};

/// The campaign that a request asks for. Throws usage_error where its options do not go together.
campaign_request requested_campaign(const design_request& request, const search_problem& problem, std::uint32_t seed);

/// What results files say of the request: the words that make its problem again, and which searches are asked for.
campaign_identity identity_of(const design_request& request, const campaign_request& campaign);

/// Makes the searches of a request, with its results file. Throws input_error where no search was finished.
finished_campaign conduct(const design_request& request, const search_problem& problem, std::uint32_t seed,
                          const conduct_orders& orders);

} // namespace optdoe

/// The searches of the command line: with its progress, signals and files.
#pragma once

#include "api/requests/conduct.h"
#include "cli/options.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace cli {

/// Finds the best design of a problem. Nothing where this process only works for another, which has the result.
using design_source =
    std::function<std::optional<finished_campaign>(const options&, const search_problem&, std::uint32_t seed)>;

/// Makes the searches of the options, with progress and signals.
///   jobs   of the runner; 0: as the options and the machine allow
finished_campaign conduct(const options& o, const search_problem& problem, std::uint32_t seed,
                          const campaign_runner& run, int jobs = 0);

/// The source of the program: threads.
std::optional<finished_campaign> searched_here(const options& o, const search_problem& problem, std::uint32_t seed);

} // namespace cli

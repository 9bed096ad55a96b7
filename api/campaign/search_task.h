/// What a search of a campaign gets and gives.
#pragma once

#include "api/designs/design.h"
#include "api/runs/history.h"
#include "api/settings/settings.h"

#include "optdoe/run/outcome.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace optdoe {

/// What is asked for, but for the seed.
struct search_problem {
    std::int32_t rows = 0; ///< that are placed
    std::int32_t factors = 0;
    std::int32_t fixed_rows = 0; ///< of the start, before the others
    settings options;            ///< without a time limit
    /// The start of a seed, all rows; nothing, or no function: a random Latin hypercube.
    std::function<std::optional<table>(std::uint32_t seed)> start;
};

struct search_task {
    std::uint32_t seed = 0;
    std::int64_t effort = 0;      ///< rounds of a search of effort; 0: a run of the library
    std::int64_t stop_after = -1; ///< cut after this round; below 0: never
};

struct search_progress {
    std::int64_t rounds = 0; ///< done
    double initial = 0.0;    ///< objective of the start
    double best = 0.0;
};

/// Called between rounds, and with the last progress wherever a run reads the clock; true cuts the search.
using search_watch = std::function<bool(const search_progress&)>;

struct search_result {
    search_task task;                       ///< with `stop_after` set to the rounds done where the search was cut
    table levels;                           ///< exact entries of the start, fixed rows included
    std::vector<std::int32_t> entry_levels; ///< what a JVM would receive; empty unless a run of the library
    double initial = 0.0;                   ///< objective of the start
    double objective = 0.0;                 ///< computed afresh from `levels`; NaN where the criterion does not apply
    std::int64_t rounds = 0;                ///< done
    end_reason reason = end_reason::failed; ///< of a search that came to its own end
    bool cut = false;
    double began = 0.0;                 ///< seconds since the campaign began; set by who runs the search
    double seconds = 0.0;               ///< likewise
    std::vector<history_point> history; ///< seconds since the campaign began; likewise
    std::string processor;              ///< of another machine that made it; empty: this one
};

} // namespace optdoe

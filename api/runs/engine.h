/// The library as the program sees it: one run, one score. Everything goes through optdoe_run and the embedded host.
///
/// Threads  runs share nothing: each has a rotation counter of its own that starts at 0, so that equal requests give
///          equal designs, at the same time or one after the other.
#pragma once

#include "api/designs/design.h"
#include "api/settings/settings.h"

#include "optdoe/entry/optdoe.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

namespace optdoe {

struct run_request {
    std::int32_t rows = 0; ///< placed by the run; with a start: its free rows
    std::int32_t factors = 0;
    std::uint32_t seed = 0;
    const settings* options = nullptr;
    const table* start = nullptr; ///< null: the library's random Latin hypercube
    std::int32_t fixed_rows = 0;  ///< leading rows of the start
    /// Called at every poll of the stop flag, once a round; true asks the run to stop.
    std::function<bool(const run_outcome&)> keep_watch;
    /// Called wherever the run reads the clock; true ends it as spent time does.
    std::function<bool()> interrupted;
};

struct run_result {
    table design;                           ///< levels before truncation, fixed rows included
    std::vector<std::int32_t> entry_levels; ///< what a JVM would receive
    run_outcome outcome;
};

/// Throws input_error with the library's own lines when it refuses. The time limit is that of the settings, else the
/// library's default.
run_result run_library(const run_request& request);

/// The objective of a design under the settings' criterion; nothing where the criterion does not apply: fewer than
/// two rows or factors, a column with one value, A2 on unbalanced columns.
/// It is the starting objective of a run that stops at its first poll, so it moves no factor and draws nothing that
/// a later run would see.
std::optional<double> score(const table& design, const settings& options);

/// Stable words for provenance and reports.
std::string_view name_of(end_reason reason);
/// The same as part of a sentence: "the rounds are spent".
std::string_view describe(end_reason reason);

} // namespace optdoe

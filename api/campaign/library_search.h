/// A run of the library as a search that may be cut.
#pragma once

#include "api/campaign/search_task.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace optdoe {

/// The start of a seed; nothing where the library makes it.
std::optional<table> start_of(const search_problem& problem, std::uint32_t seed);

/// Levels 1 .. n in each column: the entries of every Latin hypercube.
table latin_levels(std::size_t rows, std::size_t factors);

/// A run of the library from a start, or from its own. It is cut by the watch or after `stop_after` rounds; without a
/// round it gives the start as it is. The entries of the result are those of the start; the objective is the run's.
///   start   all rows; may be null
search_result run_library_search(const search_problem& problem, const settings& options, const search_task& task,
                                 const table* start, const search_watch& watch);

} // namespace optdoe

/// One search of a campaign: a pure function of what is asked for, a seed and the work that is done.
///
/// Two kinds
///   a run     the library's search with the settings as given, ended by its own count of rounds
///   effort    a search of a given number of rounds that is free to choose its methods: annealing by exchanges
///             (annealing/annealing.h) where that serves the criterion and the structure of the design, else a chain
///             of runs of the library (effort.h)
/// Either may be cut after some round, by a clock, a signal or `stop_after`: with the same number of rounds the same
/// design comes out. A search that is cut before its first round gives its start as it is.
#pragma once

#include "api/campaign/search_task.h"

#include <string>

namespace optdoe {

/// Throws input_error when the library refuses the run.
search_result run_search(const search_problem& problem, const search_task& task, const search_watch& watch);

/// Bytes that one search holds at its peak.
double bytes_of_search(const search_problem& problem, bool effort);

/// The word for how a search ended.
std::string end_text(const search_result& result);

/// The rule of every campaign: the lower objective, then the lower seed; NaN is last. A total order, so that no
/// schedule can change the winner.
bool is_better(double objective_a, std::uint32_t seed_a, double objective_b, std::uint32_t seed_b);

/// The same of a result and the best so far; true where there is none yet.
bool is_better(const search_result& result, const std::optional<search_result>& best);

} // namespace optdoe

/// Searches of effort: a number of rounds is given, and the methods are free.
#pragma once

#include "api/annealing/annealing.h"
#include "api/campaign/search_task.h"

#include <optional>

namespace optdoe {

/// The problem as the annealer sees it, from a start; nothing where annealing does not serve: criteria other than
/// phi-p, maximin and centered L2, level groups, symmetric designs, sizes that it refuses.
std::optional<annealed_problem> annealed(const search_problem& problem, const table& start);

/// Annealing of the task's effort from a start.
search_result run_annealing(const search_problem& problem, const annealed_problem& annealed, const table& start,
                            const search_task& task, const search_watch& watch);

/// A chain of runs of the library of the task's effort in all. First short runs from starts of their own, then run
/// after run from the best design's levels, without pre-improvement, with a fresh threshold.
/// Source: Lourenço, Martin and Stützle, "Iterated local search", Handbook of Metaheuristics, 2003, for going on from
/// the best; the search itself accepts worse designs, which perturbs enough.
search_result run_chain(const search_problem& problem, const search_task& task, const search_watch& watch);

} // namespace optdoe

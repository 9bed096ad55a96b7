/// Searches of effort: a number of rounds is given, and the methods are free.
#pragma once

#include "api/annealing/annealing.h"
#include "api/campaign/search_task.h"

#include <optional>

namespace optdoe {

/// The problem as the annealer sees it, from a start; nothing where annealing does not serve: criteria other than
/// phi-p, maximin and centered L2, level groups, symmetric designs, sizes that it refuses.
std::optional<annealed_problem> annealed(const search_problem& problem, const table& start);

/// The same from a start of seed 0: for questions that do not depend on the start.
std::optional<annealed_problem> annealed(const search_problem& problem);

/// Annealing of the task's effort from a start.
search_result run_annealing(const search_problem& problem, const annealed_problem& annealed, const table& start,
                            const search_task& task, const search_watch& watch);

/// A chain of runs of the library of the task's effort in all: from starts of their own and, in turn at equal work,
/// from the best design's levels, without pre-improvement, with a fresh threshold. A run ends once it has gained
/// nothing for long, so that the rounds done so far, and not the effort, decide what comes next: a longer chain
/// begins with a shorter one. The first run is one long run of the task's seed as long as it gains.
///
/// Source  Lourenço, Martin and Stützle, "Iterated local search", Handbook of Metaheuristics, 2003, for going on from
///         the best; the search itself accepts worse designs, which perturbs enough.
search_result run_chain(const search_problem& problem, const search_task& task, const search_watch& watch);

} // namespace optdoe

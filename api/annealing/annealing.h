/// Simulated annealing of a design by exchanges of two entries of a column: phi-p, maximin and centered L2.
///
/// A search is a pure function of the problem, the seed and the number of rounds: the temperature falls with the
/// share of the rounds done, never with the clock, and every instruction set gives the same bits.
///
/// Threads  searches share nothing.
/// Errors   std::invalid_argument for shapes that do not fit; std::bad_alloc.
/// Source   Morris and Mitchell, "Exploratory designs for computational experiments", 1995: annealing by exchanges;
///          Jin, Chen and Sudjianto, "An efficient algorithm for constructing optimal design of computer
///          experiments", 2005: the updates of phi-p and centered L2.
#pragma once

#include "api/annealing/annealed_problem.h"

#include <cstddef>

namespace optdoe {

/// Searches. With the same problem, seed and `rounds`, the result after V rounds is the same whether `keep_watch` or
/// `stop_after` ended it.
///   keep_watch   called after each round; true: stop; may be empty
annealing_result anneal(const annealed_problem& problem, const annealing_plan& plan,
                        const annealing_watch& keep_watch);

/// Bytes that a search holds, roughly: the square of the rows in single precision and what goes with rows times
/// columns.
double annealing_bytes(std::size_t rows, std::size_t columns, annealed_problem::criterion what);

/// True when the problem is of a size that annealing serves: 3 to 6000 rows, of which two are free, and a column that
/// may be moved.
bool can_anneal(const annealed_problem& problem);

} // namespace optdoe

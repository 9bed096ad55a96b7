/// The search driver: pre-improvement, then one of three methods over column moves.
///
/// Methods  0 threshold accepting with an adaptive threshold (Dueck and Scheuer, "Threshold accepting", 1990; the
///          stochastic column exchange with inner and outer loops follows Jin, Chen and Sudjianto, "An efficient
///          algorithm for constructing optimal design of computer experiments", 2005), 1 greedy sweeps with random
///          restarts, 2 annealing with geometric cooling.
/// Stops    target reached, iterations or moves spent, time spent, stop flag of the host, no factor to move, and with
///          annealing a round without an accepted move.
/// Draws    the order of draws is behaviour: factor choice (weighted only), those of the column move, one acceptance
///          draw a move in methods 0 and 2.
#pragma once

#include "optdoe/run/run_context.h"

#include <atomic>
#include <cstdint>

/// Improves the criterion's design; every new best is copied into design_out, [total_rows x factors].
///   returns the best objective
double run_search(run_context* ctx, double** design_out);

/// A count of the work done: moves for method 2, else max_candidates x inner_moves x iterations, wrapping.
std::int32_t search_effort(const run_context* ctx);

/// The process-wide counter of round-robin factor choices, for runs without a counter of their own (run_extras):
/// shared by them, never reset, relaxed. Successive runs go on with the rotation where the last one stopped; runs at
/// the same time draw from it in turn.
extern std::atomic<std::uint32_t> choice_counter;

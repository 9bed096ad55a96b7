/// What a run tells its caller beside the design that it returns.
#pragma once

#include <cstdint>

/// Why a run ended. Everything but `failed` comes with a design.
enum class end_reason : std::int32_t {
    failed,              ///< invalid input or an exception in the host: no design
    not_searched,        ///< a single factor: the random permutation is the result
    target_reached,      ///< the objective reached the target of the criterion
    iteration_limit,     ///< rounds, restarts or moves are spent
    time_limit,          ///< the time budget is spent
    stop_requested,      ///< the host's stop flag
    no_acceptance,       ///< annealing: a round without an accepted move
    nothing_to_move,     ///< no factor has a share above 1e-10, or a round has no moves
    undefined_objective, ///< threshold accepting: the objective is not a number
};

/// Receives what a run found. The caller owns it; `design` may be null when the rows are not wanted.
struct run_outcome {
    double* design;           ///< out: [(fixed_rows + nsamples) x nfactors] row-major, levels before truncation
    double initial_objective; ///< out: objective of the starting design
    double best_objective;    ///< out: kept up to date while the run goes on: right at every poll of the stop flag
    std::int32_t iterations;  ///< out: rounds begun, likewise
    std::int32_t effort;      ///< out: work done: moves (annealing), else candidates x moves x rounds, wrapping
    end_reason reason;        ///< out: `failed` until the run has ended
};

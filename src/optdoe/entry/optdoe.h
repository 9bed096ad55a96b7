/// One run: the call below the exported native method, and the two exported functions.
///
/// The exported method is optdoe_run without extras. Tests, benchmarks and the command line call optdoe_run with
/// them, through an environment of their own, so that there is one driver for all.
#pragma once

#include "optdoe/run/jni_abi.h"
#include "optdoe/run/run_settings.h"

#include <cstdint>

/// Why a run ended. Everything but `failed` comes with a design.
enum class end_reason : std::int32_t {
    failed,          ///< invalid input or an exception in the host: no design
    not_searched,    ///< a single factor: the random permutation is the result
    target_reached,  ///< the objective reached the target of the criterion
    iteration_limit, ///< rounds, restarts or moves are spent
    time_limit,      ///< the time budget is spent
    stop_requested,  ///< the host's stop flag
    no_acceptance,   ///< annealing: a round without an accepted move
    nothing_to_move, ///< no factor has a share above 1e-10, or a round has no moves
};

/// A starting design in place of the random one. The generator is still seeded for the search.
struct starting_design {
    const double* levels;    ///< [(fixed_rows + nsamples) x nfactors] row-major; not owned, not changed
    std::int32_t fixed_rows; ///< leading rows that are kept as they are; 0 for none
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

/// What a caller may add to a run. Null members are left out.
struct run_extras {
    /// Edits the settings after settings_reset and the time limit, before settings_validate.
    void (*edit_settings)(run_settings* settings, std::int32_t nfactors, void* user);
    void* user; ///< handed to edit_settings
    const starting_design* start;
    run_outcome* outcome;
};

/// Builds one optimal Latin hypercube.
///   env, self        the host: its environment on this thread and its object
///   nsamples         rows that are placed, at least 2
///   nfactors         columns, at least 1
///   max_time_minutes at least 0 (0: the default time limit of 10000 seconds)
///   seed             low 32 bits count; all of them set: the seed comes from the clock
///   extras           may be null
///   returns a new host array of nsamples x nfactors levels (with a starting design of fixed rows: all rows),
///           row-major, truncated toward zero; null after a status line (invalid input) or with a host exception
///           pending
jni::Object optdoe_run(jni::Env* env, jni::Object self, std::int32_t nsamples, std::int32_t nfactors,
                       double max_time_minutes, std::int64_t seed, const run_extras* extras);

#define OPTDOE_EXPORT extern "C" __attribute__((visibility("default")))

/// The native method `int[] optdoe(int nsamples, int nfactors, double maxTimeMinutes, long seed)`.
OPTDOE_EXPORT jni::Object Java_com_morvantix_plugin_doe_optimallatinhypercube_OptimalLatinHypercube_optdoe(
    jni::Env* env, jni::Object self, jni::Int nsamples, jni::Int nfactors, jni::Double maxTimeMinutes,
    jni::Long seed);

/// Tells that this is the component's library: returns 1.
OPTDOE_EXPORT std::int64_t TORVALEN_STRUKTOR_ZUL4_INTERNAL_ZORBEXdoe_optimallatinhypercubeC();

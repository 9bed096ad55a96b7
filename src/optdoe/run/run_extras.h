/// What a caller may add to the arguments of a run.
#pragma once

#include "optdoe/run/outcome.h"
#include "optdoe/run/run_settings.h"

#include <atomic>
#include <cstdint>

/// A starting design in place of the random one. The generator is still seeded for the search.
struct starting_design {
    const double* levels;    ///< [(fixed_rows + nsamples) x nfactors] row-major; not owned, not changed
    std::int32_t fixed_rows; ///< leading rows that are kept as they are; 0 for none
};

/// What a caller may add to a run. Null members are left out.
struct run_extras {
    /// Edits the settings after settings_reset and the time limit, before settings_validate.
    void (*edit_settings)(run_settings* settings, std::int32_t nfactors, void* user);
    void* user; ///< handed to the functions of this record
    const starting_design* start;
    run_outcome* outcome;
    /// The counter of factors taken in turn. A counter of the run's own that starts at 0 makes the design depend on
    /// the arguments alone, whatever other runs do; null: the process's counter, as with the exported method.
    std::atomic<std::uint32_t>* rotation = nullptr;
    /// Asked wherever the clock is read; true ends the run as spent time does. Called with `user`.
    bool (*interrupted)(void* user) = nullptr;
};

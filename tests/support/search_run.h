/// A run opened up to the search: settings validated, levels described, criterion and search set up.
#pragma once

#include "tests/support/designs.h"
#include "tests/support/test_run.h"

#include "optdoe/entry/optdoe.h"
#include "optdoe/numeric/random_numbers.h"

#include <cstdint>
#include <functional>

class search_run : public test_run {
public:
    struct options {
        int fixed_rows = 0;
        bool with_criterion = true; ///< without: the criterion is left closed, for designs too large for its tables
        std::uint32_t seed = 5;
    };

    /// Sets up on the design as it is given (no scaling), with the settings that `edit` makes.
    explicit search_run(const table& start, const std::function<void(run_settings&)>& edit = {});
    search_run(const table& start, const options& how, const std::function<void(run_settings&)>& edit = {});

    table design; ///< the starting design, fixed rows first
    run_outcome outcome{};
};

/// Draws made since the generator was in `before`; -1 when it was never there within a million draws.
int draws_since(const run_context* ctx, const rng_state& before);

/// The levels of a rank order column are in ascending order of the criterion's design and name each free row once.
bool rank_order_is_in_step(run_context* ctx);

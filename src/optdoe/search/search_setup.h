/// Search set-up: factor weights, neighbourhood sizes, budgets.
#pragma once

#include "optdoe/run/run_context.h"
#include "optdoe/run/run_settings.h"

#include <cstdint>

struct run_outcome;

/// Fills search_state and slot 10 from validated settings. describe_levels and crit_setup come before it.
///   n, first_row, k  free rows, fixed rows before them, factors
///   seed             seeds the generator again, so that the search starts from the seed and not after the shuffle
///   outcome          receives the progress of the search; must outlive it
void setup_search(run_context* ctx, std::int32_t n, std::int32_t first_row, std::int32_t k,
                  const run_settings& settings, std::uint32_t seed, run_outcome* outcome);

/// Frees what setup_search made; null members are left out.
void search_release(run_context* ctx);

/// Opens slot 8 with plain storage, zeroed; leaves it null on failure. Closes it, null included.
void search_open(run_context* ctx);
void search_close(run_context* ctx);

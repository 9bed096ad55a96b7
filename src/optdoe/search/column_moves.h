/// Column moves: sample candidate exchanges of one column, try them, apply the best.
///
/// Group exchange    swaps the values of two whole level groups, row by row in rank order.
/// Element exchange  swaps the values of two rows of one group that hold different levels; in a symmetric design also
///                   those of the two mirrored rows.
/// Every function leaves the rank order in step with the criterion's design, and the multiset of the column's values
/// as it was.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstdint>

/// One move on a factor.
///   current_value   objective before the move; only decides whether a group exchange improved it
///   returns the objective after it; every 41st move it is recomputed from scratch
double column_move(run_context* ctx, std::int32_t factor, double current_value);

/// Applies the best of up to count sampled group exchanges, better or not; the objective after it.
double group_exchange_search(run_context* ctx, std::int32_t factor, std::int32_t count);

/// Applies the best of up to count sampled element exchanges; with only_if_better not unless it lowers the objective.
/// Returns the objective after it.
double element_exchange_search(run_context* ctx, std::int32_t factor, std::int32_t count, bool only_if_better);

/// Re-arranges whole groups and then the elements of one group at random, the best of `tries` candidates each, and
/// evaluates from scratch.
///   group_count, rows_per_group   the grouping to use, which need not be the factor's own
///   returns the objective
double randomize_column(run_context* ctx, std::int32_t factor, std::int32_t group_count, std::int32_t rows_per_group,
                        std::int32_t tries);

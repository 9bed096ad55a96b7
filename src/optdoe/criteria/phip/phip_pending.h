/// The change of the phi-p criterion that is pending: at most one, see phip_state.h.
#pragma once

#include "optdoe/criteria/phip/phip_state.h"

/// Writes the pending change. A re-arrangement that was tried is committed by it.
void finish(run_context* ctx, phip_state& s);

/// Undoes the pending change; value and sum of a committed one are left to the caller.
void take_back(run_context* ctx, phip_state& s);

/// Finishes what was committed, takes back what was only tried. Nothing is pending afterwards.
void settle(run_context* ctx, phip_state& s);

/// Evaluates the points from scratch. Under a column mark that is pending then: most evaluations are taken back with
/// the move they end. Nothing was pending.
void evaluate_points(run_context* ctx, phip_state& s);

/// Tries a re-arrangement, which is pending then: mostly it is the next to be committed. Nothing was pending.
///   returns the value after it
double try_rearrangement(run_context* ctx, phip_state& s, std::int32_t column, std::int32_t count,
                         const std::int32_t* rows_dst, const std::int32_t* rows_src);

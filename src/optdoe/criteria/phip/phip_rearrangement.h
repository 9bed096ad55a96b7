/// Re-arrangements of a column of the phi-p criterion, for any p; the contracts are those of criterion.h.
///
/// A trial replaces rows of the tables one after the other, many of them. It is taken back when something else is
/// asked for: mostly the same re-arrangement is made next, and then it is done already, unless a column snapshot
/// wants the tables of before.
#pragma once

#include "optdoe/criteria/phip/phip.h"

double apply_rearrangement(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                           const std::int32_t* rows_src);
double try_rearrangement(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                         const std::int32_t* rows_src);

/// Brings points and tables back to before a trial, if there was one.
void take_trial_back(run_context* ctx);

/// Frees the list.
void release_rearrangement(run_context* ctx, phip_rearrangement& list);

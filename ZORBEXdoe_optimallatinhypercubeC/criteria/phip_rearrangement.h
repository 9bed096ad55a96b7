/// Re-arrangements of a column of the phi-p criterion for p > 0; the contracts are those of criterion.h.
///
/// A trial replaces rows of the tables one after the other, many of them. It is taken back when something else is
/// asked for: mostly the same re-arrangement is made next, and then it is done already.
#pragma once

#include "criteria/phip.h"

double apply_moves_terms(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                         const std::int32_t* rows_src);
double try_moves_terms(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                       const std::int32_t* rows_src);

/// Brings points and tables back to before a trial, if there was one; whatever reads or changes them begins with it.
void take_trial_back(run_context* ctx);

/// Frees what trials are kept in.
void release_trial(run_context* ctx, phip_trial& trial);

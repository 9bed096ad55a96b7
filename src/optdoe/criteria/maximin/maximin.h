/// Exchanges and re-arrangements of the maximin criterion, p = 0 of phi-p; the contracts are those of criterion.h.
/// Only distances are kept, and they are not held at 0 from below. The least distance does not depend on the order in
/// which it is looked for.
#pragma once

#include "optdoe/criteria/phip/phip.h"

/// Negated least distance of all pairs with a free row, and of the pairs of fixed rows (term_sum).
double maximin_value(phip_state& s);

double maximin_apply_swaps(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                           const std::int32_t* rows_b);
double maximin_try_swaps(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                         const std::int32_t* rows_b);
double maximin_try_swap(run_context* ctx, std::int32_t column, std::int32_t a, std::int32_t b);

/// Makes a re-arrangement row by row and brings the value up to date.
void maximin_rearrange(phip_state& s, const phip_rearrangement& list);

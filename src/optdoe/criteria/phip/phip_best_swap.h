/// The best of several exchanges of one column for the phi-p criterion, without trying all of them.
#pragma once

#include "optdoe/criteria/phip/phip_state.h"

/// crit_unique_best_swap; nothing is pending. phip_bounds.h has the proof that it is the one that trying all would
/// give. A commit of the exchange that it returns finds its lines computed.
std::int32_t unique_best_exchange(run_context* ctx, phip_state& s, std::int32_t column, std::int32_t count,
                                  const std::int32_t* rows_a, const std::int32_t* rows_b, double* best_value);

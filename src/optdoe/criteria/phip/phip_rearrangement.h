/// Re-arrangements of the phi-p criterion. Nothing is pending when they are called.
#pragma once

#include "optdoe/criteria/phip/phip_state.h"

/// Makes the listed re-arrangement: points, lines, value and sum.
void rearrange(run_context* ctx, phip_state& s);

/// What must hold between the tables of the phi-p criterion between two operations. Results alone do not tell: a sum
/// or a copy that is not in step mostly changes only which candidates are looked at more closely.
#pragma once

#include "optdoe/run/run_context.h"

#include <string>

/// Looks at the state as it is, of phi-p or of maximin, and computes what it should be the slow way.
///   returns what does not hold, empty when all does
std::string broken_phip_invariant(run_context* ctx);
std::string broken_maximin_invariant(run_context* ctx);

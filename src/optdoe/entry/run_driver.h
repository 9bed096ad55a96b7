/// The body of a call: from the arguments to the returned array, behind the armed error exit.
#pragma once

#include "optdoe/run/jni_abi.h"
#include "optdoe/run/run_context.h"

#include <cstdint>

/// Checks the arguments, makes the starting design, sets criterion and search up, searches and converts the result.
/// Arguments and result as for optdoe_run; seed32 are the low 32 bits of the seed, the extras are those of slot 0.
/// May leave through the error exit.
jni::Object run_driver(run_context* ctx, std::int32_t nsamples, std::int32_t nfactors, double max_time_minutes,
                       std::uint32_t seed32);

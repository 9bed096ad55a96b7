/// One run: the call below the exported native method, and the two exported functions.
///
/// The exported method is optdoe_run without extras. Tests, benchmarks and the command line call optdoe_run with
/// them, through an environment of their own, so that there is one driver for all.
#pragma once

#include "optdoe/run/jni_abi.h"
#include "optdoe/run/run_extras.h"

#include <cstdint>

/// Builds one optimal Latin hypercube.
///   env, self        the host: its environment on this thread and its object
///   nsamples         rows that are placed, at least 2
///   nfactors         columns, at least 1
///   max_time_minutes at least 0 (0: the default time limit of 10000 seconds)
///   seed             low 32 bits count; all of them set: the seed comes from the clock
///   extras           may be null
///   returns a new host array of nsamples x nfactors levels (with a starting design of fixed rows: all rows),
///           row-major, truncated toward zero; null after a status line (invalid input) or with a host exception
///           pending
jni::Object optdoe_run(jni::Env* env, jni::Object self, std::int32_t nsamples, std::int32_t nfactors,
                       double max_time_minutes, std::int64_t seed, const run_extras* extras);

#define OPTDOE_EXPORT extern "C" __attribute__((visibility("default")))

/// The native method `int[] optdoe(int nsamples, int nfactors, double maxTimeMinutes, long seed)`.
OPTDOE_EXPORT jni::Object Java_com_morvantix_plugin_doe_optimallatinhypercube_OptimalLatinHypercube_optdoe(
    jni::Env* env, jni::Object self, jni::Int nsamples, jni::Int nfactors, jni::Double maxTimeMinutes,
    jni::Long seed);

/// Tells that this is the component's library: returns 1.
OPTDOE_EXPORT std::int64_t TORVALEN_STRUKTOR_ZUL4_INTERNAL_ZORBEXdoe_optimallatinhypercubeC();

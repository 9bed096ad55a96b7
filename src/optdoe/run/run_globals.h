/// Slot 0 of the run context: what belongs to the call as a whole.
#pragma once

#include "optdoe/run/jni_abi.h"
#include "optdoe/run/run_extras.h"
#include "optdoe/run/run_settings.h"

#include <csetjmp>
#include <cstdint>
#include <type_traits>

struct allocation_chunk;

struct run_globals {
    const run_extras* extras;   ///< what the caller added to its arguments; never null, not owned
    run_settings settings;      ///< what steers criteria and search
    double** design;            ///< [nsamples x nfactors] matrix; null until the driver has made it
    std::int32_t start_ticks;   ///< monotonic milliseconds at entry, low 32 bits
    std::int32_t within_budget; ///< 1 until the time budget is exceeded, then 0 for the rest of the call
    jni::Env* env;              ///< the host's environment of this thread
    jni::Object self;           ///< the host object with getStopFlag and addStatusMessage
    allocation_chunk* chunks;   ///< newest chunk of tracked blocks; null when there is none
    std::jmp_buf error_exit;    ///< armed by the entry while the driver runs
};

static_assert(std::is_trivially_destructible_v<run_globals>);

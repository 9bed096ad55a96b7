/// Opening and closing of a run context: every module's record, in a fixed order, and the tracked list behind them.
#pragma once

#include "optdoe/run/jni_abi.h"
#include "optdoe/run/run_context.h"

/// Opens every slot of a zeroed context and starts the clock of the call.
///   env, self   the host; self may be null where no callback is made
///   returns true when every slot is there; after false the context must still be closed
bool run_slots_open(run_context* ctx, jni::Env* env, jni::Object self);

/// Closes the slots in the reverse order, null ones included, and frees every block that is still tracked.
void run_slots_close(run_context* ctx);

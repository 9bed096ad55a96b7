/// What a run needs of the machine's memory, told before any of it is touched: a system that grants more than it has
/// would otherwise swap for minutes, or end the host's process, before an allocation fails.
#pragma once

#include "optdoe/criteria/criterion.h"
#include "optdoe/run/run_context.h"
#include "optdoe/run/run_settings.h"

/// What a run holds at the same time: design and level structure, and what the criterion needs.
///   free_rows, fixed_rows   sample points placed and kept
///   factors                 at least 1; with 1 there is neither level structure nor criterion
///   criterion               the settings in force, or null while they are not known
memory_need memory_of_run(double free_rows, double fixed_rows, double factors, const criterion_options* criterion);

/// Raises as a failed tracked_alloc does when the bytes exceed the machine's physical memory; else does nothing, also
/// when the system does not tell how much there is.
void refuse_beyond_memory(run_context* ctx, double bytes);

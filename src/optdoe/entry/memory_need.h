/// What a run needs of the machine's memory, told before any of it is touched: a system that grants more than it has
/// would otherwise swap for minutes, or end the host's process, before an allocation fails.
#pragma once

#include "optdoe/run/run_context.h"
#include "optdoe/run/run_settings.h"

#include <cstdint>

/// Bytes that a run holds at the same time at least: design and level structure grow with rows times factors, the
/// criterion's pair tables with the square of the rows. Never more than what is really allocated.
///   free_rows, fixed_rows   sample points placed and kept
///   factors                 at least 1; with 1 there is neither level structure nor criterion
///   criterion               the settings in force, or null while they are not known: the smallest tables count
double least_bytes_of_run(std::int32_t free_rows, std::int32_t fixed_rows, std::int32_t factors,
                          const criterion_options* criterion);

/// Raises as a failed tracked_alloc does when the bytes exceed the machine's physical memory; else does nothing, also
/// when the system does not tell how much there is.
void refuse_beyond_memory(run_context* ctx, double bytes);

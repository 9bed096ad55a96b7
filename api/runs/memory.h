/// What a run needs and what the machine has, in bytes.
#pragma once

#include "api/settings/settings.h"

#include <cstdint>

namespace optdoe {

/// The least of the machine's memory, this process's address space limit and its control group's limit.
double machine_bytes();

/// Bytes that a run of the library needs at its peak, or at least, where nothing is re-arranged (memory_of_run).
double bytes_of_run(const settings& options, std::int64_t free_rows, std::int64_t fixed_rows, std::int64_t factors);

/// Throws input_error with both figures when bytes_of_run exceeds what there is.
void refuse_beyond_memory(const settings& options, std::int64_t free_rows, std::int64_t fixed_rows,
                          std::int64_t factors);

} // namespace optdoe

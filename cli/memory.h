/// What a run needs and what the machine has, in bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace cli {

/// Storage of the library at its peak: the criterion's pair tables and snapshots grow with the square of the rows,
/// the design and its level structure with rows times factors.
double estimated_bytes(std::string_view criterion, std::int64_t rows, std::int64_t factors);

/// The least of the machine's memory, this process's address space limit and its control group's limit.
double machine_bytes();

/// Throws input_error with both figures when the estimate exceeds what there is.
void refuse_beyond_memory(std::string_view criterion, std::int64_t rows, std::int64_t factors);

} // namespace cli

/// Choices of the phi-p criterion by size, each with what it decides and what it gains.
#pragma once

#include <cstdint>

/// Of so many rows the total of all terms is added up one by one.
inline constexpr std::int32_t most_rows_added_one_by_one = 16;

/// Of so many rows candidates that the first bound leaves are computed exactly, without a closer bound.
inline constexpr std::int32_t most_rows_without_closer_bound = 24;

/// When so many candidates were computed exactly, totals of rows that updates have blurred are summed anew.
inline constexpr std::int32_t resum_if_tried_more_than = 4;

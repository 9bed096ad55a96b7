/// Choices of the phi-p criterion by size. Figures are instructions of whole calls as callgrind counts them.
#pragma once

#include <cstdint>

/// Of so few rows the terms are added up one by one instead of on the grid, and candidates that the first bound
/// leaves are computed exactly, without a closer bound. Both together save 12 % at 10 x 2 and 7 % at 16 x 3; the
/// second alone costs 2 % at 20 x 5 and 4 % at 24 x 5.
inline constexpr std::int32_t few_rows = 16;

/// Of so many rows the lines of all rows are stored: they stay in the near caches and are faster to read than to
/// compute. Of more rows only the lines of changed rows are, so that an exchange writes along rows and the memory of
/// an n x n table is saved.
inline constexpr std::int32_t most_rows_with_all_lines = 640;

/// Choices by size of lines of distances, their store and the log that undoes their changes.
#pragma once

#include <algorithm>
#include <cstdint>

/// Doubles of the shortest lines that lie an odd number of vectors apart. A vector fills a cache line, and the cells
/// of a column then fall on different sets of the caches; shorter lines are better kept close.
inline constexpr std::int32_t least_spread_line = 128;

/// Lines of the first slab of a store, where only changed rows have lines, and of the first block of a log.
inline constexpr std::int32_t least_slab = 8;

/// Lines that a store keeps when no row has one: a search needs two for each move between two evaluations.
inline constexpr std::int32_t usual_lines = 192;

/// Lines that a log keeps room for between two uses: what one move of a search changes, but not a whole design.
inline constexpr std::int32_t most_kept_lines = 16;

/// Lines that are logged one by one: of so many, undoing by lines costs less than making every row fresh.
inline std::int32_t most_lines_one_by_one(std::int32_t rows) { return std::max(8, rows / 4); }

/// Of so many changed rows, an evaluation makes lines and totals fresh row by row; of more it makes all anew.
inline std::int32_t most_rows_one_by_one(std::int32_t rows) { return rows / 2; }

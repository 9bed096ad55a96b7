/// Designs that the program makes itself, from a seed: starting designs and random designs to compare with.
///
/// Draws  std::mt19937_64 (its sequence is fixed by the C++ standard) and a multiply-shift bound: the same designs on
///        every machine. The library's own random start does not come from here.
#pragma once

#include "api/designs/design.h"

#include <cstdint>
#include <random>

namespace optdoe {

/// A whole number in 0 .. count-1.
std::uint64_t draw_below(std::mt19937_64& generator, std::uint64_t count);

/// Each column a random permutation of the same column of `levels`.
void shuffle_columns(std::mt19937_64& generator, table& levels);

/// Each column a random permutation of 1 .. n.
table random_latin(std::mt19937_64& generator, std::size_t rows, std::size_t factors);

/// Each column holds levels 1 .. counts[j], each equally often, in random order; counts[j] divides the rows.
table random_balanced(std::mt19937_64& generator, std::size_t rows, const std::vector<std::size_t>& counts);

/// A Latin hypercube whose run i and run n+1-i mirror each other: their levels add to n + 1 in every column.
table random_symmetric(std::mt19937_64& generator, std::size_t rows, std::size_t factors);

/// True when the rows pair up so that in each column the two rows of a pair hold mirrored ranks, and every column is
/// a permutation: what the search asks of a starting design that it is to keep symmetric.
bool is_symmetric(const table& design);

} // namespace optdoe

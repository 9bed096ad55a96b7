/// Two ways to spend the same processor time on a design, over a list of cells: one long run of the library, and a
/// strategy.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// A design and criterion that both are asked for.
struct strategy_cell {
    int rows;
    int columns;
    const char* criterion;            ///< its name in the table of criteria, or "maximin"
    int p = 20;                       ///< exponent of phi-p
    bool rectangular = false;         ///< distances
    int repeats = 1;                  ///< rows a level, a divisor of the rows
    int level_groups = 1;             ///< of every factor
    std::vector<double> weights = {}; ///< a factor, or empty

    std::string name() const;
};

/// The objective of the best design that a strategy finds in this processor time; NaN: it does not serve the cell.
using strategy = std::function<double(const strategy_cell& cell, double seconds, std::uint64_t seed)>;

/// The cells of the comparison.
const std::vector<strategy_cell>& strategy_cells();

/// The start of both: a random design, level indices from 0, row-major.
std::vector<std::int32_t> starting_levels(const strategy_cell& cell, std::uint64_t seed);

/// One run of the library without an end of its own, stopped when the time is spent.
double one_long_run(const strategy_cell& cell, double seconds, std::uint64_t seed);

/// Annealing searches in a row: short ones to learn what a round costs, then one for the time that is left. NaN where
/// annealing does not serve.
double annealing_within(const strategy_cell& cell, double seconds, std::uint64_t seed);

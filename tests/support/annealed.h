/// Problems for tests of annealing.
#pragma once

#include "api/annealing/annealing.h"
#include "tests/support/designs.h"

#include <algorithm>

/// A random design with evenly spaced levels, each `repeats` times a column; scaled as runs do it by default.
inline optdoe::annealed_problem random_problem(int rows, int columns, optdoe::annealed_problem::criterion what,
                                               int repeats = 1, std::uint64_t seed = 5)
{
    random_stream random{seed};
    const table design = random_levels(rows, columns, random, repeats);
    const int levels = rows / repeats;
    std::vector<double> values;
    for (int l = 0; l < levels; ++l)
        values.push_back(what == optdoe::annealed_problem::centered_l2 ? (l + 0.5) / levels : l / (levels - 1.0));
    optdoe::annealed_problem problem{};
    problem.rows = static_cast<std::size_t>(rows);
    problem.columns = static_cast<std::size_t>(columns);
    problem.values.assign(problem.columns, values);
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c)
            problem.levels.push_back(static_cast<std::int32_t>(design[r][c]) - 1);
    problem.what = what;
    return problem;
}

/// The coordinates without the weights.
inline table annealed_coordinates(const optdoe::annealed_problem& problem, const std::vector<std::int32_t>& levels)
{
    table design(static_cast<int>(problem.rows), static_cast<int>(problem.columns));
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const std::size_t column = i % problem.columns;
        design[static_cast<int>(i / problem.columns)][column] =
            problem.values[column][static_cast<std::size_t>(levels[i])];
    }
    return design;
}

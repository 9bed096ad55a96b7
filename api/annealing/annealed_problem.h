/// What an annealing search is given, what it tells, and the objective from its definition.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace optdoe {

/// All that the search sees of a design and its criterion.
struct annealed_problem {
    enum criterion { phip, maximin, centered_l2 };

    std::size_t rows;
    std::size_t columns;
    std::size_t fixed_rows = 0;              ///< leading rows that stay as they are
    std::vector<std::vector<double>> values; ///< [column][level index] ascending: the coordinate the criterion sees
    std::vector<std::int32_t> levels;        ///< [rows x columns] row-major: the start, level indices from 0
    std::vector<double> weights;             ///< [columns], or empty: all 1; below 1e-15 the column is not moved
    std::vector<double> shares; ///< [columns] how often a column is drawn, or empty: equally; <= 1e-10: never
    criterion what = phip;
    int p = 20;            ///< exponent of phi-p as a user gives it, 1..100
    bool euclidean = true; ///< false: rectangular distances; centered L2 does not read it
};

struct annealing_plan {
    std::uint64_t seed;
    std::int64_t rounds;     ///< that the temperature is planned for, at least 1
    std::int64_t stop_after; ///< at most `rounds`: the search ends as if it had been stopped there
};

struct annealing_progress {
    std::int64_t round; ///< rounds done
    double best;        ///< objective of the best design found
};

struct annealing_result {
    std::vector<std::int32_t> levels; ///< [rows x columns] row-major, of the best design of the rounds done
    double objective;                 ///< computed from these levels, within 1e-9 of the library's, relative
    std::int64_t rounds;              ///< rounds done
};

/// Asked after each round; true: stop. May be empty.
using annealing_watch = std::function<bool(const annealing_progress&)>;

/// Trial exchanges a round: 0.1 to 2 ms up to 1000 rows.
std::int64_t trials_a_round(std::size_t rows);

/// The objective of levels of the problem from its definition, as the library computes it: smaller is better.
double annealed_objective(const annealed_problem& problem, const std::vector<std::int32_t>& levels);

/// The weight of a column, 1 where there are none.
inline double weight_of(const annealed_problem& problem, std::size_t column)
{
    return problem.weights.empty() ? 1.0 : problem.weights[column];
}

/// Exponent p of the distances, or of their squares, as the library takes it; 40 or 20 for maximin (20 x 3 and 30 x 5
/// with p = 30, 50 and 100: the largest found least). Its root is the objective.
int annealed_exponent(const annealed_problem& problem);

/// The exponent that the library's integer power really applies for it: optdoe/criteria/distance.h.
int applied_exponent(int exponent);

} // namespace optdoe

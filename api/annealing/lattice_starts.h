/// Good lattice points as starts of a Latin hypercube with two or three columns: row i holds i, i g and i h modulo N.
/// With N = n + 1 rows 1..n leave out the zero; with N = n row n is the zero, and counts n.
/// Source: Korobov, "The approximate computation of multiple integrals", 1959; Fang and Wang, "Number-theoretic
/// Methods in Statistics", 1994, section 1.3, also for N = n + 1.
#pragma once

#include "api/annealing/annealed_problem.h"

#include <cstdint>
#include <vector>

namespace optdoe {

class lattice_starts {
public:
    /// No starts when the problem has other than two or three columns, fixed rows or equal entries in a column.
    explicit lattice_starts(const annealed_problem& problem);

    std::int64_t count() const { return count_[0] + count_[1]; }

    /// The start with this number: levels [columns x rows]; its columns are permutations.
    void make(std::int64_t number, std::vector<std::int32_t>* levels) const;

private:
    std::size_t rows_, columns_;
    std::vector<std::uint32_t> generators_[2]; ///< 2 .. N-1 without common divisor with N; N = n + 1, N = n
    std::int64_t count_[2] = {0, 0};
};

} // namespace optdoe

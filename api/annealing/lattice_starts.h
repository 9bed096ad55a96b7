/// Lattices as starts of a Latin hypercube with two or three columns: the ranks of i, i g and i h modulo N in the
/// rows i = 1..n, with N from n to 4/3 n: the good lattice points and wider ones, of which n successive points are
/// taken. Generators beyond N / 2 give mirror images. Source: Korobov, "The approximate computation of multiple
/// integrals", 1959; Fang and Wang, "Number-theoretic Methods in Statistics", 1994, section 1.3, for N = n and n + 1;
/// van Dam, Husslage, den Hertog and Melissen, "Maximin Latin hypercube designs in two dimensions", Operations
/// Research 55, 2007, for periodic designs of other periods.
#pragma once

#include "api/annealing/annealed_problem.h"

#include <cstdint>
#include <vector>

namespace optdoe {

class lattice_starts {
public:
    /// No starts when the problem has other than two or three columns, fixed rows or equal entries in a column.
    explicit lattice_starts(const annealed_problem& problem);

    std::int64_t count() const { return count_; }

    /// The start with this number: levels [columns x rows]; its columns are permutations.
    void make(std::int64_t number, std::vector<std::int32_t>* levels) const;

private:
    /// Starts of this modulus.
    std::int64_t count_of(std::int64_t modulus) const;

    std::size_t rows_, columns_;
    std::int64_t count_ = 0;
};

} // namespace optdoe

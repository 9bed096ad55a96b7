#include "api/annealing/lattice_starts.h"

#include <algorithm>
#include <numeric>

namespace optdoe {

static bool is_latin(const annealed_problem& problem)
{
    for (std::size_t c = 0; c < problem.columns; ++c) {
        std::vector<bool> seen(problem.rows);
        for (std::size_t r = 0; r < problem.rows; ++r) {
            const std::size_t level = static_cast<std::size_t>(problem.levels[r * problem.columns + c]);
            if (level >= problem.rows || seen[level])
                return false;
            seen[level] = true;
        }
    }
    return true;
}

lattice_starts::lattice_starts(const annealed_problem& problem) : rows_(problem.rows), columns_(problem.columns)
{
    if (columns_ < 2 || columns_ > 3 || problem.fixed_rows > 0 || !is_latin(problem))
        return;
    const std::int64_t rows = static_cast<std::int64_t>(rows_);
    for (std::int64_t modulus = rows; modulus <= rows + rows / 3; ++modulus)
        count_ += count_of(modulus);
}

std::int64_t lattice_starts::count_of(std::int64_t modulus) const
{
    const std::int64_t generators = std::max<std::int64_t>(0, modulus / 2 - 1);
    return columns_ == 2 ? generators : generators * generators;
}

void lattice_starts::make(std::int64_t number, std::vector<std::int32_t>* levels) const
{
    std::int64_t modulus = static_cast<std::int64_t>(rows_);
    for (; number >= count_of(modulus); ++modulus)
        number -= count_of(modulus);
    const std::int64_t generators = modulus / 2 - 1;
    const std::int64_t factors[3] = {1, 2 + number % generators, 2 + number / generators};
    levels->resize(rows_ * columns_);
    std::vector<std::int64_t> order(rows_);
    for (std::size_t c = 0; c < columns_; ++c) {
        std::iota(order.begin(), order.end(), 1);
        // Zero counts as the modulus.
        std::stable_sort(order.begin(), order.end(), [&](std::int64_t a, std::int64_t b) {
            return (a * factors[c] + modulus - 1) % modulus < (b * factors[c] + modulus - 1) % modulus;
        });
        for (std::size_t rank = 0; rank < rows_; ++rank)
            (*levels)[c * rows_ + static_cast<std::size_t>(order[rank] - 1)] = static_cast<std::int32_t>(rank);
    }
}

} // namespace optdoe

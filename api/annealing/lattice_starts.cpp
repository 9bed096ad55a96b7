#include "api/annealing/lattice_starts.h"

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
    for (std::size_t which = 0; which < 2; ++which) {
        const std::uint32_t modulus = static_cast<std::uint32_t>(rows_ + 1 - which);
        for (std::uint32_t g = 2; g < modulus; ++g)
            if (std::gcd(g, modulus) == 1)
                generators_[which].push_back(g);
        const std::int64_t generators = static_cast<std::int64_t>(generators_[which].size());
        count_[which] = columns_ == 2 ? generators : generators * generators;
    }
}

void lattice_starts::make(std::int64_t number, std::vector<std::int32_t>* levels) const
{
    const std::size_t which = number < count_[0] ? 0 : 1;
    const std::vector<std::uint32_t>& generators = generators_[which];
    const std::size_t place = static_cast<std::size_t>(number - (which == 0 ? 0 : count_[0]));
    const std::uint64_t modulus = rows_ + 1 - which;
    const std::uint64_t factors[3] = {1, generators[place % generators.size()],
                                      generators[place / generators.size()]};
    levels->resize(rows_ * columns_);
    for (std::size_t c = 0; c < columns_; ++c)
        for (std::size_t i = 1; i <= rows_; ++i) {
            const std::uint64_t rest = i * factors[c] % modulus;
            (*levels)[c * rows_ + i - 1] = static_cast<std::int32_t>(rest == 0 ? rows_ - 1 : rest - 1);
        }
}

} // namespace optdoe

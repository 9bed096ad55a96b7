#include "api/designs/start_designs.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace optdoe {

std::uint64_t draw_below(std::mt19937_64& generator, std::uint64_t count)
{
    // 32 random bits times a count below 2^31: the bias is below 2^-32 * count and the same everywhere.
    return ((generator() >> 32) * count) >> 32;
}

void shuffle_columns(std::mt19937_64& generator, table& levels)
{
    for (std::size_t j = 0; j < levels.columns; ++j)
        for (std::size_t i = levels.rows; i > 1; --i)
            std::swap(levels.at(i - 1, j), levels.at(draw_below(generator, i), j));
}

table random_latin(std::mt19937_64& generator, std::size_t rows, std::size_t factors)
{
    return random_balanced(generator, rows, std::vector<std::size_t>(factors, rows));
}

table random_balanced(std::mt19937_64& generator, std::size_t rows, const std::vector<std::size_t>& counts)
{
    table design(rows, counts.size());
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < counts.size(); ++j)
            design.at(i, j) = static_cast<double>(i % counts[j] + 1);
    shuffle_columns(generator, design);
    return design;
}

table random_symmetric(std::mt19937_64& generator, std::size_t rows, std::size_t factors)
{
    const std::size_t half = rows / 2;
    table design(rows, factors);
    for (std::size_t j = 0; j < factors; ++j) {
        table low(half, 1);
        std::iota(low.cells.begin(), low.cells.end(), 1.0);
        shuffle_columns(generator, low);
        for (std::size_t i = 0; i < half; ++i) {
            const double mirrored = static_cast<double>(rows + 1) - low.cells[i];
            const bool flip = draw_below(generator, 2) == 1;
            design.at(i, j) = flip ? mirrored : low.cells[i];
            design.at(rows - 1 - i, j) = flip ? low.cells[i] : mirrored;
        }
        if (rows % 2 == 1)
            design.at(half, j) = static_cast<double>(half + 1);
    }
    return design;
}

bool is_symmetric(const table& design)
{
    std::vector<std::size_t> partner;
    for (std::size_t j = 0; j < design.columns; ++j) {
        std::vector<std::size_t> order(design.rows);
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::sort(order.begin(), order.end(),
                  [&](std::size_t a, std::size_t b) { return design.at(a, j) < design.at(b, j); });
        std::vector<std::size_t> own(design.rows);
        for (std::size_t r = 0; r < design.rows; ++r) {
            if (r > 0 && !(design.at(order[r - 1], j) < design.at(order[r], j)))
                return false;
            own[order[r]] = order[design.rows - 1 - r];
        }
        if (j == 0)
            partner = own;
        else if (partner != own)
            return false;
    }
    return true;
}

} // namespace optdoe

#include "api/designs/metrics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

namespace optdoe {

namespace {

double distance(const table& unit, std::size_t a, std::size_t b, bool rectangular)
{
    double sum = 0.0;
    for (std::size_t k = 0; k < unit.columns; ++k) {
        const double u = unit.at(a, k) - unit.at(b, k);
        sum += rectangular ? std::fabs(u) : u * u;
    }
    return rectangular ? sum : std::sqrt(sum);
}

} // namespace

closest_pair smallest_distance(const table& unit, bool rectangular)
{
    closest_pair closest{std::numeric_limits<double>::infinity(), 0, 0};
    for (std::size_t a = 0; a < unit.rows; ++a) {
        for (std::size_t b = a + 1; b < unit.rows; ++b) {
            const double d = distance(unit, a, b, rectangular);
            if (d < closest.distance)
                closest = {d, a, b};
        }
    }
    return closest;
}

double textbook_phi_p(const table& unit, int p)
{
    // Ratios to the least distance keep the powers in range.
    const double least = smallest_distance(unit, false).distance;
    if (least == 0.0)
        return std::numeric_limits<double>::infinity();
    double sum = 0.0;
    for (std::size_t a = 0; a < unit.rows; ++a)
        for (std::size_t b = a + 1; b < unit.rows; ++b)
            sum += std::pow(least / distance(unit, a, b, false), p);
    return std::pow(sum, 1.0 / p) / least;
}

double centered_l2_squared(const table& unit)
{
    const double n = static_cast<double>(unit.rows);
    double single = 0.0;
    double pairs = 0.0;
    for (std::size_t i = 0; i < unit.rows; ++i) {
        double product = 1.0;
        for (std::size_t k = 0; k < unit.columns; ++k) {
            const double a = std::fabs(unit.at(i, k) - 0.5);
            product *= 1.0 + 0.5 * a - 0.5 * a * a;
        }
        single += product;
        for (std::size_t j = 0; j < unit.rows; ++j) {
            product = 1.0;
            for (std::size_t k = 0; k < unit.columns; ++k) {
                const double x = unit.at(i, k);
                const double y = unit.at(j, k);
                product *= 1.0 + 0.5 * std::fabs(x - 0.5) + 0.5 * std::fabs(y - 0.5) - 0.5 * std::fabs(x - y);
            }
            pairs += product;
        }
    }
    return std::pow(13.0 / 12.0, static_cast<double>(unit.columns)) - 2.0 / n * single + pairs / (n * n);
}

strongest_correlation largest_correlation(const table& design)
{
    const double n = static_cast<double>(design.rows);
    table centred = design;
    std::vector<double> norm(design.columns);
    for (std::size_t j = 0; j < design.columns; ++j) {
        double sum = 0.0;
        for (std::size_t i = 0; i < design.rows; ++i)
            sum += design.at(i, j);
        for (std::size_t i = 0; i < design.rows; ++i) {
            centred.at(i, j) -= sum / n;
            norm[j] += centred.at(i, j) * centred.at(i, j);
        }
    }
    strongest_correlation strongest{0.0, 0, 0};
    for (std::size_t a = 0; a < design.columns; ++a) {
        for (std::size_t b = a + 1; b < design.columns; ++b) {
            double sum = 0.0;
            for (std::size_t i = 0; i < design.rows; ++i)
                sum += centred.at(i, a) * centred.at(i, b);
            const double value = norm[a] > 0.0 && norm[b] > 0.0 ? std::fabs(sum) / std::sqrt(norm[a] * norm[b]) : 0.0;
            if (value > strongest.value || strongest.factor_b == 0)
                strongest = {value, a, b};
        }
    }
    return strongest;
}

std::size_t repeated_rows(const table& design)
{
    std::set<std::vector<double>> seen;
    for (std::size_t i = 0; i < design.rows; ++i) {
        const auto row = design.cells.begin() + static_cast<std::ptrdiff_t>(i * design.columns);
        seen.emplace(row, row + static_cast<std::ptrdiff_t>(design.columns));
    }
    return design.rows - seen.size();
}

std::size_t filled_strata(const table& unit, std::size_t column)
{
    const double n = static_cast<double>(unit.rows);
    std::set<double> filled;
    for (std::size_t i = 0; i < unit.rows; ++i)
        filled.insert(std::clamp(std::floor(unit.at(i, column) * n), 0.0, n - 1.0));
    return filled.size();
}

bool is_balanced(const table& design)
{
    for (std::size_t j = 0; j < design.columns; ++j) {
        std::vector<double> values = design.column(j);
        std::sort(values.begin(), values.end());
        const std::size_t repeats =
            static_cast<std::size_t>(std::upper_bound(values.begin(), values.end(), values.front()) - values.begin());
        for (std::size_t i = 0; i < values.size(); ++i)
            if ((i % repeats != 0) != (i > 0 && values[i] == values[i - 1]))
                return false;
        if (values.size() % repeats != 0)
            return false;
    }
    return true;
}

table scaled_by_range(const table& design, bool cells)
{
    const std::vector<std::size_t> counts = distinct_counts(design);
    table unit = design;
    for (std::size_t j = 0; j < design.columns; ++j) {
        const std::vector<double> values = design.column(j);
        const auto [low, high] = std::minmax_element(values.begin(), values.end());
        const double half = cells && counts[j] > 1 ? (*high - *low) * 0.5 / static_cast<double>(counts[j] - 1) : 0.0;
        const double lower = *low - half;
        const double span = *high + half - lower;
        for (std::size_t i = 0; i < design.rows; ++i)
            unit.at(i, j) = counts[j] > 1 ? (design.at(i, j) - lower) / span : 0.5;
    }
    return unit;
}

} // namespace optdoe

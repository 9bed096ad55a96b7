#include "api/annealing/annealed_problem.h"

#include "optdoe/criteria/distance.h"

#include <algorithm>
#include <cmath>

namespace optdoe {

std::int64_t trials_a_round(std::size_t rows) { return 200000 / (static_cast<std::int64_t>(rows) + 16) + 1; }

/// [rows][columns] what the criterion sees, weights included.
static std::vector<std::vector<double>> weighted_points(const annealed_problem& problem,
                                                        const std::vector<std::int32_t>& levels, double origin)
{
    std::vector<std::vector<double>> points(problem.rows, std::vector<double>(problem.columns));
    for (std::size_t r = 0; r < problem.rows; ++r)
        for (std::size_t c = 0; c < problem.columns; ++c)
            points[r][c] = weight_of(problem, c) *
                           (problem.values[c][static_cast<std::size_t>(levels[r * problem.columns + c])] - origin);
    return points;
}

int annealed_exponent(const annealed_problem& problem)
{
    const int p = problem.what == annealed_problem::maximin ? 40 : problem.p;
    return problem.euclidean ? (p + 1) / 2 : p;
}

int applied_exponent(int exponent)
{
    int applied = 1;
    for (; exponent > 1; exponent >>= 1)
        applied = 2 * applied + (exponent & 1);
    return applied;
}

static double distance_objective(const annealed_problem& problem, const std::vector<std::int32_t>& levels)
{
    const distance_kind kind = problem.euclidean ? distance_kind::euclidean : distance_kind::rectangular;
    const double cap = 1e200;
    const double floor = std::pow(1e-200, 1.0 / std::max(problem.p, 1));
    const auto points = weighted_points(problem, levels, 0.0);
    double sum = 0.0;
    double least = cap;
    for (std::size_t j = 1; j < problem.rows; ++j)
        for (std::size_t i = 0; i < j; ++i) {
            const double d =
                distance_of(kind, points[i].data(), points[j].data(), static_cast<std::int32_t>(problem.columns));
            least = std::min(least, d);
            sum += d < floor ? cap : 1.0 / int_power(d, static_cast<std::uint32_t>(annealed_exponent(problem)));
        }
    if (problem.what == annealed_problem::maximin)
        return -least;
    return std::pow(std::min(sum, cap), (problem.euclidean ? 0.5 : 1.0) / annealed_exponent(problem));
}

static double discrepancy_objective(const annealed_problem& problem, const std::vector<std::int32_t>& levels)
{
    const auto points = weighted_points(problem, levels, 0.5);
    const double n = static_cast<double>(problem.rows);
    double value = 1.0;
    for (std::size_t c = 0; c < problem.columns; ++c)
        value *= weight_of(problem, c) > 1e-15 ? 13.0 / 12.0 : 1.0;
    for (std::size_t i = 0; i < problem.rows; ++i) {
        double single = 1.0;
        for (const double u : points[i])
            single *= 1.0 + 0.5 * std::fabs(u) - 0.5 * u * u;
        value -= 2.0 / n * single;
        for (std::size_t j = i; j < problem.rows; ++j) {
            double pair = i == j ? 1.0 : 2.0;
            for (std::size_t c = 0; c < problem.columns; ++c) {
                const double u = points[i][c];
                const double v = points[j][c];
                pair *= 1.0 + 0.5 * (std::fabs(u) + std::fabs(v) - std::fabs(u - v));
            }
            value += pair / (n * n);
        }
    }
    return value;
}

double annealed_objective(const annealed_problem& problem, const std::vector<std::int32_t>& levels)
{
    return problem.what == annealed_problem::centered_l2 ? discrepancy_objective(problem, levels)
                                                         : distance_objective(problem, levels);
}

} // namespace optdoe

#include "api/designs/strata.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace optdoe {

column_strata free_strata(std::vector<double> old_runs, std::size_t added)
{
    std::sort(old_runs.begin(), old_runs.end());
    const std::size_t old = old_runs.size();
    const std::size_t strata = old + added;
    const double count = static_cast<double>(strata);
    const double infinite = std::numeric_limits<double>::infinity();

    // cost[i] after looking at s strata: least distance sum of the first i runs. Run i takes one of the strata
    // i .. i + added, so a choice needs one bit per run and offset.
    std::vector<double> cost(old + 1, infinite);
    cost[0] = 0.0;
    std::vector<std::vector<bool>> taken(old, std::vector<bool>(added + 1));
    for (std::size_t s = 0; s < strata; ++s) {
        for (std::size_t i = std::min(s + 1, old); i > 0; --i) {
            if (s - (i - 1) > added)
                break;
            const double with = cost[i - 1] + std::fabs(old_runs[i - 1] * count - (static_cast<double>(s) + 0.5));
            taken[i - 1][s - (i - 1)] = with < cost[i];
            cost[i] = std::min(cost[i], with);
        }
    }
    std::vector<bool> used(strata);
    for (std::size_t i = old, s = strata; i > 0; --i) {
        do
            --s;
        while (!taken[i - 1][s - (i - 1)]);
        used[s] = true;
    }

    column_strata result;
    for (std::size_t s = 0; s < strata; ++s)
        if (!used[s])
            result.centres.push_back((static_cast<double>(s) + 0.5) / count);
    for (std::size_t i = 1; i < old; ++i) {
        const auto stratum = [&](double u) { return std::min(std::floor(u * count), count - 1.0); };
        result.shared += stratum(old_runs[i]) == stratum(old_runs[i - 1]);
    }
    return result;
}

} // namespace optdoe

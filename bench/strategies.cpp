#include "bench/strategies.h"

#include "api/annealing/annealing.h"
#include "hosts/embedded/embedded_host.h"
#include "optdoe/criteria/criterion_facts.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>
#include <limits>
#include <random>

static double processor_seconds()
{
    std::timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

std::string strategy_cell::name() const
{
    std::string text = std::string(criterion) + " " + std::to_string(rows) + " x " + std::to_string(columns);
    if (std::strcmp(criterion, "phip") == 0 && p != 20)
        text += ", p = " + std::to_string(p);
    if (rectangular)
        text += ", rectangular";
    if (repeats > 1)
        text += ", " + std::to_string(rows / repeats) + " levels";
    if (level_groups > 1)
        text += ", " + std::to_string(level_groups) + " groups";
    if (!weights.empty())
        text += ", weights";
    return text;
}

const std::vector<strategy_cell>& strategy_cells()
{
    static const std::vector<strategy_cell> cells{
        {8, 2, "phip"},
        {10, 5, "phip"},
        {20, 2, "phip"},
        {20, 10, "phip"},
        {30, 3, "phip"},
        {50, 2, "phip"},
        {50, 5, "phip"},
        {40, 20, "phip"},
        {100, 2, "phip"},
        {100, 7, "phip"},
        {100, 10, "phip"},
        {200, 4, "phip"},
        {200, 10, "phip"},
        {500, 10, "phip"},
        {30, 4, "phip", 5},
        {40, 6, "phip", 50},
        {40, 4, "phip", 20, true},
        {50, 5, "phip", 20, false, 1, 1, {1.0, 1.0, 0.5, 0.5, 0.2}},
        {40, 5, "phip", 20, false, 4},
        {60, 6, "phip", 20, false, 10},
        {40, 4, "phip", 20, false, 1, 4},
        {10, 3, "maximin"},
        {20, 4, "maximin"},
        {30, 5, "maximin"},
        {60, 8, "maximin"},
        {100, 3, "maximin"},
        {8, 3, "cd2"},
        {20, 2, "cd2"},
        {30, 3, "cd2"},
        {50, 5, "cd2"},
        {40, 20, "cd2"},
        {100, 2, "cd2"},
        {100, 10, "cd2"},
        {200, 5, "cd2"},
        {200, 10, "cd2"},
        {500, 10, "cd2"},
        {50, 4, "cd2", 20, false, 1, 1, {1.0, 0.5, 1.0, 0.25}},
        {48, 6, "cd2", 20, false, 8},
        {60, 4, "cd2", 20, false, 1, 6},
        {10, 3, "entropy"},
        {30, 4, "entropy"},
        {50, 5, "entropy"},
        {100, 6, "entropy"},
        {40, 4, "entropy", 20, true},
        {24, 6, "a2", 20, false, 12},
        {48, 8, "a2", 20, false, 12},
        {60, 10, "a2", 20, false, 10},
    };
    return cells;
}

std::vector<std::int32_t> starting_levels(const strategy_cell& cell, std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    const std::size_t rows = static_cast<std::size_t>(cell.rows);
    const std::size_t columns = static_cast<std::size_t>(cell.columns);
    std::vector<std::int32_t> levels(rows * columns);
    for (std::size_t c = 0; c < columns; ++c) {
        for (std::size_t r = 0; r < rows; ++r)
            levels[r * columns + c] = static_cast<std::int32_t>(r) / cell.repeats;
        for (std::size_t r = rows; r > 1; --r)
            std::swap(levels[(r - 1) * columns + c], levels[random() % r * columns + c]);
    }
    return levels;
}

namespace {

bool is_named(const strategy_cell& cell, const char* criterion)
{
    return std::strcmp(cell.criterion, criterion) == 0;
}

/// What a run of the library is asked for; lives as long as the call.
struct library_request {
    explicit library_request(const strategy_cell& asked)
        : cell(asked), exponent(is_named(asked, "maximin") ? 0 : asked.p)
    {
    }
    const strategy_cell& cell;
    double exponent;
    double distance = cell.rectangular ? 1.0 : 2.0;
};

std::int8_t criterion_id(const strategy_cell& cell)
{
    const char* name = is_named(cell, "maximin") ? "phip" : cell.criterion;
    for (std::int32_t id = 0; id < criterion_id_count; ++id)
        if (criterion_name(id) != nullptr && std::strcmp(criterion_name(id), name) == 0)
            return static_cast<std::int8_t>(id);
    return 0;
}

void edit_settings(run_settings* settings, std::int32_t nfactors, void* user)
{
    const library_request& request = *static_cast<const library_request*>(user);
    criterion_options& criterion = settings->criterion;
    criterion.criterion_id = criterion_id(request.cell);
    if (is_named(request.cell, "phip") || is_named(request.cell, "maximin")) {
        criterion.params.param_count_1 = 1;
        criterion.params.param_list_1 = &request.exponent;
    }
    criterion.params.param_count_2 = 1;
    criterion.params.param_list_2 = &request.distance;
    for (std::int32_t j = 0; j < nfactors; ++j) {
        if (!request.cell.weights.empty())
            criterion.factor_weights[j] = request.cell.weights[static_cast<std::size_t>(j)];
        if (request.cell.level_groups > 1)
            settings->factor_counts[j] = request.cell.level_groups;
    }
    settings->iteration_budget = 100000000;
}

optdoe::annealed_problem problem_of(const strategy_cell& cell, std::uint64_t seed)
{
    optdoe::annealed_problem problem{};
    problem.what = is_named(cell, "cd2")       ? optdoe::annealed_problem::centered_l2
                   : is_named(cell, "maximin") ? optdoe::annealed_problem::maximin
                                               : optdoe::annealed_problem::phip;
    problem.rows = static_cast<std::size_t>(cell.rows);
    problem.columns = static_cast<std::size_t>(cell.columns);
    problem.levels = starting_levels(cell, seed);
    problem.weights = cell.weights;
    problem.p = cell.p;
    problem.euclidean = !cell.rectangular;
    const int levels = cell.rows / cell.repeats;
    std::vector<double> values;
    for (int l = 0; l < levels; ++l)
        values.push_back(is_named(cell, "cd2") ? (l + 0.5) / levels : l / (levels - 1.0));
    problem.values.assign(problem.columns, values);
    return problem;
}

} // namespace

double one_long_run(const strategy_cell& cell, double seconds, std::uint64_t seed)
{
    const std::vector<std::int32_t> levels = starting_levels(cell, seed);
    std::vector<double> start;
    for (const std::int32_t level : levels)
        start.push_back(level + 1.0);
    const starting_design given{start.data(), 0};
    library_request request(cell);
    run_outcome outcome{};
    run_extras extras{};
    extras.edit_settings = edit_settings;
    extras.user = &request;
    extras.start = &given;
    extras.outcome = &outcome;
    const double end = processor_seconds() + seconds;
    embedded_host host;
    host.on_stop_poll = [end] { return processor_seconds() > end ? 1 : 0; };
    host.run(cell.rows, cell.columns, 0, static_cast<std::int64_t>(seed), &extras);
    return outcome.best_objective;
}

double annealing_within(const strategy_cell& cell, double seconds, std::uint64_t seed)
{
    double best = std::numeric_limits<double>::quiet_NaN();
    const bool serves = is_named(cell, "phip") || is_named(cell, "maximin") || is_named(cell, "cd2");
    if (!serves || cell.level_groups > 1)
        return best;
    const optdoe::annealed_problem problem = problem_of(cell, seed);
    const double begin = processor_seconds();
    const double end = begin + seconds;
    for (std::int64_t rounds = 16; processor_seconds() < end;) {
        const double before = processor_seconds();
        const auto late = [&](const optdoe::annealing_progress&) { return processor_seconds() > end; };
        best = std::fmin(best, optdoe::anneal(problem, {seed, rounds, rounds}, late).objective);
        const double now = processor_seconds();
        const double a_round = (now - before) / static_cast<double>(rounds);
        const bool is_known = now - begin > 0.03 * seconds;
        rounds = std::max<std::int64_t>(4, is_known ? static_cast<std::int64_t>(0.98 * (end - now) / a_round)
                                                    : 4 * rounds);
        ++seed;
    }
    return best;
}

#include "api/campaign/search.h"

#include "api/campaign/effort.h"
#include "api/campaign/library_search.h"
#include "api/designs/start_designs.h"
#include "api/runs/engine.h"
#include "api/runs/memory.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace optdoe {

namespace {

/// Nothing can move: one free row stands where it stands.
search_result unmoved(const search_problem& problem, const search_task& task)
{
    search_result result;
    result.task = task;
    result.levels = *start_of(problem, task.seed);
    result.initial = std::numeric_limits<double>::quiet_NaN();
    result.reason = end_reason::nothing_to_move;
    return result;
}

search_result run_plain(const search_problem& problem, const search_task& task, const search_watch& watch)
{
    const std::optional<table> start = start_of(problem, task.seed);
    const table* given = start ? &*start : nullptr;
    return run_library_search(problem, problem.options, task, given, watch);
}

search_result run_effort(const search_problem& problem, const search_task& task, const search_watch& watch)
{
    std::optional<table> start = start_of(problem, task.seed);
    if (!start) {
        std::mt19937_64 generator(task.seed);
        start = random_latin(generator, static_cast<std::size_t>(problem.rows),
                             static_cast<std::size_t>(problem.factors));
    }
    const std::optional<annealed_problem> p = annealed(problem, *start);
    return p ? run_annealing(problem, *p, *start, task, watch) : run_chain(problem, task, watch);
}

} // namespace

search_result run_search(const search_problem& problem, const search_task& task, const search_watch& watch)
{
    search_result result = problem.rows < 2  ? unmoved(problem, task)
                           : task.effort > 0 ? run_effort(problem, task, watch)
                                             : run_plain(problem, task, watch);
    result.objective = score(result.levels, problem.options).value_or(std::numeric_limits<double>::quiet_NaN());
    return result;
}

double bytes_of_search(const search_problem& problem, bool effort)
{
    settings options = problem.options;
    const std::optional<annealed_problem> p = effort ? annealed(problem) : std::nullopt;
    if (!p)
        return bytes_of_run(options, problem.rows, problem.fixed_rows, problem.factors);
    // The objective of the result is the library's, which needs a run without re-arrangements.
    options.no_pre_improvement = true;
    return std::max(annealing_bytes(p->rows, p->columns, p->what),
                    bytes_of_run(options, problem.rows, problem.fixed_rows, problem.factors));
}

std::string end_text(const search_result& result)
{
    return std::string(result.cut ? "stopped_after_rounds" : name_of(result.reason));
}

bool is_better(double objective_a, std::uint32_t seed_a, double objective_b, std::uint32_t seed_b)
{
    if (std::isnan(objective_a) || std::isnan(objective_b) || objective_a == objective_b)
        return std::isnan(objective_a) == std::isnan(objective_b) ? seed_a < seed_b : std::isnan(objective_b);
    return objective_a < objective_b;
}

bool is_better(const search_result& result, const std::optional<search_result>& best)
{
    return !best || is_better(result.objective, result.task.seed, best->objective, best->task.seed);
}

} // namespace optdoe

#include "api/campaign/library_search.h"

#include "api/runs/engine.h"

#include <algorithm>
#include <limits>

namespace optdoe {

std::optional<table> start_of(const search_problem& problem, std::uint32_t seed)
{
    return problem.start ? problem.start(seed) : std::nullopt;
}

table latin_levels(std::size_t rows, std::size_t factors)
{
    table levels(rows, factors);
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < factors; ++j)
            levels.at(i, j) = static_cast<double>(i + 1);
    return levels;
}

namespace {

table rows_from(const table& whole, std::size_t first)
{
    table part(whole.rows - first, whole.columns);
    std::copy(whole.cells.begin() + static_cast<std::ptrdiff_t>(first * whole.columns), whole.cells.end(),
              part.cells.begin());
    return part;
}

run_request request_of(const search_problem& problem, const settings& options, std::uint32_t seed, const table* start)
{
    run_request request;
    request.rows = problem.rows;
    request.factors = problem.factors;
    request.seed = seed;
    request.options = &options;
    request.start = start;
    request.fixed_rows = problem.fixed_rows;
    return request;
}

/// Rounding in the search's scaling has moved entries by a few last places: each becomes its entry of the start
/// again.
void restore_entries(search_result& result, const search_problem& problem, const table* start)
{
    const std::size_t fixed = static_cast<std::size_t>(problem.fixed_rows);
    const table wanted =
        start != nullptr ? *start : latin_levels(result.levels.rows, static_cast<std::size_t>(problem.factors));
    const table exact = exact_levels(rows_from(result.levels, fixed), rows_from(wanted, fixed));
    result.levels = wanted;
    std::copy(exact.cells.begin(), exact.cells.end(),
              result.levels.cells.begin() + static_cast<std::ptrdiff_t>(fixed * wanted.columns));
}

} // namespace

search_result run_library_search(const search_problem& problem, const settings& options, const search_task& task,
                                 const table* start, const search_watch& watch)
{
    search_result result;
    result.task = task;
    search_progress progress{0, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::quiet_NaN()};
    run_request request = request_of(problem, options, task.seed, start);
    request.keep_watch = [&](const run_outcome& outcome) {
        progress = {outcome.iterations - 1, outcome.initial_objective, outcome.best_objective};
        return progress.rounds == task.stop_after || watch(progress);
    };
    request.interrupted = [&] { return watch(progress); };

    run_result run;
    const bool nothing_to_do = task.stop_after == 0;
    if (!nothing_to_do) {
        run = run_library(request);
        result.cut = run.outcome.reason == end_reason::stop_requested || run.outcome.reason == end_reason::time_limit;
        result.rounds = run.outcome.iterations - (run.outcome.reason == end_reason::stop_requested ? 1 : 0);
    }
    if (nothing_to_do || (result.cut && result.rounds == 0)) {
        settings as_it_is = options;
        as_it_is.no_pre_improvement = true;
        request.options = &as_it_is;
        request.keep_watch = [](const run_outcome&) { return true; };
        request.interrupted = nullptr;
        run = run_library(request);
        result.cut = true;
        result.rounds = 0;
    }
    if (result.cut)
        result.task.stop_after = result.rounds;
    result.reason = run.outcome.reason;
    result.initial = run.outcome.initial_objective;
    result.objective = run.outcome.best_objective;
    result.levels = std::move(run.design);
    result.entry_levels = std::move(run.entry_levels);
    restore_entries(result, problem, start);
    return result;
}

} // namespace optdoe

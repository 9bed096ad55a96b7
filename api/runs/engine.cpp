#include "api/runs/engine.h"

#include "api/designs/metrics.h"
#include "api/settings/criteria.h"
#include "api/text/errors.h"

#include "hosts/embedded/embedded_host.h"

#include <fmt/format.h>

#include <atomic>
#include <limits>

namespace optdoe {

namespace {

void edit_settings(run_settings* out, std::int32_t factors, void* request)
{
    static_cast<const run_request*>(request)->options->apply(out, factors);
}

bool is_interrupted(void* request)
{
    const run_request& asked = *static_cast<const run_request*>(request);
    return asked.interrupted && asked.interrupted();
}

} // namespace

run_result run_library(const run_request& request)
{
    const std::size_t rows = static_cast<std::size_t>(request.fixed_rows) + static_cast<std::size_t>(request.rows);
    run_result result{table(rows, static_cast<std::size_t>(request.factors)), {}, {}};
    result.outcome.design = result.design.cells.data();
    result.outcome.initial_objective = result.outcome.best_objective = std::numeric_limits<double>::quiet_NaN();
    const starting_design start{request.start != nullptr ? request.start->cells.data() : nullptr, request.fixed_rows};
    std::atomic<std::uint32_t> rotation{0};
    const run_extras extras{edit_settings,
                            const_cast<run_request*>(&request),
                            request.start != nullptr ? &start : nullptr,
                            &result.outcome,
                            &rotation,
                            is_interrupted};

    embedded_host host;
    std::string last_line;
    host.on_status_line = [&last_line](std::string_view line) { last_line = line; };
    host.on_stop_poll = [&] { return request.keep_watch && request.keep_watch(result.outcome) ? 1 : 0; };
    const double minutes = request.options->seconds.value_or(0.0) / 60.0;
    auto levels = host.run(request.rows, request.factors, minutes, request.seed, &extras);
    if (!levels)
        throw input_error(host.pending() ? fmt::format("{}: {}", host.pending()->class_name, host.pending()->message)
                                         : fmt::format("the library refused the run: {}", last_line));
    result.entry_levels = std::move(*levels);
    result.outcome.design = nullptr;
    return result;
}

std::optional<double> score(const table& design, const settings& options)
{
    if (design.rows < 2 || design.columns < 2)
        return std::nullopt;
    for (const std::size_t count : distinct_counts(design))
        if (count < 2)
            return std::nullopt;
    if (facts_of(options.criterion).needs_balanced_columns && !is_balanced(design))
        return std::nullopt;
    settings criterion_only;
    criterion_only.criterion = options.criterion;
    criterion_only.p = options.p;
    criterion_only.distance = options.distance;
    criterion_only.theta = options.theta;
    criterion_only.weights = options.weights;
    criterion_only.scaling = options.scaling;
    criterion_only.no_pre_improvement = true;
    run_request request;
    request.rows = static_cast<std::int32_t>(design.rows);
    request.factors = static_cast<std::int32_t>(design.columns);
    request.options = &criterion_only;
    request.start = &design;
    request.keep_watch = [](const run_outcome&) { return true; };
    return run_library(request).outcome.initial_objective;
}

std::string_view name_of(end_reason reason)
{
    switch (reason) {
    case end_reason::not_searched: return "not_searched";
    case end_reason::target_reached: return "target_reached";
    case end_reason::iteration_limit: return "iteration_limit";
    case end_reason::time_limit: return "time_limit";
    case end_reason::stop_requested: return "stop_requested";
    case end_reason::no_acceptance: return "no_acceptance";
    case end_reason::nothing_to_move: return "nothing_to_move";
    case end_reason::undefined_objective: return "undefined_objective";
    default: return "failed";
    }
}

std::string_view describe(end_reason reason)
{
    switch (reason) {
    case end_reason::not_searched: return "a single factor needs no search";
    case end_reason::target_reached: return "the target is reached";
    case end_reason::iteration_limit: return "the iterations are spent";
    case end_reason::time_limit: return "the time limit is reached";
    case end_reason::stop_requested: return "stopped on request";
    case end_reason::no_acceptance: return "a round of annealing accepted no move";
    case end_reason::nothing_to_move: return "no factor can be moved";
    case end_reason::undefined_objective: return "the objective is not a number";
    default: return "failed";
    }
}

} // namespace optdoe

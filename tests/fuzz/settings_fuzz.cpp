// run_settings with any bytes in every field, on a small random or given design with and without fixed rows.

#include "tests/fuzz/fuzz_input.h"

#include "hosts/embedded/embedded_host.h"
#include "optdoe/entry/optdoe.h"

#include <cmath>
#include <vector>

namespace {

constexpr int most_parameters = 200;

struct wanted {
    int n, k;
    run_settings settings;
    double parameters[3][most_parameters];
    std::uint8_t null_lists;
    std::uint8_t set; ///< which groups of settings are set at all
    std::vector<std::int32_t> counts;
    std::vector<double> shares, weights;
};

void edit(run_settings* s, std::int32_t k, void* user)
{
    const wanted& w = *static_cast<const wanted*>(user);
    std::int32_t* counts = s->factor_counts;
    double* shares = s->factor_shares;
    double* weights = s->criterion.factor_weights;
    const run_settings unset = *s;
    *s = w.settings;
    s->factor_counts = counts;
    s->factor_shares = shares;
    s->criterion.factor_weights = weights;
    criterion_params& params = s->criterion.params;
    params.param_list_1 = (w.null_lists & 1) != 0 ? nullptr : w.parameters[0];
    params.param_list_2 = (w.null_lists & 2) != 0 ? nullptr : w.parameters[1];
    params.param_list_3 = (w.null_lists & 4) != 0 ? nullptr : w.parameters[2];
    if ((w.set & 1) == 0)
        s->time_limit = unset.time_limit;
    for (std::int32_t j = 0; j < k; ++j) {
        if ((w.set & 2) != 0)
            counts[j] = w.counts[static_cast<std::size_t>(j)];
        if ((w.set & 4) != 0)
            shares[j] = w.shares[static_cast<std::size_t>(j)];
        if ((w.set & 8) != 0)
            weights[j] = w.weights[static_cast<std::size_t>(j)];
    }
    // The stop flag is polled once a round, and a round may be told to have 1e8 moves: kept short here.
    if (s->moves_per_iteration > 30)
        s->moves_per_iteration = 30;
    if (s->iteration_budget > 1000 || s->iteration_budget < 1)
        s->iteration_budget = 1000;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz_input input(data, size);
    wanted w{};
    w.n = 2 + input.below(11);
    w.k = 1 + input.below(5);
    const int fixed = input.below(4);
    const int polls = input.below(3);
    const bool given = input.below(2) == 1;
    const int levels = 1 + input.below(w.n + fixed);
    w.null_lists = input.take<std::uint8_t>();
    w.set = input.take<std::uint8_t>();
    input.bytes(&w.settings, sizeof w.settings);
    for (int j = 0; j < w.k; ++j) {
        w.counts.push_back(input.take<std::int32_t>());
        w.shares.push_back(input.take<double>());
        w.weights.push_back(input.take<double>());
    }
    for (auto& list : w.parameters)
        for (int i = 0; i < 6; ++i)
            list[i] = input.take<double>();

    const int rows = w.n + (given ? fixed : 0);
    std::vector<double> start(static_cast<std::size_t>(rows * w.k));
    for (double& level : start)
        level = 1 + input.below(levels);
    const starting_design starting{start.data(), rows - w.n};
    std::vector<double> design(start.size());
    run_outcome outcome{};
    outcome.design = design.data();
    run_extras extras{};
    extras.edit_settings = edit;
    extras.user = &w;
    extras.start = given ? &starting : nullptr;
    extras.outcome = &outcome;

    embedded_host host;
    int lines = 0;
    host.on_status_line = [&](std::string_view) { ++lines; };
    host.on_stop_poll = [&] { return host.poll_count() > polls ? 1 : 0; };
    const auto result = host.run(w.n, w.k, 1.0, 5, &extras);
    require(host.violations().empty(), "a rule of the native interface was broken");
    require(!host.pending(), "an exception without a cause");
    require(result.has_value() == (outcome.reason != end_reason::failed), "the reason does not fit the result");
    require(result ? result->size() == start.size() : lines >= 2, "the result's size, or a refusal without a line");
    return 0;
}

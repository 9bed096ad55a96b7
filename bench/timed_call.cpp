#include "bench/timed_call.h"

#include "hosts/embedded/embedded_host.h"
#include "optdoe/search/search_driver.h"
#include "tests/reference/plain/plain_library.h"

#include <algorithm>
#include <ctime>

namespace {

double processor_seconds()
{
    std::timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// Column moves a round: the work told over the candidates of a move, by default settings.
double moves_a_round(const run_outcome& outcome, int n)
{
    const int pairs = n * (n - 1) / 2;
    const int candidates = pairs > 20 ? std::min((pairs + 1) / 5, 50) : 1;
    return static_cast<double>(outcome.effort) / candidates / outcome.iterations;
}

void edit_settings(run_settings* settings, std::int32_t, void* user)
{
    const call_request& request = *static_cast<const call_request*>(user);
    settings->criterion.criterion_id = static_cast<std::int8_t>(request.criterion);
    if (request.rounds > 0)
        settings->iteration_budget = request.rounds;
}

} // namespace

library_form fast_form() { return {optdoe_run, &choice_counter}; }

library_form plain_form() { return {optdoe_plain_library()->run, optdoe_plain_library()->choice_counter}; }

/// Makes the call in a host that is ready.
static timed_call call_in(embedded_host& host, const library_form& form, const call_request& request)
{
    timed_call call{};
    call.design.resize(static_cast<std::size_t>(request.n) * static_cast<std::size_t>(request.k));
    call.outcome.design = call.design.data();
    call_request asked = request;
    run_extras extras{};
    extras.outcome = &call.outcome;
    extras.user = &asked;
    extras.edit_settings = edit_settings;
    *form.counter = 0;
    host.begin_call();
    const double before = processor_seconds();
    form.run(host.env(), host.self(), request.n, request.k, request.minutes, 5, &extras);
    call.seconds = processor_seconds() - before;
    host.end_call();
    return call;
}

timed_call make_whole_call(const library_form& form, const call_request& request)
{
    embedded_host host;
    return call_in(host, form, request);
}

timed_call make_call(const library_form& form, const call_request& request,
                     const std::function<void(int round)>& on_round)
{
    embedded_host host;
    int rounds = 0;
    double first_round = 0.0;
    double last_round = 0.0;
    host.on_stop_poll = [&] {
        last_round = processor_seconds();
        if (++rounds == 1)
            first_round = last_round;
        if (on_round)
            on_round(rounds);
        return 0;
    };
    timed_call call = call_in(host, form, request);
    call.search_seconds = last_round - first_round;
    call.search_moves = rounds > 1 ? (rounds - 1) * moves_a_round(call.outcome, request.n) : 0.0;
    return call;
}

/// Whole default calls, fast form against plain form, side by side in one process.
///
/// Every line is one size: both forms make the same design (checked to the bit), in turn, and the processor time of
/// the best of several calls counts. Usage: whole_calls [n k rounds]...
#include "embedded_host.h"
#include "reference/plain/plain_library.h"

#include "search/search_driver.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

namespace {

double processor_seconds()
{
    std::timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

struct size {
    int n;
    int k;
    int rounds; ///< 0: the default number
};

struct form {
    decltype(&optdoe_run) run;
    std::atomic<std::uint32_t>* counter;
};

struct measured_call {
    double seconds;
    std::vector<double> design;
    run_outcome outcome;
};

measured_call timed_call(const form& library, size s)
{
    embedded_host host;
    measured_call call{0.0, std::vector<double>(static_cast<std::size_t>(s.n * s.k)), {}};
    call.outcome.design = call.design.data();
    run_extras extras{};
    extras.outcome = &call.outcome;
    extras.user = &s;
    extras.edit_settings = [](run_settings* settings, std::int32_t, void* user) {
        const size& asked = *static_cast<size*>(user);
        if (asked.rounds > 0)
            settings->iteration_budget = asked.rounds;
    };
    *library.counter = 0;
    host.begin_call();
    const double before = processor_seconds();
    library.run(host.env(), host.self(), s.n, s.k, 1000.0, 5, &extras);
    call.seconds = processor_seconds() - before;
    host.end_call();
    return call;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<size> sizes;
    for (int i = 1; i + 2 < argc; i += 3)
        sizes.push_back({std::atoi(argv[i]), std::atoi(argv[i + 1]), std::atoi(argv[i + 2])});
    if (sizes.empty())
        sizes = {{10, 2, 0}, {20, 5, 0}, {50, 5, 0}, {100, 10, 30}, {200, 10, 10}, {500, 10, 3}, {1000, 10, 1}};

    const plain_library& plain_functions = *optdoe_plain_library();
    const form plain{plain_functions.run, plain_functions.choice_counter};
    const form fast{optdoe_run, &choice_counter};
    std::printf("%6s %4s %7s %12s %12s %7s  %s\n", "n", "k", "rounds", "plain s", "fast s", "ratio", "design");
    bool all_same = true;
    for (const size s : sizes) {
        double plain_seconds = 1e300;
        double fast_seconds = 1e300;
        measured_call p{};
        measured_call f{};
        for (int repeat = 0; repeat < 3 && (repeat == 0 || plain_seconds < 2.0); ++repeat) {
            p = timed_call(plain, s);
            f = timed_call(fast, s);
            plain_seconds = std::min(plain_seconds, p.seconds);
            fast_seconds = std::min(fast_seconds, f.seconds);
        }
        const bool same = p.design == f.design && p.outcome.best_objective == f.outcome.best_objective;
        all_same = all_same && same;
        std::printf("%6d %4d %7d %12.6f %12.6f %7.2f  %s\n", s.n, s.k, f.outcome.iterations, plain_seconds,
                    fast_seconds, plain_seconds / fast_seconds, same ? "same" : "DIFFERENT");
        std::fflush(stdout);
    }
    return all_same ? EXIT_SUCCESS : EXIT_FAILURE;
}

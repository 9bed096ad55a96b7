/// Default calls, fast form against plain form, side by side in one process.
///
/// Every line is one size: both forms make the same design (checked to the bit), in turn, and the processor time of
/// the best of several calls counts. The cost of a move is what further rounds add: the set-up and the improvement
/// before the search are left out of it. Usage: whole_calls [n k rounds]..., with rounds 0 for the default number.
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

/// Column moves of a call: its candidates over the most candidates of a move.
double moves_of(const run_outcome& outcome, int n)
{
    const int pairs = n * (n - 1) / 2;
    const int candidates = pairs > 20 ? std::min((pairs + 1) / 5, 50) : 1;
    return static_cast<double>(outcome.effort) / candidates;
}

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

/// Least processor time of several calls; stops early when a call takes long.
measured_call best_call(const form& library, size s, const measured_call* before)
{
    measured_call call = timed_call(library, s);
    if (before != nullptr && before->seconds < call.seconds)
        call.seconds = before->seconds;
    return call;
}

struct measured_size {
    measured_call plain;
    measured_call fast;
};

measured_size measure(const form& plain, const form& fast, size s)
{
    measured_size m{timed_call(plain, s), timed_call(fast, s)};
    for (int repeat = 0; repeat < 4 && m.plain.seconds < 2.0; ++repeat)
        m = {best_call(plain, s, &m.plain), best_call(fast, s, &m.fast)};
    return m;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<size> sizes;
    for (int i = 1; i + 2 < argc; i += 3)
        sizes.push_back({std::atoi(argv[i]), std::atoi(argv[i + 1]), std::atoi(argv[i + 2])});
    if (sizes.empty())
        sizes = {{10, 2, 0}, {20, 5, 0}, {50, 5, 0}, {100, 10, 100}, {200, 10, 30}, {500, 10, 12}, {1000, 10, 6}};

    const plain_library& plain_functions = *optdoe_plain_library();
    const form plain{plain_functions.run, plain_functions.choice_counter};
    const form fast{optdoe_run, &choice_counter};
    std::printf(
        "| n | k | rounds | plain, s | fast, s | ratio | plain, us a move | fast, us a move | ratio | design |\n"
        "|---|---|---|---|---|---|---|---|---|---|\n");
    bool all_same = true;
    for (const size s : sizes) {
        const measured_size whole = measure(plain, fast, s);
        size shorter = s;
        shorter.rounds = std::max(1, whole.fast.outcome.iterations / 6);
        const measured_size part = measure(plain, fast, shorter);
        const double moves = moves_of(whole.fast.outcome, s.n) - moves_of(part.fast.outcome, s.n);
        const double plain_move = 1e6 * (whole.plain.seconds - part.plain.seconds) / moves;
        const double fast_move = 1e6 * (whole.fast.seconds - part.fast.seconds) / moves;
        const bool same = whole.plain.design == whole.fast.design &&
                          whole.plain.outcome.best_objective == whole.fast.outcome.best_objective;
        all_same = all_same && same;
        std::printf("| %d | %d | %d | %.4f | %.4f | %.1f | %.2f | %.2f | %.1f | %s |\n", s.n, s.k,
                    whole.fast.outcome.iterations, whole.plain.seconds, whole.fast.seconds,
                    whole.plain.seconds / whole.fast.seconds, plain_move, fast_move, plain_move / fast_move,
                    same ? "same" : "DIFFERENT");
        std::fflush(stdout);
    }
    return all_same ? EXIT_SUCCESS : EXIT_FAILURE;
}

/// Default calls, fast form against plain form, side by side in one process.
///
/// Every line is one size: both forms make the same design (checked to the bit), in turn, and the processor time of
/// the best of several calls counts. The cost of a move is that of the rounds: the set-up and the improvement before
/// the search are left out of it. Usage: whole_calls [n k rounds]..., with rounds 0 for the default number.
#include "timed_call.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

/// The lesser of two times of each part, and the design of the later call.
timed_call best_of(const timed_call& earlier, timed_call later)
{
    later.seconds = std::min(later.seconds, earlier.seconds);
    later.search_seconds = std::min(later.search_seconds, earlier.search_seconds);
    return later;
}

struct measured_size {
    timed_call plain;
    timed_call fast;
};

/// Repeats short calls until they have taken a second, and long ones not at all.
measured_size measure(const call_request& size)
{
    constexpr double enough = 1.0;
    constexpr int most_repeats = 400;
    measured_size m{make_call(plain_form(), size), make_call(fast_form(), size)};
    const double once = m.plain.seconds + m.fast.seconds;
    const int repeats = once < 2.0 ? std::clamp(static_cast<int>(enough / once), 4, most_repeats) : 0;
    for (int repeat = 0; repeat < repeats; ++repeat)
        m = {best_of(m.plain, make_call(plain_form(), size)), best_of(m.fast, make_call(fast_form(), size))};
    return m;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<call_request> sizes;
    for (int i = 1; i + 2 < argc; i += 3)
        sizes.push_back({std::atoi(argv[i]), std::atoi(argv[i + 1]), std::atoi(argv[i + 2])});
    if (sizes.empty())
        sizes = {{10, 2, 0}, {20, 5, 0}, {50, 5, 0}, {100, 10, 100}, {200, 10, 30}, {500, 10, 12}, {1000, 10, 6}};

    std::printf(
        "| n | k | rounds | plain, s | fast, s | ratio | plain, us a move | fast, us a move | ratio | design |\n"
        "|---|---|---|---|---|---|---|---|---|---|\n");
    bool all_same = true;
    for (const call_request& size : sizes) {
        const auto [plain, fast] = measure(size);
        const double plain_move = 1e6 * plain.search_seconds / plain.search_moves;
        const double fast_move = 1e6 * fast.search_seconds / fast.search_moves;
        const bool same = plain.design == fast.design && plain.outcome.best_objective == fast.outcome.best_objective;
        all_same = all_same && same;
        std::printf("| %d | %d | %d | %.4f | %.4f | %.1f | %.2f | %.2f | %.1f | %s |\n", size.n, size.k,
                    fast.outcome.iterations, plain.seconds, fast.seconds, plain.seconds / fast.seconds, plain_move,
                    fast_move, plain_move / fast_move, same ? "same" : "DIFFERENT");
        std::fflush(stdout);
    }
    return all_same ? EXIT_SUCCESS : EXIT_FAILURE;
}

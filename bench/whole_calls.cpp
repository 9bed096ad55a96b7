/// Default calls, fast form against plain form, side by side in one process.
///
/// Every line is one size: both forms make the same design (checked to the bit), in turn, and the processor time of
/// the best of several calls counts. The cost of a move is that of the rounds: the set-up and the improvement before
/// the search are left out of it. Usage: whole_calls [entropy|phip|cd2|a2 | n k rounds]..., with rounds 0 for the
/// default number; a criterion holds for the sizes behind it, the first ones are phip's.
#include "bench/timed_call.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string_view>
#include <vector>

namespace {

/// The least of the times of two calls with timed rounds.
timed_call best_of(const timed_call& earlier, timed_call later)
{
    later.seconds = std::min(later.seconds, earlier.seconds);
    later.search_seconds = std::min(later.search_seconds, earlier.search_seconds);
    return later;
}

/// One call with timed rounds and some without, which are short of what the looks at the clock cost.
timed_call calls_in_a_row(const library_form& form, const call_request& size, int whole_calls)
{
    timed_call call = make_call(form, size);
    for (int i = 0; i < whole_calls; ++i)
        call.seconds = std::min(call.seconds, make_whole_call(form, size).seconds);
    return call;
}

const char* const criteria[] = {"entropy", "phip", "cd2", "a2"};

/// Number of the named criterion, -1 for any other word.
int criterion_of(std::string_view name)
{
    const auto* const found = std::find(std::begin(criteria), std::end(criteria), name);
    return found == std::end(criteria) ? -1 : static_cast<int>(found - criteria);
}

struct measured_size {
    timed_call plain;
    timed_call fast;
};

/// Short calls are made many times in turn, long ones once.
measured_size measure(const call_request& size)
{
    measured_size m{make_call(plain_form(), size), make_call(fast_form(), size)};
    const double once = m.plain.seconds + m.fast.seconds;
    if (once > 2.0)
        return m;
    constexpr int calls_a_turn = 4;
    const int turns = std::clamp(static_cast<int>(2.0 / (calls_a_turn * once)), 5, 100);
    for (int turn = 0; turn < turns; ++turn)
        m = {best_of(m.plain, calls_in_a_row(plain_form(), size, calls_a_turn - 1)),
             best_of(m.fast, calls_in_a_row(fast_form(), size, calls_a_turn - 1))};
    return m;
}

/// A ratio with three digits that count.
void print_ratio(double plain, double fast)
{
    const double ratio = plain / fast;
    std::printf(" %.*f |", ratio < 10.0 ? 2 : 1, ratio);
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<call_request> sizes;
    int criterion = 1;
    for (int i = 1; i < argc;) {
        if (const int named = criterion_of(argv[i]); named >= 0) {
            criterion = named;
            ++i;
        } else if (i + 2 < argc) {
            sizes.push_back({std::atoi(argv[i]), std::atoi(argv[i + 1]), std::atoi(argv[i + 2]), criterion});
            i += 3;
        } else {
            std::fputs("usage: whole_calls [entropy|phip|cd2|a2 | n k rounds]...\n", stderr);
            return 2;
        }
    }
    if (sizes.empty())
        sizes = {{10, 2, 0}, {20, 5, 0}, {50, 5, 0}, {100, 10, 100}, {200, 10, 30}, {500, 10, 12}, {1000, 10, 6}};

    std::printf("| criterion | n | k | rounds | plain, s | fast, s | ratio | plain, us a move | fast, us a move | "
                "ratio | design |\n"
                "|---|---|---|---|---|---|---|---|---|---|---|\n");
    bool all_same = true;
    for (const call_request& size : sizes) {
        const auto [plain, fast] = measure(size);
        if (fast.search_moves < 1.0) {
            std::fprintf(stderr, "%s %d x %d ends before its second round\n", criteria[size.criterion], size.n,
                         size.k);
            continue;
        }
        const double plain_move = 1e6 * plain.search_seconds / plain.search_moves;
        const double fast_move = 1e6 * fast.search_seconds / fast.search_moves;
        const bool same = plain.design == fast.design && plain.outcome.best_objective == fast.outcome.best_objective;
        all_same = all_same && same;
        std::printf("| %s | %d | %d | %d | %.4f | %.4f |", criteria[size.criterion], size.n, size.k,
                    fast.outcome.iterations, plain.seconds, fast.seconds);
        print_ratio(plain.seconds, fast.seconds);
        std::printf(" %.2f | %.2f |", plain_move, fast_move);
        print_ratio(plain_move, fast_move);
        std::printf(" %s |\n", same ? "same" : "DIFFERENT");
        std::fflush(stdout);
    }
    return all_same ? EXIT_SUCCESS : EXIT_FAILURE;
}

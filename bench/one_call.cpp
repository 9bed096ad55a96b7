/// One call of one form in a process of its own, told as a line of JSON.
///
///   one_call fast|plain entropy|phip|cd2|a2 N K ROUNDS MINUTES     (ROUNDS 0: the default number)
///
/// Peak memory is that of the process. Under `valgrind --tool=callgrind --instr-atstart=no` the instructions counted
/// are those from the begin of the first round to that of round ROUNDS: "moves" column moves, without set-up and
/// pre-improvement.
#include "bench/timed_call.h"

#include "optdoe/simd/kernel_variants.h"

#include <sys/resource.h>
#include <valgrind/callgrind.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

static const char* kernels_of_machine()
{
    return machine_has(instruction_set::avx512) ? "avx512" : machine_has(instruction_set::avx2) ? "avx2" : "baseline";
}

int main(int argc, char** argv)
{
    const char* const criteria[] = {"entropy", "phip", "cd2", "a2"};
    int criterion = 0;
    while (argc == 7 && criterion < 4 && std::string_view(argv[2]) != criteria[criterion])
        ++criterion;
    const bool plain = argc == 7 && std::string_view(argv[1]) == "plain";
    if (argc != 7 || criterion == 4 || (!plain && std::string_view(argv[1]) != "fast")) {
        std::fputs("usage: one_call fast|plain entropy|phip|cd2|a2 N K ROUNDS MINUTES\n", stderr);
        return 2;
    }
    const call_request request{std::atoi(argv[3]), std::atoi(argv[4]), std::atoi(argv[5]), criterion,
                               std::atof(argv[6])};
    const timed_call call = make_call(plain ? plain_form() : fast_form(), request, [&](int round) {
        if (round == 1)
            CALLGRIND_START_INSTRUMENTATION;
        if (round == request.rounds)
            CALLGRIND_STOP_INSTRUMENTATION;
    });
    if (call.outcome.reason == end_reason::failed) {
        std::fputs("one_call: the call was refused\n", stderr);
        return 1;
    }
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    std::printf("{\"form\":\"%s\",\"criterion\":\"%s\",\"n\":%d,\"k\":%d,\"rounds\":%d,\"moves\":%.0f,"
                "\"objective\":%.17g,\"processor_seconds\":%.3f,\"peak_resident_kib\":%ld,\"kernels\":\"%s\"}\n",
                argv[1], argv[2], request.n, request.k, call.outcome.iterations, call.search_moves,
                call.outcome.best_objective, call.seconds, used.ru_maxrss, kernels_of_machine());
}

#include "cli/engine.h"
#include "cli/errors.h"
#include "cli/memory.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace cli;

TEST(memory, what_exceeds_the_machine_is_refused)
{
    EXPECT_NO_THROW(refuse_beyond_memory("phip", 100, 10));
    EXPECT_THROW(refuse_beyond_memory("phip", 10000000, 10), input_error);
    EXPECT_THROW(refuse_beyond_memory("phip", 2, std::int64_t{1} << 50), input_error);
}

#if !defined(__SANITIZE_ADDRESS__)

namespace {

/// Peak of a child that runs one round, in bytes.
double peak_of_run(const char* criterion, std::int32_t rows)
{
    const pid_t child = fork();
    if (child == 0) {
        settings s;
        s.criterion = criterion;
        s.iterations = s.moves = s.pairs = 1;
        s.seconds = 0.4;
        run_request request;
        request.rows = rows;
        request.factors = 2;
        request.options = &s;
        run_library(request);
        _exit(0);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    return static_cast<double>(usage.ru_maxrss) * 1024.0;
}

} // namespace

TEST(memory, estimates_are_near_the_peak)
{
    // The difference of two sizes leaves out what the process itself needs.
    for (const char* criterion : {"phip", "entropy", "cd2", "a2"}) {
        const double measured = peak_of_run(criterion, 800) - peak_of_run(criterion, 200);
        const double estimated = estimated_bytes(criterion, 800, 2) - estimated_bytes(criterion, 200, 2);
        EXPECT_LT(measured, estimated * 1.15) << criterion;
        EXPECT_GT(measured, estimated * 0.6) << criterion;
    }
}

#endif

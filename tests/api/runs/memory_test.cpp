#include "api/runs/engine.h"
#include "api/runs/memory.h"
#include "api/text/errors.h"

#include "optdoe/entry/memory_need.h"

#include <gtest/gtest.h>

#include <cmath>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace optdoe;

namespace {

settings with(const char* criterion)
{
    settings s;
    s.criterion = criterion;
    return s;
}

} // namespace

TEST(memory, what_exceeds_the_machine_is_refused)
{
    EXPECT_NO_THROW(refuse_beyond_memory(with("phip"), 100, 0, 10));
    EXPECT_THROW(refuse_beyond_memory(with("phip"), 10000000, 0, 10), input_error);
    EXPECT_THROW(refuse_beyond_memory(with("phip"), 100, 10000000, 10), input_error);
    EXPECT_THROW(refuse_beyond_memory(with("phip"), 2, 0, std::int64_t{1} << 50), input_error);
}

TEST(memory, without_rearrangements_the_least_counts)
{
    // Rows whose distances do not fit while those of the changed rows do.
    settings s = with("phip");
    const auto rows = static_cast<std::int64_t>(std::sqrt(machine_bytes() / 5.0));
    EXPECT_THROW(refuse_beyond_memory(s, rows, 0, 2), input_error);
    s.no_pre_improvement = true;
    EXPECT_NO_THROW(refuse_beyond_memory(s, rows, 0, 2));
    s.method = "greedy";
    EXPECT_THROW(refuse_beyond_memory(s, rows, 0, 2), input_error);
    s.method = "threshold";
    s.p = 0; // maximin has all distances
    EXPECT_THROW(refuse_beyond_memory(s, rows, 0, 2), input_error);
}

#if !defined(__SANITIZE_ADDRESS__)

namespace {

double estimated_peak(const settings& s, double rows)
{
    criterion_options options{};
    s.apply_criterion(&options);
    return memory_of_run(rows, 0, 2, &options).peak;
}

/// Peak of a child that runs one round, in bytes.
double peak_of_run(const settings& options, std::int32_t rows)
{
    const pid_t child = fork();
    if (child == 0) {
        settings s = options;
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
        const settings s = with(criterion);
        const double measured = peak_of_run(s, 800) - peak_of_run(s, 200);
        const double estimated = estimated_peak(s, 800) - estimated_peak(s, 200);
        EXPECT_LT(measured, estimated * 1.15) << criterion;
        EXPECT_GT(measured, estimated * 0.6) << criterion;
    }
}

#endif

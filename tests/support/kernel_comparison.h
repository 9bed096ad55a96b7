/// Every variant of a kernel table against its plain form: on the same input, and by the time both take.
#pragma once

#include "optdoe/simd/kernel_variants.h"
#include "optdoe/vectors/aligned_tables.h"
#include "tests/support/designs.h"
#include "tests/support/test_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

/// The sizes that kernels are compared at: around every vector length, and one with several blocks of everything.
inline std::vector<int> kernel_sizes(int from = 0)
{
    std::vector<int> sizes;
    for (int n = from; n <= 67; ++n)
        sizes.push_back(n);
    sizes.push_back(509);
    return sizes;
}

/// Calls check(kernels) for every variant that this machine runs, the baseline first.
template <class Kernels, class Check>
void for_each_variant(const kernel_variants<Kernels>& variants, Check check)
{
    for (std::size_t set = 0; set < instruction_set_count; ++set)
        if (variants[set] != nullptr && machine_has(static_cast<instruction_set>(set)))
            check(*variants[set]);
}

/// Numbers in [0, 1) with ties, signed zeroes and subnormals among them.
inline double any_number(random_stream& random)
{
    switch (random.below(8)) {
    case 0: return 0.0;
    case 1: return -0.0;
    case 2: return std::numeric_limits<double>::denorm_min() * random.below(1000);
    case 3: return 0.5;
    default: return random.unit();
    }
}

/// Numbers in [0, 1), for measurements: subnormal ones take some processors many times as long.
inline double ordinary_number(random_stream& random) { return random.unit(); }

/// The same bits, or two that are not numbers, whose bits no contract tells.
inline bool same_number(double x, double y)
{
    return std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(y) || (std::isnan(x) && std::isnan(y));
}

/// Compares cells begin .. end-1.
inline ::testing::AssertionResult same_numbers(const double* found, const double* expected, int begin, int end)
{
    for (int i = begin; i < end; ++i)
        if (!same_number(found[i], expected[i]))
            return ::testing::AssertionFailure() << "cell " << i << " is " << found[i] << ", not " << expected[i];
    return ::testing::AssertionSuccess();
}

/// Lines on boundaries of 64 bytes, of zeroes, padded to a multiple of 8; freed with the run.
struct aligned_lines {
    aligned_lines(test_run& run, int count, int length) : line(aligned_matrix_alloc(run.ctx(), count, length)) {}
    double** line;
};

/// Seconds of one call, the least of several spans of a tenth of a millisecond or more.
template <class Call>
double least_seconds(Call call, int& repetitions)
{
    using clock = std::chrono::steady_clock;
    const auto span = [&] {
        const clock::time_point begin = clock::now();
        for (int i = 0; i < repetitions; ++i)
            call();
        return std::chrono::duration<double>(clock::now() - begin).count();
    };
    while (span() < 1e-4 && repetitions < 1 << 20)
        repetitions *= 2;
    double least = span();
    for (int i = 0; i < 4; ++i)
        least = std::min(least, span());
    return least / repetitions;
}

/// Prints and records how many times the time of a variant its plain form takes. Nothing is asserted: the machine may
/// be busy, and the sanitizers slow both down.
///   call   (kernels) calls the member that is measured
template <class Kernels, class Call>
void report_speed(const char* member, const Kernels& variant, const Kernels& plain, Call call)
{
    int repetitions = 1;
    const double plain_seconds = least_seconds([&] { call(plain); }, repetitions);
    const double ratio = plain_seconds / least_seconds([&] { call(variant); }, repetitions);
    char text[16];
    std::snprintf(text, sizeof text, "%.2f", ratio);
    ::testing::Test::RecordProperty(std::string(member) + "_" + variant.name, text);
    std::printf("[  TIMES   ] %s %s: %s as fast as plain\n", member, variant.name, text);
}

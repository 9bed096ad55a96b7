/// What a call costs beyond the search: the default design of 10 x 2 by the library's internal call and by liboptdoe,
/// in turn, in microseconds. Prints "internal MEDIAN" and "C MEDIAN". bench/call_overhead.sh makes the table.
///
///   call_overhead [CALLS]
#include "api/runs/engine.h"

#include <optdoe.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

double microseconds(void (*call)())
{
    const auto began = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - began).count();
}

void internal_call()
{
    const optdoe::settings options;
    optdoe::run_request request;
    request.rows = 10;
    request.factors = 2;
    request.seed = 5;
    request.options = &options;
    request.keep_watch = [](const run_outcome&) { return false; };
    optdoe::run_library(request);
}

void c_call()
{
    optdoe_request* request = nullptr;
    optdoe_design* design = nullptr;
    std::int32_t levels[20];
    const bool made = optdoe_request_new(&request) == OPTDOE_OK && optdoe_design_new(&design) == OPTDOE_OK &&
                      optdoe_request_set_number(request, "runs", 10) == OPTDOE_OK &&
                      optdoe_request_set_number(request, "factors", 2) == OPTDOE_OK &&
                      optdoe_request_set_number(request, "seed", 5) == OPTDOE_OK &&
                      optdoe_request_run(request, design) == OPTDOE_OK &&
                      optdoe_design_levels(design, levels, 20) == OPTDOE_OK;
    if (!made) {
        std::fprintf(stderr, "%s\n", optdoe_request_message(request));
        std::exit(1);
    }
    optdoe_design_free(design);
    optdoe_request_free(request);
}

double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    const int calls = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5000;
    std::vector<double> internal;
    std::vector<double> by_c;
    for (int i = 0; i < calls; ++i) {
        internal.push_back(microseconds(internal_call));
        by_c.push_back(microseconds(c_call));
    }
    std::printf("internal %.1f\nC %.1f\n", median(internal), median(by_c));
}

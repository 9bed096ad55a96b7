/// The time limit and the stop button as a person feels them: felt_times [ROWS...]
///
/// For each number of rows, at 10 factors, a Markdown line of milliseconds:
///   set-up      from the call to the first line of the search: nobody is asked, and no clock read, before
///   first poll  from the call to the first poll of the stop flag: set-up and pre-improvement
///   poll gap    the longest time between two polls (a round of moves), pre-improvement left out
///   stop        from a stop, raised by another thread at a random moment after the first poll, to the result;
///   longest limit       from the end of the time limit to the result, for limits that end in set-up,
///   pre-improvement, search
#include "hosts/embedded/embedded_host.h"
#include "optdoe/entry/optdoe.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using clock_type = std::chrono::steady_clock;
constexpr int factors = 10;

double ms(clock_type::duration d) { return std::chrono::duration<double, std::milli>(d).count(); }

struct gaps {
    double set_up = 0.0;
    double first_poll = 0.0;
    double longest_gap = 0.0;
};

/// Runs until `polls` polls, or the limit, are over.
gaps undisturbed_run(int n, int polls)
{
    embedded_host host;
    gaps seen;
    const auto start = clock_type::now();
    auto last = start;
    host.on_status_line = [&](std::string_view line) {
        if (line.starts_with("Initial"))
            seen.set_up = ms(clock_type::now() - start);
    };
    host.on_stop_poll = [&] {
        const auto now = clock_type::now();
        if (host.poll_count() == 1)
            seen.first_poll = ms(now - start);
        else
            seen.longest_gap = std::max(seen.longest_gap, ms(now - last));
        last = now;
        return host.poll_count() > polls ? 1 : 0;
    };
    host.run(n, factors, 1000.0, 5);
    return seen;
}

/// Milliseconds from a stop, raised `wait_ms` after the first poll, to the result.
double delay_of_stop(int n, double wait_ms)
{
    embedded_host host;
    std::atomic<bool> searching{false};
    std::atomic<bool> stop{false};
    host.on_stop_poll = [&] {
        searching = true;
        return stop ? 1 : 0;
    };
    clock_type::time_point raised;
    std::thread person([&] {
        while (!searching)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(wait_ms));
        raised = clock_type::now();
        stop = true;
    });
    host.run(n, factors, 1000.0, 5);
    const auto end = clock_type::now();
    person.join();
    return std::max(0.0, ms(end - raised));
}

double overshoot(int n, double limit_ms)
{
    embedded_host host;
    const auto start = clock_type::now();
    host.run(n, factors, limit_ms / 60000.0, 5);
    return ms(clock_type::now() - start) - limit_ms;
}

} // namespace

int main(int count, char** arguments)
{
    std::vector<int> sizes;
    for (int i = 1; i < count; ++i)
        sizes.push_back(std::atoi(arguments[i]));
    if (sizes.empty())
        sizes = {50, 200, 1000, 2000};
    std::puts("| rows | set-up | first poll | poll gap | stop | limit in set-up | in pre-improvement | in search |");
    std::puts("|---|---|---|---|---|---|---|---|");
    for (const int n : sizes) {
        const gaps seen = undisturbed_run(n, 20);
        double stop = 0.0;
        for (int i = 0; i < 5; ++i)
            stop = std::max(stop, delay_of_stop(n, seen.longest_gap * (0.3 + 0.37 * i)));
        std::printf("| %d | %.1f | %.1f | %.1f | %.1f | %.1f | %.1f | %.1f |\n", n, seen.set_up, seen.first_poll,
                    seen.longest_gap, stop, overshoot(n, 0.2 * seen.set_up + 0.1),
                    overshoot(n, 0.5 * (seen.set_up + seen.first_poll)),
                    overshoot(n, seen.first_poll + 3.5 * seen.longest_gap));
        std::fflush(stdout);
    }
    return 0;
}

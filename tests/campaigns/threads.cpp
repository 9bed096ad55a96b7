/// Many threads call at once, each with a host of its own: threads THREADS SECONDS
///
/// Runs that draw their factors give the design of a single thread, bit for bit; default calls share the rotation of
/// factors, so that theirs are only checked for being designs. Built with ThreadSanitizer (preset tsan) it also finds
/// unordered accesses; that rotation is the only word that calls share.
#include "tests/campaigns/cells.h"

#include "hosts/embedded/embedded_host.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

constexpr int n = 10;
constexpr int k = 3;
constexpr int rounds = 8;

using levels = std::optional<std::vector<std::int32_t>>;

levels drawn_call(const cell& which, std::int64_t seed)
{
    embedded_host host;
    cell_run run(which, n, k, 0, rounds);
    const levels result = host.run(n, k, 1000.0, seed, &run.extras);
    return host.violations().empty() ? result : std::nullopt;
}

bool default_call_is_sound(std::int64_t seed)
{
    embedded_host host;
    int poll = 0;
    host.on_stop_poll = [&] { return poll++ > 4; };
    const levels result = host.run(n, k, 1000.0, seed);
    return result && result->size() == n * k && host.violations().empty() && !host.pending();
}

bool thrown_call_is_sound(int at)
{
    embedded_host host;
    host.faults.throw_at_callback = at;
    return !host.run(n, k, 1000.0, 1) && host.pending() == host.faults.thrown;
}

} // namespace

int main(int count, char** arguments)
{
    const int threads = count > 1 ? std::atoi(arguments[1]) : 2;
    const double seconds = count > 2 ? std::atof(arguments[2]) : 2.0;
    constexpr int seeds = 3;
    const std::vector<cell> cells = all_cells();
    std::vector<levels> expected;
    for (const cell& which : cells)
        for (int seed = 0; seed < seeds; ++seed)
            expected.push_back(drawn_call(which, seed));

    std::atomic<long> calls{0};
    std::atomic<long> faults{0};
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    const auto work = [&](std::size_t first) {
        for (std::size_t turn = first; std::chrono::steady_clock::now() < end; ++turn) {
            const std::size_t at = turn % expected.size();
            if (drawn_call(cells[at / seeds], static_cast<std::int64_t>(at % seeds)) != expected[at] || !expected[at])
                ++faults;
            if (!default_call_is_sound(static_cast<std::int64_t>(turn)))
                ++faults;
            if (!thrown_call_is_sound(static_cast<int>(turn % 9)))
                ++faults;
            calls += 3;
        }
    };
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t)
        workers.emplace_back(work, static_cast<std::size_t>(t) * 7);
    for (std::thread& worker : workers)
        worker.join();
    std::printf("%d threads: %ld calls, %ld faults\n", threads, calls.load(), faults.load());
    return faults == 0 && calls > 0 ? 0 : 1;
}

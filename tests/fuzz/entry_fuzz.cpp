// The four arguments of the native method over their whole ranges.

#include "tests/fuzz/fuzz_input.h"

#include "hosts/embedded/embedded_host.h"
#include "optdoe/entry/memory_need.h"

#include <string>
#include <vector>

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz_input input(data, size);
    auto n = input.take<std::int32_t>();
    auto k = input.take<std::int32_t>();
    const auto minutes = input.take<double>();
    const auto seed = input.take<std::int64_t>();
    const int polls = input.below(4);
    const int throw_at = input.below(64) - 32;

    // What a machine could make, but not a fuzzer a hundred times a second, is made smaller. The rest goes in as it
    // is.
    const std::int64_t elements = static_cast<std::int64_t>(n) * k;
    if (n >= 2 && k >= 1 && elements <= INT32_MAX && memory_of_run(n, 0, k, nullptr).least < 1e13) {
        n = 2 + n % 24;
        k = 1 + k % 7;
    }
    embedded_host host;
    std::vector<std::string> lines;
    host.on_status_line = [&](std::string_view line) { lines.emplace_back(line); };
    host.on_stop_poll = [&] { return host.poll_count() > polls ? -1 : 0; };
    host.faults.throw_at_callback = throw_at;
    const auto levels = host.run(n, k, minutes, seed);

    require(host.violations().empty(), "a rule of the native interface was broken");
    if (levels) {
        require(n >= 2 && k >= 1 && !(minutes < 0.0), "a design from unusable arguments");
        require(levels->size() == static_cast<std::size_t>(n) * static_cast<std::size_t>(k), "size of the result");
        for (const std::int32_t level : *levels)
            require(level >= 0 && level <= n, "a level outside of 1 .. n");
        require(lines.size() >= (k == 1 ? 1u : 4u), "too few lines");
        require(host.poll_count() <= polls + 1, "a poll after the stop");
    } else {
        require(host.pending().has_value() || (lines.size() == 1 && (n < 2 || k < 1 || minutes < 0.0)),
                "neither design, exception nor refusal");
    }
    return 0;
}

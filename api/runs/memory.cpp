#include "api/runs/memory.h"

#include "api/text/errors.h"
#include "api/text/text.h"

#include "optdoe/entry/memory_need.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <string>

#include <sys/resource.h>
#include <unistd.h>

namespace optdoe {

/// Nobody runs with less: what needs no more is not worth a look at the limits, which takes as long as a small search.
constexpr double always_there = 0x1p22;

double machine_bytes()
{
    double bytes = static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
    rlimit limit{};
    if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY)
        bytes = std::min(bytes, static_cast<double>(limit.rlim_cur));
    std::string group;
    if (std::ifstream("/sys/fs/cgroup/memory.max") >> group)
        if (const auto most = parse_integer(group))
            bytes = std::min(bytes, static_cast<double>(*most));
    return bytes;
}

double bytes_of_run(const settings& options, std::int64_t free_rows, std::int64_t fixed_rows, std::int64_t factors)
{
    criterion_options criterion{};
    options.apply_criterion(&criterion);
    const memory_need need = memory_of_run(static_cast<double>(free_rows), static_cast<double>(fixed_rows),
                                           static_cast<double>(factors), &criterion);
    const bool rearranges = !options.no_pre_improvement || options.method_in_force() == "greedy";
    return rearranges ? need.peak : need.least;
}

void refuse_beyond_memory(const settings& options, std::int64_t free_rows, std::int64_t fixed_rows,
                          std::int64_t factors)
{
    const double needed = bytes_of_run(options, free_rows, fixed_rows, factors);
    if (needed <= always_there)
        return;
    const double there = machine_bytes();
    if (needed > there)
        throw input_error(fmt::format("{} runs of {} factors need about {:.1f} GiB, this machine grants {:.1f} GiB",
                                      free_rows + fixed_rows, factors, needed / 0x1p30, there / 0x1p30));
}

} // namespace optdoe

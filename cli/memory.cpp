#include "cli/memory.h"

#include "cli/errors.h"
#include "cli/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <string>

#include <sys/resource.h>
#include <unistd.h>

namespace cli {

double estimated_bytes(std::string_view criterion, std::int64_t rows, std::int64_t factors)
{
    // Doubles for each pair of rows. phip: distances, while a re-arrangement is tried, and integers. entropy:
    // correlations, their factor, that of a trial, and two snapshots. cd2: the terms, and a snapshot of half the
    // size. a2: ints, the coincidences, and a snapshot of half the size.
    const double tables = criterion == "phip" ? 1.4 : criterion == "entropy" ? 4.1 : criterion == "cd2" ? 1.5 : 0.8;
    const double n = static_cast<double>(rows);
    // Working design, snapshots, ranks, level numbers and sizes, their copies, and the program's own copies.
    const double per_cell = 12.0;
    return 8.0 * (tables * n * n + per_cell * n * static_cast<double>(factors));
}

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

void refuse_beyond_memory(std::string_view criterion, std::int64_t rows, std::int64_t factors)
{
    const double needed = estimated_bytes(criterion, rows, factors);
    const double there = machine_bytes();
    if (needed > there)
        throw input_error(fmt::format("{} runs of {} factors need about {:.1f} GiB, this machine grants {:.1f} GiB",
                                      rows, factors, needed / 0x1p30, there / 0x1p30));
}

} // namespace cli

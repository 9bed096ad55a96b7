#include "api/campaign/cores.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>

#include <sched.h>
#include <unistd.h>

namespace optdoe {

namespace {

int affinity_cores()
{
    cpu_set_t set;
    if (sched_getaffinity(0, sizeof set, &set) == 0)
        return std::max(1, CPU_COUNT(&set));
    return static_cast<int>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN))); // more processors than the set holds
}

std::string line_of(const std::string& file)
{
    std::string text;
    std::ifstream stream(file);
    std::getline(stream, text);
    return text;
}

/// The folder of this process below the root of its control group, "/" in a container of its own.
std::string group_of_process()
{
    std::ifstream stream("/proc/self/cgroup");
    for (std::string line; std::getline(stream, line);)
        if (line.starts_with("0::"))
            return line.substr(3);
    return "/";
}

int quota_cores()
{
    const std::string root = "/sys/fs/cgroup";
    int least = 0;
    for (std::string group = group_of_process();; group.erase(group.find_last_of('/'))) {
        if (const int quota = quota_of(line_of(root + group + "/cpu.max")); quota > 0)
            least = least == 0 ? quota : std::min(least, quota);
        if (group.find_last_of('/') == std::string::npos)
            break;
    }
    const std::string v1 = root + "/cpu/cpu.cfs_";
    if (least == 0)
        least = quota_of(line_of(v1 + "quota_us") + " " + line_of(v1 + "period_us"));
    return least;
}

} // namespace

int quota_of(const std::string& cpu_max)
{
    std::istringstream words(cpu_max);
    double quota = 0.0;
    double period = 0.0;
    if (!(words >> quota >> period) || quota <= 0.0 || period <= 0.0)
        return 0;
    return static_cast<int>(std::min(std::ceil(quota / period), 1e6));
}

int usable_cores()
{
    const int quota = quota_cores();
    return quota > 0 ? std::min(quota, affinity_cores()) : affinity_cores();
}

std::string processor_text()
{
    std::string model = "unknown";
    bool fused = false;
    std::ifstream stream("/proc/cpuinfo");
    for (std::string line; std::getline(stream, line);) {
        const std::size_t colon = line.find(": ");
        if (colon == std::string::npos)
            continue;
        if (line.starts_with("model name"))
            model = line.substr(colon + 2);
        if (line.starts_with("flags"))
            fused = (line + " ").find(" fma ") != std::string::npos;
    }
    return model + (fused ? ", fma" : ", no fma");
}

} // namespace optdoe

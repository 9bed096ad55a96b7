/// One call, for scripts that limit what it gets: edge_call ROWS FACTORS call|need
///   call   makes it and prints the number of levels or the exception
///   need   prints the address space, in KiB, that it took at most
#include "hosts/embedded/embedded_host.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

/// The peak of the address space from the kernel's description of this process.
static long peak_kib()
{
    std::FILE* status = std::fopen("/proc/self/status", "r");
    char line[128];
    long kib = 0;
    while (status != nullptr && std::fgets(line, sizeof line, status) != nullptr)
        if (std::sscanf(line, "VmPeak: %ld", &kib) == 1)
            break;
    if (status != nullptr)
        std::fclose(status);
    return kib;
}

int main(int count, char** arguments)
{
    if (count != 4)
        return 2;
    embedded_host host;
    int poll = 0;
    host.on_stop_poll = [&] { return poll++; };
    const auto levels = host.run(std::atoi(arguments[1]), std::atoi(arguments[2]), 0.01, 5);
    if (std::strcmp(arguments[3], "need") == 0)
        std::printf("%ld\n", peak_kib());
    else if (levels)
        std::printf("%zu levels\n", levels->size());
    else if (host.pending())
        std::printf("%s: %s\n", host.pending()->class_name.c_str(), host.pending()->message.c_str());
    for (const std::string& violation : host.violations())
        std::printf("%s\n", violation.c_str());
    return 0;
}

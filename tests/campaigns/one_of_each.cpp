/// One short run of every criterion with every method, for tools that watch a process: one_of_each
///
/// Levels grouped, repeated and fixed rows; a call of one factor, a refused and a thrown one.
#include "tests/campaigns/cells.h"

#include "hosts/embedded/embedded_host.h"

#include <cstdio>

int main()
{
    int runs = 0;
    for (const cell& which : all_cells())
        for (const int fixed : {0, 4}) {
            embedded_host host;
            cell_run run(which, 10, 3, fixed, 3);
            if (!host.run(10, 3, 1000.0, 5, &run.extras) || !host.violations().empty()) {
                std::printf("%s failed\n", which.name().c_str());
                return 1;
            }
            ++runs;
        }
    embedded_host host;
    host.run(9, 1, 1.0, -1);
    host.run(1, 1, 1.0, 5);
    host.run(65536, 65536, 1.0, 5);
    host.faults.throw_at_callback = 4;
    host.run(9, 3, 1.0, 5);
    std::printf("%d cases\n", runs + 4);
    return 0;
}

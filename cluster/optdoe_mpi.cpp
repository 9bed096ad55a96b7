// optdoe-mpi: the searches of optdoe make and optdoe augment on several machines.
#include "cli/program.h"
#include "cli/signals.h"
#include "cluster/hand_out.h"
#include "cluster/problem.h"
#include "cluster/worker.h"

#include <mpi.h>

namespace cluster {

/// Rank 0: everything but the searches; without workers these too.
static int lead(int count, const char* const* arguments, int workers)
{
    hand_out ranks(workers);
    const int code = cli::run_program("optdoe-mpi", [&] {
        const cli::parsed parsed = cli::parse_command_line(count, arguments, "optdoe-mpi");
        if (parsed.exit_code)
            return *parsed.exit_code;
        const cli::options& o = parsed.what;
        const cli::campaign_runner runner = [&](cli::campaign& c, int jobs, const cli::crew_orders& orders) {
            return workers == 0 ? run_on_threads(c, jobs, orders)
                                : ranks.run(c, orders, identity_of(o.request, c.request()).hash(), o.quiet);
        };
        return run_command(o, [&](const cli::options& same, const cli::search_problem& problem, std::uint32_t seed) {
            return conduct(same, problem, seed, runner, workers == 0 ? 1 : workers);
        });
    });
    ranks.leave(code);
    return code;
}

} // namespace cluster

int main(int count, char** arguments)
{
    MPI_Init(&count, &arguments);
    int rank = 0;
    int ranks = 1;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &ranks);
    // Launchers pass signals on to all ranks. Rank 0 stops the searches at the first one, and nobody dies of it. Some
    // launchers leave no time after INT and TERM, but do after USR1.
    cli::catch_signals({SIGINT, SIGTERM, SIGUSR1});
    const int code = rank == 0 ? cluster::lead(count, arguments, ranks - 1) : cluster::work(count, arguments);
    MPI_Finalize();
    return code;
}

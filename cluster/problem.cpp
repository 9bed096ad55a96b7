#include "cluster/problem.h"

#include "api/text/errors.h"

namespace cluster {

int run_command(const cli::options& o, const cli::design_source& source)
{
    if (o.command != cli::command::make && o.command != cli::command::augment)
        throw optdoe::usage_error("make and augment run on several machines; for everything else there is optdoe");
    if (o.request.jobs > 0)
        throw optdoe::usage_error("--jobs is of optdoe; here each rank but the first makes one search at a time");
    if (o.request.start.name == "-" || o.request.old.name == "-")
        throw optdoe::usage_error("standard input reaches one rank only; give a file that all of them can read");
    return run_search(o, source);
}

} // namespace cluster

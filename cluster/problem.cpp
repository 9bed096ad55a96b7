#include "cluster/problem.h"

#include "api/text/errors.h"

namespace cluster {

int run_command(const cli::options& o, const cli::design_source& source)
{
    const bool augments = o.command == cli::command::augment;
    if (!augments && o.command != cli::command::make)
        throw optdoe::usage_error("make and augment run on several machines; for everything else there is optdoe");
    if (o.jobs > 0)
        throw optdoe::usage_error("--jobs is of optdoe; here each rank but the first makes one search at a time");
    if (o.start == "-" || (augments && o.files.front() == "-"))
        throw optdoe::usage_error("standard input reaches one rank only; give a file that all of them can read");
    return augments ? run_augment(o, source) : run_make(o, source);
}

} // namespace cluster

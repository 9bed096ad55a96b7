/// What every rank makes of the command line.
#pragma once

#include "cli/commands.h"

namespace cluster {

/// make or augment, with designs of this source. Throws usage_error for what several ranks cannot do.
int run_command(const cli::options& o, const cli::design_source& source);

} // namespace cluster

/// What becomes of a search: files and the summary.
#pragma once

#include "api/designs/design_file.h"
#include "cli/conduct.h"

namespace cli {

/// Writes the design, history and report, and prints the summary.
///   returns exit_done, exit_stopped after a signal, or exit_failed where the results file is incomplete
int deliver(const options& o, const design_file& design, const finished_campaign& finished);

} // namespace cli

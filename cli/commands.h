/// The commands. Each returns the exit code and throws usage_error or input_error.
#pragma once

#include "cli/conduct.h"
#include "cli/options.h"

namespace cli {

/// make and augment, with designs of this source.
int run_search(const options& o, const design_source& source);

int run_merge(const options& o);
int run_evaluate(const options& o);
int run_plot(const options& o);

} // namespace cli

/// What make and augment have in common once a run has ended: provenance, files and the summary.
#pragma once

#include "api/designs/design_file.h"
#include "api/runs/engine.h"
#include "cli/options.h"
#include "cli/progress.h"

#include <cstdint>
#include <functional>
#include <string>

namespace cli {

/// --seed, else a number from the clock that repeats the run when given as --seed.
std::uint32_t resolved_seed(const options& o);

/// --format, else by the ending of --output, else otherwise.
file_format resolved_format(const options& o, file_format otherwise);

/// The provenance of a finished run, without objective and coding.
nlohmann::ordered_json run_provenance(const options& o, const settings& used, const run_outcome& outcome,
                                      std::uint32_t seed, std::size_t rows, std::size_t factors);

/// The command as typed, with the seed that it used.
std::string repeating_command(const options& o, std::uint32_t seed);

/// Throws when one of the files that the run is to write cannot be written.
void refuse_unwritable_results(const options& o);

/// Records the objective of the numbers as written, writes the text, history and report, and prints the summary.
///   text   makes the file's content once the provenance is complete
///   returns exit_done, or exit_stopped after a signal
int deliver(const options& o, design_file& design, const settings& used, const run_outcome& outcome,
            const progress& watch, std::uint32_t seed, const std::function<std::string(const design_file&)>& text);

} // namespace cli

/// What make and augment have in common once a run has ended: provenance, files and the summary.
#pragma once

#include "api/designs/design_file.h"
#include "cli/conduct.h"
#include "cli/options.h"

#include <cstdint>
#include <functional>
#include <string>

namespace cli {

/// --seed, else a number from the clock that repeats the run when given as --seed.
std::uint32_t resolved_seed(const options& o);

/// --format, else by the ending of --output, else otherwise.
file_format resolved_format(const options& o, file_format otherwise);

/// The command that makes the design of a search again, on one core and without a clock.
std::string repeating_command(const options& o, const search_result& best);

/// The provenance of a search, without objective and coding. It is that of the repeating command, so that this makes
/// the same file again.
///   rows   that the settings are stated for
nlohmann::ordered_json search_provenance(const options& o, const settings& used, const search_result& best,
                                         std::size_t runs, std::size_t rows, std::size_t factors);

/// Records the objective of the numbers as written, writes the text, history and report, and prints the summary.
///   text   makes the file's content once the provenance is complete
///   returns exit_done, exit_stopped after a signal, or exit_failed where the results file is incomplete
int deliver(const options& o, design_file& design, const settings& used, const finished_campaign& finished,
            const std::function<std::string(const design_file&)>& text);

} // namespace cli

/// The command line: what was asked for.
#pragma once

#include "api/requests/design_request.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace cli {

using namespace optdoe; // what all languages share, of which this is one front

enum class command { make, augment, evaluate, plot, merge };

/// Everything that any command reads; a command's manual page tells which of it.
struct options {
    cli::command command = command::make;
    design_request request;
    std::vector<std::string> files;
    std::optional<file_format> format;
    std::string output = "-";
    std::string history;
    std::string report;
    std::vector<std::string> inputs; ///< files that were read for the options
    std::int64_t random_designs = 200;
    bool incomplete = false;
    bool json = false;
    bool print_config = false;
    bool quiet = false;
};

/// --format, else by the ending of --output, else otherwise.
file_format resolved_format(const options& o, file_format otherwise);

struct parsed {
    std::optional<int> exit_code; ///< set: help or a refusal has been printed, end with this
    options what;
};

/// Reads the command line and, with --config, the settings of a file; the command line wins. Throws usage_error and
/// input_error for what the options do not express themselves.
///   program   the name in messages and in the command that is recorded
parsed parse_command_line(int count, const char* const* arguments, const char* program = "optdoe");

} // namespace cli

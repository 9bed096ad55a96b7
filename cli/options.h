/// The command line: what was asked for.
#pragma once

#include "api/designs/design.h"
#include "api/designs/design_file.h"
#include "api/settings/settings.h"

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
    std::optional<std::int64_t> rows, factor_count;
    std::vector<std::string> files;
    settings run;
    std::optional<std::uint32_t> seed;
    std::optional<std::int64_t> starts, effort, stop_after;
    int jobs = 0; ///< 0: as many as there are cores
    std::int64_t shard = 1, shards = 1;
    std::string results, resume;
    bool incomplete = false;
    std::string start;
    std::vector<double> balanced;
    std::vector<factor> factors; ///< of --bounds, then of --factor
    std::optional<coding> code;
    std::optional<placement> place;
    std::optional<file_format> format;
    bool entry_levels = false;
    std::string output = "-";
    std::string history;
    std::string report;
    std::int64_t added = 0;
    std::int64_t random_designs = 200;
    bool json = false;
    bool print_config = false;
    bool quiet = false;
    std::string command_text; ///< as typed, quoted for a shell
    /// The words of the same problem in one form: command, options in the order of the help, without seed, time,
    /// campaign and files that are written.
    std::vector<std::string> problem_words;
};

struct parsed {
    std::optional<int> exit_code; ///< set: help or a refusal has been printed, end with this
    options what;
};

/// Reads the command line and, with --config, the settings of a file; the command line wins. Throws usage_error and
/// input_error for what the options do not express themselves.
///   program   the name in messages and in the command that is recorded
parsed parse_command_line(int count, const char* const* arguments, const char* program = "optdoe");

/// The words as they are typed in a shell.
std::string shell_text(const std::vector<std::string>& words);

} // namespace cli

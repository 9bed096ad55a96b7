/// How the program ends, and the two ways in which it refuses.
#pragma once

#include <stdexcept>

namespace optdoe {

/// Exit codes, as the manual lists them. A second signal ends the program with 130 (INT) or 143 (TERM).
enum exit_code { exit_done = 0, exit_failed = 1, exit_usage = 2, exit_stopped = 3 };

/// The command line asks for something that does not exist or does not fit together.
struct usage_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A file, the machine or the library refuses. A message about a file starts with `file:line:column: `.
struct input_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace optdoe

/// What the programs of this folder and others around it have in common.
#pragma once

#include <functional>

namespace cli {

/// The exit code of `body`, or, with the message on standard error, that of the exception it throws.
///   name   of the program, in messages
int run_program(const char* name, const std::function<int()>& body);

} // namespace cli

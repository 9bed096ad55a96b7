/// INT and TERM: the first asks the run to stop, the second ends the program at once with 130 or 143.
#pragma once

#include <csignal>
#include <initializer_list>

namespace cli {

/// Catches these signals, except where the program was started with the signal ignored (as in the background of a
/// script). PIPE is ignored: a closed pipe is then a write error with a message.
void catch_signals(std::initializer_list<int> numbers = {SIGINT, SIGTERM});

/// True once one of them has arrived.
bool stop_signalled();

} // namespace cli

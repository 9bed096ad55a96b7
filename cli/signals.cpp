#include "cli/signals.h"

#include <unistd.h>

namespace cli {

namespace {

volatile std::sig_atomic_t arrived = 0;

void on_signal(int number)
{
    if (arrived != 0)
        _exit(128 + number);
    arrived = 1;
}

} // namespace

void catch_signals(std::initializer_list<int> numbers)
{
    std::signal(SIGPIPE, SIG_IGN);
    for (const int number : numbers) {
        struct sigaction before {};
        sigaction(number, nullptr, &before);
        if (before.sa_handler == SIG_IGN)
            continue;
        struct sigaction action {};
        action.sa_handler = on_signal;
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        sigaction(number, &action, nullptr);
    }
}

bool stop_signalled() { return arrived != 0; }

} // namespace cli

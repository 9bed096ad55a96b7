#include "cli/progress.h"

#include "api/text/text.h"
#include "cli/signals.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sys/ioctl.h>
#include <unistd.h>

namespace cli {

namespace {

constexpr double terminal_interval = 0.1; // seconds: ten redraws a second
constexpr double plain_interval = 10.0;

std::string clock_text(double seconds)
{
    if (seconds < 60.0)
        return fmt::format("{:.1f}s", seconds);
    const long whole = std::lround(seconds);
    return whole < 3600 ? fmt::format("{}:{:02}", whole / 60, whole % 60)
                        : fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

std::size_t terminal_width()
{
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace

progress::progress(bool quiet, std::optional<double> limit_seconds)
    : quiet_(quiet), terminal_(isatty(STDERR_FILENO) != 0), limit_(limit_seconds)
{
    const char* no_color = std::getenv("NO_COLOR");
    const char* term = std::getenv("TERM");
    colour_ = terminal_ && (no_color == nullptr || *no_color == '\0') &&
              (term != nullptr && std::string_view(term) != "dumb");
}

double progress::seconds() const
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

std::string progress::line(const run_outcome& outcome, double now) const
{
    const double first = outcome.initial_objective;
    const double gain = first != 0.0 ? (first - outcome.best_objective) / std::fabs(first) * 100.0 : 0.0;
    return fmt::format("{}{}  round {}  objective {}  improved {:.2f} %", clock_text(now),
                       limit_ ? " of " + clock_text(*limit_) : "", outcome.iterations,
                       short_text(outcome.best_objective), gain);
}

void progress::update(const run_outcome& outcome)
{
    const double now = seconds();
    history_.push_back({outcome.iterations, now, outcome.best_objective});
    if (quiet_)
        return;
    if (stop_signalled() && !announced_stop_) {
        announced_stop_ = true;
        std::fputs(drawn_ ? "\n" : "", stderr);
        drawn_ = false;
        std::fputs("optdoe: stopping; a second signal quits at once\n", stderr);
    }
    if (now - last_shown_ < (terminal_ ? terminal_interval : plain_interval))
        return;
    last_shown_ = now;
    std::string text = line(outcome, now);
    if (!terminal_) {
        std::fprintf(stderr, "optdoe: %s\n", text.c_str());
        return;
    }
    text.resize(std::min<std::size_t>(text.size(), terminal_width() - 1));
    std::fprintf(stderr, "\r%s%s\033[K%s", colour_ ? "\033[36m" : "", text.c_str(), colour_ ? "\033[0m" : "");
    std::fflush(stderr);
    drawn_ = true;
}

void progress::finish()
{
    if (drawn_)
        std::fputs("\r\033[K", stderr);
    drawn_ = false;
}

} // namespace cli

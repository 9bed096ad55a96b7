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

progress::progress(bool quiet, const campaign_request& request)
    : request_(request), quiet_(quiet), terminal_(isatty(STDERR_FILENO) != 0)
{
    const char* no_color = std::getenv("NO_COLOR");
    const char* term = std::getenv("TERM");
    colour_ = terminal_ && (no_color == nullptr || *no_color == '\0') &&
              (term != nullptr && std::string_view(term) != "dumb");
}

std::string progress::line(const campaign_status& status) const
{
    const std::string time =
        clock_text(status.seconds) + (request_.seconds ? " of " + clock_text(*request_.seconds) : "");
    if (request_.is_single()) {
        const double gain =
            status.initial != 0.0 ? (status.initial - status.best) / std::fabs(status.initial) * 100.0 : 0.0;
        return fmt::format("{}  round {}  objective {}  improved {:.2f} %", time, status.rounds + 1,
                           short_text(status.best), gain);
    }
    const std::string found = std::isnan(status.best)
                                  ? "no design yet"
                                  : fmt::format("best {} (seed {}, after {})", short_text(status.best),
                                                status.best_seed, clock_text(status.best_seconds));
    const std::string done = request_.starts > 0 && request_.shards == 1
                                 ? fmt::format("{} of {} searches done", status.done, request_.starts)
                                 : fmt::format("{} searches done", status.done);
    return fmt::format("{}  {}  {}, {} running", time, found, done, status.running);
}

void progress::update(const campaign_status& status)
{
    if (quiet_)
        return;
    if (stop_signalled() && !announced_stop_) {
        announced_stop_ = true;
        say("stopping; a second signal quits at once");
    }
    if (status.seconds - last_shown_ < (terminal_ ? terminal_interval : plain_interval) || status.running == 0)
        return;
    last_shown_ = status.seconds;
    std::string text = line(status);
    if (!terminal_) {
        std::fprintf(stderr, "optdoe: %s\n", text.c_str());
        return;
    }
    text.resize(std::min<std::size_t>(text.size(), terminal_width() - 1));
    std::fprintf(stderr, "\r%s%s\033[K%s", colour_ ? "\033[36m" : "", text.c_str(), colour_ ? "\033[0m" : "");
    std::fflush(stderr);
    drawn_ = true;
}

void progress::say(const std::string& text)
{
    std::fprintf(stderr, "%soptdoe: %s\n", drawn_ ? "\n" : "", text.c_str());
    drawn_ = false;
}

void progress::finish()
{
    if (drawn_)
        std::fputs("\r\033[K", stderr);
    drawn_ = false;
}

} // namespace cli

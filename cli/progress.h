/// What a person sees while a run goes on, and what it keeps of the objective.
#pragma once

#include "api/runs/history.h"

#include "optdoe/entry/optdoe.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace cli {

using namespace optdoe;

/// One line on standard error: redrawn at most ten times a second on a terminal, a plain line every ten seconds
/// elsewhere. Colour on a terminal unless NO_COLOR is set.
class progress {
public:
    /// limit_seconds: as given by the user; nothing where the run has no limit of its own.
    progress(bool quiet, std::optional<double> limit_seconds);

    /// Called once a round; keeps the history.
    void update(const run_outcome& outcome);

    /// Ends the line on a terminal.
    void finish();

    double seconds() const;
    const std::vector<history_point>& history() const { return history_; }

private:
    std::string line(const run_outcome& outcome, double now) const;

    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    bool quiet_;
    bool terminal_;
    bool colour_;
    bool drawn_ = false;
    bool announced_stop_ = false;
    double last_shown_ = 0.0;
    std::optional<double> limit_;
    std::vector<history_point> history_;
};

} // namespace cli

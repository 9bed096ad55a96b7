/// What a person sees while searches go on.
#pragma once

#include "api/campaign/crew.h"

#include <optional>
#include <string>

namespace cli {

using namespace optdoe;

/// One line on standard error: redrawn at most ten times a second on a terminal, a plain line every ten seconds
/// elsewhere. Colour on a terminal unless NO_COLOR is set.
class progress {
public:
    progress(bool quiet, const campaign_request& request);

    void update(const campaign_status& status);

    /// A line of its own, also in the middle of things.
    void say(const std::string& text);

    /// Ends the line on a terminal.
    void finish();

private:
    std::string line(const campaign_status& status) const;

    campaign_request request_;
    bool quiet_;
    bool terminal_;
    bool colour_;
    bool drawn_ = false;
    bool announced_stop_ = false;
    double last_shown_ = 0.0;
};

} // namespace cli

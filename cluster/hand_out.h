/// Rank 0 of optdoe-mpi: hands the searches of a campaign out to the other ranks and takes their results.
///
/// Workers begin when rank 0 says so, which is once it has read the command line, opened its files and has a
/// campaign. Until then whatever rank 0 refuses is told once, by rank 0, and the others leave with its exit code.
#pragma once

#include "api/campaign/crew.h"

#include <string>

namespace cluster {

constexpr int there_is_work = -1;

/// From rank 0 to all: there_is_work, or the exit code to leave with. Returns rank 0's.
int broadcast(int code);

class hand_out {
public:
    /// workers   ranks 1 .. workers, at least 1
    hand_out(int workers) : workers_(workers) {}

    /// Runs the campaign to its end on the workers. Throws input_error with what a worker failed with.
    ///   settings   hash of the words that make the problem; a worker of other settings is refused
    ///   returns    the seconds it took
    double run(optdoe::campaign& c, const optdoe::crew_orders& orders, const std::string& settings, bool quiet);

    /// Lets the workers leave, the last call. Where they cannot, because rank 0 failed beside searches at work, it
    /// ends all ranks.
    void leave(int code);

private:
    /// before: workers wait for the broadcast; at_work: some may search; at_rest: all wait for their `end`.
    enum class phase { before, at_work, at_rest };

    int workers_;
    phase phase_ = phase::before;
};

} // namespace cluster

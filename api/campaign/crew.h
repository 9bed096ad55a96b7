/// Runs the searches of a campaign on threads of this process.
///
/// Threads  one search at a time runs on the caller's thread. With several, the caller's thread waits, tells how things
///          stand and hears when to stop; every search has a thread to itself and shares nothing with the others but
///          the hand-out of work.
#pragma once

#include "api/campaign/campaign.h"

#include <chrono>
#include <functional>
#include <limits>
#include <mutex>
#include <optional>
#include <vector>

namespace optdoe {

inline constexpr double unknown_objective = std::numeric_limits<double>::quiet_NaN();

/// How things stand, for whoever watches.
struct campaign_status {
    double seconds = 0.0;               ///< since the campaign began
    std::int64_t done = 0;              ///< searches finished or cut
    int running = 0;                    ///< searches at work
    std::int64_t rounds = 0;            ///< of the running searches
    double initial = unknown_objective; ///< objective of a start; NaN: none known yet
    double best = unknown_objective;    ///< lowest objective known, running searches included; NaN: none yet
    std::uint32_t best_seed = 0;        ///< of the search that has it
    double best_seconds = 0.0;          ///< when it was found
};

/// A search at work and what it has reached.
struct running_search {
    std::uint32_t seed = 0;
    search_progress reached;
};

/// Watches one search for its campaign: keeps its course, tells its progress to other threads, cuts it when the time
/// is spent or somebody says stop.
class search_monitor {
public:
    using clock = std::chrono::steady_clock;

    /// every_round: keep the objective of every round, else of those that improve it.
    search_monitor(clock::time_point campaign_began, std::optional<double> limit_seconds, bool every_round)
        : began_(campaign_began), limit_(limit_seconds), every_round_(every_round)
    {
    }

    /// Runs the task. `stop` is asked between rounds, on this thread.
    search_result run(const search_problem& problem, const search_task& task, const std::function<bool()>& stop);

    /// From any thread: the running search; nothing while none runs, or before its start has an objective.
    std::optional<running_search> running() const;

private:
    const clock::time_point began_;
    const std::optional<double> limit_;
    const bool every_round_;
    mutable std::mutex mutex_; ///< of what follows
    std::optional<running_search> running_;
};

/// Collects what running searches and results tell.
class campaign_watch {
public:
    campaign_status status(const campaign& c, double now, const std::vector<running_search>& running);

private:
    void learn(double objective, std::uint32_t seed, double now);
    campaign_status known_;
};

/// What the caller does while the crew works.
struct crew_orders {
    /// At the beginning, about 20 times a second, and at the end; true: every search stops at its next round.
    std::function<bool(const campaign_status&)> keep_watch;
    /// Once for each finished or cut search, before the campaign takes it; leads: it is the best so far.
    std::function<void(const search_result& result, bool leads)> on_result;
};

/// Gives a finished or cut search to whom the orders name, then to the campaign. Returns true when the campaign has
/// its target and the other searches may stop.
bool take_result(campaign& c, const crew_orders& orders, search_result result);

/// Runs the campaign to its end, `jobs` searches at a time. Throws what a search threw, after all threads have ended.
///   returns the seconds it took
double run_on_threads(campaign& c, int jobs, const crew_orders& orders);

/// Jobs for a campaign: `wanted`, or with 0 the processors that the process may use; not more than there are
/// searches.
int jobs_for_cores(const campaign& c, int wanted);

/// The same, fewer where searches at the same time would need more memory than there is; at least 1.
int jobs_for(const campaign& c, int wanted);

} // namespace optdoe

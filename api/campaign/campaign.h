/// A campaign: many searches of one problem, of which the best counts.
///
/// A campaign hands out searches and takes their results; who runs them, on which thread or machine, in which order,
/// does not matter. Search i has the seed `first_seed + i` (the number that would mean the clock is skipped). The
/// winner is the least of (objective computed afresh, seed), NaN last (is_better in search.h).
///
/// Threads  none of its own; its functions are called one at a time.
#pragma once

#include "api/campaign/search.h"
#include "api/runs/history.h"

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

namespace optdoe {

/// How many searches, of which kind, for how long.
struct campaign_request {
    std::uint32_t first_seed = 0;
    std::int64_t starts = 1;       ///< searches in all; 0: until the time is spent
    std::optional<double> seconds; ///< time limit
    std::int64_t effort = 0;       ///< rounds of each search; 0: runs of the library, or what `plans_efforts` says
    std::int64_t stop_after = -1;  ///< cuts each search; below 0: never
    bool plans_efforts = false;    ///< searches of effort that the campaign sizes by the time that is left
    std::int64_t shard = 1;        ///< this part of the starts ...
    std::int64_t shards = 1;       ///< ... of so many: starts shard-1, shard-1 + shards, ...

    bool is_single() const { return starts == 1; }
};

/// Seed of start i.
std::uint32_t seed_of_start(std::uint32_t first_seed, std::int64_t i);

class campaign {
public:
    campaign(search_problem problem, const campaign_request& request);

    /// The next search, at this time since the campaign began; nothing when none is left to hand out.
    std::optional<search_task> next(double now);

    /// Takes a finished or cut search. Returns true when it is the best so far.
    bool take(search_result result);

    /// Takes over what a results file holds: searches done, of which one may be the best.
    void take_done(std::uint32_t seed, std::optional<search_result> best);

    /// A search that was handed out and will never come back: it is handed out again.
    void give_back(const search_task& task) { returned_.push_back(task); }

    /// True when the target is reached and the time, not a number of starts, rules.
    bool has_its_target() const;

    const search_problem& problem() const { return problem_; }
    const campaign_request& request() const { return request_; }
    const std::optional<search_result>& best() const { return best_; }
    std::int64_t done() const { return done_; }
    std::int64_t done_before() const { return static_cast<std::int64_t>(done_before_.size()); }
    const std::vector<search_trace>& traces() const { return traces_; }

private:
    std::int64_t effort_for(double left);
    std::optional<std::uint32_t> next_seed();

    search_problem problem_;
    campaign_request request_;
    bool effort_shapes_search_; ///< the searches that it plans anneal
    std::int64_t next_start_;
    std::set<std::uint32_t> done_before_;
    std::vector<search_task> returned_;
    std::optional<search_result> best_;
    std::int64_t done_ = 0;
    std::int64_t longest_done_ = 0; ///< rounds of the longest search of effort so far
    double rounds_a_second_ = 0.0;  ///< of that one; 0: there is none yet
    std::vector<search_trace> traces_;
};

} // namespace optdoe

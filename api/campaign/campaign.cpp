#include "api/campaign/campaign.h"

#include "api/campaign/effort.h"

#include <algorithm>
#include <cmath>

namespace optdoe {

namespace {

constexpr std::uint64_t seeds = 0xFFFFFFFFU; ///< 0 .. seeds - 1; the highest 32-bit number means the clock

constexpr std::int64_t most_rounds = std::int64_t{1} << 40;
constexpr double trial_shares[] = {0.02, 0.12}; ///< of the whole time, for searches that tell the speed
constexpr double main_share = 0.95;             ///< of the time left, for one search after that
constexpr double least_left_share = 0.005;      ///< of the whole time: what is left then is left
constexpr std::size_t full_traces = 64;         ///< searches whose course is kept; of the others only the end
constexpr std::size_t most_traces = 10000;      ///< beyond these only the searches that are better than all before

} // namespace

std::uint32_t seed_of_start(std::uint32_t first_seed, std::int64_t i)
{
    return static_cast<std::uint32_t>((first_seed + static_cast<std::uint64_t>(i)) % seeds);
}

campaign::campaign(search_problem problem, const campaign_request& request)
    : problem_(std::move(problem)), request_(request),
      effort_shapes_search_(request.plans_efforts && annealed(problem_).has_value()), next_start_(request.shard - 1)
{
}

std::optional<std::uint32_t> campaign::next_seed()
{
    while (request_.starts == 0 || next_start_ < request_.starts) {
        const std::uint32_t seed = seed_of_start(request_.first_seed, next_start_);
        next_start_ += request_.shards;
        if (!done_before_.contains(seed))
            return seed;
    }
    return std::nullopt;
}

/// Rounds of a search that is to fit into the time left. Short ones tell the speed, which differs between short and
/// long searches, and give an early result. The next takes most of the time that is left, for a long anneal is better
/// than several short ones, and where it is not the search makes several by itself. A chain of runs does not depend
/// on its effort: the first one lasts until the time is spent.
std::int64_t campaign::effort_for(double left)
{
    if (request_.effort > 0 || !request_.plans_efforts)
        return request_.effort;
    if (!effort_shapes_search_)
        return most_rounds;
    double rounds = longest_done_ > 0 ? main_share * left * rounds_a_second_ : 16.0;
    for (const double share : trial_shares) {
        const double trial = share * *request_.seconds * rounds_a_second_;
        if (static_cast<double>(longest_done_) < 0.5 * trial) {
            rounds = trial;
            break;
        }
    }
    return std::clamp<std::int64_t>(std::llround(rounds), 1, most_rounds);
}

std::optional<search_task> campaign::next(double now)
{
    if (!returned_.empty()) {
        const search_task task = returned_.back();
        returned_.pop_back();
        return task;
    }
    const double left = request_.seconds ? *request_.seconds - now : 1.0;
    const double least_left = request_.plans_efforts ? *request_.seconds * least_left_share : 0.0;
    if (has_its_target() || (done_ > 0 && left <= least_left))
        return std::nullopt;
    const std::optional<std::uint32_t> seed = next_seed();
    if (!seed)
        return std::nullopt;
    return search_task{*seed, effort_for(std::max(left, 0.0)), request_.stop_after};
}

bool campaign::has_its_target() const
{
    const double target = problem_.options.target_in_force();
    return request_.starts == 0 && best_ && best_->objective - target <= std::fabs(target) * 1e-15;
}

bool campaign::take(search_result result)
{
    ++done_;
    if (result.task.effort > 0 && result.seconds > 0.0 && result.rounds >= longest_done_) {
        longest_done_ = result.rounds;
        rounds_a_second_ = static_cast<double>(result.rounds) / result.seconds;
    }
    search_trace trace{result.task.seed, std::move(result.history)};
    trace.points.push_back({result.rounds, result.began + result.seconds, result.objective});
    if (traces_.size() >= full_traces)
        trace.points.erase(trace.points.begin(), trace.points.end() - 1);
    result.history.clear();
    const bool leads = is_better(result, best_);
    if (leads || traces_.size() < most_traces)
        traces_.push_back(std::move(trace));
    if (leads)
        best_ = std::move(result);
    return leads;
}

void campaign::take_done(std::uint32_t seed, std::optional<search_result> best)
{
    done_before_.insert(seed);
    if (best && is_better(*best, best_))
        best_ = std::move(best);
}

} // namespace optdoe

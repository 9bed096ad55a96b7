#include "api/campaign/effort.h"

#include "api/campaign/library_search.h"
#include "api/designs/metrics.h"

#include <algorithm>
#include <limits>
#include <random>

namespace optdoe {

namespace {

/// The runs of a chain, one after the other.
class chain {
public:
    chain(const search_problem& problem, const search_task& task, const search_watch& watch)
        : problem_(problem), task_(task), watch_(watch), generator_(task.seed),
          patience_(problem.options.rounds_in_force(problem.rows, problem.factors))
    {
    }

    /// A run until half of its rounds, and the usual rounds of a run at least, have passed without gain. Its design
    /// counts when it is better. Returns its rounds.
    std::int64_t run(bool from_the_best)
    {
        const std::uint32_t seed = next_seed();
        settings options = problem_.options;
        const std::int64_t most = static_cast<std::int64_t>(setting_of(setting_id::iterations).high);
        options.iterations = static_cast<std::int32_t>(std::min(task_.effort - rounds_, most));
        options.no_pre_improvement = from_the_best;
        const std::optional<table> own = from_the_best ? best_.levels : start_of(problem_, seed);
        const table* start = own ? &*own : nullptr;
        const search_task part{seed, 0, task_.stop_after < 0 ? -1 : task_.stop_after - rounds_};
        search_progress gain{0, 0.0, std::numeric_limits<double>::infinity()};
        bool spent = false;
        search_result result = run_library_search(problem_, options, part, start, [&](const search_progress& p) {
            if (watch_(first_ ? p : search_progress{rounds_ + p.rounds, best_.initial, lower(p.best)}))
                return true;
            if (p.best < gain.best)
                gain = p;
            spent = p.rounds - gain.rounds >= std::max(patience_, p.rounds / 2);
            return spent;
        });
        if (spent) {
            result.cut = false;
            result.reason = end_reason::iteration_limit;
        }
        const std::int64_t rounds = result.rounds;
        take(std::move(result));
        return rounds;
    }

    bool ended() const { return ended_; }

    search_result result()
    {
        best_.task = task_;
        best_.rounds = rounds_;
        best_.cut = cut_;
        if (cut_)
            best_.task.stop_after = rounds_;
        best_.entry_levels.clear();
        return std::move(best_);
    }

private:
    double lower(double objective) const { return objective < best_.objective ? objective : best_.objective; }

    /// The task's own seed first, then numbers drawn from it. The highest number would mean the clock.
    std::uint32_t next_seed() { return first_ ? task_.seed : static_cast<std::uint32_t>(generator_() % 0xFFFFFFFFU); }

    void take(search_result result)
    {
        rounds_ += result.rounds;
        cut_ = result.cut;
        ended_ = cut_ || result.reason != end_reason::iteration_limit || rounds_ >= task_.effort;
        const end_reason reason = result.reason;
        if (first_) {
            best_ = std::move(result);
        } else if (result.rounds > 0 && result.objective < best_.objective) {
            result.initial = best_.initial;
            best_ = std::move(result);
        }
        best_.reason = reason;
        first_ = false;
    }

    const search_problem& problem_;
    const search_task& task_;
    const search_watch& watch_;
    std::mt19937_64 generator_;
    const std::int64_t patience_;
    search_result best_;
    std::int64_t rounds_ = 0;
    bool first_ = true;
    bool cut_ = false;
    bool ended_ = false;
};

std::vector<double> sorted(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values;
}

} // namespace

search_result run_chain(const search_problem& problem, const search_task& task, const search_watch& watch)
{
    chain runs(problem, task, watch);
    std::int64_t work[] = {0, 0}; ///< rounds of runs from starts of their own and of runs from the best
    while (!runs.ended()) {
        const bool from_the_best = work[1] < work[0];
        work[from_the_best] += runs.run(from_the_best);
    }
    return runs.result();
}

std::optional<annealed_problem> annealed(const search_problem& problem, const table& start)
{
    const settings& options = problem.options;
    const bool grouped =
        std::any_of(options.level_groups.begin(), options.level_groups.end(), [](double count) { return count > 1; });
    if (options.symmetric || grouped || (options.criterion != "phip" && options.criterion != "cd2"))
        return std::nullopt;
    annealed_problem p;
    p.rows = start.rows;
    p.columns = start.columns;
    p.fixed_rows = static_cast<std::size_t>(problem.fixed_rows);
    p.what = options.criterion == "cd2" ? annealed_problem::centered_l2
             : options.exponent() == 0  ? annealed_problem::maximin
                                        : annealed_problem::phip;
    p.p = options.exponent();
    p.euclidean = options.distance_in_force() != "rectangular";
    p.levels.resize(start.cells.size());
    const std::size_t scaling = options.scaling_in_force();
    const table seen = scaling == 0 ? start : scaled_by_range(start, scaling == 2);
    for (std::size_t j = 0; j < start.columns; ++j) {
        const std::vector<double> entries = sorted(start.column(j));
        for (std::size_t i = 0; i < start.rows; ++i)
            p.levels[i * start.columns + j] = static_cast<std::int32_t>(
                std::lower_bound(entries.begin(), entries.end(), start.at(i, j)) - entries.begin());
        p.values.push_back(sorted(seen.column(j)));
    }
    for (std::size_t j = 0; j < start.columns; ++j) {
        if (!options.weights.empty())
            p.weights.push_back(list_value(options.weights, j));
        if (!options.shares.empty())
            p.shares.push_back(list_value(options.shares, j));
    }
    return can_anneal(p) ? std::optional(std::move(p)) : std::nullopt;
}

std::optional<annealed_problem> annealed(const search_problem& problem)
{
    const std::optional<table> start = start_of(problem, 0);
    return annealed(problem, start ? *start
                                   : latin_levels(static_cast<std::size_t>(problem.rows),
                                                  static_cast<std::size_t>(problem.factors)));
}

search_result run_annealing(const search_problem& problem, const annealed_problem& annealed, const table& start,
                            const search_task& task, const search_watch& watch)
{
    search_result result;
    result.task = task;
    result.initial = annealed_objective(annealed, annealed.levels);
    const double target = problem.options.target_in_force();
    const annealing_plan plan{task.seed, task.effort, task.stop_after < 0 ? task.effort : task.stop_after};
    bool reached = result.initial <= target;
    result.levels = start;
    if (plan.stop_after > 0 && !reached && !watch({0, result.initial, result.initial})) {
        annealing_result found = anneal(annealed, plan, [&](const annealing_progress& p) {
            reached = p.best <= target;
            return reached || watch({p.round, result.initial, p.best});
        });
        result.rounds = found.rounds;
        // Entries change places within a column: those of the start, found again by their level.
        std::vector<std::vector<double>> entries(start.columns);
        for (std::size_t j = 0; j < start.columns; ++j) {
            entries[j].resize(annealed.values[j].size());
            for (std::size_t i = 0; i < start.rows; ++i)
                entries[j][static_cast<std::size_t>(annealed.levels[i * start.columns + j])] = start.at(i, j);
        }
        for (std::size_t c = 0; c < found.levels.size(); ++c)
            result.levels.cells[c] = entries[c % start.columns][static_cast<std::size_t>(found.levels[c])];
    }
    result.reason = reached ? end_reason::target_reached : end_reason::iteration_limit;
    result.cut = !reached && result.rounds < task.effort;
    if (result.cut)
        result.task.stop_after = result.rounds;
    return result;
}

} // namespace optdoe

#include "api/annealing/annealer.h"

#include "api/annealing/plain_math.h"

#include <algorithm>
#include <type_traits>

namespace optdoe {

/// Where an anneal begins, and the logarithm of the range down to its end. Of phi-p: in mean terms of a pair,
/// relative to the sum of all; of centered L2: in mean uphill changes of random trials. Found by single
/// searches of some 8 s and two seeds: phi-p at 50 x 5, 100 x 7, 100 x 10, 200 x 10 and 500 x 10, centered L2 at 50 x
/// 5, 100 x 10, 200 x 10 and 500 x 10. Shares of accepted trials tell little for large designs, where most trials are
/// neutral.
static constexpr double phip_hot = 12.0;
static constexpr double phip_fall = 4.8;
static constexpr double phip_few_rows = 36.0; ///< with fewer rows a change is a larger part of the sum
static constexpr double cd2_hot = 0.08;
static constexpr double cd2_fall = 3.5;
static constexpr double cd2_few_levels = 5.0; ///< with fewer levels a column every change is a large one
static constexpr double last_share = 0.05;    ///< of an anneal, without uphill moves
/// Trials an entry of a design, after which an anneal gains little, of phi-p and of centered L2.
static constexpr double work_units[] = {1e6, 4e5};
static constexpr double warm = 0.4; ///< where an anneal from a good start begins, between cold and hot

/// Levels from column after column to row after row.
static std::vector<std::int32_t> row_major(const annealed_problem& problem, const std::vector<std::int32_t>& levels)
{
    std::vector<std::int32_t> rows(levels.size());
    for (std::size_t r = 0; r < problem.rows; ++r)
        for (std::size_t c = 0; c < problem.columns; ++c)
            rows[r * problem.columns + c] = levels[c * problem.rows + r];
    return rows;
}

static constexpr std::size_t allowance_draws = 4096;

/// Quantiles of the exponential distribution: a trial may grow the energy by the temperature times one of them.
static std::vector<double> exponential_quantiles()
{
    std::vector<double> quantiles;
    for (std::size_t i = 0; i < allowance_draws; ++i)
        quantiles.push_back(-plain_log((static_cast<double>(i) + 0.5) / static_cast<double>(allowance_draws)));
    return quantiles;
}

template <class Table>
annealer<Table>::annealer(const annealed_problem& problem, const annealing_plan& plan,
                          const annealing_watch& keep_watch, Table table)
    : problem_(problem), plan_(plan), keep_watch_(keep_watch), random_(plan.seed), moves_(problem),
      table_(std::move(table)), allowances_(exponential_quantiles())
{
    std::vector<std::int32_t> levels(problem.levels.size());
    for (std::size_t r = 0; r < problem.rows; ++r)
        for (std::size_t c = 0; c < problem.columns; ++c)
            levels[c * problem.rows + r] = problem.levels[r * problem.columns + c];
    load(levels);
    best_levels_ = levels;
    best_ = merit_now();
}

template <class Table>
void annealer<Table>::load(const std::vector<std::int32_t>& levels)
{
    moves_.load(levels);
    table_.load(levels);
}

template <class Table>
merit annealer<Table>::merit_now() const
{
    if constexpr (std::is_same_v<Table, phip_table>)
        if (problem_.what == annealed_problem::maximin)
            return {table_.least_distance(), table_.energy()};
    return {0.0f, table_.energy()};
}

template <class Table>
double annealer<Table>::best_objective() const
{
    if constexpr (std::is_same_v<Table, phip_table>)
        if (problem_.what == annealed_problem::maximin)
            return -table_.unscaled(best_.least_distance);
    return table_.objective(best_.energy);
}

template <class Table>
void annealer<Table>::keep_best()
{
    if (best_is_current_)
        best_levels_ = moves_.levels();
    best_is_current_ = false;
}

template <class Table>
void annealer<Table>::note_best()
{
    // A design with a larger least distance has nearly the least energy.
    const bool maximin = problem_.what == annealed_problem::maximin;
    if (table_.energy() < (maximin ? 2.0 : 1.0) * best_.energy) {
        const merit now = merit_now();
        if (now.better_than(best_)) {
            best_ = now;
            best_is_current_ = true;
        }
    }
}

template <class Table>
void annealer<Table>::try_one(double temperature)
{
    trial_exchange move{};
    if (!moves_.draw(random_, table_.crowding(), &move))
        return;
    const double allowance = temperature > 0.0 ? temperature * allowances_[random_.next() % allowance_draws] : 0.0;
    double growth = 0.0;
    if (!table_.accepts(move.column, move.a, move.b, allowance, &growth))
        return;
    keep_best();
    moves_.commit(move);
    table_.commit(move.column, move.a, move.b, growth);
    note_best();
}

template <class Table>
bool annealer<Table>::round(double temperature)
{
    for (std::int64_t t = trials_a_round(problem_.rows); t > 0; --t)
        try_one(temperature);
    return end_round();
}

template <class Table>
bool annealer<Table>::end_round()
{
    ++round_;
    const bool stopped = keep_watch_ && keep_watch_({round_, best_objective()});
    return !stopped && round_ < plan_.stop_after;
}

template <class Table>
bool annealer<Table>::descend(std::int64_t rounds)
{
    for (std::int64_t r = 0; r < rounds; ++r)
        if (!round(0.0))
            return false;
    return true;
}

/// Takes the best of the lattices, or of as many as the rounds allow.
template <class Table>
bool annealer<Table>::try_lattices(std::int64_t rounds, const lattice_starts& starts)
{
    keep_best();
    const std::int64_t a_round =
        std::max<std::int64_t>(1, trials_a_round(problem_.rows) / static_cast<std::int64_t>(problem_.rows));
    const std::int64_t most = rounds * a_round;
    const std::int64_t count = starts.count();
    std::vector<std::int32_t> levels;
    std::vector<std::int32_t> best_start;
    merit best{};
    for (std::int64_t i = 0; i < std::min(count, most); ++i) {
        starts.make(count <= most ? i : random_.below(static_cast<std::uint32_t>(count)), &levels);
        load(levels);
        const merit now = merit_now();
        if (best_start.empty() || now.better_than(best)) {
            best = now;
            best_start = levels;
        }
        if (now.better_than(best_)) {
            best_ = now;
            best_levels_ = levels;
        }
        if (i % a_round == a_round - 1 && !end_round())
            return false;
    }
    if (!best_start.empty())
        load(best_start);
    return true;
}

/// Of phi-p from the number of pairs: its allowances are shares of the sum. Of centered L2 from 1000 trials: its
/// changes depend on the design.
template <class Table>
typename annealer<Table>::temperature_range annealer<Table>::temperatures()
{
    if constexpr (std::is_same_v<Table, phip_table>) {
        const double pairs = 0.5 * static_cast<double>(problem_.rows) * static_cast<double>(problem_.rows - 1);
        const double few_rows = phip_few_rows / static_cast<double>(problem_.rows);
        const double hot = phip_hot / pairs * (1.0 + few_rows * few_rows);
        return {hot, hot * plain_exp(-phip_fall)};
    } else {
        double sum = 1e-300;
        for (int t = 0; t < 1000; ++t) {
            trial_exchange move{};
            if (moves_.draw(random_, table_.crowding(), &move))
                sum += std::max(0.0, table_.growth(move.column, move.a, move.b));
        }
        const double hot = cd2_hot * 1e-3 * sum;
        const double few_levels = cd2_few_levels * moves_.rows_a_level() / static_cast<double>(problem_.rows);
        return {hot * (1.0 + few_levels * few_levels), hot * plain_exp(-cd2_fall)};
    }
}

template <class Table>
bool annealer<Table>::anneal(std::int64_t rounds, temperature_range range)
{
    const std::int64_t last = static_cast<std::int64_t>(last_share * static_cast<double>(rounds));
    const std::int64_t falling = rounds - last;
    const double factor =
        plain_exp(plain_log(range.cold / range.hot) / static_cast<double>(std::max<std::int64_t>(1, falling)));
    double temperature = range.hot;
    for (std::int64_t r = 0; r < falling; ++r) {
        if (!round(temperature))
            return false;
        temperature *= factor;
    }
    return descend(last);
}

/// A random rearrangement of the free rows in every column.
template <class Table>
void annealer<Table>::start_afresh()
{
    keep_best();
    std::vector<std::int32_t> levels = moves_.levels();
    for (std::size_t c = 0; c < problem_.columns; ++c)
        for (std::size_t i = problem_.rows; i > problem_.fixed_rows + 1; --i) {
            const std::size_t j =
                problem_.fixed_rows + random_.below(static_cast<std::uint32_t>(i - problem_.fixed_rows));
            std::swap(levels[c * problem_.rows + i - 1], levels[c * problem_.rows + j]);
        }
    load(levels);
}

template <class Table>
bool annealer<Table>::search()
{
    if (!descend(std::max<std::int64_t>(1, plan_.rounds / 50)))
        return false;
    if constexpr (std::is_same_v<Table, phip_table>)
        table_.scale_to_least();
    keep_best();
    best_ = merit_now();
    const temperature_range range = temperatures();
    const lattice_starts starts(problem_);
    if (starts.count() > 0) {
        const temperature_range low{range.cold * plain_exp(warm * plain_log(range.hot / range.cold)), range.cold};
        if (!try_lattices(plan_.rounds / 20, starts) || !anneal(plan_.rounds * 3 / 20, low))
            return false;
        start_afresh();
    }
    // Small designs: several anneals from random starts find more than a long one.
    const double work = work_units[problem_.what == annealed_problem::centered_l2] *
                        static_cast<double>(problem_.rows * problem_.columns);
    const double trials =
        static_cast<double>(plan_.rounds - round_) * static_cast<double>(trials_a_round(problem_.rows));
    for (std::int64_t left = 1 + static_cast<std::int64_t>(trials / work); left > 0; --left) {
        if (!anneal((plan_.rounds - round_) / left, range))
            return false;
        start_afresh();
    }
    return true;
}

template <class Table>
annealing_result annealer<Table>::run()
{
    if (plan_.stop_after > 0)
        search();
    keep_best();
    annealing_result result{row_major(problem_, best_levels_), 0.0, round_};
    result.objective = annealed_objective(problem_, result.levels);
    return result;
}

template class annealer<phip_table>;
template class annealer<cd2_table>;

} // namespace optdoe

#include "api/annealing/exchange_moves.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace optdoe {

exchange_moves::exchange_moves(const annealed_problem& problem)
    : rows_(problem.rows), columns_(problem.columns), fixed_(problem.fixed_rows), free_(rows_ - fixed_),
      group_(columns_, 1), levels_(rows_ * columns_), row_at_(columns_ * free_), rank_of_(columns_ * rows_),
      steps_(step_draws, 1)
{
    double most_share = 0.0;
    for (const double share : problem.shares)
        most_share = std::max(most_share, share);
    for (std::size_t c = 0; c < columns_; ++c) {
        std::vector<std::int32_t> levels;
        for (std::size_t r = fixed_; r < rows_; ++r)
            levels.push_back(problem.levels[r * columns_ + c]);
        std::sort(levels.begin(), levels.end());
        levels.erase(std::unique(levels.begin(), levels.end()), levels.end());
        const double share = problem.shares.empty() ? 1.0 : problem.shares[c];
        const bool weighs = problem.weights.empty() || problem.weights[c] >= 1e-15;
        if (levels.size() < 2 || !weighs || !(share > 1e-10))
            continue;
        group_[c] = static_cast<std::uint32_t>(std::max<std::size_t>(1, free_ / levels.size()));
        const double times =
            problem.shares.empty() ? 1.0 : std::max(1.0, std::floor(64.0 * share / most_share + 0.5));
        movable_.insert(movable_.end(), static_cast<std::size_t>(times), static_cast<std::uint32_t>(c));
    }
    fill_steps();
}

/// s^-5/4 from roots, which are the same on every machine.
static double weight_of_step(std::size_t step)
{
    const double s = static_cast<double>(step);
    return 1.0 / (s * std::sqrt(std::sqrt(s)));
}

void exchange_moves::fill_steps()
{
    const std::size_t most = free_ - 1;
    double total = 0.0;
    for (std::size_t s = 1; s <= most; ++s)
        total += weight_of_step(s);
    std::size_t step = 1;
    double below = weight_of_step(1);
    for (std::size_t i = 0; i < step_draws; ++i) {
        const double share = (static_cast<double>(i) + 0.5) / static_cast<double>(step_draws) * total;
        while (below < share && step < most)
            below += weight_of_step(++step);
        steps_[i] = static_cast<std::uint32_t>(step);
    }
}

void exchange_moves::load(const std::vector<std::int32_t>& levels)
{
    levels_ = levels;
    std::vector<std::uint32_t> order(free_);
    for (std::size_t c = 0; c < columns_; ++c) {
        for (std::size_t i = 0; i < free_; ++i)
            order[i] = static_cast<std::uint32_t>(fixed_ + i);
        std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
            return levels_[c * rows_ + a] < levels_[c * rows_ + b];
        });
        for (std::size_t i = 0; i < free_; ++i) {
            row_at_[c * free_ + i] = order[i];
            rank_of_[c * rows_ + order[i]] = static_cast<std::uint32_t>(i);
        }
    }
}

/// The one of this rank and two more whose row is the most crowded.
std::uint32_t exchange_moves::crowded_rank(trial_random& random, const double* crowding, std::size_t column,
                                           std::uint32_t rank) const
{
    const std::uint32_t* rows = &row_at_[column * free_];
    const std::uint64_t bits = random.next();
    for (const std::uint64_t part : {bits & 0xFFFFFFFFu, bits >> 32}) {
        const std::uint32_t other =
            trial_random::below(static_cast<std::uint32_t>(part), static_cast<std::uint32_t>(free_));
        rank = crowding[rows[other]] > crowding[rows[rank]] ? other : rank;
    }
    return rank;
}

bool exchange_moves::draw(trial_random& random, const double* crowding, trial_exchange* move) const
{
    const std::uint64_t where = random.next();
    const std::uint64_t which = random.next();
    const std::size_t column =
        movable_[trial_random::below(static_cast<std::uint32_t>(where), static_cast<std::uint32_t>(movable_.size()))];
    std::uint32_t rank =
        trial_random::below(static_cast<std::uint32_t>(where >> 32), static_cast<std::uint32_t>(free_));
    if (crowding != nullptr)
        rank = crowded_rank(random, crowding, column, rank);
    std::uint32_t step = steps_[which % step_draws];
    if (group_[column] > 1)
        step = (step - 1) * group_[column] + 1 +
               trial_random::below(static_cast<std::uint32_t>(which >> 32), group_[column]);
    const bool up = ((which >> 12) & 1) != 0;
    // A rank beyond the end is sought on the other side.
    std::uint32_t other = up ? rank + step : rank - step;
    if (other >= free_)
        other = up ? rank - step : rank + step;
    if (other >= free_)
        return false;
    *move = {column, row_at_[column * free_ + rank], row_at_[column * free_ + other]};
    return levels_[column * rows_ + move->a] != levels_[column * rows_ + move->b];
}

double exchange_moves::rows_a_level() const
{
    return std::accumulate(group_.begin(), group_.end(), 0.0) / static_cast<double>(columns_);
}

void exchange_moves::commit(const trial_exchange& move)
{
    const std::size_t at = move.column * rows_;
    std::uint32_t& rank_a = rank_of_[at + move.a];
    std::uint32_t& rank_b = rank_of_[at + move.b];
    std::swap(row_at_[move.column * free_ + rank_a], row_at_[move.column * free_ + rank_b]);
    std::swap(rank_a, rank_b);
    std::swap(levels_[at + move.a], levels_[at + move.b]);
}

} // namespace optdoe

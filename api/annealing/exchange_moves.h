/// Which two rows exchange their entries: drawn by their ranks in the column, near ranks more often.
#pragma once

#include "api/annealing/annealed_problem.h"
#include "api/annealing/trial_random.h"

#include <cstdint>
#include <vector>

namespace optdoe {

struct trial_exchange {
    std::size_t column;
    std::size_t a;
    std::size_t b;
};

/// The design as levels and ranks. Only free rows have ranks.
class exchange_moves {
public:
    explicit exchange_moves(const annealed_problem& problem);

    /// Takes a design, [columns x rows], and ranks its rows.
    void load(const std::vector<std::int32_t>& levels);
    const std::vector<std::int32_t>& levels() const { return levels_; }

    /// Draws an exchange of two rows with different levels.
    ///   returns false when the draw gave equal levels or a rank outside
    bool draw(trial_random& random, trial_exchange* move) const;

    void commit(const trial_exchange& move);

    bool can_move() const { return !movable_.empty(); }

private:
    void fill_steps();

    static constexpr std::size_t step_draws = 4096;

    std::size_t rows_, columns_, fixed_, free_;
    std::vector<std::uint32_t> movable_; ///< columns; each as often as its share asks for
    std::vector<std::uint32_t> group_;   ///< [columns] rows a level, on the average
    std::vector<std::int32_t> levels_;   ///< [columns x rows]
    std::vector<std::uint32_t> row_at_;  ///< [columns x free]
    std::vector<std::uint32_t> rank_of_; ///< [columns x rows]
    std::vector<std::uint32_t> steps_;   ///< [step_draws] distances in rank, s as often as 1/s asks for
};

} // namespace optdoe

/// Which two rows exchange their entries: drawn by their ranks in the column, near ranks more often. Twelve cells of
/// 20 x 2 to 200 x 10 gave the choices: distance s in rank as often as s^-5/4 asks for (powers 3/4 to 3/2 were
/// tried), and the first row the most crowded of three (of 1, 2, 5 and 9).
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
    ///   crowding   in   [rows] or null: the first row is the one of three draws where it is highest
    ///   returns false when the draw gave equal levels or a rank outside
    bool draw(trial_random& random, const double* crowding, trial_exchange* move) const;

    void commit(const trial_exchange& move);

    bool can_move() const { return !movable_.empty(); }

    /// Free rows with the same level, on the average over the columns.
    double rows_a_level() const;

private:
    void fill_steps();
    std::uint32_t crowded_rank(trial_random& random, const double* crowding, std::size_t column,
                               std::uint32_t rank) const;

    static constexpr std::size_t step_draws = 4096;

    std::size_t rows_, columns_, fixed_, free_;
    std::vector<std::uint32_t> movable_; ///< columns; each as often as its share asks for
    std::vector<std::uint32_t> group_;   ///< [columns] rows a level, on the average
    std::vector<std::int32_t> levels_;   ///< [columns x rows]
    std::vector<std::uint32_t> row_at_;  ///< [columns x free]
    std::vector<std::uint32_t> rank_of_; ///< [columns x rows]
    std::vector<std::uint32_t> steps_;   ///< [step_draws] distances in rank, s as often as s^-5/4 asks for
};

} // namespace optdoe

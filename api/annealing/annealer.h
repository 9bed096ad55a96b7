/// One search: rounds of trials at falling temperatures, and the best design met.
///
/// Stages  1. a descent, after which phi-p's terms are scaled; 2. with two or three columns lattices, and
///         then an anneal from the best; 3. anneals between fixed temperatures, from random designs.
/// Source  Morris and Mitchell, 1995; Johnson, Aragon, McGeoch and Schevon, "Optimization by simulated annealing: an
///         experimental evaluation; part I", 1989, for the length of an anneal and its geometric fall.
#pragma once

#include "api/annealing/annealed_problem.h"
#include "api/annealing/cd2_table.h"
#include "api/annealing/exchange_moves.h"
#include "api/annealing/lattice_starts.h"
#include "api/annealing/phip_table.h"

namespace optdoe {

/// How good a design is: the farther its nearest rows the better (held at 0 where only the energy counts), then the
/// lower its energy.
struct merit {
    float least_distance;
    double energy;
    bool better_than(const merit& other) const
    {
        return least_distance != other.least_distance ? least_distance > other.least_distance : energy < other.energy;
    }
};

template <class Table>
class annealer {
public:
    annealer(const annealed_problem& problem, const annealing_plan& plan, const annealing_watch& keep_watch,
             Table table);

    annealing_result run();

private:
    struct temperature_range {
        double hot;
        double cold;
    };
    // Stages return false when the search has to end.
    bool search();
    bool descend(std::int64_t rounds);
    bool try_lattices(std::int64_t rounds, const lattice_starts& starts);
    bool anneal(std::int64_t rounds, temperature_range range);
    bool round(double temperature);
    bool end_round();

    void try_one(double temperature);
    temperature_range temperatures();
    void load(const std::vector<std::int32_t>& levels);
    void start_afresh();
    merit merit_now() const;
    double best_objective() const;
    void note_best();
    void keep_best();

    const annealed_problem& problem_;
    const annealing_plan& plan_;
    const annealing_watch& keep_watch_;
    trial_random random_;
    exchange_moves moves_;
    Table table_;
    std::vector<double> allowances_; ///< quantiles of the exponential distribution
    std::int64_t round_ = 0;
    merit best_{};
    std::vector<std::int32_t> best_levels_; ///< [columns x rows]
    bool best_is_current_ = false;          ///< the best is the design at hand; best_levels_ holds an older one
};

extern template class annealer<phip_table>;
extern template class annealer<cd2_table>;

} // namespace optdoe

#include "api/annealing/annealing.h"

#include "api/annealing/annealer.h"

#include <stdexcept>

namespace optdoe {

double annealing_bytes(std::size_t rows, std::size_t columns, annealed_problem::criterion what)
{
    const double n = static_cast<double>(line_stride(rows));
    const double per_column = what == annealed_problem::centered_l2 ? 48.0 : 32.0;
    return 4.0 * n * n + per_column * n * static_cast<double>(columns) + 1e5;
}

static void check(const annealed_problem& problem, const annealing_plan& plan)
{
    const bool fits = problem.values.size() == problem.columns &&
                      problem.levels.size() == problem.rows * problem.columns &&
                      (problem.weights.empty() || problem.weights.size() == problem.columns) &&
                      (problem.shares.empty() || problem.shares.size() == problem.columns);
    if (!fits || plan.rounds < 1 || plan.stop_after > plan.rounds)
        throw std::invalid_argument("annealing: sizes of the problem or rounds of the plan do not fit");
    for (std::size_t i = 0; i < problem.levels.size(); ++i)
        if (problem.levels[i] < 0 ||
            static_cast<std::size_t>(problem.levels[i]) >= problem.values[i % problem.columns].size())
            throw std::invalid_argument("annealing: a level is out of range");
    if (!can_anneal(problem))
        throw std::invalid_argument("annealing: the problem is not of a size that annealing serves");
}

bool can_anneal(const annealed_problem& problem)
{
    return problem.rows >= 3 && problem.rows <= 6000 && problem.rows >= problem.fixed_rows + 2 &&
           exchange_moves(problem).can_move();
}

annealing_result anneal(const annealed_problem& problem, const annealing_plan& plan,
                        const annealing_watch& keep_watch)
{
    check(problem, plan);
    if (problem.what == annealed_problem::centered_l2)
        return annealer<cd2_table>(problem, plan, keep_watch,
                                   cd2_table(problem, best_variant(cd2_trial_kernel_variants)))
            .run();
    const phip_table table(problem, best_variant(phip_trial_kernel_variants));
    return annealer<phip_table>(problem, plan, keep_watch, table).run();
}

} // namespace optdoe

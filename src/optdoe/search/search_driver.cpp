#include "optdoe/search/search_driver.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/numeric/random_numbers.h"
#include "optdoe/run/messages.h"
#include "optdoe/run/run_globals.h"
#include "optdoe/run/run_settings.h"
#include "optdoe/run/settings_table.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/search/column_moves.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/search_state.h"

#include <algorithm>
#include <cmath>

constexpr int pre_improvement_rounds = 20;

std::atomic<std::uint32_t> choice_counter{0};

static void send_objective(run_context* ctx, const char* label, double objective)
{
    char line[message_capacity];
    format_text(line, sizeof line, "%-36s = %s", label, fixed_text(objective, 6).text);
    status_message(ctx, line);
}

/// Takes value as the best objective and copies the design that has it.
static void record_best(run_context* ctx, double value, double** design_out)
{
    search_state& s = *ctx->search;
    s.best_value = value;
    s.outcome->best_objective = value;
    crit_copy_design(ctx, design_out);
}

/// False for an objective that is not a number.
static bool target_reached(const search_state& s) { return s.best_value - s.target_value <= s.target_value * 1e-15; }

static bool time_is_left(run_context* ctx)
{
    run_globals& globals = *ctx->globals;
    if (globals.extras->interrupted != nullptr && globals.extras->interrupted(globals.extras->user))
        globals.within_budget = 0;
    return check_time_budget(ctx, ctx->search->time_budget_ms) != 0;
}

/// Begins a round: false, with the reason, when the time is spent or the host asks to stop.
static bool begin_round(run_context* ctx)
{
    search_state& s = *ctx->search;
    if (!time_is_left(ctx)) {
        s.outcome->reason = end_reason::time_limit;
        return false;
    }
    s.iteration += 1;
    s.outcome->iterations = s.iteration;
    if (poll_stop_flag(ctx) != 0) {
        s.outcome->reason = end_reason::stop_requested;
        return false;
    }
    return true;
}

static double end_with(run_context* ctx, end_reason reason)
{
    ctx->search->outcome->reason = reason;
    return ctx->search->best_value;
}

static double randomize_with_groups_at(run_context* ctx, std::int32_t factor, std::int32_t groups_at)
{
    return randomize_column(ctx, factor, ctx->groups->group_count[groups_at], ctx->groups->rows_per_group[groups_at],
                            1);
}

/// Up to 20 rounds that randomise every active column; a round that made things worse is taken back.
/// The grouping is that of the position among the active factors, not of the factor.
static double pre_improve(run_context* ctx)
{
    const search_state& s = *ctx->search;
    double current = crit_value(ctx);
    bool time_ok = time_is_left(ctx);
    for (int round = 0; round < pre_improvement_rounds && time_ok; ++round) {
        crit_save_design(ctx);
        save_rank_order(ctx);
        double value = current;
        for (std::int32_t k = 0; k < s.active_count && time_ok; ++k) {
            value = randomize_with_groups_at(ctx, s.active_factors[k], k);
            time_ok = time_is_left(ctx);
        }
        if (value > current) {
            crit_restore_design(ctx);
            restore_rank_order(ctx);
        } else {
            current = value;
        }
    }
    return current;
}

/// The factor of the next move: by weighted draw, or in turn.
static std::int32_t choose_factor(run_context* ctx)
{
    const search_state& s = *ctx->search;
    std::int32_t position = 0;
    if (s.weighted_factor_choice != 0) {
        const double u = rng_uniform(ctx);
        while (position < s.active_count - 1 && !(s.factor_cumulative_weight[position] > u))
            ++position;
    } else {
        std::atomic<std::uint32_t>* own = ctx->globals->extras->rotation;
        std::atomic<std::uint32_t>& rotation = own != nullptr ? *own : choice_counter;
        const std::uint32_t turn = rotation.fetch_add(1, std::memory_order_relaxed) + 1;
        position = wrap_i32(turn % bits_u32(s.active_count));
    }
    return s.active_factors[position];
}

namespace {

struct move_outcome {
    double value; ///< objective that the move led to, accepted or not
    bool accepted;
};

} // namespace

/// One move with the random-threshold rule: a move that worsens the objective by d is accepted when d <= u t for a
/// fresh uniform u; a move that is not accepted is taken back.
static move_outcome threshold_move(run_context* ctx, double t)
{
    search_state& s = *ctx->search;
    const std::int32_t factor = choose_factor(ctx);
    crit_save_column(ctx, factor);
    save_rank_order_column(ctx, factor);
    const double value = column_move(ctx, factor, s.current_value);
    s.move_count = wrap_add(s.move_count, 1);
    if (-rng_uniform(ctx) * t > s.current_value - value) {
        crit_restore_column(ctx, factor);
        restore_rank_order_column(ctx, factor);
        return {value, false};
    }
    s.current_value = value;
    return {value, true};
}

static void report_progress(run_context* ctx)
{
    const search_state& s = *ctx->search;
    if (std::fmod(s.iteration, 10.0) != 0.0)
        return;
    char line[message_capacity];
    const number_text best = fixed_text(s.best_value, 6);
    if (s.iteration < 1000)
        format_text(line, sizeof line, "Criterion Objective at iteration %3d  = %s", s.iteration, best.text);
    else
        format_text(line, sizeof line, "Criterion Objective at iteration %d   = %s", s.iteration, best.text);
    status_message(ctx, line);
}

/// Threshold accepting. After a round without gain the threshold is multiplied by a factor: above 1 once less than a
/// tenth of the moves was accepted, below 1 once more than eight tenths were or the current design is far from the
/// best, else the factor of the round before. After a round with gain it changes by one step of 0.8 at most. An
/// objective that is not a number ends it after a round.
static double threshold_search(run_context* ctx, double** design_out)
{
    search_state& s = *ctx->search;
    double threshold = s.threshold;
    s.threshold_factor = 0.8;
    if (target_reached(s))
        return end_with(ctx, end_reason::target_reached);
    if (s.active_count < 1)
        return end_with(ctx, end_reason::nothing_to_move);

    do {
        if (s.iteration >= s.max_iterations)
            return end_with(ctx, end_reason::iteration_limit);
        if (!begin_round(ctx))
            return s.best_value;

        const double round_start_best = s.best_value;
        std::int32_t accepted = 0;
        std::int32_t improved = 0;
        for (std::int32_t i = 0; i < s.inner_moves; ++i) {
            const move_outcome move = threshold_move(ctx, threshold);
            if (!move.accepted)
                continue;
            ++accepted;
            if (s.best_value - move.value > s.record_tolerance) {
                record_best(ctx, move.value, design_out);
                ++improved;
            }
        }

        const double gain = round_start_best - s.best_value;
        const double ratio = static_cast<double>(accepted) / std::max(s.inner_moves, 10);
        if (ratio < 0.1)
            s.threshold_factor = 1.4285714285714286;
        else if (ratio > 0.8 || s.current_value - s.best_value > s.threshold_ceiling)
            s.threshold_factor = 0.9;

        if (gain < s.tolerance)
            threshold = threshold * s.threshold_factor;
        else if (ratio < 0.1)
            threshold = threshold / 0.8;
        else if (improved < accepted)
            threshold = threshold * 0.8;
        report_progress(ctx);
    } while (s.best_value - s.target_value > s.target_value * 1e-15);
    return end_with(ctx, target_reached(s) ? end_reason::target_reached : end_reason::undefined_objective);
}

/// Sweeps of moves over all factors; a sweep without gain randomises every column and starts again.
static double greedy_search(run_context* ctx, double** design_out)
{
    search_state& s = *ctx->search;
    double last = s.best_value;
    double sweep = last;
    bool more = true;
    std::int32_t restarts = 0;
    while ((restarts < s.max_restarts && more) || s.iteration < s.max_iterations) {
        if (target_reached(s))
            return end_with(ctx, end_reason::target_reached);
        if (!begin_round(ctx))
            return s.best_value;
        more = false;
        for (std::int32_t j = 0; j < ctx->rows->k; ++j) {
            sweep = column_move(ctx, j, s.current_value);
            s.move_count = wrap_add(s.move_count, 1);
        }
        if (last - sweep > s.tolerance) {
            more = true;
            last = sweep;
            if (s.best_value - sweep > s.tolerance)
                record_best(ctx, sweep, design_out);
            continue;
        }
        if (s.iteration >= s.max_iterations && s.max_iterations != 1)
            continue;
        ++restarts;
        more = true;
        for (std::int32_t j = 0; j < ctx->rows->k; ++j)
            last = randomize_with_groups_at(ctx, j, j);
    }
    return end_with(ctx, end_reason::iteration_limit);
}

/// Annealing: the temperature falls after every round; a round ends once inner_moves moves in a row brought no new
/// best, the search after a round without an accepted move.
static double annealing_search(run_context* ctx, double** design_out)
{
    search_state& s = *ctx->search;
    double temperature = s.threshold;
    for (;;) {
        if (target_reached(s))
            return end_with(ctx, end_reason::target_reached);
        if (s.active_count < 1)
            return end_with(ctx, end_reason::nothing_to_move);
        if (s.move_count >= s.max_iterations)
            return end_with(ctx, end_reason::iteration_limit);
        if (!begin_round(ctx))
            return s.best_value;

        bool any_accepted = false;
        for (std::int32_t stale = 0; stale < s.inner_moves && s.move_count < s.max_iterations;) {
            any_accepted = threshold_move(ctx, temperature).accepted || any_accepted;
            if (s.best_value - s.current_value > 0.0) {
                stale = 0;
                record_best(ctx, s.current_value, design_out);
            } else {
                ++stale;
            }
        }
        if (!any_accepted)
            return end_with(ctx, end_reason::no_acceptance);
        temperature = temperature * s.threshold_factor;
    }
}

static double settled(setting_id id, double fallback, double value)
{
    const setting& row = setting_of(id);
    return clamp_or_default_double(row.low, row.high, fallback, value);
}

static void set_method_parameters(search_state& s)
{
    const double scale = std::fabs(s.current_value) + 1e-10;
    if (s.search_mode == 1) {
        s.tolerance = settled(setting_id::tolerance, scale * 1e-8, s.tolerance_setting);
        return;
    }
    s.tolerance = settled(setting_id::tolerance, scale * 5e-6, s.tolerance_setting);
    s.record_tolerance = s.tolerance * 0.01;
    if (s.search_mode == 0) {
        s.threshold = settled(setting_id::threshold, scale * 0.005, s.threshold_setting);
        s.threshold_ceiling = s.threshold * 100.0;
        s.threshold_floor = s.threshold / 100.0;
        s.threshold_factor = clamp_or_default_double(0.3, 0.999, 0.8, s.threshold_factor_setting);
        return;
    }
    s.threshold = settled(setting_id::threshold, scale * 1.5, s.threshold_setting);
    s.threshold_floor = s.threshold / 500.0;
    const std::int32_t coolings = s.max_iterations / 2;
    const double cooling = std::pow(1.0 / 500.0, 1.0 / coolings);
    s.threshold_factor = settled(setting_id::cooling, cooling, s.threshold_factor_setting);
}

double run_search(run_context* ctx, double** design_out)
{
    search_state& s = *ctx->search;
    s.move_count = 0;
    s.iteration = 0;
    s.moves_since_refresh = 0;
    const double initial = crit_value(ctx);
    s.outcome->initial_objective = initial;
    send_objective(ctx, "Initial Criterion Objective", initial);

    s.current_value = s.pre_improvement != 0 ? pre_improve(ctx) : crit_value(ctx);
    record_best(ctx, s.current_value, design_out);
    set_method_parameters(s);

    double best = 0.0;
    switch (s.search_mode) {
    case 0: best = threshold_search(ctx, design_out); break;
    case 1: best = greedy_search(ctx, design_out); break;
    default: best = annealing_search(ctx, design_out); break;
    }
    send_objective(ctx, "Final Criterion Objective", best);
    report_computation_time(ctx);
    return best;
}

std::int32_t search_effort(const run_context* ctx)
{
    const search_state& s = *ctx->search;
    if (s.search_mode == 2)
        return s.move_count;
    return wrap_mul(wrap_mul(s.max_candidates, s.inner_moves), s.iteration);
}

#include "optdoe/search/search_driver.h"

#include "tests/support/designs.h"
#include "tests/support/search_run.h"

#include "hosts/embedded/embedded_host.h"
#include "optdoe/criteria/criterion.h"
#include "optdoe/numeric/random_numbers.h"
#include "optdoe/search/column_moves.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/search_state.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

namespace {

using editor = std::function<void(run_settings&, int)>;

void call_editor(run_settings* settings, std::int32_t nfactors, void* user)
{
    (*static_cast<editor*>(user))(*settings, nfactors);
}

/// A run through the embedded host with edited settings, and what came of it.
struct driven_run {
    explicit driven_run(int n, int k, editor edit = {}, double minutes = 1.0,
                        const std::function<int(int)>& answer_poll = {})
    {
        host.on_status_line = [this](std::string_view line) { lines.emplace_back(line); };
        host.on_stop_poll = [&, polls = 0]() mutable { return answer_poll ? answer_poll(polls++) : 0; };
        levels.resize(static_cast<std::size_t>(n * k));
        outcome.design = levels.data();
        run_extras extras{};
        extras.outcome = &outcome;
        if (edit) {
            extras.edit_settings = call_editor;
            extras.user = &edit;
        }
        design = host.run(n, k, minutes, 5, &extras);
        host.on_stop_poll = nullptr;
        EXPECT_EQ(host.violations(), std::vector<std::string>{});
        EXPECT_EQ(host.pending(), std::nullopt);
    }

    /// Lines that begin with the text.
    int count_lines(const std::string& beginning) const
    {
        return static_cast<int>(
            std::count_if(lines.begin(), lines.end(), [&](const auto& line) { return line.starts_with(beginning); }));
    }

    embedded_host host;
    std::vector<std::string> lines;
    std::vector<double> levels;
    run_outcome outcome{};
    std::optional<std::vector<std::int32_t>> design;
};

bool is_latin_hypercube(const std::vector<std::int32_t>& design, int n, int k)
{
    for (int j = 0; j < k; ++j) {
        std::vector<std::int32_t> column;
        for (int i = 0; i < n; ++i)
            column.push_back(design[static_cast<std::size_t>(i * k + j)]);
        std::sort(column.begin(), column.end());
        for (int i = 0; i < n; ++i)
            if (column[static_cast<std::size_t>(i)] != i + 1)
                return false;
    }
    return true;
}

editor method(int mode)
{
    return [mode](run_settings& s, int) { s.search_mode = static_cast<std::uint8_t>(mode); };
}

} // namespace

TEST(searchdriver, each_method_improves_and_returns_a_latin_hypercube)
{
    for (const int mode : {0, 1, 2}) {
        const driven_run run(10, 3, method(mode));
        ASSERT_TRUE(run.design);
        EXPECT_TRUE(is_latin_hypercube(*run.design, 10, 3)) << mode;
        EXPECT_LT(run.outcome.best_objective, run.outcome.initial_objective) << mode;
        EXPECT_EQ(run.count_lines("Initial Criterion Objective          = "), 1);
        EXPECT_EQ(run.count_lines("Final Criterion Objective            = "), 1);
        EXPECT_EQ(run.count_lines("Computation time                     = "), 1);
        EXPECT_EQ(run.count_lines("WARNING"), 0);
        EXPECT_EQ(run.count_lines("Criterion Objective at iteration") > 0, mode == 0);
    }
}

TEST(searchdriver, lines_come_in_order)
{
    const driven_run run(4, 2);
    ASSERT_EQ(run.lines.size(), 14u);
    EXPECT_EQ(run.lines[0], "Maximum time to optimize matrix      = 1.00 minutes");
    EXPECT_TRUE(run.lines[1].starts_with("Initial Criterion Objective          = "));
    for (int i = 1; i <= 10; ++i)
        EXPECT_TRUE(run.lines[static_cast<std::size_t>(i + 1)].starts_with(
            std::string("Criterion Objective at iteration ") + (i < 10 ? " " : "") + std::to_string(10 * i) +
            "  = "));
    EXPECT_TRUE(run.lines[12].starts_with("Final Criterion Objective            = "));
    EXPECT_TRUE(run.lines[13].starts_with("Computation time                     = "));
    EXPECT_EQ(run.outcome.reason, end_reason::iteration_limit);
    EXPECT_EQ(run.outcome.iterations, 100);
}

TEST(searchdriver, from_iteration_1000_the_number_has_no_width)
{
    const driven_run run(3, 2, [](run_settings& s, int) {
        s.iteration_budget = 1010;
        s.moves_per_iteration = 1;
    });
    EXPECT_EQ(run.count_lines("Criterion Objective at iteration"), 101);
    EXPECT_EQ(run.count_lines("Criterion Objective at iteration 990  = "), 1);
    EXPECT_EQ(run.count_lines("Criterion Objective at iteration 1000   = "), 1);
    EXPECT_EQ(run.count_lines("Criterion Objective at iteration 1010   = "), 1);
}

TEST(searchdriver, the_stop_flag_ends_every_method_at_its_poll)
{
    for (const int mode : {0, 1, 2})
        for (const int answered : {0, 1, 3}) {
            const editor edit = [&](run_settings& s, int) {
                s.search_mode = static_cast<std::uint8_t>(mode);
                s.iteration_budget = 100000000; // moves, in annealing
            };
            driven_run run(8, 3, edit, 1.0, [&](int poll) { return poll < answered ? 0 : -1; });
            ASSERT_TRUE(run.design);
            EXPECT_EQ(run.outcome.reason, end_reason::stop_requested);
            EXPECT_EQ(run.host.poll_count(), answered + 1);
            EXPECT_EQ(run.outcome.iterations, answered + 1);
            EXPECT_TRUE(is_latin_hypercube(*run.design, 8, 3));
            EXPECT_EQ(run.count_lines("Final Criterion Objective"), 1);
            EXPECT_EQ(run.count_lines("Computation time"), 1);
        }
}

TEST(searchdriver, the_outcome_is_right_at_every_poll)
{
    double last = 1e300;
    run_outcome outcome{};
    embedded_host host;
    run_extras extras{};
    extras.outcome = &outcome;
    int polls = 0;
    host.on_stop_poll = [&] {
        EXPECT_EQ(outcome.iterations, ++polls);
        EXPECT_LE(outcome.best_objective, last);
        EXPECT_LE(outcome.best_objective, outcome.initial_objective);
        last = outcome.best_objective;
        return 0;
    };
    EXPECT_TRUE(host.run(8, 3, 1.0, 5, &extras).has_value());
    EXPECT_EQ(polls, 100);
}

TEST(searchdriver, a_spent_budget_ends_with_the_warning)
{
    for (const int mode : {0, 1, 2}) {
        // The shortest limit that is accepted is a tenth of a millisecond.
        const driven_run run(60, 6, [&](run_settings& s, int) {
            s.search_mode = static_cast<std::uint8_t>(mode);
            s.time_limit = 0.0001;
            s.iteration_budget = 100000000;
        });
        ASSERT_TRUE(run.design);
        EXPECT_EQ(run.outcome.reason, end_reason::time_limit) << mode;
        EXPECT_EQ(run.lines.back(), "WARNING: Time-limit exceeded - design matrix may not be optimal");
        EXPECT_TRUE(run.lines[run.lines.size() - 2].starts_with("Computation time"));
    }
}

TEST(searchdriver, a_design_at_the_target_is_returned_at_once)
{
    for (const int mode : {0, 1, 2}) {
        driven_run run(8, 3, [&](run_settings& s, int) {
            s.search_mode = static_cast<std::uint8_t>(mode);
            s.criterion.criterion_threshold = 1e6;
            s.pre_improvement = 0;
        });
        ASSERT_TRUE(run.design);
        EXPECT_EQ(run.outcome.reason, end_reason::target_reached) << mode;
        EXPECT_EQ(run.outcome.iterations, 0);
        EXPECT_EQ(run.host.poll_count(), 0);
        EXPECT_EQ(run.outcome.best_objective, run.outcome.initial_objective);
        EXPECT_EQ(run.count_lines("Final Criterion Objective"), 1);
    }
}

TEST(searchdriver, reaching_the_target_ends_the_search)
{
    const driven_run full(8, 3);
    const double target = full.outcome.best_objective * 1.0001;
    for (const int mode : {0, 1, 2}) {
        const driven_run run(8, 3, [&](run_settings& s, int) {
            s.search_mode = static_cast<std::uint8_t>(mode);
            s.criterion.criterion_threshold = target;
            s.iteration_budget = 20000;
        });
        if (run.outcome.reason == end_reason::target_reached) {
            EXPECT_LE(run.outcome.best_objective, target) << mode;
        }
        EXPECT_EQ(run.outcome.reason == end_reason::target_reached, run.outcome.best_objective <= target) << mode;
    }
}

TEST(searchdriver, an_objective_that_is_not_a_number_is_no_target)
{
    // Unscaled levels of so many factors: products of the discrepancy overflow, and their difference is not a number.
    const auto run_with = [](int mode, double target) {
        choice_counter = 0;
        return driven_run(20, 300, [=](run_settings& s, int) {
            s.search_mode = static_cast<std::uint8_t>(mode);
            s.criterion.criterion_id = 2;
            s.criterion.criterion_threshold = target;
            s.scaling_mode = 0;
            s.iteration_budget = 3;
            s.restart_limit = 0;
            s.pre_improvement = 0;
        });
    };
    for (const double target : {-1e20, -1.0, 0.0, 1e20}) {
        const driven_run threshold = run_with(0, target);
        ASSERT_TRUE(std::isnan(threshold.outcome.best_objective));
        EXPECT_EQ(threshold.outcome.reason, end_reason::undefined_objective);
        EXPECT_EQ(threshold.outcome.iterations, 1);
        EXPECT_EQ(threshold.host.poll_count(), 1);
        EXPECT_EQ(choice_counter.load(), 100u); // moves

        const driven_run greedy = run_with(1, target);
        EXPECT_EQ(greedy.outcome.reason, end_reason::iteration_limit);
        EXPECT_EQ(greedy.outcome.iterations, 3);
        EXPECT_EQ(greedy.host.poll_count(), 3);

        const driven_run annealing = run_with(2, target);
        EXPECT_EQ(annealing.outcome.reason, end_reason::iteration_limit);
        EXPECT_EQ(annealing.outcome.iterations, 1);
        EXPECT_EQ(annealing.host.poll_count(), 1);
        EXPECT_EQ(annealing.outcome.effort, 3);
    }
}

TEST(searchdriver, without_active_factors_the_start_is_the_result)
{
    for (const int mode : {0, 2}) {
        driven_run run(8, 3, [&](run_settings& s, int k) {
            s.search_mode = static_cast<std::uint8_t>(mode);
            std::fill_n(s.factor_shares, k, 0.0);
        });
        ASSERT_TRUE(run.design);
        EXPECT_EQ(run.outcome.reason, end_reason::nothing_to_move) << mode;
        EXPECT_EQ(run.outcome.best_objective, run.outcome.initial_objective);
        EXPECT_EQ(run.host.poll_count(), 0);
    }
}

TEST(searchdriver, greedy_search_restarts_after_a_fruitless_sweep_even_with_a_budget_of_one)
{
    const auto iterations = [](int budget, int restarts) {
        return driven_run(5, 2,
                          [&](run_settings& s, int) {
                              s.search_mode = 1;
                              s.iteration_budget = budget;
                              s.restart_limit = restarts;
                          })
            .outcome.iterations;
    };
    EXPECT_GT(iterations(1, 5), 5); // at least a sweep for each restart
    EXPECT_EQ(iterations(1, 0), 1); // no restart allowed
    EXPECT_EQ(iterations(50, 0), 50);
    const int limited = iterations(2, 500);
    EXPECT_GE(limited, 2);
    EXPECT_LT(limited, 20); // with two rounds or more a fruitless sweep beyond the budget ends the search
}

TEST(searchdriver, annealing_spends_moves_and_stops_without_acceptance)
{
    const driven_run budget(8, 3, [](run_settings& s, int) {
        s.search_mode = 2;
        s.iteration_budget = 77;
    });
    EXPECT_EQ(budget.outcome.reason, end_reason::iteration_limit);
    EXPECT_EQ(budget.outcome.effort, 77);

    // With a threshold of zero an optimum is left by no move.
    const driven_run frozen(5, 2, [](run_settings& s, int) {
        s.search_mode = 2;
        s.threshold_setting = 0.0;
        s.iteration_budget = 100000000;
    });
    EXPECT_NE(frozen.outcome.reason, end_reason::iteration_limit);
}

TEST(searchdriver, pre_improvement_takes_the_grouping_of_the_position_among_the_active_factors)
{
    // Factors 1 and 2 are active: they are re-arranged with the three groups of factor 0 and the one of factor 1.
    random_stream random{4};
    search_run run(random_unit_design(12, 3, random), [](run_settings& s) {
        s.factor_counts[0] = 3;
        s.factor_shares[0] = 0.0;
        s.criterion.criterion_threshold = 1e19; // reached by whatever comes of it
    });
    const rng_state before = *run->rng;
    table out(12, 3);
    ASSERT_TRUE(run.completes([&] { run_search(run.ctx(), out.data()); }));
    EXPECT_EQ(run.outcome.reason, end_reason::target_reached);
    EXPECT_EQ(draws_since(run.ctx(), before), 20 * ((3 + 1 + 4) + (1 + 12)));
}

TEST(searchdriver, a_round_of_annealing_lasts_until_no_new_best_came_for_as_many_moves)
{
    // The same moves made by hand, with the rules of the method spelled out: how many rounds and moves it takes, and
    // what it finds, is the same.
    random_stream random{4};
    for (const int moves_a_round : {1, 2, 5, 20}) {
        const table start = random_unit_design(9, 3, random);
        const auto open = [&](run_settings& s) {
            s.search_mode = 2;
            s.pre_improvement = 0;
            s.iteration_budget = 400;
        };
        search_run run(start, open);
        run->search->inner_moves = moves_a_round;
        table out(9, 3);
        ASSERT_TRUE(run.completes([&] { run_search(run.ctx(), out.data()); }));

        search_run twin(start, open);
        run_context* ctx = twin.ctx();
        const search_state& s = *twin->search;
        double current = crit_value(ctx);
        double best = current;
        double temperature = run->search->threshold;
        int rounds = 0;
        int moves = 0;
        int late_bests = 0; // after a move of the same round that brought none
        for (bool accepted = true; accepted && moves < 400; temperature *= run->search->threshold_factor) {
            ++rounds;
            accepted = false;
            for (int stale = 0; stale < moves_a_round && moves < 400; ++moves) {
                const double u = rng_uniform(ctx);
                int position = 0;
                while (!(s.factor_cumulative_weight[position] > u))
                    ++position;
                const int factor = s.active_factors[position];
                crit_save_column(ctx, factor);
                save_rank_order_column(ctx, factor);
                const double value = column_move(ctx, factor, current);
                if (value - current > rng_uniform(ctx) * temperature) {
                    crit_restore_column(ctx, factor);
                    restore_rank_order_column(ctx, factor);
                } else {
                    current = value;
                    accepted = true;
                }
                if (current < best) {
                    best = current;
                    late_bests += stale > 0;
                    stale = 0;
                } else {
                    ++stale;
                }
            }
        }
        EXPECT_EQ(run->search->iteration, rounds) << moves_a_round;
        EXPECT_EQ(run->search->move_count, moves) << moves_a_round;
        EXPECT_EQ(run->search->best_value, best) << moves_a_round;
        if (moves_a_round == 20) {
            EXPECT_GT(late_bests, 0) << "nothing tells a new best from any other move";
        }
    }
}

TEST(searchdriver, a_single_move_of_annealing_falls_back_to_the_fastest_cooling)
{
    // Half of a budget of one is no cooling at all: the exponent is infinite, the factor 0, its default then 0.5.
    random_stream random{1};
    search_run run(random_unit_design(6, 2, random), [](run_settings& s) {
        s.search_mode = 2;
        s.iteration_budget = 1;
    });
    table out(6, 2);
    ASSERT_TRUE(run.completes([&] { run_search(run.ctx(), out.data()); }));
    EXPECT_EQ(run->search->threshold_factor, 0.5);
    EXPECT_EQ(search_effort(run.ctx()), 1);
}

TEST(searchdriver, method_parameters_default_to_fractions_of_the_objective)
{
    random_stream random{1};
    const table start = random_unit_design(8, 2, random);
    for (const int mode : {0, 1, 2}) {
        search_run run(start, [&](run_settings& s) {
            s.search_mode = static_cast<std::uint8_t>(mode);
            s.pre_improvement = 0;
            s.iteration_budget = 100;
        });
        const double scale = crit_value(run.ctx()) + 1e-10;
        table out(8, 2);
        ASSERT_TRUE(run.completes([&] { run_search(run.ctx(), out.data()); }));
        const search_state& s = *run->search;
        EXPECT_EQ(s.tolerance, scale * (mode == 1 ? 1e-8 : 5e-6));
        if (mode == 0) {
            EXPECT_EQ(s.record_tolerance, s.tolerance * 0.01);
            EXPECT_EQ(s.threshold, scale * 0.005);
            EXPECT_EQ(s.threshold_ceiling, s.threshold * 100.0);
        } else if (mode == 2) {
            EXPECT_EQ(s.threshold, scale * 1.5);
            EXPECT_EQ(s.threshold_floor, s.threshold / 500.0);
            EXPECT_EQ(s.threshold_factor, std::pow(1.0 / 500.0, 1.0 / 50));
        }
    }
}

TEST(searchdriver, the_best_design_is_the_one_returned)
{
    for (const int mode : {0, 1, 2}) {
        random_stream random{1};
        search_run run(random_unit_design(9, 3, random),
                       [&](run_settings& s) { s.search_mode = static_cast<std::uint8_t>(mode); });
        table out(9, 3);
        double best = 0.0;
        ASSERT_TRUE(run.completes([&] { best = run_search(run.ctx(), out.data()); }));
        EXPECT_NEAR(crit_value_of(run.ctx(), out.data()), best, 1e-9 * best) << mode;
        EXPECT_EQ(run.outcome.best_objective, best);
    }
}

TEST(searchdriver, effort_is_moves_or_the_wrapping_product)
{
    random_stream random{1};
    search_run run(random_unit_design(9, 3, random));
    search_state& s = *run->search;
    s.max_candidates = 50000;
    s.inner_moves = 100;
    s.iteration = 1000;
    EXPECT_EQ(search_effort(run.ctx()), static_cast<std::int32_t>(5000000000u - 4294967296u));
    s.search_mode = 2;
    s.move_count = 12;
    EXPECT_EQ(search_effort(run.ctx()), 12);
}

TEST(searchdriver, round_robin_goes_on_where_the_last_run_stopped)
{
    choice_counter = 0;
    const auto one_move = [](run_settings& s, int) {
        s.pre_improvement = 0;
        s.iteration_budget = 1;
        s.moves_per_iteration = 1;
    };
    driven_run first(8, 3, one_move);
    EXPECT_EQ(choice_counter.load(), 1u);
    driven_run second(8, 3, one_move);
    EXPECT_EQ(choice_counter.load(), 2u);
    driven_run third(8, 3, one_move);
    EXPECT_EQ(choice_counter.load(), 3u);
    driven_run fourth(8, 3, one_move); // factor 1 again, as the first run
    EXPECT_EQ(first.design, fourth.design);
    EXPECT_NE(first.design, second.design);

    driven_run weighted(8, 3, [&](run_settings& s, int) {
        one_move(s, 3);
        s.weighted_factor_choice = 1;
    });
    EXPECT_EQ(choice_counter.load(), 4u);
}

TEST(searchdriver, the_factor_counter_wraps_without_a_negative_position)
{
    for (const std::uint32_t start : {0x7FFFFFFEu, 0x7FFFFFFFu, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
        choice_counter = start;
        const driven_run run(7, 3);
        ASSERT_TRUE(run.design);
        EXPECT_TRUE(is_latin_hypercube(*run.design, 7, 3));
    }
    choice_counter = 0;
}

TEST(searchdriver, factors_without_share_are_not_moved)
{
    for (const bool weighted : {false, true}) {
        const auto shares = [&](run_settings& s, int) {
            s.weighted_factor_choice = weighted;
            s.factor_shares[1] = 0.0;
        };
        const driven_run still(9, 3,
                               [&](run_settings& s, int k) { shares(s, k), std::fill_n(s.factor_shares, k, 0.0); });
        const driven_run moved(9, 3, shares);
        ASSERT_TRUE(still.design && moved.design);
        EXPECT_NE(*still.design, *moved.design);
        for (std::size_t i = 0; i < 9; ++i)
            EXPECT_EQ((*still.design)[i * 3 + 1], (*moved.design)[i * 3 + 1]);
    }
}

TEST(searchdriver, symmetric_starts_stay_symmetric)
{
    random_stream random{12};
    for (const int n : {10, 11})
        for (const int mode : {0, 1, 2}) {
            const table start = random_symmetric_levels(n, 3, random);
            editor edit = [&](run_settings& s, int) {
                s.symmetric_design = 1;
                s.search_mode = static_cast<std::uint8_t>(mode);
            };
            const starting_design given{start[0], 0};
            std::vector<double> levels(static_cast<std::size_t>(n * 3));
            run_outcome outcome{};
            outcome.design = levels.data();
            const run_extras extras{call_editor, &edit, &given, &outcome};
            embedded_host host;
            ASSERT_TRUE(host.run(n, 3, 1.0, 5, &extras));
            EXPECT_LE(outcome.best_objective, outcome.initial_objective);
            for (int i = 0; i < n; ++i) {
                bool mirrored = false;
                for (int m = 0; m < n; ++m) {
                    bool same = true;
                    for (int j = 0; j < 3; ++j)
                        same = same && std::fabs(levels[static_cast<std::size_t>(i * 3 + j)] +
                                                 levels[static_cast<std::size_t>(m * 3 + j)] - (n + 1)) < 1e-9;
                    mirrored = mirrored || same;
                }
                EXPECT_TRUE(mirrored) << n << ' ' << mode << ' ' << i;
            }
        }
}

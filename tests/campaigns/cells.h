/// The runs that the campaigns go through: every criterion with every method, on a small design.
#pragma once

#include "tests/support/designs.h"

#include "optdoe/entry/optdoe.h"

#include <cstdint>
#include <string>
#include <vector>

struct cell {
    const char* criterion_name;
    const char* method_name;
    std::int8_t criterion;
    std::uint8_t method;
    bool maximin = false;
    std::string name() const { return std::string(criterion_name) + "_" + method_name; }
};

inline void PrintTo(const cell& c, std::ostream* out) { *out << c.name(); }

inline std::vector<cell> all_cells()
{
    const struct {
        const char* name;
        std::int8_t id;
        bool maximin;
    } criteria[] = {
        {"entropy", 0, false}, {"phip", 1, false}, {"maximin", 1, true}, {"cd2", 2, false}, {"a2", 3, false}};
    const char* const methods[] = {"threshold", "greedy", "annealing"};
    std::vector<cell> cells;
    for (const auto& [name, id, maximin] : criteria)
        for (std::uint8_t method = 0; method < 3; ++method)
            cells.push_back({name, methods[method], id, method, maximin});
    return cells;
}

/// A starting design of `fixed` rows to keep and n to place, the settings of the cell, and room for the outcome. The
/// factor of a move is drawn, so that runs repeat whatever other threads do to the process-wide rotation of factors.
class cell_run {
public:
    cell_run(const cell& which, int n, int k, int fixed, int rounds)
        : which_(which), rounds_(rounds), n_(n), k_(k),
          start_(starting(which, n + fixed, k)), given_{start_[0], fixed},
          design(static_cast<std::size_t>((n + fixed) * k))
    {
        outcome.design = design.data();
        extras.edit_settings = edit;
        extras.user = this;
        extras.start = &given_;
        extras.outcome = &outcome;
    }
    cell_run(const cell_run&) = delete;
    cell_run& operator=(const cell_run&) = delete;

    int n() const { return n_; }
    int k() const { return k_; }
    /// The same settings on another design of the same shape, which the caller keeps.
    void start_from(const double* levels) { given_.levels = levels; }
    bool pre_improvement = true;

private:
    static table starting(const cell& which, int rows, int k)
    {
        random_stream random{11};
        return random_levels(rows, k, random, which.criterion == 3 ? rows / 2 : 1);
    }
    static void edit(run_settings* s, std::int32_t, void* user)
    {
        static const double zero = 0.0;
        const cell_run& run = *static_cast<const cell_run*>(user);
        s->criterion.criterion_id = run.which_.criterion;
        if (run.which_.maximin) {
            s->criterion.params.param_count_1 = 1;
            s->criterion.params.param_list_1 = &zero;
        }
        s->search_mode = run.which_.method;
        s->weighted_factor_choice = 1;
        s->pre_improvement = run.pre_improvement;
        // Annealing counts moves, and a round ends only when n (n - 1) k 5 in a row brought no new best.
        s->iteration_budget = run.which_.method == 2 ? run.rounds_ * run.rounds_ * run.rounds_ * 3 : run.rounds_;
        s->moves_per_iteration = 3;
        s->restart_limit = 2;
        for (int j = 0; j < run.k_; ++j)
            s->factor_counts[j] = j % 2 == 0 ? 2 : 1;
    }

    cell which_;
    int rounds_, n_, k_;
    table start_;
    starting_design given_;

public:
    std::vector<double> design; ///< levels that the run found, before truncation
    run_outcome outcome{};
    run_extras extras{};
};

/// Slot 8: everything the search works from, filled by setup_search and used up by run_search.
#pragma once

#include "optdoe/numeric/repeated_keys.h"
#include "optdoe/run/outcome.h"
#include "optdoe/run/run_context.h"

#include <cstdint>

inline constexpr std::int32_t rearrangement_lists = 10; ///< five of the candidate, five of the best one

/// Scratch of the sampling: grown, freed and read by candidate_sampling.cpp alone.
struct sampling_scratch {
    std::int32_t capacity;
    std::int32_t* draws;    ///< [capacity]
    std::uint8_t* repeated; ///< [capacity]
    repeated_keys_scratch repeated_keys;
};

struct search_state {
    // Sizes as setup_search was told them: part of what this record promises its readers. The search itself reads
    // those of search_rows.
    std::int32_t factors;
    std::int32_t total_rows;
    std::int32_t rows; ///< free rows
    std::int32_t first_row;

    // Settings
    double time_budget_ms;
    std::uint8_t search_mode;
    std::uint8_t auxiliary_mode; ///< promised like the sizes; steers nothing
    std::uint8_t symmetric_design;
    std::uint8_t weighted_factor_choice;
    std::uint8_t reduced_neighbourhoods;
    std::uint8_t pre_improvement;
    std::int32_t max_restarts;
    double tolerance_setting;
    double threshold_setting;
    double threshold_factor_setting;

    // Factor choice
    std::int32_t active_count;
    std::int32_t* active_factors;     ///< [factors], active_count in use
    double* factor_cumulative_weight; ///< [factors], active_count in use, ascending, the last above 1

    // Neighbourhoods
    std::int32_t* group_pair_candidates;   ///< [factors] candidates of a group exchange
    std::int32_t* element_pair_candidates; ///< [factors] candidates of an element exchange
    std::int32_t max_candidates;           ///< the largest of all, at least 0

    // The candidates of the present move, written by the sampling, and the row lists, written by the column moves
    std::int32_t* candidate_first;     ///< [max_candidates], null for 0
    std::int32_t* candidate_second;    ///< [max_candidates], null for 0
    std::int32_t* rows_a;              ///< [max(rows, max_candidates, most_undecided_keys)] rows to exchange
    std::int32_t* rows_b;              ///< likewise, with these
    std::int32_t** rearrangement_rows; ///< [rearrangement_lists x rows] lists of re-arrangements
    sampling_scratch sampling;

    // Budgets and progress
    std::int32_t inner_moves;    ///< column moves a round
    std::int32_t max_iterations; ///< rounds (methods 0, 1) or moves (method 2)
    std::int32_t move_count;
    std::int32_t iteration;
    std::int32_t moves_since_refresh; ///< since the last evaluation from scratch
    double target_value;
    double best_value;
    double current_value;

    // Method parameters
    double tolerance;        ///< least gain of a round that counts
    double record_tolerance; ///< least gain of a new best (method 0)
    double threshold;        ///< starting threshold or temperature
    double threshold_factor;
    double threshold_ceiling; ///< method 0: distance from the best above which the threshold falls
    double threshold_floor;   ///< method 0: threshold / 100; method 2: threshold / 500; promised, steers nothing

    run_outcome* outcome; ///< brought up to date while the search runs; never null
};

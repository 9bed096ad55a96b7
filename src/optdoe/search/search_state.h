/// Slot 8: everything the search works from, filled by setup_search and used up by run_search.
#pragma once

#include "optdoe/numeric/repeated_keys.h"
#include "optdoe/run/outcome.h"
#include "optdoe/run/run_context.h"

#include <cstdint>

/// Draws of which some are repeated and it is not decided yet which copies count.
struct open_sample {
    std::int32_t draw_count;
    std::int32_t bound;
    std::int32_t wanted;
    std::int32_t items;                   ///< the draws are numbers of pairs of so many items
    std::int32_t first[most_open_draws];  ///< candidates that may be in the sample
    std::int32_t second[most_open_draws]; ///<
    std::uint8_t sure[most_open_draws];   ///< 1: it is
};

inline constexpr std::int32_t rearrangement_lists = 10; ///< five of one that is tried, five of the best

struct search_state {
    // Sizes and settings
    std::int32_t factors;
    std::int32_t total_rows;
    std::int32_t rows; ///< free rows
    std::int32_t first_row;
    double time_budget_ms;
    std::uint8_t search_mode;
    std::uint8_t auxiliary_mode; ///< steers nothing
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
    std::int32_t* candidate_first;         ///< [max_candidates], null for 0
    std::int32_t* candidate_second;        ///< [max_candidates], null for 0
    std::int32_t pairs_per_candidate;      ///< row pairs that one candidate exchanges: R, 1, or up to 2
    std::int32_t* rows_a;                  ///< [max(rows, max_candidates, most_open_draws)] row lists of exchanges
    std::int32_t* rows_b;                  ///< likewise

    std::int32_t** rearrangement_rows; ///< [rearrangement_lists x rows] lists of re-arrangements

    // Scratch of the sampling, kept from move to move
    std::int32_t draw_capacity;
    std::int32_t* draws;    ///< [draw_capacity]
    std::uint8_t* repeated; ///< [draw_capacity]
    repeated_keys_scratch repeated_keys;
    open_sample open; ///< of the present move

    // Budgets and progress
    std::int32_t inner_moves;    ///< column moves a round
    std::int32_t max_iterations; ///< rounds (methods 0, 1) or moves (method 2)
    std::int32_t move_count;
    std::int32_t iteration;
    std::int32_t moves_since_refresh;
    double target_value;
    double best_value;
    double current_value;

    // Method parameters
    double tolerance;        ///< least gain of a round that counts
    double record_tolerance; ///< least gain of a new best (method 0)
    double threshold;        ///< starting threshold or temperature
    double threshold_factor;
    double threshold_ceiling; ///< method 0: distance from the best above which the threshold falls
    double threshold_floor;   ///< method 0: threshold / 100; method 2: threshold / 500; steers nothing

    run_outcome* outcome; ///< kept up to date while the search runs; never null
};

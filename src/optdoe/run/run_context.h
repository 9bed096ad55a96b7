/// The record of one call: twelve typed slots, one per module, in the order in which they are opened.
///
/// It is passed first to every internal operation. A module touches its own slot and calls the others. All records
/// are plain data: an error exit jumps across every frame below the entry, so nothing here may have a destructor.
#pragma once

#include <cstdint>

struct run_globals;
struct a2_state;
struct criterion_state;
struct cd2_state;
struct entropy_state;
struct phip_state;
struct rng_state;
struct search_state;
struct factor_levels;
struct level_groups;
struct search_rows;

struct run_context {
    run_globals* globals;         ///< slot 0: host, clock, tracked blocks, error exit, design, settings
    a2_state* a2;                 ///< slot 1
    criterion_state* criterion;   ///< slot 2: which criterion is in force
    cd2_state* cd2;               ///< slot 3
    std::int32_t* storage_status; ///< slot 4: last refusal of the vector and matrix storage; a tracked block
    entropy_state* entropy;       ///< slot 5
    phip_state* phip;             ///< slot 6
    rng_state* rng;               ///< slot 7
    search_state* search;         ///< slot 8
    factor_levels* levels;        ///< slot 9
    level_groups* groups;         ///< slot 10
    search_rows* rows;            ///< slot 11
};

static_assert(sizeof(run_context) == 12 * sizeof(void*), "twelve slots");

/// Candidate pairs of a column move: the complete list, or a random sample without repeats.
///
/// Candidates are written to the work vectors of search_state, which hold max_candidates each.
/// Draws  each function says which it makes; repeats are dropped by an index sort, whose order decides which of
///        several equal draws survives.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstdint>

/// Pairs of groups a < b of a factor.
///   count    at most this many
///   draws    none for the complete list or a count below 1, else max(2w, 50) with w = min(number of pairs, count)
///   returns the number of candidates, below w when many draws repeat
std::int32_t sample_group_pairs(run_context* ctx, std::int32_t factor, std::int32_t count);

/// Pairs of ranks r1 < r2 of one group with different levels; in a symmetric design r1 lies in the lower half and r2
/// is not the middle rank.
///   draws    none for the complete list; else trunc(2n / L x w) times one draw (one group) or two (the group, then
///            the pair); for a balanced factor max(2w, 50) times one draw
///   returns the number of candidates
std::int32_t sample_element_pairs(run_context* ctx, std::int32_t factor, std::int32_t count);

/// The same sample, drawn but not decided: where copies of one draw compete, which of them counts may decide whether
/// the pair belongs to the sample, and costs a good part of a move to find out. For many moves it does not matter.
/// The candidates that may belong to the sample are in search_state's open sample, which also says of each whether it
/// is sure.
///   draws    as sample_element_pairs, or none when the result is 0
///   returns the number of possible candidates; 0: not for this factor, call sample_element_pairs
std::int32_t sample_possible_pairs(run_context* ctx, std::int32_t factor, std::int32_t count);

/// Decides the open sample: candidates and result are those of sample_element_pairs.
std::int32_t decide_sample(run_context* ctx);

/// Frees the scratch of the draws, which grows with their largest number; it may be unused.
void release_draws(run_context* ctx);

/// A random reordering of m integers by sorting m random keys; position i receives the value at the i-th smallest.
///   draws    m, in order of position
/// m < 1 or a null vector: nothing, no draw.
void shuffle(run_context* ctx, std::int32_t* values, std::int32_t m);

/// Candidate pairs of a column move: the complete list, or a random sample without repeats.
///
/// Candidate  a pair of groups or of ranks, written to the work vectors of search_state, max_candidates at most.
/// Draws      each function says which it makes. Of several equal draws the first in the order of indexx_int counts.
#pragma once

#include "optdoe/numeric/repeated_keys.h"
#include "optdoe/run/run_context.h"

#include <cstdint>

/// A drawn sample of which it is not decided yet which of several equal draws count, and so where it ends.
struct undecided_sample {
    std::int32_t items;  ///< a draw is the number of a pair of so many ranks
    std::int32_t wanted; ///< candidates in the sample, where there are as many distinct draws
    std::int32_t draw_count;
    std::int32_t draws[most_undecided_keys];

    std::int32_t possible_count;               ///< candidates that may be in the sample
    std::int32_t first[most_undecided_keys];   ///< [possible_count] their ranks
    std::int32_t second[most_undecided_keys];  ///< [possible_count]
    std::uint8_t certain[most_undecided_keys]; ///< [possible_count] 1: it is in the sample, whatever is decided
};

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

/// Draws the sample of sample_element_pairs and leaves it undecided. Which of several equal draws counts decides
/// whether a pair is in the sample; finding out costs a good part of a move, and for many moves it does not matter.
///   sample   out   written only when the result is true
///   draws    as sample_element_pairs, or none when the result is false
///   returns false for a factor whose draws may be no candidates: call sample_element_pairs instead
bool sample_undecided_pairs(run_context* ctx, std::int32_t factor, std::int32_t count, undecided_sample& sample);

/// Decides a sample: candidates and result are those of sample_element_pairs. No draws.
std::int32_t decide_sample(run_context* ctx, const undecided_sample& sample);

/// Frees the scratch, which grows with the largest number of draws; it may be unused.
void sampling_release(run_context* ctx);

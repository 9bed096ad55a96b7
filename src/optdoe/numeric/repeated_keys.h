/// Repeats among integer keys: which copies of equal keys an index sort would put behind another copy.
///
/// indexx_int decides the order of equal keys by the path of its swaps. To know which copy comes first it is enough
/// to follow that path where copies still lie in one partition: its partitions only, no insertion, no part without
/// repeats. Equal keys within a short partition keep their order, since insertion is stable.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstdint>

/// Scratch, kept by the caller from call to call; all zero before the first.
struct repeated_keys_scratch {
    std::int32_t capacity; ///< keys, whole blocks
    std::int32_t* words;   ///< [capacity] what lies at each place: key and whether it has copies, see the source
    std::int32_t* indices; ///< [capacity] index of the key at each place
    std::int32_t bound;    ///< keys that the set has room for
    std::uint64_t* set;    ///< two bits a key: it is there, it has copies; all zero between calls
    std::uint16_t* last;   ///< [undecided_key_bound] stamp of the key's last copy
    std::uint16_t stamp;   ///< no key of the next call has a higher one yet
};

/// Marks all copies of each key but the first in the order of indexx_int.
///   count      at least 1
///   bound      at least 1
///   keys       in    [count] in 0 .. bound-1
///   repeated   out   [count] 1 for a copy behind another one, else 0
void mark_repeated_keys(run_context* ctx, repeated_keys_scratch& scratch, std::int32_t count, std::int32_t bound,
                        const std::int32_t* keys, std::uint8_t* repeated);

inline constexpr std::int32_t most_undecided_keys = 252;  ///< keys that list_possible_keys takes
inline constexpr std::int32_t undecided_key_bound = 8192; ///< and their bound, so that it stays in the nearest cache

/// What can be said about the first `wanted` of the copies that mark_repeated_keys leaves, in the given order,
/// without knowing which ones it leaves.
///   count      at most most_undecided_keys
///   keys       in    [count] in 0 .. undecided_key_bound-1
///   wanted     at least 1
///   possible   out   [count] the keys that may be among them, each once, in the order of their first copies
///   certain    out   [count] 1: the key is among them whichever of its copies is left
///   returns the number of possible keys
std::int32_t list_possible_keys(run_context* ctx, repeated_keys_scratch& scratch, std::int32_t count,
                                const std::int32_t* keys, std::int32_t wanted, std::int32_t* possible,
                                std::uint8_t* certain);

/// Frees the scratch; it may be unused.
void repeated_keys_release(run_context* ctx, repeated_keys_scratch& scratch);

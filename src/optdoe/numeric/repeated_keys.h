/// Repeats among integer keys: which copies of a key indexx_int puts behind another copy of it.
///
/// The exchanges of the sort decide the order of equal keys. To know which copy comes first it is enough to make its
/// partitions, and of these only the ones in which two copies of one key lie. The insertion that ends the sort is
/// stable and need not be made.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstdint>

/// Scratch of both functions. The caller owns it and passes the same one to every call; all zero before the first.
struct repeated_keys_scratch {
    std::int32_t capacity; ///< keys, whole blocks
    std::int32_t* words;   ///< [capacity] the key at each place and whether it has copies, as the source says
    std::int32_t* indices; ///< [capacity] index of the key at each place
    std::int32_t bound;    ///< keys that the set has room for
    std::uint64_t* set;    ///< two bits a key: it is among the keys, it has copies; all zero between calls
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

/// mark_repeated_keys leaves one copy of each key unmarked; of these copies, in the given order, the first `wanted`
/// count. Lists the keys that may count and says which of them certainly do, without following the sort.
///   count      at most most_undecided_keys
///   keys       in    [count] in 0 .. undecided_key_bound-1
///   wanted     at least 1
///   possible   out   [count] the keys that may count, each once, in the order of their first copies
///   certain    out   [count] 1: the key counts whichever of its copies is left unmarked
///   returns the number of possible keys
std::int32_t list_possible_keys(run_context* ctx, repeated_keys_scratch& scratch, std::int32_t count,
                                const std::int32_t* keys, std::int32_t wanted, std::int32_t* possible,
                                std::uint8_t* certain);

/// Frees the scratch; it may be unused.
void repeated_keys_release(run_context* ctx, repeated_keys_scratch& scratch);

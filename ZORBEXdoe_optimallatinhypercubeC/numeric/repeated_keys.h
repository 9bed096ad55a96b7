/// Repeats among integer keys: which copies of equal keys an index sort would put behind another copy.
///
/// indexx_int decides the order of equal keys by the path of its swaps. To know which copy comes first it is enough to
/// follow that path where copies still lie in one partition: its partitions only, no insertion, no part without
/// repeats. Equal keys within a short partition keep their order, since insertion is stable.
#pragma once

#include "entry/run_context.h"

#include <cstdint>

/// Scratch, kept by the caller from call to call; all zero before the first.
struct repeated_keys_scratch {
    std::int32_t capacity;    ///< keys
    std::int64_t* places;     ///< [capacity] key and index of each place
    std::int32_t* from_left;  ///< [capacity]
    std::int32_t* from_right; ///< [capacity]
    std::int32_t* table;      ///< [table_size] first copies of keys, hashed; entries below `base` are of earlier calls
    std::int32_t table_size;  ///< a power of two, at least four times the capacity
    std::int32_t base;        ///< number of the present call's first key
};

/// Marks all copies of each key but the first in the order of indexx_int.
///   count      at least 1
///   keys       in    [count] not negative
///   repeated   out   [count] 1 for a copy behind another one, else 0
void mark_repeated_keys(run_context* ctx, repeated_keys_scratch& scratch, std::int32_t count,
                        const std::int32_t* keys, std::uint8_t* repeated);

/// Frees the scratch; may be unused.
void repeated_keys_release(run_context* ctx, repeated_keys_scratch& scratch);

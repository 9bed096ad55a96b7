/// Slot 9: the distinct levels of each factor. The search fills and keeps it; criteria and settings read it.
#pragma once

#include <cstdint>

/// Per factor j of k, of n free rows; null until describe_levels.
struct factor_levels {
    std::uint8_t* balanced;     ///< [k] 1 when every distinct value occurs equally often and more than once
    std::int32_t* level_count;  ///< [k] distinct values
    std::int32_t** rank_order;  ///< [n x k] row that holds the r-th smallest value
    std::int32_t** level_index; ///< [n x k] 0-based level of the r-th smallest value
    std::int32_t** level_size;  ///< [n x k] rows at level g
};

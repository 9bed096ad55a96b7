/// A re-arrangement of one column that a criterion has tried, kept for the commit that mostly comes next.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstdint>

/// Row rows_dst[i] gets the entry taken[i], that of row rows_src[i].
struct rearrangement_list {
    std::int32_t column;
    std::int32_t count;
    std::int32_t capacity;
    std::int32_t* rows_dst; ///< [capacity]
    std::int32_t* rows_src; ///< [capacity]
    double* taken;          ///< [capacity]
};

void rearrangement_free(run_context* ctx, rearrangement_list& list);

/// Lists a re-arrangement.
///   entries   in   [rows] of the column
void list_rearrangement(run_context* ctx, rearrangement_list& list, std::int32_t column, const double* entries,
                        std::int32_t count, const std::int32_t* rows_dst, const std::int32_t* rows_src);

/// True when it is the one that is listed.
bool is_listed(const rearrangement_list& list, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
               const std::int32_t* rows_src);

#include "optdoe/criteria/rearrangement_list.h"

#include "optdoe/vectors/vectors.h"

#include <algorithm>

void rearrangement_free(run_context* ctx, rearrangement_list& list)
{
    vectors_free(ctx, {list.rows_dst, list.rows_src, list.taken});
    list = {};
}

void list_rearrangement(run_context* ctx, rearrangement_list& list, std::int32_t column, const double* entries,
                        std::int32_t count, const std::int32_t* rows_dst, const std::int32_t* rows_src)
{
    if (count > list.capacity) {
        rearrangement_free(ctx, list);
        list.rows_dst = int_vector_alloc(ctx, count);
        list.rows_src = int_vector_alloc(ctx, count);
        list.taken = double_vector_alloc(ctx, count);
        list.capacity = count;
    }
    list.column = column;
    list.count = count;
    std::copy_n(rows_dst, count, list.rows_dst);
    std::copy_n(rows_src, count, list.rows_src);
    for (std::int32_t i = 0; i < count; ++i)
        list.taken[i] = entries[rows_src[i]];
}

bool is_listed(const rearrangement_list& list, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
               const std::int32_t* rows_src)
{
    return list.column == column && list.count == count && std::equal(rows_dst, rows_dst + count, list.rows_dst) &&
           std::equal(rows_src, rows_src + count, list.rows_src);
}

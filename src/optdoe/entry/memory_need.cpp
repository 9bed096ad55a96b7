#include "optdoe/entry/memory_need.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/run/tracked_storage.h"

#include <algorithm>

#include <unistd.h>

namespace {

/// Bytes of a criterion for each pair of rows, for each pair of a free row with any, and for each entry: tables, what
/// is kept to undo moves, and copies of the entries by columns.
struct table_bytes {
    double all_pairs;
    double free_pairs;
    double entries;
};

} // namespace

static table_bytes table_bytes_of(const criterion_options* criterion, double rows)
{
    if (criterion == nullptr)
        return {4.0, 0.0, 0.0};
    switch (criterion->criterion_id) {
    case 0: return {8.0, 12.0, 0.0};
    // A given exponent may be 0 (maximin), which keeps no copies in integers, but all distances.
    case 1: {
        const bool given = criterion->params.param_count_1 > 0;
        if (rows <= rows_with_tables)
            return given ? table_bytes{8.0, 0.0, 8.0} : table_bytes{10.0, 0.0, 10.0};
        return {2.0, 0.0, 8.0};
    }
    case 3: return {4.0, 0.0, 0.0};
    default: return {8.0, 0.0, 0.0};
    }
}

/// A matrix has its pointers, and a block with an entry of the list of storage for each row.
static double matrix_bytes(double rows, double factors, double element_size)
{
    constexpr double smallest_block = 16.0;
    return rows * (std::max(factors * element_size, smallest_block) + 2.0 * sizeof(void*));
}

double least_bytes_of_run(std::int32_t free_rows, std::int32_t fixed_rows, std::int32_t factors,
                          const criterion_options* criterion)
{
    const double free = free_rows;
    const double rows = free + fixed_rows;
    const double design = matrix_bytes(rows, factors, sizeof(double));
    if (factors < 2)
        return design;
    const double level_structure = 4.0 * matrix_bytes(free, factors, sizeof(std::int32_t));
    const table_bytes tables = table_bytes_of(criterion, rows);
    return 2.0 * design + level_structure + tables.all_pairs * rows * rows + tables.free_pairs * free * rows +
           tables.entries * rows * factors;
}

void refuse_beyond_memory(run_context* ctx, double bytes)
{
    const double pages = static_cast<double>(sysconf(_SC_PHYS_PAGES));
    const double page_bytes = static_cast<double>(sysconf(_SC_PAGESIZE));
    if (pages > 0.0 && page_bytes > 0.0 && bytes > pages * page_bytes)
        raise_out_of_memory(ctx);
}

#include "optdoe/entry/memory_need.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/vectors/vectors.h"

#include <unistd.h>

memory_need memory_of_run(double free_rows, double fixed_rows, double factors, const criterion_options* criterion)
{
    const double design = least_matrix_bytes(free_rows + fixed_rows, factors, sizeof(double));
    if (factors < 2)
        return {design, design};
    const double level_structure = 4.0 * least_matrix_bytes(free_rows, factors, sizeof(std::int32_t));
    const memory_need need = crit_memory(free_rows, fixed_rows, factors, criterion);
    return {design + level_structure + need.least, design + level_structure + need.peak};
}

void refuse_beyond_memory(run_context* ctx, double bytes)
{
    const double pages = static_cast<double>(sysconf(_SC_PHYS_PAGES));
    const double page_bytes = static_cast<double>(sysconf(_SC_PAGESIZE));
    if (pages > 0.0 && page_bytes > 0.0 && bytes > pages * page_bytes)
        raise_out_of_memory(ctx);
}

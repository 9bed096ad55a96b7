#include "optdoe/vectors/line_store.h"

#include "optdoe/run/tracked_storage.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/aligned_tables.h"
#include "optdoe/vectors/line_sizes.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>

/// Doubles from one line to the next.
static std::int32_t spread_pitch(std::int32_t length)
{
    return length < least_spread_line ? length : (length / row_multiple | 1) * row_multiple;
}

static double** pointers_alloc(run_context* ctx, std::int32_t count)
{
    auto** pointers = static_cast<double**>(tracked_alloc(ctx, (bits_u32(count) + std::size_t{1}) * sizeof(double*)));
    std::fill_n(pointers, count, nullptr);
    return pointers;
}

void line_store_alloc(run_context* ctx, line_store& store, std::int32_t rows, std::int32_t length)
{
    store = {};
    store.rows = rows;
    store.stride = spread_pitch(length);
    store.of_row = pointers_alloc(ctx, rows);
    store.spare = pointers_alloc(ctx, rows);
}

void line_store_free(run_context* ctx, line_store& store)
{
    for (double** pointers : {store.of_row, store.spare})
        if (pointers != nullptr)
            tracked_free(ctx, pointers);
    for (std::int32_t i = 0; i < store.slab_count; ++i)
        aligned_free_doubles(ctx, store.slabs[i]);
    store = {};
}

static void list_slab(line_store& store, std::int32_t slab)
{
    for (std::int32_t i = store.slab_lines[slab]; i-- > 0;)
        store.spare[store.spare_count++] = store.slabs[slab] + static_cast<std::ptrdiff_t>(i) * store.stride;
}

void reserve_lines(run_context* ctx, line_store& store, std::int32_t count)
{
    const std::int32_t in_use = store.line_count - store.spare_count;
    const std::int32_t more = std::min(count, store.rows - in_use) - store.spare_count;
    if (more <= 0)
        return;
    const std::int32_t lines =
        std::min(std::max({more, store.line_count, least_slab}), store.rows - store.line_count);
    const std::int32_t slab = store.slab_count;
    const std::size_t extent = std::size_t{bits_u32(lines)} * bits_u32(store.stride);
    store.slabs[slab] = aligned_alloc_doubles(ctx, extent);
    store.slab_lines[slab] = lines;
    store.slab_count += 1;
    store.line_count += lines;
    list_slab(store, slab);
}

double* take_line(line_store& store, std::int32_t r)
{
    if (store.of_row[r] == nullptr) {
        store.spare_count -= 1;
        store.of_row[r] = store.spare[store.spare_count];
    }
    return store.of_row[r];
}

void release_line(line_store& store, std::int32_t r)
{
    if (store.of_row[r] == nullptr)
        return;
    store.spare[store.spare_count++] = store.of_row[r];
    store.of_row[r] = nullptr;
}

void trim_lines(run_context* ctx, line_store& store)
{
    if (store.line_count <= usual_lines)
        return;
    store.line_count = store.spare_count = 0;
    std::int32_t kept = 0;
    for (std::int32_t i = 0; i < store.slab_count; ++i) {
        if (store.line_count + store.slab_lines[i] > usual_lines) {
            aligned_free_doubles(ctx, store.slabs[i]);
            continue;
        }
        store.slabs[kept] = store.slabs[i];
        store.slab_lines[kept] = store.slab_lines[i];
        store.line_count += store.slab_lines[kept];
        list_slab(store, kept);
        kept += 1;
    }
    store.slab_count = kept;
}

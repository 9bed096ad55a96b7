#include "optdoe/search/level_structure.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/numeric/index_sort.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"

#include <utility>

void level_structure_open(run_context* ctx)
{
    open_plain_record(ctx->levels);
    open_plain_record(ctx->groups);
    open_plain_record(ctx->rows);
}

void level_structure_close(run_context* ctx)
{
    close_plain_record(ctx->rows);
    close_plain_record(ctx->groups);
    close_plain_record(ctx->levels);
}

/// Fills rank order, level indices, sizes, count and balance of factor j.
///   values   in   [n] the column
///   order    in   [n] its ascending order
static void describe_column(run_context* ctx, std::int32_t j, const double* values, const std::int32_t* order)
{
    factor_levels& levels = *ctx->levels;
    const std::int32_t n = ctx->rows->n;
    std::int32_t level = 0;
    std::int32_t start = 0;
    std::int32_t first_size = 0;
    bool balanced = true;

    const auto end_level = [&](std::int32_t end) {
        const std::int32_t size = end - start;
        if (level == 0)
            first_size = size;
        if (first_size == 1 || size != first_size)
            balanced = false;
        levels.level_size[level][j] = size;
    };
    for (std::int32_t r = 0; r < n; ++r) {
        levels.rank_order[r][j] = ctx->rows->first_row + order[r];
        if (r > 0 && !(values[order[r]] - values[order[r - 1]] < 1e-15)) {
            end_level(r);
            ++level;
            start = r;
        }
        levels.level_index[r][j] = level;
    }
    end_level(n);
    levels.level_count[j] = level + 1;
    levels.balanced[j] = balanced;
}

void describe_levels(run_context* ctx, const double* const* design, std::int32_t n, std::int32_t first_row,
                     std::int32_t k)
{
    search_rows& rows = *ctx->rows;
    rows.n = n;
    rows.k = k;
    rows.first_row = first_row;
    rows.total_rows = wrap_add(n, first_row);
    rows.saved_factor = -1;
    rows.swaps = int_vector_alloc(ctx, wrap_mul(2, n));
    rows.saved_column_order = int_vector_alloc(ctx, n);
    rows.saved_order = int_matrix_alloc(ctx, n, k);

    factor_levels& levels = *ctx->levels;
    levels.balanced = byte_vector_alloc(ctx, k);
    levels.level_count = int_vector_alloc(ctx, k);
    levels.rank_order = int_matrix_alloc(ctx, n, k);
    levels.level_index = int_matrix_alloc(ctx, n, k);
    levels.level_size = int_matrix_alloc(ctx, n, k);

    double* values = double_vector_alloc(ctx, n);
    std::int32_t* order = int_vector_alloc(ctx, n);
    for (std::int32_t j = 0; j < k; ++j) {
        for (std::int32_t i = 0; i < n; ++i)
            values[i] = design[first_row + i][j];
        indexx_double(ctx, bits_u32(n), values, order);
        describe_column(ctx, j, values, order);
    }
    vector_free(ctx, order);
    vector_free(ctx, values);
}

/// True when no level lies on both sides of a group boundary.
static bool groups_respect_levels(const run_context* ctx, std::int32_t j, std::int32_t rows_per_group)
{
    std::int32_t** level_index = ctx->levels->level_index;
    for (std::int32_t p = rows_per_group; p < ctx->rows->n; p += rows_per_group)
        if (level_index[p][j] == level_index[p - 1][j])
            return false;
    return true;
}

void group_levels(run_context* ctx, const std::int32_t* levels_per_factor)
{
    const std::int32_t n = ctx->rows->n;
    const std::int32_t k = ctx->rows->k;
    level_groups& groups = *ctx->groups;
    groups.group_count = int_vector_alloc(ctx, k);
    groups.rows_per_group = int_vector_alloc(ctx, k);
    groups.matched = byte_vector_alloc(ctx, k);
    for (std::int32_t j = 0; j < k; ++j) {
        const std::int32_t wanted = levels_per_factor[j];
        const bool divides = n % wanted == 0 && wanted != n;
        const bool grouped = divides && groups_respect_levels(ctx, j, n / wanted);
        groups.group_count[j] = grouped ? wanted : 1;
        groups.rows_per_group[j] = grouped ? n / wanted : n;
        groups.matched[j] = ctx->levels->balanced[j] != 0 && ctx->levels->level_count[j] == groups.group_count[j];
    }
}

/// The mirrored pairs of a column, sorted by their smaller row.
///   smaller, larger   out   [n / 2]
///   order             out   [n / 2] lists the pairs by ascending smaller row
static void mirrored_pairs(run_context* ctx, std::int32_t j, std::int32_t* smaller, std::int32_t* larger,
                           std::int32_t* order)
{
    const std::int32_t n = ctx->rows->n;
    const std::int32_t half = n / 2;
    for (std::int32_t i = 0; i < half; ++i) {
        smaller[i] = ctx->levels->rank_order[i][j];
        larger[i] = ctx->levels->rank_order[n - 1 - i][j];
        if (smaller[i] > larger[i])
            std::swap(smaller[i], larger[i]);
    }
    indexx_int(ctx, bits_u32(half), smaller, order);
}

bool is_symmetric_design(run_context* ctx)
{
    const std::int32_t n = ctx->rows->n;
    const std::int32_t k = ctx->rows->k;
    for (std::int32_t j = 0; j < k; ++j)
        if (ctx->levels->level_count[j] != n)
            return false;
    const std::int32_t half = n / 2;
    if (half < 1)
        return true;

    std::int32_t* work = int_vector_alloc(ctx, 6 * half);
    std::int32_t* first[] = {work, work + half, work + 2 * half};
    std::int32_t* other[] = {work + 3 * half, work + 4 * half, work + 5 * half};
    mirrored_pairs(ctx, 0, first[0], first[1], first[2]);
    bool symmetric = true;
    for (std::int32_t j = 1; j < k && symmetric; ++j) {
        mirrored_pairs(ctx, j, other[0], other[1], other[2]);
        for (std::int32_t i = 0; i < half && symmetric; ++i) {
            const std::int32_t p = first[2][i];
            const std::int32_t q = other[2][i];
            symmetric = first[0][p] == other[0][q] && first[1][p] == other[1][q];
        }
    }
    vector_free(ctx, work);
    return symmetric;
}

static void copy_order(std::int32_t** to, std::int32_t* const* from, std::int32_t n, std::int32_t k)
{
    for (std::int32_t r = 0; r < n; ++r)
        for (std::int32_t j = 0; j < k; ++j)
            to[r][j] = from[r][j];
}

void save_rank_order(run_context* ctx)
{
    copy_order(ctx->rows->saved_order, ctx->levels->rank_order, ctx->rows->n, ctx->rows->k);
}

void restore_rank_order(run_context* ctx)
{
    copy_order(ctx->levels->rank_order, ctx->rows->saved_order, ctx->rows->n, ctx->rows->k);
}

void save_rank_order_column(run_context* ctx, std::int32_t factor)
{
    search_rows& rows = *ctx->rows;
    rows.saved_factor = factor;
    rows.swap_count = 0;
    rows.column_copied = false;
}

void copy_rank_order_column(run_context* ctx, std::int32_t factor)
{
    search_rows& rows = *ctx->rows;
    if (rows.saved_factor != factor || rows.column_copied)
        return;
    rows.column_copied = true;
    for (std::int32_t r = 0; r < rows.n; ++r)
        rows.saved_column_order[r] = ctx->levels->rank_order[r][factor];
}

void swap_ranks(run_context* ctx, std::int32_t factor, std::int32_t first, std::int32_t second)
{
    search_rows& rows = *ctx->rows;
    if (rows.swap_count == rows.n)
        copy_rank_order_column(ctx, factor);
    if (rows.saved_factor == factor && !rows.column_copied) {
        rows.swaps[2 * rows.swap_count] = first;
        rows.swaps[2 * rows.swap_count + 1] = second;
        rows.swap_count += 1;
    }
    std::int32_t** order = ctx->levels->rank_order;
    std::swap(order[first][factor], order[second][factor]);
}

void restore_rank_order_column(run_context* ctx, std::int32_t factor)
{
    search_rows& rows = *ctx->rows;
    std::int32_t** order = ctx->levels->rank_order;
    for (std::int32_t r = 0; rows.column_copied && r < rows.n; ++r)
        order[r][factor] = rows.saved_column_order[r];
    for (std::int32_t i = rows.swap_count; i-- > 0;)
        std::swap(order[rows.swaps[2 * i]][factor], order[rows.swaps[2 * i + 1]][factor]);
    rows.swap_count = 0;
    rows.column_copied = false;
}

/// Frees a vector that may be missing and forgets it.
template <class Element>
static void release_vector(run_context* ctx, Element*& v)
{
    if (v != nullptr)
        vector_free(ctx, v);
    v = nullptr;
}

template <class Element>
static void release_matrix(run_context* ctx, Element**& m)
{
    matrix_free(ctx, m);
    m = nullptr;
}

void level_structure_release(run_context* ctx)
{
    search_rows& rows = *ctx->rows;
    release_matrix(ctx, rows.saved_order);
    release_vector(ctx, rows.saved_column_order);
    release_vector(ctx, rows.swaps);
    level_groups& groups = *ctx->groups;
    release_vector(ctx, groups.matched);
    release_vector(ctx, groups.rows_per_group);
    release_vector(ctx, groups.group_count);
    factor_levels& levels = *ctx->levels;
    release_matrix(ctx, levels.level_size);
    release_matrix(ctx, levels.level_index);
    release_matrix(ctx, levels.rank_order);
    release_vector(ctx, levels.level_count);
    release_vector(ctx, levels.balanced);
}

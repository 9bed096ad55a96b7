#include "optdoe/criteria/pair_distances.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/aligned_tables.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cmath>
#include <cstring>

constexpr kernel_variants<distance_kernels> distance_kernel_variants
{
    &distance_kernels_baseline,
#if defined(__x86_64__)
        &distance_kernels_avx2, &distance_kernels_avx512,
#endif
};

bool entries_are_equal(const pair_distances& d, std::int32_t column, std::int32_t a, std::int32_t b)
{
    const double* x = column_line(d, column);
    return equal_entries(x[a], x[b]);
}

static bool has_weights(const double* weights, std::int32_t factors)
{
    return std::any_of(weights, weights + factors, [](double w) { return std::fabs(w - 1.0) > 1e-10; });
}

void distances_alloc(run_context* ctx, pair_distances& d, std::uint32_t free_rows, std::uint32_t fixed_rows,
                     std::int32_t factors, const double* weights)
{
    d.kernels = best_variant(distance_kernel_variants);
    d.free_rows = wrap_i32(free_rows);
    d.fixed_rows = wrap_i32(fixed_rows);
    d.rows = d.free_rows + d.fixed_rows;
    d.factors = factors;
    d.weights = has_weights(weights, factors) ? weights : nullptr;
    d.stride = padded_length(d.rows);
    d.points = double_matrix_alloc(ctx, d.rows, factors);
    d.columns = aligned_alloc_doubles(ctx, static_cast<std::size_t>(factors) * bits_u32(d.stride));
    std::fill_n(d.columns, static_cast<std::ptrdiff_t>(factors) * d.stride, 0.0);
    line_store_alloc(ctx, d.lines, d.rows, d.stride);
    if (stores_all_lines(d)) {
        reserve_lines(ctx, d.lines, d.rows);
        for (std::int32_t r = 0; r < d.rows; ++r)
            std::fill_n(take_line(d.lines, r), d.stride, __builtin_inf());
    }
    d.changed = int_vector_alloc(ctx, d.rows);
    d.is_changed = byte_vector_alloc(ctx, d.rows);
    d.line = aligned_alloc_doubles(ctx, bits_u32(d.stride));
    std::fill_n(d.line, d.stride, __builtin_inf());
}

void distances_free(run_context* ctx, pair_distances& d)
{
    matrix_free(ctx, d.points);
    line_store_free(ctx, d.lines);
    for (double* v : {d.columns, d.line})
        aligned_free_doubles(ctx, v);
    vectors_free(ctx, {d.changed, d.is_changed});
    const std::int32_t most_rows = d.most_rows_with_all_lines;
    d = {};
    d.most_rows_with_all_lines = most_rows;
}

double weighted_entry(const pair_distances& d, double x, std::int32_t column)
{
    return d.weights != nullptr ? x * d.weights[column] : x;
}

double caller_entry(const pair_distances& d, double x, std::int32_t column)
{
    return d.weights != nullptr ? x / d.weights[column] : x;
}

double** copy_points(const pair_distances& d, double** out)
{
    if (out == nullptr)
        return d.points;
    for (std::int32_t r = 0; r < d.rows; ++r)
        for (std::int32_t k = 0; k < d.factors; ++k)
            out[r][k] = caller_entry(d, d.points[r][k], k);
    return out;
}

static void raise_version(pair_distances& d) { d.version = ++d.last_version; }

void set_point(pair_distances& d, std::int32_t r, std::int32_t column, double x)
{
    raise_version(d);
    d.points[r][column] = x;
    column_line(d, column)[r] = x;
}

void swap_points(pair_distances& d, std::int32_t a, std::int32_t b, std::int32_t column)
{
    const double x = d.points[a][column];
    set_point(d, a, column, d.points[b][column]);
    set_point(d, b, column, x);
}

void fresh_line(const pair_distances& d, std::int32_t r, std::int32_t count, double* out)
{
    d.kernels->distances(d.kind, count, d.stride, d.factors, d.columns, d.points[r], out);
    if (r < count)
        out[r] = __builtin_inf();
}

const double* line_of(const pair_distances& d, std::int32_t r, std::int32_t count, double* scratch)
{
    if (const double* stored = stored_line(d, r))
        return stored;
    fresh_line(d, r, count, scratch);
    for (std::int32_t i = 0; i < d.changed_count; ++i)
        if (const std::int32_t c = d.changed[i]; c < count)
            scratch[c] = stored_line(d, c)[r];
    return scratch;
}

void copy_line(const pair_distances& d, std::int32_t r, double* to)
{
    const double* line = line_of(d, r, d.rows, to);
    if (line != to)
        std::memcpy(to, line, bits_u32(d.stride) * sizeof(double));
}

static void mark_changed(pair_distances& d, std::int32_t r)
{
    if (d.is_changed[r] != 0)
        return;
    d.is_changed[r] = 1;
    d.changed[d.changed_count] = r;
    d.changed_count += 1;
}

/// Writes a line along its row and along its column.
static void write_line(pair_distances& d, std::int32_t r, const double* distances)
{
    std::memcpy(take_line(d.lines, r), distances, bits_u32(d.stride) * sizeof(double));
    if (stores_all_lines(d)) {
        double* cell = d.lines.slabs[0] + r; // all lines follow one another
        for (std::int32_t j = 0; j < d.rows; ++j, cell += d.lines.stride)
            *cell = distances[j];
        return;
    }
    for (std::int32_t i = 0; i < d.changed_count; ++i) {
        const std::int32_t c = d.changed[i];
        stored_line(d, c)[r] = distances[c];
    }
}

void store_line(run_context* ctx, pair_distances& d, std::int32_t r, const double* distances)
{
    raise_version(d);
    if (stored_line(d, r) == nullptr)
        reserve_lines(ctx, d.lines, 1);
    take_line(d.lines, r);
    mark_changed(d, r);
    write_line(d, r, distances);
}

void hold_line(run_context* ctx, pair_distances& d, std::int32_t r)
{
    if (stored_line(d, r) != nullptr)
        mark_changed(d, r);
    else
        store_line(ctx, d, r, line_of(d, r, d.rows, d.line));
}

void forget_changes(pair_distances& d, std::int32_t count)
{
    while (d.changed_count > count) {
        d.changed_count -= 1;
        const std::int32_t r = d.changed[d.changed_count];
        d.is_changed[r] = 0;
        if (!stores_all_lines(d))
            release_line(d.lines, r);
    }
}

/// No row is changed from now on: all are fresh.
static void end_changes(run_context* ctx, pair_distances& d)
{
    raise_version(d);
    forget_changes(d, 0);
    if (!stores_all_lines(d))
        trim_lines(ctx, d.lines);
}

void fill_lines(run_context* ctx, pair_distances& d)
{
    if (stores_all_lines(d))
        for (std::int32_t r = 0; r < d.rows; ++r)
            fresh_line(d, r, d.rows, stored_line(d, r));
    end_changes(ctx, d);
}

void refresh_lines(run_context* ctx, pair_distances& d)
{
    if (!few_rows_are_changed(d))
        return fill_lines(ctx, d);
    for (std::int32_t i = 0; i < d.changed_count && stores_all_lines(d); ++i) {
        fresh_line(d, d.changed[i], d.rows, d.line);
        write_line(d, d.changed[i], d.line);
    }
    end_changes(ctx, d);
}

#include "optdoe/criteria/undo_log.h"

#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cstring>

constexpr std::int32_t most_kept_lines = 16; ///< storage for so many lines stays between two uses of a log

/// Lines that are logged one by one: of so many, undoing by lines costs less than making every row fresh.
static std::int32_t most_lines_one_by_one(const pair_distances& d) { return std::max(8, d.rows / 4); }

double entries_bytes(double free_rows, double rows, double factors)
{
    return 8.0 * rows * factors + least_matrix_bytes(rows, factors, 8.0) +
           least_matrix_bytes(free_rows, factors, 8.0);
}

void undo_log_free(run_context* ctx, undo_log& log)
{
    if (log.rows != nullptr)
        vector_free(ctx, log.rows);
    aligned_free_doubles(ctx, log.lines);
    log = {};
}

void undo_log_clear(run_context* ctx, undo_log& log)
{
    log.count = 0;
    if (log.capacity > most_kept_lines)
        undo_log_free(ctx, log);
}

static void reserve_log(run_context* ctx, undo_log& log, std::int32_t more, std::int32_t stride)
{
    const std::int32_t needed = log.count + more;
    if (needed <= log.capacity)
        return;
    const std::int32_t capacity = more == 1 ? std::max(8, 2 * log.capacity) : needed;
    const undo_log old = log;
    log.rows = int_vector_alloc(ctx, capacity);
    log.lines = aligned_alloc_doubles(ctx, std::size_t{bits_u32(capacity)} * bits_u32(stride));
    log.capacity = capacity;
    if (old.capacity == 0)
        return;
    std::copy_n(old.rows, old.count, log.rows);
    std::copy_n(old.lines, static_cast<std::ptrdiff_t>(old.count) * stride, log.lines);
    vector_free(ctx, old.rows);
    aligned_free_doubles(ctx, old.lines);
}

static void append_line(undo_log& log, const pair_distances& d, std::int32_t r)
{
    log.rows[log.count] = r;
    copy_line(d, r, log.lines + static_cast<std::ptrdiff_t>(log.count) * d.stride);
    log.count += 1;
}

/// The first changed row comes last, so that undoing lists them in their order.
static void append_changed_lines(run_context* ctx, undo_log& log, const pair_distances& d)
{
    reserve_log(ctx, log, d.changed_count, d.stride);
    for (std::int32_t i = d.changed_count; i-- > 0;)
        append_line(log, d, d.changed[i]);
}

void set_mark(undo_mark& mark, const pair_distances& d, std::int32_t column, const undo_log& log)
{
    mark.by = undo_by::lines;
    mark.column = column;
    mark.changed_count = d.changed_count;
    mark.version = d.version;
    mark.first = log.count;
    if (d.free_rows > 0)
        std::memcpy(mark.entries, column_line(d, column) + d.fixed_rows, bits_u32(d.free_rows) * sizeof(double));
}

void log_line(run_context* ctx, undo_log& log, undo_mark& mark, const pair_distances& d, std::int32_t r)
{
    if (mark.by != undo_by::lines)
        return;
    if (log.count - mark.first >= most_lines_one_by_one(d))
        return log_changed_lines(ctx, log, mark, d);
    reserve_log(ctx, log, 1, d.stride);
    append_line(log, d, r);
}

void log_changed_lines(run_context* ctx, undo_log& log, undo_mark& mark, const pair_distances& d)
{
    if (mark.by != undo_by::lines)
        return;
    append_changed_lines(ctx, log, d);
    mark.by = undo_by::refill;
}

void keep_trial(undo_log& log, undo_mark& outer, undo_mark& trial)
{
    if (outer.by == undo_by::lines)
        outer.by = trial.by;
    else
        log.count = trial.first;
    trial.by = undo_by::unset;
}

void save_points_and_lines(run_context* ctx, design_snapshot& s, const pair_distances& d)
{
    for (std::int32_t f = 0; f < d.free_rows; ++f)
        std::memcpy(s.points[f], d.points[d.fixed_rows + f], bits_u32(d.factors) * sizeof(double));
    s.changed_count = d.changed_count;
    s.version = d.version;
    undo_log_clear(ctx, s.log);
    append_changed_lines(ctx, s.log, d);
}

void load_points(run_context* ctx, undo_log& log, undo_mark& mark, pair_distances& d, const double* const* design)
{
    log_changed_lines(ctx, log, mark, d);
    for (std::int32_t r = 0; r < d.rows; ++r)
        for (std::int32_t k = 0; k < d.factors; ++k)
            load_point(mark, d, r, k, weighted_entry(d, design[r][k], k));
}

void restore_points_and_lines(run_context* ctx, const design_snapshot& s, undo_log& log, undo_mark& mark,
                              pair_distances& d)
{
    log_changed_lines(ctx, log, mark, d);
    for (std::int32_t f = 0; f < d.free_rows; ++f)
        for (std::int32_t k = 0; k < d.factors; ++k)
            load_point(mark, d, d.fixed_rows + f, k, s.points[f][k]);
    fill_lines(ctx, d);
    for (std::int32_t i = s.log.count; i-- > 0;)
        store_line(ctx, d, s.log.rows[i], s.log.lines + static_cast<std::ptrdiff_t>(i) * d.stride);
    d.version = s.version;
}

void copy_saved_points(const design_snapshot& s, const pair_distances& d, double** out)
{
    for (std::int32_t r = 0; r < d.rows; ++r) {
        const double* from = r < d.fixed_rows ? d.points[r] : s.points[r - d.fixed_rows];
        for (std::int32_t k = 0; k < d.factors; ++k)
            out[r][k] = caller_entry(d, from[k], k);
    }
}

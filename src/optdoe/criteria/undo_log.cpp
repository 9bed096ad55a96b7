#include "optdoe/criteria/undo_log.h"

#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>

double entries_bytes(double free_rows, double rows, double factors)
{
    return 8.0 * rows * factors + least_matrix_bytes(rows, factors, 8.0) +
           least_matrix_bytes(free_rows, factors, 8.0);
}

static void free_log(run_context* ctx, undo_log& log)
{
    vectors_free(ctx, {log.rows});
    aligned_free_doubles(ctx, log.lines);
    log = {};
}

static void clear_log(run_context* ctx, undo_log& log)
{
    log.count = 0;
    if (log.capacity > most_kept_lines)
        free_log(ctx, log);
}

void undoable_alloc(run_context* ctx, undoable_distances& d, std::uint32_t free_rows, std::uint32_t fixed_rows,
                    std::int32_t factors, const double* weights)
{
    distances_alloc(ctx, d, free_rows, fixed_rows, factors, weights);
    d.column_mark.entries = aligned_alloc_doubles(ctx, std::size_t{2} * bits_u32(d.stride));
    d.trial_mark.entries = d.column_mark.entries + d.stride;
    d.saved_points = double_matrix_alloc(ctx, d.free_rows, factors);
}

void undoable_free(run_context* ctx, undoable_distances& d)
{
    distances_free(ctx, d);
    for (undo_log* log : {&d.log, &d.saved_lines})
        free_log(ctx, *log);
    aligned_free_doubles(ctx, d.column_mark.entries);
    matrix_free(ctx, d.saved_points);
    d.column_mark = d.trial_mark = {};
    d.saved_points = nullptr;
}

static void reserve_log(run_context* ctx, undo_log& log, std::int32_t more, std::int32_t stride)
{
    const std::int32_t needed = log.count + more;
    if (needed <= log.capacity)
        return;
    const std::int32_t capacity = more == 1 ? std::max(least_slab, 2 * log.capacity) : needed;
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

static void set_mark(undo_mark& mark, const undoable_distances& d, std::int32_t column)
{
    mark.by = undo_by::lines;
    mark.column = column;
    mark.changed_count = d.changed_count;
    mark.version = d.version;
    mark.first = d.log.count;
    std::copy_n(column_line(d, column) + d.fixed_rows, d.free_rows, mark.entries);
}

void mark_column(run_context* ctx, undoable_distances& d, std::int32_t column)
{
    clear_log(ctx, d.log);
    set_mark(d.column_mark, d, column);
}

void begin_trial(undoable_distances& d, std::int32_t column) { set_mark(d.trial_mark, d, column); }

/// The mark that changes are logged for.
static undo_mark& innermost_mark(undoable_distances& d) { return is_in_trial(d) ? d.trial_mark : d.column_mark; }

void log_line(run_context* ctx, undoable_distances& d, std::int32_t r)
{
    const undo_mark& mark = innermost_mark(d);
    if (mark.by != undo_by::lines)
        return;
    if (d.log.count - mark.first >= most_lines_one_by_one(d.rows))
        return log_changed_lines(ctx, d);
    reserve_log(ctx, d.log, 1, d.stride);
    append_line(d.log, d, r);
}

void log_changed_lines(run_context* ctx, undoable_distances& d)
{
    undo_mark& mark = innermost_mark(d);
    if (mark.by != undo_by::lines)
        return;
    append_changed_lines(ctx, d.log, d);
    mark.by = undo_by::refill;
}

void keep_trial(undoable_distances& d)
{
    if (d.column_mark.by == undo_by::lines)
        d.column_mark.by = d.trial_mark.by;
    else
        d.log.count = d.trial_mark.first;
    d.trial_mark.by = undo_by::unset;
}

/// Writes an entry of a design that is loaded or comes back.
static void load_point(undoable_distances& d, std::int32_t r, std::int32_t column, double x)
{
    if (!same_bits(d.points[r][column], x))
        log_column(d, column);
    set_point(d, r, column, x);
}

void load_points(run_context* ctx, undoable_distances& d, const double* const* design)
{
    log_changed_lines(ctx, d);
    for (std::int32_t r = 0; r < d.rows; ++r)
        for (std::int32_t k = 0; k < d.factors; ++k)
            load_point(d, r, k, weighted_entry(d, design[r][k], k));
    fill_lines(ctx, d);
}

void save_points_and_lines(run_context* ctx, undoable_distances& d)
{
    for (std::int32_t f = 0; f < d.free_rows; ++f)
        std::copy_n(d.points[d.fixed_rows + f], d.factors, d.saved_points[f]);
    d.saved_version = d.version;
    clear_log(ctx, d.saved_lines);
    append_changed_lines(ctx, d.saved_lines, d);
}

void restore_points_and_lines(run_context* ctx, undoable_distances& d)
{
    log_changed_lines(ctx, d);
    for (std::int32_t f = 0; f < d.free_rows; ++f)
        for (std::int32_t k = 0; k < d.factors; ++k)
            load_point(d, d.fixed_rows + f, k, d.saved_points[f][k]);
    fill_lines(ctx, d);
    const undo_log& saved = d.saved_lines;
    for (std::int32_t i = saved.count; i-- > 0;)
        store_line(ctx, d, saved.rows[i], saved.lines + static_cast<std::ptrdiff_t>(i) * d.stride);
    d.version = d.saved_version;
}

void copy_saved_points(const undoable_distances& d, double** out)
{
    for (std::int32_t r = 0; r < d.rows; ++r) {
        const double* from = r < d.fixed_rows ? d.points[r] : d.saved_points[r - d.fixed_rows];
        for (std::int32_t k = 0; k < d.factors; ++k)
            out[r][k] = caller_entry(d, from[k], k);
    }
}

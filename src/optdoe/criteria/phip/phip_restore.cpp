#include "optdoe/criteria/phip/phip_restore.h"

#include "optdoe/criteria/phip/phip_rearrangement.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cstring>

const double* free_entries(const phip_state& s, std::int32_t column)
{
    return column_line(s.tables, column) + s.fixed_rows;
}

void put_entries_back(phip_state& s, std::int32_t column, const double* entries)
{
    const double* present = free_entries(s, column);
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        if (!same_bits(present[f], entries[f]))
            set_point(s.tables, s.fixed_rows + f, column, entries[f]);
}

/// Keeps what the tables are made of.
static void capture_present_state(run_context* ctx)
{
    phip_state& s = *ctx->phip;
    phip_column_snapshot& snapshot = s.column_snapshot;
    take_capture(ctx, s.tables, snapshot.capture);
    if (s.free_rows > 0)
        std::memcpy(snapshot.capture_entries, free_entries(s, snapshot.column),
                    bits_u32(s.free_rows) * sizeof(double));
}

void capture_for_restore(run_context* ctx)
{
    phip_column_snapshot& snapshot = ctx->phip->column_snapshot;
    if (!snapshot.armed)
        return;
    if (!snapshot.capture.taken)
        capture_present_state(ctx);
    snapshot.capture.all_rows = true;
}

void capture_evaluation(run_context* ctx)
{
    phip_state& s = *ctx->phip;
    phip_column_snapshot& snapshot = s.column_snapshot;
    if (!snapshot.armed)
        return;
    if (snapshot.capture.taken) {
        snapshot.capture.all_rows = true;
        return;
    }
    if (s.tables.refresh.pending)
        put_lines_before_refresh_back(s.tables);
    capture_present_state(ctx);
    if (s.tables.p == 0)
        return;
    if (!s.tables.refresh.pending)
        keep_sums(s.tables);
    capture_sums(ctx, s.tables, snapshot.capture);
}

/// Makes room for `more` kept rows in the column snapshot.
static void reserve_kept_rows(run_context* ctx, std::int32_t more)
{
    const phip_tables& t = ctx->phip->tables;
    phip_column_snapshot& snapshot = ctx->phip->column_snapshot;
    const std::int32_t needed = snapshot.kept_count + more;
    if (needed <= snapshot.kept_capacity)
        return;
    std::int32_t* rows = int_vector_alloc(ctx, needed);
    double* lines = aligned_alloc_doubles(ctx, std::size_t{bits_u32(needed)} * bits_u32(t.stride));
    if (snapshot.kept_capacity > 0) {
        std::memcpy(rows, snapshot.kept_rows, bits_u32(snapshot.kept_count) * sizeof(std::int32_t));
        std::memcpy(lines, snapshot.kept_lines,
                    std::size_t{bits_u32(snapshot.kept_count)} * bits_u32(t.stride) * sizeof(double));
        vector_free(ctx, snapshot.kept_rows);
        aligned_free_doubles(ctx, snapshot.kept_lines);
    }
    snapshot.kept_rows = rows;
    snapshot.kept_lines = lines;
    snapshot.kept_capacity = needed;
}

void prepare_restore(run_context* ctx, std::int32_t count)
{
    phip_column_snapshot& snapshot = ctx->phip->column_snapshot;
    if (!snapshot.armed)
        return;
    if (snapshot.capture.taken || snapshot.kept_count + count > std::max(8, ctx->phip->tables.rows / 4))
        capture_for_restore(ctx);
    else
        reserve_kept_rows(ctx, count);
}

void keep_for_restore(phip_state& s, std::int32_t r)
{
    phip_column_snapshot& snapshot = s.column_snapshot;
    if (!snapshot.armed || snapshot.capture.taken)
        return;
    snapshot.kept_rows[snapshot.kept_count] = r;
    copy_line(s.tables, r,
              snapshot.kept_lines + std::size_t{bits_u32(snapshot.kept_count)} * bits_u32(s.tables.stride));
    snapshot.kept_count += 1;
}

/// Puts the entries back where other columns have changed. The snapshot is then one of the tables that this leaves.
static void restore_entries(run_context* ctx)
{
    phip_state& s = *ctx->phip;
    phip_column_snapshot& snapshot = s.column_snapshot;
    put_entries_back(s, snapshot.column, snapshot.entries);
    fill_tables(s.tables);
    if (s.tables.p > 0)
        forget_sums(s.tables);
    drop_capture(ctx, snapshot.capture);
    snapshot.kept_count = 0;
    snapshot.changed_count = 0;
    snapshot.entries_set = s.tables.entries_set;
    snapshot.armed = true;
}

void restore_tables(run_context* ctx)
{
    take_trial_back(ctx);
    phip_state& s = *ctx->phip;
    phip_column_snapshot& snapshot = s.column_snapshot;
    phip_exchange& e = s.exchange;
    const bool only_pending =
        e.pending && s.tables.entries_set == snapshot.entries_set + 2 && !snapshot.capture.taken;
    drop_refresh(s.tables);
    e.pending = false; // its tables were never written
    e.computed = false;
    if (!snapshot.armed)
        return restore_entries(ctx);
    if (only_pending) {
        swap_points(s.tables, e.a, e.b, e.column);
        snapshot.entries_set = s.tables.entries_set;
        return;
    }
    if (snapshot.capture.taken) {
        put_entries_back(s, snapshot.column, snapshot.capture_entries);
        put_capture_back(ctx, s.tables, snapshot.capture);
        drop_capture(ctx, snapshot.capture);
    }
    reserve_lines(ctx, s.tables.lines, snapshot.kept_count);
    while (snapshot.kept_count > 0) {
        snapshot.kept_count -= 1;
        replace_row(s.tables, snapshot.kept_rows[snapshot.kept_count],
                    snapshot.kept_lines + std::size_t{bits_u32(snapshot.kept_count)} * bits_u32(s.tables.stride));
    }
    put_entries_back(s, snapshot.column, snapshot.entries);
    snapshot.entries_set = s.tables.entries_set;
    forget_changes(s.tables, snapshot.changed_count);
}

/// How the column snapshot of the phi-p criterion survives changes of the tables.
///
/// A snapshot copies a column, a value and a sum, nothing that grows with the square of the rows. What a change is
/// about to overwrite is kept then: the lines of the rows it replaces, or, where these are many, a capture.
#pragma once

#include "optdoe/criteria/phip/phip.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"

/// Entries of the free rows of a column, [free rows], and their way back; only entries that differ are written.
const double* free_entries(const phip_state& s, std::int32_t column);
void put_entries_back(phip_state& s, std::int32_t column, const double* entries);

/// Comes before entries of a column change. The lines that the column snapshot keeps do not belong to the design any
/// more once another column has changed: nothing is kept then, and a restore fills the tables anew.
inline void note_change(phip_state& s, std::int32_t column)
{
    if (column != s.column_snapshot.column)
        s.column_snapshot.armed = false;
}

/// Prepares the column snapshot for the replacement of `count` rows: by keeping their lines, as long as these stay
/// few, else by a capture. Points and tables agree when it is called. Nothing happens while no snapshot is taken.
void prepare_restore(run_context* ctx, std::int32_t count);

/// Keeps the lines of a row that is about to be replaced, where prepare_restore made room for them.
void keep_for_restore(phip_state& s, std::int32_t r);

/// Prepares the column snapshot for changes of any rows.
void capture_for_restore(run_context* ctx);

/// Prepares the column snapshot for the completion of a pending refresh, or for an evaluation that fills the tables
/// while the sums are not stale.
void capture_evaluation(run_context* ctx);

/// Puts the entries of the column snapshot back, and the tables: those of the save, or, when entries of another
/// column have changed since, those that the points give from scratch. The snapshot stays.
void restore_tables(run_context* ctx);

/// Runs a trial of exchanges that writes the tables, and undoes it: value, sums, tables, points and the list of
/// changed rows are as before. The pairs share no row.
///   trial   () -> value
///   returns what the trial returns
template <class Trial>
double undone_trial(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                    const std::int32_t* rows_b, Trial trial)
{
    phip_state& s = *ctx->phip;
    const phip_sum before = s;
    const std::int32_t changed_count = s.tables.changed_count;
    const bool armed = s.column_snapshot.armed;
    double* kept = aligned_alloc_doubles(ctx, 2 * std::size_t{bits_u32(count)} * bits_u32(s.tables.stride));
    const auto kept_line = [&](std::int32_t t) {
        return kept + std::size_t{bits_u32(t)} * bits_u32(s.tables.stride);
    };
    for (std::int32_t t = 0; t < count; ++t) {
        copy_line(s.tables, rows_a[t], kept_line(2 * t));
        copy_line(s.tables, rows_b[t], kept_line(2 * t + 1));
    }
    reserve_lines(ctx, s.tables.lines, wrap_mul(2, count));
    s.column_snapshot.armed = false; // what the trial replaces comes back here
    const double result = trial();
    for (std::int32_t t = 0; t < count; ++t) {
        swap_points(s.tables, rows_a[t], rows_b[t], column);
        replace_row(s.tables, rows_a[t], kept_line(2 * t));
        replace_row(s.tables, rows_b[t], kept_line(2 * t + 1));
    }
    forget_changes(s.tables, changed_count);
    s.column_snapshot.armed = armed;
    s.exchange.computed = false;
    static_cast<phip_sum&>(s) = before;
    aligned_free_doubles(ctx, kept);
    return result;
}

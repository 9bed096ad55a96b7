/// Undoing changes of points and lines: for snapshots of a column and of the design, and for trials that write.
///
/// A mark names a state. It copies one column, not the lines: before a change, the lines that the change replaces go
/// to the log, and undoing puts them back, the newest first. When many rows change, the lines of the changed rows are
/// logged instead, once, and undoing first makes every row fresh.
///
/// Invariants of a mark that is set
///   by lines    every row whose line was replaced since the mark has its line from before in the log.
///   by refill   the log holds, newest first, a line of every row that was changed at some moment since the mark, as
///   it
///               was then, and by the rule above every line that was replaced between the mark and that moment.
///   by points   another column has changed since the mark. Undoing leaves that change, puts the marked column back
///               and makes every row fresh.
/// By lines and by refill, the points of the marked column, the logged lines and the number of changed rows give the
/// state of the mark back.
/// Several marks may share a log, the later one inside the earlier one.
#pragma once

#include "optdoe/criteria/pair_distances.h"

struct undo_log {
    std::int32_t count; ///< lines
    std::int32_t capacity;
    std::int32_t* rows; ///< [capacity]
    double* lines;      ///< [capacity x stride] oldest first
};

/// How a mark is undone.
enum class undo_by { unset, lines, refill, points };

struct undo_mark {
    undo_by by;
    std::int32_t column;
    double* entries;            ///< [free rows] of the column, at the mark
    std::int32_t changed_count; ///< of the distances, at the mark
    std::uint64_t version;      ///< of the distances, at the mark
    std::int32_t first;         ///< lines in the log, at the mark
};

/// A copy of the points, and a log that holds the lines of all changed rows.
struct design_snapshot {
    double** points; ///< [free rows x factors]
    std::int32_t changed_count;
    std::uint64_t version;
    undo_log log;
};

/// Bytes of the points in both layouts and of a saved design.
double entries_bytes(double free_rows, double rows, double factors);

void undo_log_free(run_context* ctx, undo_log& log);

/// Empties the log; storage that only a change of many rows needs is freed.
void undo_log_clear(run_context* ctx, undo_log& log);

/// Sets the mark to the present state. Its entries are allocated before.
void set_mark(undo_mark& mark, const pair_distances& d, std::int32_t column, const undo_log& log);

/// To be called before entries of a column change.
inline void log_column(undo_mark& mark, std::int32_t column)
{
    if (mark.by != undo_by::unset && column != mark.column)
        mark.by = undo_by::points;
}

/// To be called before row r gets another line. Points and lines agree, unless the mark is unset.
void log_line(run_context* ctx, undo_log& log, undo_mark& mark, const pair_distances& d, std::int32_t r);

/// To be called before any number of rows change.
void log_changed_lines(run_context* ctx, undo_log& log, undo_mark& mark, const pair_distances& d);

/// Unsets a trial's mark and leaves its changes. What it has logged is what an outer mark by lines needs; any other
/// needs nothing more.
void keep_trial(undo_log& log, undo_mark& outer, undo_mark& trial);

/// Writes an entry of a design that is loaded or comes back.
inline void load_point(undo_mark& mark, pair_distances& d, std::int32_t r, std::int32_t column, double x)
{
    if (!same_bits(d.points[r][column], x))
        log_column(mark, column);
    set_point(d, r, column, x);
}

/// Copies a design in the caller's units into the points, after logging the changed lines. Call fill_lines next.
void load_points(run_context* ctx, undo_log& log, undo_mark& mark, pair_distances& d, const double* const* design);

/// The design snapshot: save, restore after logging the changed lines, crit_copy_saved_design.
void save_points_and_lines(run_context* ctx, design_snapshot& s, const pair_distances& d);
void restore_points_and_lines(run_context* ctx, const design_snapshot& s, undo_log& log, undo_mark& mark,
                              pair_distances& d);
void copy_saved_points(const design_snapshot& s, const pair_distances& d, double** out);

/// Brings points and lines back to the mark, which stays set. The caller then sets d.version to mark.version, after
/// noting what else is in step with d.version.
///   set_entry   (row, x) sets an entry of the marked column
///   set_line    (row, line) stores a line
template <class SetEntry, class SetLine>
void undo_to(run_context* ctx, undo_log& log, undo_mark& mark, pair_distances& d, SetEntry set_entry,
             SetLine set_line)
{
    const double* present = column_line(d, mark.column) + d.fixed_rows;
    for (std::int32_t f = 0; f < d.free_rows; ++f)
        if (!same_bits(present[f], mark.entries[f]))
            set_entry(d.fixed_rows + f, mark.entries[f]);
    if (mark.by != undo_by::lines)
        fill_lines(ctx, d);
    if (mark.by == undo_by::points) { // the mark is that of another state now
        log.count = mark.first;
        mark.changed_count = 0;
        mark.version = d.version;
    }
    while (log.count > mark.first) {
        log.count -= 1;
        set_line(log.rows[log.count], log.lines + static_cast<std::ptrdiff_t>(log.count) * d.stride);
    }
    forget_changes(d, mark.changed_count);
    mark.by = undo_by::lines;
}

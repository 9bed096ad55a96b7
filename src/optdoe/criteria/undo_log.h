/// Undoing changes of points and lines: for snapshots of a column and of the design, and for trials that write.
///
/// A mark names a state. It copies one column, not the lines: before a change, the lines that the change replaces go
/// to the log, and undoing puts them back, the newest first. When many rows change, the lines of the changed rows are
/// logged instead, once, and undoing first makes every row fresh.
///
/// Invariants of a mark that is set
///   by lines    every row whose line was replaced since the mark has its line from before in the log.
///   by refill   the log holds, newest first, a line of every row that was changed at some moment since the mark, as
///               it was then, and by the rule above every line that was replaced between the mark and that moment.
///   by points   another column has changed since the mark. Undoing leaves that change, puts the marked column back
///               and makes every row fresh.
/// By lines and by refill, the points of the marked column, the logged lines and the number of changed rows give the
/// state of the mark back.
/// The trial's mark lies inside the column's; while it is set, changes are logged for it, else for the column's.
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

/// Points and lines, and all that undoing their changes takes.
struct undoable_distances : pair_distances {
    undo_log log;
    undo_mark column_mark;
    undo_mark trial_mark;  ///< unset but from the begin of a trial until it is undone or kept
    double** saved_points; ///< [free rows x factors] of the design snapshot
    undo_log saved_lines;  ///< of the rows that were changed then
    std::uint64_t saved_version;
};

/// As distances_alloc and distances_free, with the room to undo; both marks are unset.
void undoable_alloc(run_context* ctx, undoable_distances& d, std::uint32_t free_rows, std::uint32_t fixed_rows,
                    std::int32_t factors, const double* weights);
void undoable_free(run_context* ctx, undoable_distances& d);

/// Bytes of the points in both layouts and of a saved design.
double entries_bytes(double free_rows, double rows, double factors);

/// Sets the column's mark to the present state, and empties the log: nothing before it can be undone any more.
void mark_column(run_context* ctx, undoable_distances& d, std::int32_t column);

/// Sets the trial's mark, which is unset, to the present state, before entries of a column change.
void begin_trial(undoable_distances& d, std::int32_t column);

inline bool is_in_trial(const undoable_distances& d) { return d.trial_mark.by != undo_by::unset; }

/// To be called before entries of a column change, but in a trial.
inline void log_column(undoable_distances& d, std::int32_t column)
{
    if (d.column_mark.by != undo_by::unset && column != d.column_mark.column)
        d.column_mark.by = undo_by::points;
}

/// To be called before row r gets another line. Points and lines agree, unless no mark is set.
void log_line(run_context* ctx, undoable_distances& d, std::int32_t r);

/// To be called before any number of rows change.
void log_changed_lines(run_context* ctx, undoable_distances& d);

/// Unsets the trial's mark and leaves its changes. What it has logged is what a column's mark by lines needs; any
/// other needs nothing more.
void keep_trial(undoable_distances& d);

/// Copies a design in the caller's units into the points and makes every row fresh, after logging the changed lines.
void load_points(run_context* ctx, undoable_distances& d, const double* const* design);

/// The design snapshot: save, restore after logging the changed lines, crit_copy_saved_design.
void save_points_and_lines(run_context* ctx, undoable_distances& d);
void restore_points_and_lines(run_context* ctx, undoable_distances& d);
void copy_saved_points(const undoable_distances& d, double** out);

/// Brings points and lines back to the mark, which stays set. The caller then sets d.version to mark.version, after
/// noting what else is in step with d.version.
///   set_entry   (row, x) sets an entry of the marked column
///   set_line    (row, line) stores a line
template <class SetEntry, class SetLine>
void undo_to(run_context* ctx, undoable_distances& d, undo_mark& mark, SetEntry set_entry, SetLine set_line)
{
    const double* present = column_line(d, mark.column) + d.fixed_rows;
    for (std::int32_t f = 0; f < d.free_rows; ++f)
        if (!same_bits(present[f], mark.entries[f]))
            set_entry(d.fixed_rows + f, mark.entries[f]);
    if (mark.by != undo_by::lines)
        fill_lines(ctx, d);
    if (mark.by == undo_by::points) { // the mark is that of another state now
        d.log.count = mark.first;
        mark.changed_count = 0;
        mark.version = d.version;
    }
    while (d.log.count > mark.first) {
        d.log.count -= 1;
        set_line(d.log.rows[d.log.count], d.log.lines + static_cast<std::ptrdiff_t>(d.log.count) * d.stride);
    }
    forget_changes(d, mark.changed_count);
    mark.by = undo_by::lines;
}

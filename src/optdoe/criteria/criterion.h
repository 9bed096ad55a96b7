/// The criterion in force: one set of operations between the search and the four criteria.
///
/// A criterion keeps its own copy of the design (the working design), its incremental tables and the current value,
/// so that the value after an exchange costs one pass over the rows. Lower is better.
///
/// Rows      0 .. fixed_rows-1 are fixed points that no operation may move; the free rows follow. Snapshots cover the
///           free rows. Row lists hold numbers of the whole range.
/// Equality  two entries of a column are equal when they differ by less than 1e-15 (equal_entries).
/// Exchange  never mixes columns and never changes the multiset of entries of a column. The pairs of one batch share
///           no row, the destinations of a re-arrangement are a permutation of its sources.
/// Trial     crit_try_*: leaves working design, tables, value and both snapshots bit for bit as they were, for every
///           operation that asks for them.
/// Commit    crit_apply_*: keeps tables and value in step; rounding drifts until the next crit_evaluate.
/// Errors    storage failures leave through the error exit; nothing else fails.
#pragma once

#include "optdoe/criteria/criterion_facts.h"
#include "optdoe/run/run_context.h"
#include "optdoe/run/run_settings.h"

#include <cmath>
#include <cstdint>

struct criterion_ops;

/// Slot 2: which criterion is in force, and what the layer answers itself.
struct criterion_state {
    double target;                 ///< copied from the options
    const criterion_ops* in_force; ///< chosen by crit_setup, from the criterion's number and parameters
    void* own_state;               ///< of a criterion without a slot: a tracked block from its set-up to its release
};

/// True when two entries of a design count as the same level.
inline bool equal_entries(double x, double y) { return std::fabs(x - y) < 1e-15; }

/// Chooses the criterion and evaluates the design with it.
///   design   in   [(fixed_rows + free_rows) x factors] row pointers, copied
///   options  in   within the ranges of settings_validate; its factor_weights must outlive the criterion
/// The level counts of slot 9 must be there for criterion 3.
void crit_setup(run_context* ctx, const double* const* design, std::uint32_t free_rows, std::uint32_t fixed_rows,
                std::int32_t factors, const criterion_options& options);

/// Frees every table that crit_setup made.
void crit_release(run_context* ctx);

/// What crit_setup and the search after it need. Sizes are not limited to those of designs.
///   options   null: not known; the criterion that needs least, with the options that do
memory_need crit_memory(double free_rows, double fixed_rows, double factors, const criterion_options* options);

/// Current value of the working design; computes nothing.
double crit_value(run_context* ctx);

/// Copies the working design, all rows, into out, in the caller's units; returns out.
/// With a null out returns the criterion's own working matrix (in its units), to be read before the next operation,
/// not freed.
double** crit_copy_design(run_context* ctx, double** out);

/// Recomputes every table and the value from scratch, after loading the design when it is not null.
double crit_evaluate(run_context* ctx, const double* const* design);

/// Exchanges the entries (rows_a[t], column) and (rows_b[t], column), t = 0 .. count-1 in order; the new value.
double crit_apply_swaps(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                        const std::int32_t* rows_b);

/// The value that crit_apply_swaps would return.
double crit_try_swaps(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                      const std::int32_t* rows_b);

/// The value after one exchange; for phi-p not the same rounding rules as a batch of one pair.
double crit_try_swap(run_context* ctx, std::int32_t column, std::int32_t row_a, std::int32_t row_b);

/// The value if, all at once, (rows_dst[t], column) took the entry of (rows_src[t], column), t = 0 .. count-1.
double crit_try_moves(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                      const std::int32_t* rows_src);

/// Performs that re-arrangement; the new value.
double crit_apply_moves(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                        const std::int32_t* rows_src);

/// The column snapshot: value, the free rows' entries of one column, and the tables of the free rows.
/// A restore puts the column and the value of the save back and leaves the other columns as they are. Where entries
/// of those have changed since the save, the value is not that of the design, and crit_evaluate(null) must come
/// before the next trial or commit; it gives what crit_evaluate gives for that design.
///   column   of the restore: that of the save
void crit_save_column(run_context* ctx, std::int32_t column);
void crit_restore_column(run_context* ctx, std::int32_t column);

/// The target of the options, whatever the criterion.
double crit_target(run_context* ctx);

/// The design snapshot, apart from the column snapshot: value, the free rows' entries and their tables.
void crit_save_design(run_context* ctx);
void crit_restore_design(run_context* ctx);

/// Value of a design (null: the working design) computed from scratch in temporary storage.
double crit_value_of(run_context* ctx, const double* const* design);

/// Writes the fixed rows of the working design and the free rows of the design snapshot, in the caller's units.
void crit_copy_saved_design(run_context* ctx, double** out);

/// The best of several exchanges of one column: the trial that indexx_double puts first among the values of
/// crit_try_swap in the given order.
///   count        at least 1; the pairs are distinct
///   best_value   out   the value of that trial, to the bit
///   returns its position in the lists
std::int32_t crit_best_swap(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                            const std::int32_t* rows_b, double* best_value);

/// The same without the trials that cannot matter, where that is possible: the position of the trial with the least
/// value, when no other has that value; it is then the best of every part of the list that it belongs to. -1 when two
/// have the least value, or when the criterion cannot tell.
///   best_value   out   the value of that trial, to the bit; anything for -1
std::int32_t crit_unique_best_swap(run_context* ctx, std::int32_t column, std::int32_t count,
                                   const std::int32_t* rows_a, const std::int32_t* rows_b, double* best_value);

/// Opens slot 2 with plain storage, zeroed; leaves the slot null on failure. Closes it, null included.
void criterion_open(run_context* ctx);
void criterion_close(run_context* ctx);

#include "optdoe/criteria/phip/phip_pending.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/phip/phip_derived.h"
#include "optdoe/criteria/phip/phip_exchange.h"
#include "optdoe/run/wrap32.h"

#include <cstring>
#include <utility>

/// Makes the changed rows fresh. The copies stay in step, as rounding is within their doubt, but where equal entries
/// differ.
static void refresh_changed_rows(run_context* ctx, phip_state& s)
{
    log_changed_lines(ctx, s.distances);
    const bool copies_stay = in_step(s).copies && !s.coarse.has_nearly_equal;
    refresh_lines(ctx, s.distances);
    keep_in_step(s, {false, false, copies_stay});
}

/// Stores the fresh lines, which the totals are of already.
static void finish_evaluation(run_context* ctx, phip_state& s)
{
    const derived_in_step totals = in_step(s);
    refresh_changed_rows(ctx, s);
    keep_in_step(s, {totals.rows, totals.triangle, false});
}

static void finish_rearrangement(phip_state& s)
{
    static_cast<running_sum&>(s) = s.after_trial;
    keep_trial(s.distances);
}

void finish(run_context* ctx, phip_state& s)
{
    const pending_change what = std::exchange(s.pending, pending_change::none);
    switch (what) {
    case pending_change::none: return;
    case pending_change::exchange: return write_exchange(ctx, s);
    case pending_change::evaluation: return finish_evaluation(ctx, s);
    case pending_change::rearrangement: return finish_rearrangement(s);
    }
}

void take_back(run_context* ctx, phip_state& s)
{
    const pending_change what = std::exchange(s.pending, pending_change::none);
    switch (what) {
    case pending_change::none:
    case pending_change::exchange: return;
    case pending_change::evaluation: return std::swap(s.totals, s.totals_before);
    case pending_change::rearrangement:
        undo_changes(ctx, s, s.distances.trial_mark);
        s.distances.trial_mark.by = undo_by::unset;
        return;
    }
}

void settle(run_context* ctx, phip_state& s)
{
    if (s.pending == pending_change::rearrangement)
        take_back(ctx, s);
    else
        finish(ctx, s);
}

/// Replaces the terms of the changed rows in the totals by those of fresh lines, one row after the other: the pairs
/// with rows before it are fresh then.
static void refresh_totals(phip_state& s)
{
    const pair_distances& d = s.distances;
    for (std::int32_t i = 0; i < d.changed_count; ++i) {
        const std::int32_t r = d.changed[i];
        fresh_line(d, r, d.rows, s.line);
        std::memcpy(s.line_a, stored_line(d, r), bits_u32(d.stride) * sizeof(double));
        for (std::int32_t before = 0; before < i; ++before)
            s.line_a[d.changed[before]] = s.line[d.changed[before]];
        terms_of_line(s.terms, d.stride, s.line_a, s.old_terms);
        terms_of_line(s.terms, d.stride, s.line, s.new_terms);
        const replaced_line terms{r, s.old_terms, s.new_terms};
        replace_in_row_totals(s.terms, s.totals, terms);
        replace_line_on_grid(s.totals.triangle, terms);
    }
}

void evaluate_points(run_context* ctx, phip_state& s)
{
    const derived_in_step now = in_step(s);
    if (s.distances.column_mark.by == undo_by::unset) {
        refresh_changed_rows(ctx, s);
        return set_sum(s, sum_of_terms(s));
    }
    if (now.rows && now.triangle && few_rows_are_changed(s.distances)) {
        copy_totals(s.totals, s.totals_before);
        refresh_totals(s);
    } else {
        std::swap(s.totals, s.totals_before);
        s.totals.rows_as_of = 0;
        s.totals.triangle_as_of = s.distances.version;
        forget_rows(s.totals.triangle);
    }
    set_sum(s, sum_of_fresh_terms(s));
    s.pending = pending_change::evaluation;
}

static void mark_terms_without_floor(std::int32_t rows, double floor, double* __restrict distances)
{
    for (std::int32_t r = 0; r < rows; ++r)
        distances[r] = distances[r] < floor ? -distances[r] : distances[r];
}

/// Gives row r the line that it has after its entry went from `before` to `after`. The terms have no floor here: a
/// distance of zero gives an infinite one. Distances below the floor are stored with a minus sign.
static void move_row(run_context* ctx, phip_state& s, std::int32_t column, std::int32_t row, double before,
                     double after, replaced_sums& sums)
{
    pair_distances& d = s.distances;
    const double* line = line_of(d, row, d.rows, s.line_a);
    s.terms.kernels->move(d.kind, d.stride, column_line(d, column), before, after, line, s.line);
    s.line[row] = __builtin_inf();
    s.terms.kernels->terms(s.terms.p, 0.0, d.stride, s.line, s.new_terms);
    terms_of_line(s.terms, d.stride, line, s.old_terms);
    // The row's own term is 0.
    sums.old_sum = add_positive_in_order(*s.totals.triangle.kernels, sums.old_sum, d.rows, s.old_terms);
    sums.new_sum = add_positive_in_order(*s.totals.triangle.kernels, sums.new_sum, d.rows, s.new_terms);
    mark_terms_without_floor(d.rows, s.terms.floor, s.line);
    store_line(ctx, d, row, s.line);
}

/// Makes the listed re-arrangement: points, lines, value and sum.
static void rearrange(run_context* ctx, phip_state& s)
{
    const rearrangement_list& list = s.rearrangement;
    log_changed_lines(ctx, s.distances);
    replaced_sums sums{0.0, 0.0, false};
    for (std::int32_t i = 0; i < list.count; ++i) {
        const std::int32_t row = list.rows_dst[i];
        const double before = s.distances.points[row][list.column];
        const double after = list.taken[i];
        if (!equal_entries(before, after)) {
            sums.changed = true;
            move_row(ctx, s, list.column, row, before, after, sums);
        }
        if (!same_bits(before, after)) {
            hold_line(ctx, s.distances, row);
            set_point(s.distances, row, list.column, after);
        }
    }
    if (sums.changed)
        commit_sum(s, sums);
}

double try_rearrangement(run_context* ctx, phip_state& s, std::int32_t column, std::int32_t count,
                         const std::int32_t* rows_dst, const std::int32_t* rows_src)
{
    list_rearrangement(ctx, s.rearrangement, column, column_line(s.distances, column), count, rows_dst, rows_src);
    begin_trial(s.distances, column);
    reserve_lines(ctx, s.distances.lines, count); // in one block: they are read across
    const running_sum before = s;
    rearrange(ctx, s);
    s.after_trial = s;
    static_cast<running_sum&>(s) = before;
    s.pending = pending_change::rearrangement;
    return s.after_trial.value;
}

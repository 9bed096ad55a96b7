#include "optdoe/criteria/phip/phip_rearrangement.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/maximin/maximin.h"
#include "optdoe/criteria/phip/phip_exchange.h"
#include "optdoe/criteria/phip/phip_restore.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>

/// Marks the distances whose terms would be at the cap if they had a floor.
static void mark_terms_without_floor(const phip_tables& t, double* distances)
{
    for (std::int32_t r = 0; r < t.rows; ++r)
        distances[r] = distances[r] < t.distance_floor ? -distances[r] : distances[r];
}

/// Takes the rows of a re-arrangement one after the other, p > 0. The terms have no floor here: a distance of zero
/// gives an infinite one.
static void rearrange_terms(run_context* ctx, const phip_rearrangement& list)
{
    phip_state& s = *ctx->phip;
    phip_tables& t = s.tables;
    const std::int32_t column = list.column;
    reserve_lines(ctx, t.lines, list.count);
    replaced_terms batch{0.0, 0.0, false};
    for (std::int32_t i = 0; i < list.count; ++i) {
        const std::int32_t d = list.rows_dst[i];
        const double before = t.points[d][column];
        const double after = list.taken[i];
        if (!equal_entries(before, after)) {
            batch.changed = true;
            const double* line = line_of(t, d, t.line_a);
            t.kernels->move(t.kind, t.stride, column_line(t, column), before, after, line, t.line_distances);
            t.line_distances[d] = __builtin_inf();
            t.kernels->terms(t.p, 0.0, t.stride, t.line_distances, t.new_terms);
            terms_of_line(t, line, t.old_terms);
            for (std::int32_t r = 0; r < t.rows; ++r) {
                if (r == d)
                    continue;
                batch.old_sum += t.old_terms[r];
                batch.new_sum += t.new_terms[r];
            }
            mark_terms_without_floor(t, t.line_distances);
            store_line(t, d, t.line_distances);
        }
        if (!same_bits(before, after)) {
            hold_line(t, d);
            set_point(t, d, column, after);
        }
    }
    if (!batch.changed)
        return;
    forget_sums(t);
    commit_sum(s, batch.old_sum, batch.new_sum);
}

void release_rearrangement(run_context* ctx, phip_rearrangement& list)
{
    for (void* v :
         {static_cast<void*>(list.rows_dst), static_cast<void*>(list.rows_src), static_cast<void*>(list.taken)})
        if (v != nullptr)
            vector_free(ctx, v);
    list = {};
}

static void list_rearrangement(run_context* ctx, std::int32_t column, std::int32_t count,
                               const std::int32_t* rows_dst, const std::int32_t* rows_src)
{
    phip_rearrangement& list = ctx->phip->rearrangement;
    if (count > list.capacity) {
        release_rearrangement(ctx, list);
        list.rows_dst = int_vector_alloc(ctx, count);
        list.rows_src = int_vector_alloc(ctx, count);
        list.taken = double_vector_alloc(ctx, count);
        list.capacity = count;
    }
    list.column = column;
    list.count = count;
    std::copy_n(rows_dst, count, list.rows_dst);
    std::copy_n(rows_src, count, list.rows_src);
    const double* x = column_line(ctx->phip->tables, column);
    for (std::int32_t i = 0; i < count; ++i)
        list.taken[i] = x[rows_src[i]];
}

static bool is_listed(const phip_rearrangement& list, std::int32_t column, std::int32_t count,
                      const std::int32_t* rows_dst, const std::int32_t* rows_src)
{
    return list.column == column && list.count == count && std::equal(rows_dst, rows_dst + count, list.rows_dst) &&
           std::equal(rows_src, rows_src + count, list.rows_src);
}

/// Makes the listed re-arrangement; tables and points agree.
static void rearrange(run_context* ctx)
{
    phip_state& s = *ctx->phip;
    s.exchange.computed = false;
    if (s.tables.p > 0)
        rearrange_terms(ctx, s.rearrangement);
    else
        maximin_rearrange(s, s.rearrangement);
}

double apply_rearrangement(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                           const std::int32_t* rows_src)
{
    phip_state& s = *ctx->phip;
    if (count < 1)
        return s.value;
    note_change(s, column);
    // A column snapshot wants the tables of before.
    if (s.trial.pending && !s.column_snapshot.armed &&
        is_listed(s.rearrangement, column, count, rows_dst, rows_src)) {
        static_cast<phip_sum&>(s) = s.trial.after;
        s.trial.pending = false;
        drop_capture(ctx, s.trial.before);
        return s.value;
    }
    settle(ctx);
    capture_for_restore(ctx);
    list_rearrangement(ctx, column, count, rows_dst, rows_src);
    rearrange(ctx);
    return s.value;
}

double try_rearrangement(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                         const std::int32_t* rows_src)
{
    phip_state& s = *ctx->phip;
    if (count < 1)
        return s.value;
    settle(ctx);
    list_rearrangement(ctx, column, count, rows_dst, rows_src);
    take_capture(ctx, s.tables, s.trial.before);
    s.trial.before.all_rows = true;
    const phip_sum before = s;
    s.trial.pending = true;
    rearrange(ctx);
    s.trial.after = s;
    static_cast<phip_sum&>(s) = before;
    return s.trial.after.value;
}

void take_trial_back(run_context* ctx)
{
    phip_state& s = *ctx->phip;
    if (!s.trial.pending)
        return;
    s.trial.pending = false;
    const phip_rearrangement& list = s.rearrangement;
    for (std::int32_t i = 0; i < list.count; ++i)
        set_point(s.tables, list.rows_src[i], list.column, list.taken[i]);
    if (s.tables.p > 0)
        put_lines_back(ctx, s.tables, s.trial.before);
    else
        put_capture_back(ctx, s.tables, s.trial.before);
    drop_capture(ctx, s.trial.before);
}

#include "criteria/phip_rearrangement.h"

#include "criteria/criterion.h"
#include "criteria/phip_exchange.h"
#include "criteria/phip_restore.h"
#include "storage/vectors.h"

#include <algorithm>
#include <utility>

/// Marks the distances whose terms would be at the cap if they had a floor.
static void mark_terms_without_floor(const phip_tables& t, double* distances)
{
    for (std::int32_t r = 0; r < t.rows; ++r)
        distances[r] = distances[r] < t.distance_floor ? -distances[r] : distances[r];
}

/// Takes the rows of the listed re-arrangement one after the other. The terms have no floor here: a distance of zero
/// gives an infinite one. Ends the update.
static void rearrange(run_context* ctx)
{
    phip_state& s = *ctx->phip;
    phip_tables& t = s.tables;
    const std::int32_t column = s.trial.column;
    reserve_lines(ctx, t.lines, s.trial.count);
    replaced_terms batch{0.0, 0.0, false};
    for (std::int32_t i = 0; i < s.trial.count; ++i) {
        const std::int32_t d = s.trial.rows_dst[i];
        const double before = t.points[d][column];
        const double after = s.trial.taken[i];
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
            replace_distances(t, d, t.line_distances);
        }
        if (!same_bits(before, after)) {
            hold_line(t, d);
            set_point(t, d, column, after);
        }
    }
    s.exchange.computed = false;
    if (batch.changed)
        commit_sum(s, batch.old_sum, batch.new_sum);
}

void release_trial(run_context* ctx, phip_trial& trial)
{
    for (void* v :
         {static_cast<void*>(trial.rows_dst), static_cast<void*>(trial.rows_src), static_cast<void*>(trial.taken)})
        if (v != nullptr)
            vector_free(ctx, v);
    drop_capture(ctx, trial.before);
    trial = {};
}

/// Lists a re-arrangement, with the entries that its sources hold.
static void list_rearrangement(run_context* ctx, std::int32_t column, std::int32_t count,
                               const std::int32_t* rows_dst, const std::int32_t* rows_src)
{
    phip_trial& trial = ctx->phip->trial;
    if (count > trial.capacity) {
        release_trial(ctx, trial);
        trial.rows_dst = int_vector_alloc(ctx, count);
        trial.rows_src = int_vector_alloc(ctx, count);
        trial.taken = double_vector_alloc(ctx, count);
        trial.capacity = count;
    }
    trial.column = column;
    trial.count = count;
    std::copy_n(rows_dst, count, trial.rows_dst);
    std::copy_n(rows_src, count, trial.rows_src);
    const double* x = column_line(ctx->phip->tables, column);
    for (std::int32_t i = 0; i < count; ++i)
        trial.taken[i] = x[rows_src[i]];
}

static void exchange_sum(phip_state& s, phip_sum& other)
{
    std::swap(s.value, other.value);
    std::swap(s.term_sum, other.term_sum);
    std::swap(s.update_count, other.update_count);
}

static bool is_listed(const phip_trial& trial, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                      const std::int32_t* rows_src)
{
    return trial.column == column && trial.count == count && std::equal(rows_dst, rows_dst + count, trial.rows_dst) &&
           std::equal(rows_src, rows_src + count, trial.rows_src);
}

double apply_moves_terms(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                         const std::int32_t* rows_src)
{
    phip_state& s = *ctx->phip;
    phip_trial& trial = s.trial;
    if (count < 1)
        return s.value;
    // A column snapshot wants the tables of before.
    if (trial.pending && !s.column_snapshot.armed && is_listed(trial, column, count, rows_dst, rows_src)) {
        exchange_sum(s, trial.other_sum);
        trial.pending = false;
        drop_capture(ctx, trial.before);
        return s.value;
    }
    settle(ctx);
    capture_for_restore(ctx);
    list_rearrangement(ctx, column, count, rows_dst, rows_src);
    rearrange(ctx);
    return s.value;
}

double try_moves_terms(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                       const std::int32_t* rows_src)
{
    phip_state& s = *ctx->phip;
    phip_trial& trial = s.trial;
    if (count < 1)
        return s.value;
    settle(ctx);
    list_rearrangement(ctx, column, count, rows_dst, rows_src);
    take_capture(ctx, s.tables, trial.before);
    trial.before.all_rows = true;
    trial.sums_were_stale = s.tables.sums_are_stale;
    trial.copies_were_stale = s.tables.copies_are_stale;
    trial.other_sum = {s.value, s.term_sum, s.update_count};
    trial.pending = true;
    rearrange(ctx);
    exchange_sum(s, trial.other_sum);
    return trial.other_sum.value;
}

void take_trial_back(run_context* ctx)
{
    phip_state& s = *ctx->phip;
    phip_trial& trial = s.trial;
    if (!trial.pending)
        return;
    trial.pending = false;
    for (std::int32_t i = 0; i < trial.count; ++i)
        set_point(s.tables, trial.rows_src[i], trial.column, trial.taken[i]);
    put_lines_back(ctx, s.tables, trial.before, trial.sums_were_stale, trial.copies_were_stale);
    drop_capture(ctx, trial.before);
}

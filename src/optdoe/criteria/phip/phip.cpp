#include "optdoe/criteria/phip/phip.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/criterion_params.h"
#include "optdoe/criteria/phip/phip_best_swap.h"
#include "optdoe/criteria/phip/phip_derived.h"
#include "optdoe/criteria/phip/phip_exchange.h"
#include "optdoe/criteria/phip/phip_pending.h"
#include "optdoe/criteria/phip/phip_sizes.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/vectors/aligned_tables.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cmath>

constexpr kernel_variants<phip_kernels> phip_kernel_variants
{
    &phip_kernels_baseline,
#if defined(__x86_64__)
        &phip_kernels_avx2, &phip_kernels_avx512,
#endif
};

void phip_open(run_context* ctx)
{
    open_plain_record(ctx->phip);
    if (ctx->phip != nullptr)
        ctx->phip->distances.most_rows_with_all_lines = most_rows_with_all_lines;
}

void phip_close(run_context* ctx) { close_plain_record(ctx->phip); }

/// Loads a design and evaluates it.
static double load_and_evaluate(run_context* ctx, phip_state& s, const double* const* design)
{
    load_points(ctx, s.distances, design);
    coarse_find_equal(ctx, s.coarse, s.distances.points);
    set_sum(s, sum_of_terms(s));
    return s.value;
}

/// The state with nothing pending.
static phip_state& settled_state(run_context* ctx)
{
    settle(ctx, *ctx->phip);
    return *ctx->phip;
}

static double phip_evaluate(run_context* ctx, const double* const* design)
{
    phip_state& s = settled_state(ctx);
    if (design != nullptr)
        return load_and_evaluate(ctx, s, design);
    evaluate_points(ctx, s);
    return s.value;
}

/// Exponent, kind of distance and floor from the parameter lists; an exponent of 0 is another criterion's.
static void read_params(phip_state& s, const criterion_params& params)
{
    const std::int32_t p = exponent_of(params);
    s.distances.kind = read_distance_kind(params);
    s.terms.floor = std::pow(1e-200, 1.0 / p); // with the p as given, also for squared distances
    s.terms.p = s.distances.kind == distance_kind::euclidean ? (p + 1) / 2 : p;
}

static void alloc_tables(run_context* ctx, phip_state& s)
{
    const pair_distances& d = s.distances;
    for (term_totals* totals : {&s.totals, &s.totals_before})
        totals_alloc(ctx, *totals, d.rows, d.stride);
    coarse_alloc(ctx, s.coarse, d, s.terms.p);
    parallel_vectors vectors(ctx, s.vectors, 17, d.stride);
    for (phip_exchange* e : {&s.exchange, &s.other_exchange})
        for (double** line : {&e->distance_a, &e->distance_b, &e->old_term_a, &e->old_term_b, &e->term_a, &e->term_b})
            *line = vectors.next(0.0);
    for (double** line : {&s.old_terms, &s.new_terms})
        *line = vectors.next(0.0);
    for (double** line : {&s.line, &s.line_a, &s.line_b})
        *line = vectors.next(__builtin_inf());
}

static void phip_setup(run_context* ctx, const double* const* design, std::uint32_t free_rows,
                       std::uint32_t fixed_rows, std::int32_t factors, const criterion_options& options,
                       const std::int32_t*)
{
    phip_state& s = *ctx->phip;
    s.terms.kernels = best_variant(phip_kernel_variants);
    read_params(s, options.params);
    undoable_alloc(ctx, s.distances, free_rows, fixed_rows, factors, options.factor_weights);
    alloc_tables(ctx, s);
    s.last_root = {std::nan(""), std::nan("")};
    load_and_evaluate(ctx, s, design);
}

static void phip_release(run_context* ctx)
{
    phip_state& s = *ctx->phip;
    undoable_free(ctx, s.distances);
    for (term_totals* totals : {&s.totals, &s.totals_before})
        totals_free(ctx, *totals);
    coarse_free(ctx, s.coarse);
    rearrangement_free(ctx, s.rearrangement);
    for (double* v : {s.candidates.lower, s.vectors})
        aligned_free_doubles(ctx, v);
    const undoable_distances released = s.distances;
    s = {};
    s.distances = released;
}

static double phip_value(run_context* ctx) { return ctx->phip->value; }

static double** phip_copy_design(run_context* ctx, double** out)
{
    return copy_points(settled_state(ctx).distances, out);
}

static double phip_apply_swaps(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                               const std::int32_t* rows_b)
{
    phip_state& s = settled_state(ctx);
    if (count > 0)
        log_column(s.distances, column);
    return count == 1 ? commit_exchange(ctx, s, column, rows_a[0], rows_b[0])
                      : exchange_batch(ctx, s, column, count, rows_a, rows_b);
}

static double phip_try_swaps(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                             const std::int32_t* rows_b)
{
    if (count < 1)
        return phip_value(ctx);
    phip_state& s = settled_state(ctx);
    begin_trial(s.distances, column);
    const running_sum before = s;
    const double value = exchange_batch(ctx, s, column, count, rows_a, rows_b);
    undo_changes(ctx, s, s.distances.trial_mark);
    s.distances.trial_mark.by = undo_by::unset;
    static_cast<running_sum&>(s) = before;
    return value;
}

static double phip_try_swap(run_context* ctx, std::int32_t column, std::int32_t a, std::int32_t b)
{
    return try_exchange(settled_state(ctx), column, a, b);
}

static std::int32_t phip_unique_best_swap(run_context* ctx, std::int32_t column, std::int32_t count,
                                          const std::int32_t* rows_a, const std::int32_t* rows_b, double* best_value)
{
    return unique_best_exchange(ctx, settled_state(ctx), column, count, rows_a, rows_b, best_value);
}

static double phip_try_moves(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                             const std::int32_t* rows_src)
{
    if (count < 1)
        return phip_value(ctx);
    return try_rearrangement(ctx, settled_state(ctx), column, count, rows_dst, rows_src);
}

static double phip_apply_moves(run_context* ctx, std::int32_t column, std::int32_t count,
                               const std::int32_t* rows_dst, const std::int32_t* rows_src)
{
    phip_state& s = *ctx->phip;
    if (count < 1)
        return s.value;
    if (s.pending != pending_change::rearrangement || !is_listed(s.rearrangement, column, count, rows_dst, rows_src))
        phip_try_moves(ctx, column, count, rows_dst, rows_src);
    log_column(s.distances, column);
    finish(ctx, s);
    return s.value;
}

static void phip_save_column(run_context* ctx, std::int32_t column)
{
    phip_state& s = *ctx->phip;
    s.distances.column_mark.by = undo_by::unset; // nothing is logged for the last one any more
    settle(ctx, s);
    mark_column(ctx, s.distances, column);
    s.saved_column = s;
}

/// Takes back what is pending and undoes what was written; the count of updates goes on.
static void phip_restore_column(run_context* ctx, std::int32_t)
{
    phip_state& s = *ctx->phip;
    if (s.distances.column_mark.by == undo_by::points)
        settle(ctx, s);
    else
        take_back(ctx, s);
    if (s.distances.version != s.distances.column_mark.version)
        undo_changes(ctx, s, s.distances.column_mark);
    s.value = s.saved_column.value;
    s.term_sum = s.saved_column.term_sum;
}

static void phip_save_design(run_context* ctx)
{
    phip_state& s = settled_state(ctx);
    save_points_and_lines(ctx, s.distances);
    s.saved_design_sum = s;
}

static void phip_restore_design(run_context* ctx)
{
    phip_state& s = settled_state(ctx);
    restore_points_and_lines(ctx, s.distances);
    s.value = s.saved_design_sum.value;
    s.term_sum = s.saved_design_sum.term_sum;
}

static double phip_value_of(run_context* ctx, const double* const* design)
{
    phip_state& s = settled_state(ctx);
    // Row by row left of the diagonal, so that a fresh evaluation has the same bits.
    double total = 0.0;
    for_each_pair_of(s.distances, design, [&](double distance) { total += term_of(s.terms, distance); });
    return value_of_sum(s, capped(total));
}

static void phip_copy_saved_design(run_context* ctx, double** out) { copy_saved_points(ctx->phip->distances, out); }

static memory_need phip_memory(double free_rows, double fixed_rows, double factors, const criterion_options*)
{
    const double rows = free_rows + fixed_rows;
    const double least = entries_bytes(free_rows, rows, factors) + 2.0 * rows * (rows + factors); // and copies
    const double lines = 8.0 * rows * rows;                  // of many rows, all while a re-arrangement is tried
    const double logged = 8.0 * rows * std::min(rows, 82.0); // what 41 moves between two evaluations change
    return {least + (rows <= most_rows_with_all_lines ? lines : 0.0), least + lines + logged};
}

constexpr criterion_ops phip_ops{
    .name = "phip",
    .facts = {.reads_exponent = true, .reads_distance = true},
    .setup = phip_setup,
    .release = phip_release,
    .memory = phip_memory,
    .value = phip_value,
    .copy_design = phip_copy_design,
    .evaluate = phip_evaluate,
    .apply_swaps = phip_apply_swaps,
    .try_swaps = phip_try_swaps,
    .try_swap = phip_try_swap,
    .try_moves = phip_try_moves,
    .apply_moves = phip_apply_moves,
    .save_column = phip_save_column,
    .restore_column = phip_restore_column,
    .save_design = phip_save_design,
    .restore_design = phip_restore_design,
    .value_of = phip_value_of,
    .copy_saved_design = phip_copy_saved_design,
    .unique_best_swap = phip_unique_best_swap,
};

#include "optdoe/criteria/phip/phip.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/criterion_params.h"
#include "optdoe/criteria/maximin/maximin.h"
#include "optdoe/criteria/phip/phip_exchange.h"
#include "optdoe/criteria/phip/phip_rearrangement.h"
#include "optdoe/criteria/phip/phip_restore.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/aligned_tables.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cmath>
#include <cstring>

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
    if (ctx->phip == nullptr)
        return;
    ctx->phip->tables.kernels = best_variant(phip_kernel_variants);
    ctx->phip->tables.few_rows = rows_with_tables;
}

void phip_close(run_context* ctx) { close_plain_record(ctx->phip); }

static double caller_entry(const phip_state& s, double x, std::int32_t k)
{
    return s.weighted != 0 ? x / s.weights[k] : x;
}

static double criterion_entry(const phip_state& s, double x, std::int32_t k)
{
    return s.weighted != 0 ? x * s.weights[k] : x;
}

/// Sets one entry of a design that is loaded or comes back.
static void load_entry(phip_state& s, std::int32_t r, std::int32_t k, double x)
{
    if (!same_bits(s.tables.points[r][k], x))
        note_change(s, k);
    set_point(s.tables, r, k, x);
}

static void load_design(phip_state& s, const double* const* design)
{
    for (std::int32_t r = 0; r < s.tables.rows; ++r)
        for (std::int32_t k = 0; k < s.tables.factors; ++k)
            load_entry(s, r, k, criterion_entry(s, design[r][k], k));
}

/// Value and sum from the tables.
static double value_from_tables(phip_state& s)
{
    s.update_count = 0;
    if (s.tables.p > 0) {
        s.term_sum = capped(sum_in_order(s.tables));
        s.value = value_of_sum(s, s.term_sum);
        return s.value;
    }
    double least_fixed = phip_cap;
    for (std::int32_t i = 0; i < s.fixed_rows; ++i)
        for (std::int32_t j = i + 1; j < s.fixed_rows; ++j)
            least_fixed = std::min(least_fixed, stored_line(s.tables, i)[j]);
    s.term_sum = -least_fixed;
    s.value = maximin_value(s);
    return s.value;
}

static double phip_evaluate(run_context* ctx, const double* const* design)
{
    phip_state& s = *ctx->phip;
    settle(ctx);
    s.exchange.computed = false;
    phip_tables& t = s.tables;
    if (design != nullptr || t.sums_are_stale)
        capture_for_restore(ctx);
    else if (t.p == 0 || refresh_fills(t))
        capture_evaluation(ctx); // else when the refresh is completed
    if (design != nullptr) {
        load_design(s, design);
        if (t.p > 0)
            coarse_note_equal(ctx, t.coarse, t.points);
        fill_tables(t);
        if (t.p > 0)
            forget_sums(t);
    } else {
        refresh_tables(ctx, t);
    }
    if (t.changed_count == 0 && !t.all_lines)
        trim_lines(ctx, t.lines);
    return value_from_tables(s);
}

/// Exponent, kind of distance and floor from the parameter lists.
static void read_params(phip_tables& t, const criterion_params& params)
{
    t.p = 20;
    if (list_length(params.param_count_1, params.param_list_1) > 0)
        t.p = clamp_or_default_int(0, 100, 20, trunc_i32(params.param_list_1[0] + 0.01));
    t.kind = read_distance_kind(params);
    t.distance_floor = std::pow(1e-200, 1.0 / t.p); // with the p as given, also for squared distances
    if (t.kind == distance_kind::euclidean)
        t.p = (t.p + 1) / 2;
}

static void exchange_alloc(run_context* ctx, const phip_tables& t, phip_exchange& e)
{
    parallel_vectors vectors(ctx, e.vectors, 6, t.stride);
    for (double** line : {&e.distance_a, &e.distance_b, &e.old_term_a, &e.old_term_b, &e.term_a, &e.term_b})
        *line = vectors.next(0.0);
}

static void phip_setup(run_context* ctx, const double* const* design, std::uint32_t free_rows,
                       std::uint32_t fixed_rows, std::int32_t factors, const criterion_options& options,
                       const std::int32_t*)
{
    phip_state& s = *ctx->phip;
    s.free_rows = wrap_i32(free_rows);
    s.fixed_rows = wrap_i32(fixed_rows);
    s.tables.rows = s.free_rows + s.fixed_rows;
    s.tables.factors = factors;
    read_params(s.tables, options.params);
    s.weights = options.factor_weights;
    s.weighted = 0;
    for (std::int32_t k = 0; k < factors; ++k)
        if (std::fabs(s.weights[k] - 1.0) > 1e-10)
            s.weighted = 1;

    phip_tables_alloc(ctx, s.tables);
    exchange_alloc(ctx, s.tables, s.exchange);
    exchange_alloc(ctx, s.tables, s.other_exchange);
    s.last_root = {std::nan(""), std::nan("")};
    s.column_snapshot.entries = double_vector_alloc(ctx, s.free_rows);
    s.column_snapshot.capture_entries = double_vector_alloc(ctx, s.free_rows);
    s.design_snapshot.points = double_matrix_alloc(ctx, s.free_rows, factors);
    phip_evaluate(ctx, design);
}

static void phip_release(run_context* ctx)
{
    phip_state& s = *ctx->phip;
    phip_tables_free(ctx, s.tables);
    drop_capture(ctx, s.column_snapshot.capture);
    drop_capture(ctx, s.design_snapshot.capture);
    matrix_free(ctx, s.design_snapshot.points);
    release_candidates(ctx, s.candidates);
    release_rearrangement(ctx, s.rearrangement);
    drop_capture(ctx, s.trial.before);
    for (double* v : {s.exchange.vectors, s.other_exchange.vectors, s.column_snapshot.kept_lines})
        aligned_free_doubles(ctx, v);
    for (void* v :
         {static_cast<void*>(s.column_snapshot.entries), static_cast<void*>(s.column_snapshot.capture_entries),
          static_cast<void*>(s.column_snapshot.kept_rows)})
        if (v != nullptr)
            vector_free(ctx, v);
    const phip_kernels* kernels = s.tables.kernels;
    const std::int32_t few_rows = s.tables.few_rows;
    s = {};
    s.tables.kernels = kernels;
    s.tables.few_rows = few_rows;
}

static double phip_value(run_context* ctx) { return ctx->phip->value; }

static double** phip_copy_design(run_context* ctx, double** out)
{
    take_trial_back(ctx);
    const phip_state& s = *ctx->phip;
    if (out == nullptr)
        return s.tables.points;
    for (std::int32_t r = 0; r < s.tables.rows; ++r)
        for (std::int32_t k = 0; k < s.tables.factors; ++k)
            out[r][k] = caller_entry(s, s.tables.points[r][k], k);
    return out;
}

static double phip_apply_swaps(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                               const std::int32_t* rows_b)
{
    if (count > 0)
        note_change(*ctx->phip, column);
    settle(ctx);
    return ctx->phip->tables.p > 0 ? apply_swaps_terms(ctx, column, count, rows_a, rows_b)
                                   : maximin_apply_swaps(ctx, column, count, rows_a, rows_b);
}

static double phip_try_swaps(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                             const std::int32_t* rows_b)
{
    phip_state& s = *ctx->phip;
    if (count < 1)
        return s.value;
    settle(ctx);
    return s.tables.p > 0 ? try_swaps_terms(ctx, column, count, rows_a, rows_b)
                          : maximin_try_swaps(ctx, column, count, rows_a, rows_b);
}

static double phip_try_swap(run_context* ctx, std::int32_t column, std::int32_t a, std::int32_t b)
{
    settle(ctx);
    return ctx->phip->tables.p > 0 ? try_swap_terms(ctx, column, a, b) : maximin_try_swap(ctx, column, a, b);
}

static std::int32_t phip_unique_best_swap(run_context* ctx, std::int32_t column, std::int32_t count,
                                          const std::int32_t* rows_a, const std::int32_t* rows_b, double* best_value)
{
    settle(ctx);
    return ctx->phip->tables.p > 0 ? unique_best_swap_terms(ctx, column, count, rows_a, rows_b, best_value) : -1;
}

static void phip_save_column(run_context* ctx, std::int32_t column)
{
    phip_state& s = *ctx->phip;
    phip_column_snapshot& snapshot = s.column_snapshot;
    snapshot.armed = false; // what the last one kept is not asked for any more
    settle(ctx);
    drop_capture(ctx, snapshot.capture);
    snapshot.armed = true;
    snapshot.column = column;
    snapshot.value = s.value;
    snapshot.term_sum = s.term_sum;
    snapshot.changed_count = s.tables.changed_count;
    snapshot.entries_set = s.tables.entries_set;
    snapshot.kept_count = 0;
    if (s.free_rows > 0)
        std::memcpy(snapshot.entries, free_entries(s, column), bits_u32(s.free_rows) * sizeof(double));
}

static void phip_restore_column(run_context* ctx, std::int32_t)
{
    phip_state& s = *ctx->phip;
    restore_tables(ctx);
    s.value = s.column_snapshot.value;
    s.term_sum = s.column_snapshot.term_sum;
}

static void phip_save_design(run_context* ctx)
{
    phip_state& s = *ctx->phip;
    settle(ctx);
    phip_design_snapshot& snapshot = s.design_snapshot;
    snapshot.value = s.value;
    snapshot.term_sum = s.term_sum;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        std::memcpy(snapshot.points[f], s.tables.points[s.fixed_rows + f],
                    bits_u32(s.tables.factors) * sizeof(double));
    take_capture(ctx, s.tables, snapshot.capture);
    snapshot.capture.all_rows = true;
}

static void phip_restore_design(run_context* ctx)
{
    phip_state& s = *ctx->phip;
    settle(ctx);
    s.exchange.computed = false;
    capture_for_restore(ctx);
    const phip_design_snapshot& snapshot = s.design_snapshot;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        for (std::int32_t k = 0; k < s.tables.factors; ++k)
            load_entry(s, s.fixed_rows + f, k, snapshot.points[f][k]);
    put_capture_back(ctx, s.tables, snapshot.capture);
    s.value = snapshot.value;
    s.term_sum = snapshot.term_sum;
}

static double phip_value_of(run_context* ctx, const double* const* design)
{
    take_trial_back(ctx);
    const phip_tables& t = ctx->phip->tables;
    double** points = double_matrix_alloc(ctx, t.rows, t.factors);
    for (std::int32_t r = 0; r < t.rows; ++r)
        for (std::int32_t k = 0; k < t.factors; ++k)
            points[r][k] = design == nullptr ? t.points[r][k] : criterion_entry(*ctx->phip, design[r][k], k);
    // Row by row left of the diagonal, so that a fresh evaluation has the same bits.
    double total = 0.0;
    double least = phip_cap;
    for (std::int32_t j = 0; j < t.rows; ++j) {
        for (std::int32_t i = 0; i < j; ++i) {
            const double d = distance_of(t.kind, points[i], points[j], t.factors);
            least = std::min(least, d);
            total += t.p > 0 ? term_of(t, d) : 0.0;
        }
    }
    matrix_free(ctx, points);
    return t.p > 0 ? value_of_sum(*ctx->phip, capped(total)) : -least;
}

static void phip_copy_saved_design(run_context* ctx, double** out)
{
    const phip_state& s = *ctx->phip;
    for (std::int32_t r = 0; r < s.tables.rows; ++r) {
        const double* from = r < s.fixed_rows ? s.tables.points[r] : s.design_snapshot.points[r - s.fixed_rows];
        for (std::int32_t k = 0; k < s.tables.factors; ++k)
            out[r][k] = caller_entry(s, from[k], k);
    }
}

static memory_need phip_memory_with(std::int32_t p, double free_rows, double fixed_rows, double factors)
{
    const double rows = free_rows + fixed_rows;
    const double entries =
        8.0 * rows * factors + least_matrix_bytes(rows, factors, 8.0) + least_matrix_bytes(free_rows, factors, 8.0);
    const double copies = p > 0 ? 2.0 * rows * (rows + factors) : 0.0;
    const double distances = 8.0 * rows * rows; // of many rows, all while a re-arrangement is tried
    const bool all_lines = p == 0 || rows <= rows_with_tables;
    return {entries + copies + (all_lines ? distances : 0.0), entries + copies + distances};
}

static memory_need phip_memory(double free_rows, double fixed_rows, double factors, const criterion_options* options)
{
    if (options != nullptr) {
        phip_tables t{};
        read_params(t, options->params);
        return phip_memory_with(t.p, free_rows, fixed_rows, factors);
    }
    const memory_need maximin = phip_memory_with(0, free_rows, fixed_rows, factors);
    const memory_need terms = phip_memory_with(1, free_rows, fixed_rows, factors);
    return {std::min(maximin.least, terms.least), std::min(maximin.peak, terms.peak)};
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
    .try_moves = try_rearrangement,
    .apply_moves = apply_rearrangement,
    .save_column = phip_save_column,
    .restore_column = phip_restore_column,
    .save_design = phip_save_design,
    .restore_design = phip_restore_design,
    .value_of = phip_value_of,
    .copy_saved_design = phip_copy_saved_design,
    .unique_best_swap = phip_unique_best_swap,
};

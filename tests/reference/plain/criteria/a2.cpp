#include "tests/reference/plain/criteria/a2.h"

#include "optdoe/run/factor_levels.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"
#include "tests/reference/plain/criteria/plain_memory.h"

#include <algorithm>
#include <cmath>

void a2_open(run_context* ctx) { open_plain_record(ctx->a2); }

void a2_close(run_context* ctx) { close_plain_record(ctx->a2); }

static bool same_level(double x, double y) { return std::fabs(x - y) < 1e-15; }

static std::int32_t squared(std::int32_t count) { return wrap_mul(count, count); }

/// What two entries of factor k add to the coincidence of their runs.
static std::int32_t agreement_of(const a2_state& s, std::int32_t k, double x, double y)
{
    return same_level(x, y) ? s.agreement[k] : 0;
}

/// Coincidences of a design into c, and its A2: ((1 - m) m n + (S - n) S) n / 2 and the squares, over n^2. Everything
/// but the sum of the squares has 32 bits.
static double aliasing(const a2_state& s, const double* const* x, std::int32_t** c)
{
    const std::int32_t m = s.active;
    const std::int32_t n = s.runs;
    const std::int32_t of_factors = wrap_mul(wrap_mul(wrap_sub(1, m), m), n);
    const std::int32_t of_levels = wrap_mul(wrap_sub(s.agreement_sum, n), s.agreement_sum);
    double sum = 0.5 * wrap_mul(wrap_add(of_factors, of_levels), n);
    for (std::int32_t i = 0; i < n; ++i) {
        for (std::int32_t j = i + 1; j < n; ++j) {
            c[i][j] = 0;
            for (std::int32_t k = 0; k < s.factors; ++k)
                c[i][j] = wrap_add(c[i][j], agreement_of(s, k, x[i][k], x[j][k]));
            c[j][i] = c[i][j];
            sum += squared(c[i][j]);
        }
    }
    return sum / s.runs_squared;
}

static void copy_runs(std::int32_t first, std::int32_t end, std::int32_t factors, const double* const* from,
                      double** to)
{
    for (std::int32_t i = first; i < end; ++i)
        std::copy_n(from[i - first], factors, to[i]);
}

static double a2_evaluate(run_context* ctx, const double* const* design)
{
    a2_state& s = *ctx->a2;
    if (design != nullptr)
        copy_runs(0, s.runs, s.factors, design, s.now.x);
    return s.now.a2 = aliasing(s, s.now.x, s.now.c);
}

static double a2_value(run_context* ctx) { return ctx->a2->now.a2; }

static double a2_value_of(run_context* ctx, const double* const* design)
{
    const a2_state& s = *ctx->a2;
    std::int32_t** c = int_matrix_alloc(ctx, s.runs, s.runs);
    const double result = aliasing(s, design != nullptr ? design : s.now.x, c);
    matrix_free(ctx, c);
    return result;
}

static void a2_setup(run_context* ctx, const double* const* design, std::uint32_t free_rows, std::uint32_t fixed_rows,
                     std::int32_t factors, const criterion_options& options, const std::int32_t* level_counts)
{
    const std::int32_t free_runs = wrap_i32(free_rows);
    const std::int32_t runs = wrap_i32(free_rows + fixed_rows);
    const auto picture = [=](std::int32_t lines, std::int32_t columns) {
        return a2_picture{double_matrix_alloc(ctx, lines, columns), int_matrix_alloc(ctx, runs, runs), 0.0};
    };
    a2_state& s = *ctx->a2;
    s = {.now = picture(runs, factors),
         .at_save_column = picture(1, free_runs),
         .at_save_design = picture(free_runs, factors),
         .agreement = int_vector_alloc(ctx, factors),
         .factors = factors,
         .active = 0,
         .agreement_sum = 0,
         .first_free = wrap_i32(fixed_rows),
         .runs = runs,
         .runs_squared = squared(runs)};
    for (std::int32_t k = 0; k < factors; ++k) {
        const bool is_active = options.factor_weights[k] > 1e-15;
        s.active += is_active ? 1 : 0;
        s.agreement[k] = is_active ? level_counts[k] : 0;
        s.agreement_sum = wrap_add(s.agreement_sum, s.agreement[k]);
    }
    a2_evaluate(ctx, design);
}

static void a2_release(run_context* ctx)
{
    for (const a2_picture* p : {&ctx->a2->now, &ctx->a2->at_save_column, &ctx->a2->at_save_design}) {
        matrix_free(ctx, p->x);
        matrix_free(ctx, p->c);
    }
    if (ctx->a2->agreement != nullptr)
        vector_free(ctx, ctx->a2->agreement);
    *ctx->a2 = {};
}

/// Changes the coincidence of two runs; returns the change of its square.
static std::int32_t change_pair(const a2_picture& p, std::int32_t i, std::int32_t j, std::int32_t change)
{
    const std::int32_t before = p.c[i][j];
    p.c[i][j] = p.c[j][i] = wrap_add(before, change);
    return wrap_sub(squared(p.c[i][j]), squared(before));
}

/// Run d takes an entry instead of the one it has; `aside` is another run whose coincidence with it stays.
///   returns the change of the squares
static std::int32_t set_entry(const a2_state& s, std::int32_t k, std::int32_t d, double entry, std::int32_t aside)
{
    std::int32_t change = 0;
    for (std::int32_t i = 0; i < s.runs; ++i) {
        const double x = s.now.x[i][k];
        if (i != d && i != aside)
            change = wrap_add(
                change, change_pair(s.now, i, d,
                                    wrap_sub(agreement_of(s, k, x, entry), agreement_of(s, k, x, s.now.x[d][k]))));
    }
    s.now.x[d][k] = entry;
    return change;
}

/// Exchanges the entries of two runs; true when they were different levels.
static bool exchange(const a2_state& s, std::int32_t k, std::int32_t a, std::int32_t b, std::int32_t& change)
{
    const double xa = s.now.x[a][k];
    const double xb = s.now.x[b][k];
    if (same_level(xa, xb)) {
        s.now.x[a][k] = xb;
        s.now.x[b][k] = xa;
        return false;
    }
    change = wrap_add(change, set_entry(s, k, a, xb, b));
    change = wrap_add(change, set_entry(s, k, b, xa, a));
    return true;
}

/// Gives a run an entry; true when it had another level.
static bool move(const a2_state& s, std::int32_t k, std::int32_t d, double entry, std::int32_t& change)
{
    const bool differ = !same_level(s.now.x[d][k], entry);
    if (differ)
        change = wrap_add(change, set_entry(s, k, d, entry, d));
    s.now.x[d][k] = entry;
    return differ;
}

static double changed_value(const a2_state& s, bool is_changed, std::int32_t change)
{
    return is_changed ? s.now.a2 + static_cast<double>(change) / s.runs_squared : s.now.a2;
}

static double a2_apply_swaps(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_a,
                             const std::int32_t* rows_b)
{
    bool is_changed = false;
    std::int32_t change = 0;
    for (std::int32_t t = 0; t < count; ++t)
        is_changed = exchange(*ctx->a2, k, rows_a[t], rows_b[t], change) || is_changed;
    return ctx->a2->now.a2 = changed_value(*ctx->a2, is_changed, change);
}

/// The same, then every exchange again from the last to the first: integers come back as they were.
static double a2_try_swaps(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_a,
                           const std::int32_t* rows_b)
{
    const double before = ctx->a2->now.a2;
    const double result = a2_apply_swaps(ctx, k, count, rows_a, rows_b);
    std::int32_t back = 0;
    for (std::int32_t t = count - 1; t >= 0; --t)
        exchange(*ctx->a2, k, rows_a[t], rows_b[t], back);
    ctx->a2->now.a2 = before;
    return result;
}

/// In double, where squares of new coincidences do not wrap; those of the present ones have 32 bits.
static double a2_try_swap(run_context* ctx, std::int32_t k, std::int32_t a, std::int32_t b)
{
    const a2_state& s = *ctx->a2;
    const double xa = s.now.x[a][k];
    const double xb = s.now.x[b][k];
    if (same_level(xa, xb))
        return s.now.a2;
    const auto change_of_square = [](std::int32_t count, double change) {
        return (count + change) * (count + change) - squared(count);
    };
    double sum = 0.0;
    for (std::int32_t i = 0; i < s.runs; ++i) {
        if (i != a && i != b) {
            const double x = s.now.x[i][k];
            const std::int32_t change = wrap_sub(agreement_of(s, k, x, xb), agreement_of(s, k, x, xa));
            sum += change_of_square(s.now.c[a][i], change) + change_of_square(s.now.c[b][i], wrap_sub(0, change));
        }
    }
    return s.now.a2 + sum / s.runs_squared;
}

/// The entries that runs hold: of the sources line 0, of the destinations line 1.
static double** entries_of(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                           const std::int32_t* rows_src)
{
    double** entries = double_matrix_alloc(ctx, 2, count);
    for (std::int32_t t = 0; t < count; ++t) {
        entries[0][t] = ctx->a2->now.x[rows_src[t]][k];
        entries[1][t] = ctx->a2->now.x[rows_dst[t]][k];
    }
    return entries;
}

static double a2_apply_moves(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                             const std::int32_t* rows_src)
{
    if (count < 1)
        return a2_value(ctx);
    double** entries = entries_of(ctx, k, count, rows_dst, rows_src);
    bool is_changed = false;
    std::int32_t change = 0;
    for (std::int32_t t = 0; t < count; ++t)
        is_changed = move(*ctx->a2, k, rows_dst[t], entries[0][t], change) || is_changed;
    matrix_free(ctx, entries);
    return ctx->a2->now.a2 = changed_value(*ctx->a2, is_changed, change);
}

static double a2_try_moves(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                           const std::int32_t* rows_src)
{
    if (count < 1)
        return a2_value(ctx);
    double** entries = entries_of(ctx, k, count, rows_dst, rows_src);
    const double before = ctx->a2->now.a2;
    const double result = a2_apply_moves(ctx, k, count, rows_dst, rows_src);
    std::int32_t back = 0;
    for (std::int32_t t = count - 1; t >= 0; --t)
        move(*ctx->a2, k, rows_dst[t], entries[1][t], back);
    ctx->a2->now.a2 = before;
    matrix_free(ctx, entries);
    return result;
}

/// Copies the value and the coincidences of the free runs; `to` may be the present picture.
static void copy_coincidences(const a2_state& s, const a2_picture& from, a2_picture& to)
{
    to.a2 = from.a2;
    for (std::int32_t i = s.first_free; i < s.runs; ++i)
        for (std::int32_t j = 0; j < s.runs; ++j)
            to.c[i][j] = to.c[j][i] = from.c[i][j];
}

static void a2_save_column(run_context* ctx, std::int32_t k)
{
    a2_state& s = *ctx->a2;
    copy_coincidences(s, s.now, s.at_save_column);
    for (std::int32_t i = s.first_free; i < s.runs; ++i)
        s.at_save_column.x[0][i - s.first_free] = s.now.x[i][k];
}

static void a2_restore_column(run_context* ctx, std::int32_t k)
{
    a2_state& s = *ctx->a2;
    copy_coincidences(s, s.at_save_column, s.now);
    for (std::int32_t i = s.first_free; i < s.runs; ++i)
        s.now.x[i][k] = s.at_save_column.x[0][i - s.first_free];
}

static void a2_save_design(run_context* ctx)
{
    a2_state& s = *ctx->a2;
    copy_coincidences(s, s.now, s.at_save_design);
    copy_runs(0, s.runs - s.first_free, s.factors, s.now.x + s.first_free, s.at_save_design.x);
}

static void a2_restore_design(run_context* ctx)
{
    a2_state& s = *ctx->a2;
    copy_coincidences(s, s.at_save_design, s.now);
    copy_runs(s.first_free, s.runs, s.factors, s.at_save_design.x, s.now.x);
}

static double** a2_copy_design(run_context* ctx, double** out)
{
    if (out == nullptr)
        return ctx->a2->now.x;
    copy_runs(0, ctx->a2->runs, ctx->a2->factors, ctx->a2->now.x, out);
    return out;
}

static void a2_copy_saved_design(run_context* ctx, double** out)
{
    const a2_state& s = *ctx->a2;
    copy_runs(0, s.first_free, s.factors, s.now.x, out);
    copy_runs(s.first_free, s.runs, s.factors, s.at_save_design.x, out);
}

static const char* a2_refusal(const run_context* ctx, const criterion_options&)
{
    if (ctx->levels->balanced != nullptr)
        return nullptr;
    return "\nThe a2 criteria only work for balanced matrix.";
}

constexpr criterion_ops a2_ops{
    .name = "a2",
    .facts = {.needs_balanced_columns = true,
              .has_level_groups = false,
              .target_is_not_negative = true,
              .refusal = a2_refusal},
    .setup = a2_setup,
    .release = a2_release,
    .memory = plain_memory,
    .value = a2_value,
    .copy_design = a2_copy_design,
    .evaluate = a2_evaluate,
    .apply_swaps = a2_apply_swaps,
    .try_swaps = a2_try_swaps,
    .try_swap = a2_try_swap,
    .try_moves = a2_try_moves,
    .apply_moves = a2_apply_moves,
    .save_column = a2_save_column,
    .restore_column = a2_restore_column,
    .save_design = a2_save_design,
    .restore_design = a2_restore_design,
    .value_of = a2_value_of,
    .copy_saved_design = a2_copy_saved_design,
};

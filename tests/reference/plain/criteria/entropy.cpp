#include "tests/reference/plain/criteria/entropy.h"

#include "optdoe/criteria/criterion_params.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"
#include "tests/reference/plain/criteria/plain_memory.h"

#include <algorithm>
#include <cmath>
#include <utility>

void entropy_open(run_context* ctx) { open_plain_record(ctx->entropy); }

void entropy_close(run_context* ctx) { close_plain_record(ctx->entropy); }

static bool same_level(double x, double y) { return std::fabs(x - y) < 1e-15; }

/// What a difference in one factor adds to -ln of the correlation.
static double decay(const entropy_state& s, double difference)
{
    return s.kind == distance_kind::rectangular ? std::fabs(difference) : difference * difference;
}

static void correlate(const entropy_state& s, const entropy_picture& p)
{
    for (std::int32_t i = 0; i < s.points; ++i) {
        for (std::int32_t j = i + 1; j < s.points; ++j) {
            double decays = 0.0;
            for (std::int32_t k = 0; k < s.factors; ++k)
                decays += decay(s, p.x[i][k] - p.x[j][k]);
            p.r[i][j] = p.r[j][i] = std::exp(-decays);
        }
    }
}

/// Row j of the Cholesky factor, up to column `end`; sums run from the highest index down.
static void solve_row(const entropy_picture& p, std::int32_t j, std::int32_t end)
{
    for (std::int32_t i = 0; i < end; ++i) {
        double known = 0.0;
        for (std::int32_t m = i; m-- > 0;)
            known += p.l[j][m] * p.l[i][m];
        p.l[j][i] = (p.r[i][j] - known) / p.l[i][i];
    }
}

/// Rows of the factor from `first` on, and -ln det.
static double factorise(const entropy_state& s, const entropy_picture& p, std::int32_t first)
{
    bool failed = false;
    for (std::int32_t j = first; j < s.points; ++j) {
        p.l[j][j] = 0.0;
        if (failed)
            continue;
        solve_row(p, j, j);
        double known = 0.0;
        for (std::int32_t m = j; m-- > 0;)
            known += p.l[j][m] * p.l[j][m];
        failed = !(1.0 - known > 0.0);
        p.l[j][j] = failed ? 0.0 : std::sqrt(1.0 - known);
    }
    double root_of_det = 1.0;
    for (std::int32_t j = 0; j < s.points; ++j)
        root_of_det *= p.l[j][j];
    return root_of_det > 0.0 ? -2.0 * std::log(root_of_det) : 1e20;
}

static double entropy_evaluate(run_context* ctx, const double* const* design)
{
    entropy_state& s = *ctx->entropy;
    for (std::int32_t i = 0; i < s.points && design != nullptr; ++i)
        for (std::int32_t k = 0; k < s.factors; ++k)
            s.now.x[i][k] = s.scale[k] * design[i][k];
    correlate(s, s.now);
    return s.now.minus_log_det = factorise(s, s.now, 0);
}

static double entropy_value(run_context* ctx) { return ctx->entropy->now.minus_log_det; }

/// A picture with `lines` lines of `columns` entries and tables of all points.
static entropy_picture make_picture(run_context* ctx, std::int32_t lines, std::int32_t columns, std::int32_t points)
{
    return {double_matrix_alloc(ctx, lines, columns), double_matrix_alloc(ctx, points, points),
            double_matrix_alloc(ctx, points, points), 1e20};
}

static void free_picture(run_context* ctx, const entropy_picture& p)
{
    for (double** matrix : {p.x, p.r, p.l})
        matrix_free(ctx, matrix);
}

static double entropy_value_of(run_context* ctx, const double* const* design)
{
    const entropy_state& s = *ctx->entropy;
    const entropy_picture p = make_picture(ctx, s.points, s.factors, s.points);
    for (std::int32_t i = 0; i < s.points; ++i)
        for (std::int32_t k = 0; k < s.factors; ++k)
            p.x[i][k] = design != nullptr ? s.scale[k] * design[i][k] : s.now.x[i][k];
    correlate(s, p);
    const double result = factorise(s, p, 0);
    free_picture(ctx, p);
    return result;
}

static void entropy_setup(run_context* ctx, const double* const* design, std::uint32_t free_rows,
                          std::uint32_t fixed_rows, std::int32_t factors, const criterion_options& options,
                          const std::int32_t*)
{
    const std::int32_t free_points = wrap_i32(free_rows);
    const std::int32_t points = wrap_i32(free_rows + fixed_rows);
    entropy_state& s = *ctx->entropy;
    s = {.now = make_picture(ctx, points, factors, points),
         .at_save_column = make_picture(ctx, 1, free_points, points),
         .at_save_design = make_picture(ctx, free_points, factors, points),
         .scale = double_vector_alloc(ctx, factors),
         .kind = read_distance_kind(options.params),
         .factors = factors,
         .first_free = wrap_i32(fixed_rows),
         .points = points};
    const bool euclidean = s.kind != distance_kind::rectangular;
    const double usual = euclidean ? 5.0 : 3.0;
    const double* thetas = options.params.param_list_1;
    const std::int32_t told = std::min(factors, list_length(options.params.param_count_1, thetas));
    for (std::int32_t k = 0; k < factors; ++k) {
        const double wanted = told == 1 ? thetas[0] : k < told ? thetas[k] : usual;
        const double theta = clamp_or_default_double(1e-40, 1000.0, usual, wanted);
        s.scale[k] = (euclidean ? std::sqrt(theta) : theta) * options.factor_weights[k];
    }
    entropy_evaluate(ctx, design);
}

static void entropy_release(run_context* ctx)
{
    entropy_state& s = *ctx->entropy;
    for (const entropy_picture* p : {&s.now, &s.at_save_column, &s.at_save_design})
        free_picture(ctx, *p);
    if (s.scale != nullptr)
        vector_free(ctx, s.scale);
    s = {};
}

/// Copies -ln det and what belongs to the points from `first` on; `to` may be the present picture.
static void copy_tables(const entropy_state& s, std::int32_t first, const entropy_picture& from, entropy_picture& to)
{
    to.minus_log_det = from.minus_log_det;
    for (std::int32_t i = first; i < s.points; ++i) {
        std::copy_n(from.r[i], s.points, to.r[i]);
        std::copy_n(from.l[i], i + 1, to.l[i]);
        for (std::int32_t j = 0; j < first; ++j)
            to.r[j][i] = from.r[j][i];
    }
}

/// What the correlation with a point of level `other` is multiplied by when a level goes from `old` to `next`.
static double growth_of_pair(const entropy_state& s, double other, double old, double next)
{
    return std::exp(decay(s, other - old) - decay(s, other - next));
}

static void set_pair(const entropy_picture& p, std::int32_t i, std::int32_t j, double correlation)
{
    p.r[i][j] = p.r[j][i] = correlation;
}

static std::int32_t first_of(std::int32_t count, const std::int32_t* points, std::int32_t first)
{
    return count > 0 ? std::min(first, *std::min_element(points, points + count)) : first;
}

static double entropy_apply_swaps(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_a,
                                  const std::int32_t* rows_b)
{
    const entropy_state& s = *ctx->entropy;
    entropy_picture& p = ctx->entropy->now;
    bool stays = count >= 0;
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t a = rows_a[t];
        const std::int32_t b = rows_b[t];
        const bool differ = !same_level(p.x[a][k], p.x[b][k]);
        for (std::int32_t i = 0; i < s.points && differ; ++i) {
            if (i != a && i != b) {
                const double growth = growth_of_pair(s, p.x[i][k], p.x[a][k], p.x[b][k]);
                set_pair(p, i, a, p.r[i][a] * growth);
                set_pair(p, i, b, p.r[i][b] / growth);
            }
        }
        std::swap(p.x[a][k], p.x[b][k]);
        stays = stays && !differ;
    }
    const std::int32_t first = first_of(count, rows_a, first_of(count, rows_b, s.points));
    return stays ? p.minus_log_det : p.minus_log_det = factorise(s, p, first);
}

static double entropy_apply_moves(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                                  const std::int32_t* rows_src)
{
    const entropy_state& s = *ctx->entropy;
    entropy_picture& p = ctx->entropy->now;
    bool stays = true;
    double* next = count > 0 ? double_vector_alloc(ctx, count) : nullptr;
    for (std::int32_t t = 0; t < count; ++t)
        next[t] = p.x[rows_src[t]][k];
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t d = rows_dst[t];
        const bool differ = !same_level(p.x[d][k], next[t]);
        for (std::int32_t i = 0; i < s.points && differ; ++i)
            if (i != d)
                set_pair(p, i, d, p.r[i][d] * growth_of_pair(s, p.x[i][k], p.x[d][k], next[t]));
        p.x[d][k] = next[t];
        stays = stays && !differ;
    }
    if (next != nullptr)
        vector_free(ctx, next);
    return stays ? p.minus_log_det : p.minus_log_det = factorise(s, p, first_of(count, rows_dst, s.points));
}

/// What `commit` gives, for a change of column k that reaches the points from `first` on; everything is put back.
template <class Commit>
static double try_and_put_back(run_context* ctx, std::int32_t k, std::int32_t first, Commit commit)
{
    entropy_state& s = *ctx->entropy;
    entropy_picture before = make_picture(ctx, 1, s.points, s.points);
    copy_tables(s, first, s.now, before);
    for (std::int32_t i = first; i < s.points; ++i)
        before.x[0][i] = s.now.x[i][k];
    const double result = commit();
    copy_tables(s, first, before, s.now);
    for (std::int32_t i = first; i < s.points; ++i)
        s.now.x[i][k] = before.x[0][i];
    free_picture(ctx, before);
    return result;
}

static double entropy_try_swaps(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_a,
                                const std::int32_t* rows_b)
{
    if (count < 1)
        return entropy_value(ctx);
    const std::int32_t first = std::min(first_of(count, rows_a, rows_a[0]), first_of(count, rows_b, rows_b[0]));
    return try_and_put_back(ctx, k, first, [=] { return entropy_apply_swaps(ctx, k, count, rows_a, rows_b); });
}

static double entropy_try_swap(run_context* ctx, std::int32_t k, std::int32_t a, std::int32_t b)
{
    const entropy_picture& p = ctx->entropy->now;
    return same_level(p.x[a][k], p.x[b][k]) ? p.minus_log_det : entropy_try_swaps(ctx, k, 1, &a, &b);
}

static double entropy_try_moves(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                                const std::int32_t* rows_src)
{
    if (count < 1)
        return entropy_value(ctx);
    return try_and_put_back(ctx, k, first_of(count, rows_dst, rows_dst[0]),
                            [=] { return entropy_apply_moves(ctx, k, count, rows_dst, rows_src); });
}

static void entropy_save_column(run_context* ctx, std::int32_t k)
{
    entropy_state& s = *ctx->entropy;
    copy_tables(s, s.first_free, s.now, s.at_save_column);
    for (std::int32_t i = s.first_free; i < s.points; ++i)
        s.at_save_column.x[0][i - s.first_free] = s.now.x[i][k];
}

static void entropy_restore_column(run_context* ctx, std::int32_t k)
{
    entropy_state& s = *ctx->entropy;
    copy_tables(s, s.first_free, s.at_save_column, s.now);
    for (std::int32_t i = s.first_free; i < s.points; ++i)
        s.now.x[i][k] = s.at_save_column.x[0][i - s.first_free];
}

static void entropy_save_design(run_context* ctx)
{
    entropy_state& s = *ctx->entropy;
    copy_tables(s, s.first_free, s.now, s.at_save_design);
    for (std::int32_t i = s.first_free; i < s.points; ++i)
        std::copy_n(s.now.x[i], s.factors, s.at_save_design.x[i - s.first_free]);
}

static void entropy_restore_design(run_context* ctx)
{
    entropy_state& s = *ctx->entropy;
    copy_tables(s, s.first_free, s.at_save_design, s.now);
    for (std::int32_t i = s.first_free; i < s.points; ++i)
        std::copy_n(s.at_save_design.x[i - s.first_free], s.factors, s.now.x[i]);
}

static double** entropy_copy_design(run_context* ctx, double** out)
{
    const entropy_state& s = *ctx->entropy;
    for (std::int32_t k = 0; k < s.factors && out != nullptr; ++k)
        for (std::int32_t i = 0; i < s.points; ++i)
            out[i][k] = s.now.x[i][k] / s.scale[k];
    return out != nullptr ? out : s.now.x;
}

static void entropy_copy_saved_design(run_context* ctx, double** out)
{
    const entropy_state& s = *ctx->entropy;
    for (std::int32_t k = 0; k < s.factors; ++k) {
        for (std::int32_t i = 0; i < s.first_free; ++i)
            out[i][k] = s.now.x[i][k] / s.scale[k];
        for (std::int32_t i = s.first_free; i < s.points; ++i)
            out[i][k] = s.at_save_design.x[i - s.first_free][k] / s.scale[k];
    }
}

constexpr criterion_ops entropy_ops{
    .name = "entropy",
    .facts = {.reads_theta = true, .reads_distance = true},
    .setup = entropy_setup,
    .release = entropy_release,
    .memory = plain_memory,
    .value = entropy_value,
    .copy_design = entropy_copy_design,
    .evaluate = entropy_evaluate,
    .apply_swaps = entropy_apply_swaps,
    .try_swaps = entropy_try_swaps,
    .try_swap = entropy_try_swap,
    .try_moves = entropy_try_moves,
    .apply_moves = entropy_apply_moves,
    .save_column = entropy_save_column,
    .restore_column = entropy_restore_column,
    .save_design = entropy_save_design,
    .restore_design = entropy_restore_design,
    .value_of = entropy_value_of,
    .copy_saved_design = entropy_copy_saved_design,
};

#include "tests/reference/plain/criteria/cd2.h"

#include "optdoe/run/plain_record.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"
#include "tests/reference/plain/criteria/plain_memory.h"

#include <algorithm>
#include <cmath>
#include <utility>

void cd2_open(run_context* ctx) { open_plain_record(ctx->cd2); }

void cd2_close(run_context* ctx) { close_plain_record(ctx->cd2); }

static bool same_level(double x, double y) { return std::fabs(x - y) < 1e-15; }

template <class Part>
static double product_over(std::int32_t factors, Part part)
{
    double product = 1.0;
    for (std::int32_t k = 0; k < factors; ++k)
        product = product * part(k);
    return product;
}

/// Summands of z and a into t, and their sum: the triangle above the diagonal, with it, line by line.
static double discrepancy(const cd2_state& s, const cd2_picture& p)
{
    const std::int32_t last = s.points;
    const double n = s.points;
    p.t[last][last] = 0.0;
    for (std::int32_t i = 0; i < last; ++i) {
        const double* a = p.a[i];
        p.t[i][i] = product_over(s.factors, [=](std::int32_t k) { return 1.0 + a[k]; }) / (n * n);
        p.t[i][last] =
            -2.0 / n * product_over(s.factors, [=](std::int32_t k) { return (a[k] + 2.0 - a[k] * a[k]) * 0.5; });
        p.t[last][i] = p.t[i][last];
        for (std::int32_t j = i + 1; j < last; ++j) {
            const auto factor = [&](std::int32_t k) {
                return (a[k] + 2.0 + p.a[j][k] - std::fabs(p.z[i][k] - p.z[j][k])) * 0.5;
            };
            p.t[i][j] = 2.0 / (n * n) * product_over(s.factors, factor);
            p.t[j][i] = p.t[i][j];
        }
    }
    double sum = product_over(s.active, [](std::int32_t) { return 1.0833333333333333; }); // 13/12
    for (std::int32_t i = 0; i <= last; ++i)
        for (std::int32_t j = i; j <= last; ++j)
            sum += p.t[i][j];
    return sum;
}

/// The design in units of the criterion: times the weights, where there are some.
static void scale_design(const cd2_state& s, const double* const* design, double** z, double** a)
{
    for (std::int32_t i = 0; i < s.points; ++i) {
        for (std::int32_t k = 0; k < s.factors; ++k) {
            const double x = design[i][k];
            z[i][k] = s.has_weights ? s.weights[k] * x : x;
            a[i][k] = std::fabs(s.has_weights ? s.weights[k] * (x - 0.5) : x - 0.5);
        }
    }
}

static double in_callers_units(const cd2_state& s, double z, std::int32_t k)
{
    return s.has_weights ? z / s.weights[k] : z;
}

static double cd2_evaluate(run_context* ctx, const double* const* design)
{
    cd2_state& s = *ctx->cd2;
    if (design != nullptr)
        scale_design(s, design, s.now.z, s.now.a);
    return s.now.total = discrepancy(s, s.now);
}

static double cd2_value(run_context* ctx) { return ctx->cd2->now.total; }

static double cd2_value_of(run_context* ctx, const double* const* design)
{
    const cd2_state& s = *ctx->cd2;
    cd2_picture p{double_matrix_alloc(ctx, s.points, s.factors), double_matrix_alloc(ctx, s.points, s.factors),
                  double_matrix_alloc(ctx, s.points + 1, s.points + 1), 0.0};
    if (design != nullptr)
        scale_design(s, design, p.z, p.a);
    for (std::int32_t i = 0; i < s.points && design == nullptr; ++i) {
        std::copy_n(s.now.z[i], s.factors, p.z[i]);
        std::copy_n(s.now.a[i], s.factors, p.a[i]);
    }
    p.total = discrepancy(s, p);
    for (double** matrix : {p.z, p.a, p.t})
        matrix_free(ctx, matrix);
    return p.total;
}

static void cd2_setup(run_context* ctx, const double* const* design, std::uint32_t free_rows,
                      std::uint32_t fixed_rows, std::int32_t factors, const criterion_options& options,
                      const std::int32_t*)
{
    const std::int32_t free_points = wrap_i32(free_rows);
    const std::int32_t points = wrap_i32(free_rows + fixed_rows);
    const auto matrix = [ctx](std::int32_t lines, std::int32_t columns) {
        return double_matrix_alloc(ctx, lines, columns);
    };
    cd2_state& s = *ctx->cd2;
    s = {.now = {matrix(points, factors), matrix(points, factors), matrix(points + 1, points + 1), 0.0},
         .at_save_column = {matrix(1, free_points), matrix(1, free_points), matrix(points + 1, points + 1), 0.0},
         .at_save_design = {matrix(free_points, factors), nullptr, matrix(points + 1, points + 1), 0.0},
         .weights = options.factor_weights,
         .has_weights = false,
         .factors = factors,
         .active = 0,
         .first_free = wrap_i32(fixed_rows),
         .points = points};
    for (std::int32_t k = 0; k < factors; ++k) {
        s.active += s.weights[k] > 1e-15 ? 1 : 0;
        s.has_weights = s.has_weights || std::fabs(s.weights[k] - 1.0) > 1e-10;
    }
    cd2_evaluate(ctx, design);
}

static void cd2_release(run_context* ctx)
{
    for (const cd2_picture* p : {&ctx->cd2->now, &ctx->cd2->at_save_column, &ctx->cd2->at_save_design})
        for (double** matrix : {p->z, p->a, p->t})
            matrix_free(ctx, matrix);
    *ctx->cd2 = {};
}

// What one summand becomes: each of the three gives its growth.

/// For good, on both sides of the diagonal.
static double put(const cd2_picture& p, std::int32_t i, std::int32_t j, double summand)
{
    const double growth = summand - p.t[i][j];
    p.t[i][j] = p.t[j][i] = summand;
    return growth;
}

/// For a trial of several rows, above the diagonal alone: below it stands what is put back. No later row of the
/// trial reads the summands of single points.
static double put_above(const cd2_picture& p, std::int32_t last, std::int32_t i, std::int32_t j, double summand)
{
    double& cell = p.t[std::min(i, j)][std::max(i, j)];
    const double growth = summand - cell;
    if (i != j && j != last)
        cell = summand;
    return growth;
}

/// Not at all.
static double compare(const cd2_picture& p, std::int32_t i, std::int32_t j, double summand)
{
    return summand - p.t[i][j];
}

static void take_from_below(const cd2_state& s, std::int32_t row)
{
    for (std::int32_t r = 0; r < s.points; ++r)
        s.now.t[std::min(r, row)][std::max(r, row)] = s.now.t[std::max(r, row)][std::min(r, row)];
}

namespace {

/// What stands in one row of the column under change.
struct level {
    double z;
    double a;
};

} // namespace

static level level_at(const cd2_state& s, std::int32_t row, std::int32_t k)
{
    return {s.now.z[row][k], s.now.a[row][k]};
}

static void set_level(const cd2_state& s, std::int32_t row, std::int32_t k, level to)
{
    s.now.z[row][k] = to.z;
    s.now.a[row][k] = to.a;
}

/// How the factor of a pair grows when the level of one row goes from `old` to `next` and that of the other stays.
static double growth_of_pair(level other, level old, level next)
{
    return (next.a + 2.0 + other.a - std::fabs(other.z - next.z)) /
           (old.a + 2.0 + other.a - std::fabs(other.z - old.z));
}

/// Rows a and b exchange their levels, which are left where they are. Growths are added one after the other: the
/// order decides the last bits.
template <class Put>
static void exchange_summands(const cd2_state& s, std::int32_t k, std::int32_t a, std::int32_t b, Put renew,
                              double& growth)
{
    const auto& t = s.now.t;
    const std::int32_t last = s.points;
    const level la = level_at(s, a, k);
    const level lb = level_at(s, b, k);
    const double g = (lb.a + 1.0) / (la.a + 1.0);
    const double hg = (2.0 - lb.a) / (2.0 - la.a) * g;
    growth += renew(a, a, t[a][a] * g);
    growth += renew(b, b, t[b][b] / g);
    growth += renew(a, last, t[a][last] * hg);
    growth += renew(b, last, t[b][last] / hg);
    for (std::int32_t r = 0; r < s.points; ++r) {
        if (r != a && r != b) {
            const double q = growth_of_pair(level_at(s, r, k), la, lb);
            growth += renew(r, a, t[std::min(r, a)][std::max(r, a)] * q);
            growth += renew(r, b, t[std::min(r, b)][std::max(r, b)] / q);
        }
    }
}

/// Row d takes another level, which is not written.
template <class Put>
static void change_summands(const cd2_state& s, std::int32_t k, std::int32_t d, level next, Put renew, double& growth)
{
    const auto& t = s.now.t;
    const std::int32_t last = s.points;
    const level old = level_at(s, d, k);
    const double g = (next.a + 1.0) / (old.a + 1.0);
    const double h = (2.0 - next.a) / (2.0 - old.a);
    growth += renew(d, d, t[d][d] * g);
    growth += renew(d, last, t[d][last] * (g * h));
    for (std::int32_t r = 0; r < s.points; ++r)
        if (r != d)
            growth += renew(r, d, t[std::min(r, d)][std::max(r, d)] * growth_of_pair(level_at(s, r, k), old, next));
}

static void exchange_levels(const cd2_state& s, std::int32_t k, std::int32_t a, std::int32_t b)
{
    std::swap(s.now.z[a][k], s.now.z[b][k]);
    std::swap(s.now.a[a][k], s.now.a[b][k]);
}

static double cd2_apply_swaps(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_a,
                              const std::int32_t* rows_b)
{
    cd2_picture& p = ctx->cd2->now;
    const auto renew = [&p](std::int32_t i, std::int32_t j, double summand) { return put(p, i, j, summand); };
    double growth = 0.0;
    for (std::int32_t t = 0; t < count; ++t) {
        if (!same_level(p.z[rows_a[t]][k], p.z[rows_b[t]][k]))
            exchange_summands(*ctx->cd2, k, rows_a[t], rows_b[t], renew, growth);
        exchange_levels(*ctx->cd2, k, rows_a[t], rows_b[t]);
    }
    return p.total += growth;
}

static double cd2_try_swap(run_context* ctx, std::int32_t k, std::int32_t a, std::int32_t b)
{
    const cd2_picture& p = ctx->cd2->now;
    double growth = 0.0;
    if (same_level(p.z[a][k], p.z[b][k]))
        return p.total;
    const auto renew = [&p](std::int32_t i, std::int32_t j, double summand) { return compare(p, i, j, summand); };
    exchange_summands(*ctx->cd2, k, a, b, renew, growth);
    return p.total + growth;
}

static double cd2_try_swaps(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_a,
                            const std::int32_t* rows_b)
{
    const cd2_state& s = *ctx->cd2;
    const auto renew = [&s](std::int32_t i, std::int32_t j, double summand) {
        return put_above(s.now, s.points, i, j, summand);
    };
    const auto differs = [=, &s](std::int32_t t) {
        return !same_level(s.now.z[rows_a[t]][k], s.now.z[rows_b[t]][k]);
    };
    double growth = 0.0;
    for (std::int32_t t = 0; t < count; ++t) {
        if (differs(t)) {
            exchange_summands(s, k, rows_a[t], rows_b[t], renew, growth);
            exchange_levels(s, k, rows_a[t], rows_b[t]);
        }
    }
    for (std::int32_t t = 0; t < count; ++t) {
        if (differs(t)) {
            take_from_below(s, rows_a[t]);
            take_from_below(s, rows_b[t]);
            exchange_levels(s, k, rows_a[t], rows_b[t]);
        }
    }
    return count < 1 ? s.now.total : s.now.total + growth;
}

/// The levels of the listed rows, z in line 0 and a in line 1.
static double** levels_of(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows)
{
    double** levels = double_matrix_alloc(ctx, 2, count);
    for (std::int32_t t = 0; t < count; ++t) {
        levels[0][t] = ctx->cd2->now.z[rows[t]][k];
        levels[1][t] = ctx->cd2->now.a[rows[t]][k];
    }
    return levels;
}

static double cd2_apply_moves(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                              const std::int32_t* rows_src)
{
    cd2_picture& p = ctx->cd2->now;
    if (count < 1)
        return p.total;
    const auto renew = [&p](std::int32_t i, std::int32_t j, double summand) { return put(p, i, j, summand); };
    double** next = levels_of(ctx, k, count, rows_src);
    double growth = 0.0;
    for (std::int32_t t = 0; t < count; ++t) {
        const level to{next[0][t], next[1][t]};
        if (!same_level(p.z[rows_dst[t]][k], to.z))
            change_summands(*ctx->cd2, k, rows_dst[t], to, renew, growth);
        set_level(*ctx->cd2, rows_dst[t], k, to);
    }
    matrix_free(ctx, next);
    return p.total += growth;
}

static double cd2_try_moves(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                            const std::int32_t* rows_src)
{
    const cd2_state& s = *ctx->cd2;
    if (count < 1)
        return s.now.total;
    const auto renew = [&s](std::int32_t i, std::int32_t j, double summand) {
        return put_above(s.now, s.points, i, j, summand);
    };
    double** next = levels_of(ctx, k, count, rows_src);
    double growth = 0.0;
    for (std::int32_t t = 0; t < count; ++t) {
        const level to{next[0][t], next[1][t]};
        if (!same_level(s.now.z[rows_dst[t]][k], to.z)) {
            change_summands(s, k, rows_dst[t], to, renew, growth);
            set_level(s, rows_dst[t], k, to);
        }
    }
    for (std::int32_t t = 0; t < count; ++t) {
        if (!same_level(s.now.z[rows_src[t]][k], next[0][t])) {
            take_from_below(s, rows_src[t]);
            set_level(s, rows_src[t], k, {next[0][t], next[1][t]});
        }
    }
    matrix_free(ctx, next);
    return s.now.total + growth;
}

/// Total and summands of the lines from the first free point on, below the diagonal; `to` may be the present picture.
static void copy_summands(const cd2_state& s, const cd2_picture& from, cd2_picture& to)
{
    to.total = from.total;
    for (std::int32_t i = s.first_free; i <= s.points; ++i)
        for (std::int32_t j = 0; j <= i; ++j)
            to.t[i][j] = to.t[j][i] = from.t[i][j];
}

static void cd2_save_column(run_context* ctx, std::int32_t k)
{
    cd2_state& s = *ctx->cd2;
    copy_summands(s, s.now, s.at_save_column);
    for (std::int32_t i = s.first_free; i < s.points; ++i) {
        s.at_save_column.z[0][i - s.first_free] = s.now.z[i][k];
        s.at_save_column.a[0][i - s.first_free] = s.now.a[i][k];
    }
}

static void cd2_restore_column(run_context* ctx, std::int32_t k)
{
    cd2_state& s = *ctx->cd2;
    copy_summands(s, s.at_save_column, s.now);
    for (std::int32_t i = s.first_free; i < s.points; ++i)
        set_level(s, i, k, {s.at_save_column.z[0][i - s.first_free], s.at_save_column.a[0][i - s.first_free]});
}

static void cd2_save_design(run_context* ctx)
{
    cd2_state& s = *ctx->cd2;
    copy_summands(s, s.now, s.at_save_design);
    for (std::int32_t i = s.first_free; i < s.points; ++i)
        std::copy_n(s.now.z[i], s.factors, s.at_save_design.z[i - s.first_free]);
}

static void cd2_restore_design(run_context* ctx)
{
    cd2_state& s = *ctx->cd2;
    copy_summands(s, s.at_save_design, s.now);
    for (std::int32_t i = s.first_free; i < s.points; ++i) {
        for (std::int32_t k = 0; k < s.factors; ++k) {
            const double z = s.at_save_design.z[i - s.first_free][k];
            const double centre = s.has_weights ? 0.5 * s.weights[k] : 0.5;
            set_level(s, i, k, {z, std::fabs(z - centre)});
        }
    }
}

static double** cd2_copy_design(run_context* ctx, double** out)
{
    const cd2_state& s = *ctx->cd2;
    for (std::int32_t i = 0; i < s.points && out != nullptr; ++i)
        for (std::int32_t k = 0; k < s.factors; ++k)
            out[i][k] = in_callers_units(s, s.now.z[i][k], k);
    return out != nullptr ? out : s.now.z;
}

static void cd2_copy_saved_design(run_context* ctx, double** out)
{
    const cd2_state& s = *ctx->cd2;
    for (std::int32_t k = 0; k < s.factors; ++k) {
        for (std::int32_t i = 0; i < s.first_free; ++i)
            out[i][k] = in_callers_units(s, s.now.z[i][k], k);
        for (std::int32_t i = s.first_free; i < s.points; ++i)
            out[i][k] = in_callers_units(s, s.at_save_design.z[i - s.first_free][k], k);
    }
}

constexpr criterion_ops cd2_ops{
    .name = "cd2",
    .facts = {.scaling = 2},
    .setup = cd2_setup,
    .release = cd2_release,
    .memory = plain_memory,
    .value = cd2_value,
    .copy_design = cd2_copy_design,
    .evaluate = cd2_evaluate,
    .apply_swaps = cd2_apply_swaps,
    .try_swaps = cd2_try_swaps,
    .try_swap = cd2_try_swap,
    .try_moves = cd2_try_moves,
    .apply_moves = cd2_apply_moves,
    .save_column = cd2_save_column,
    .restore_column = cd2_restore_column,
    .save_design = cd2_save_design,
    .restore_design = cd2_restore_design,
    .value_of = cd2_value_of,
    .copy_saved_design = cd2_copy_saved_design,
};

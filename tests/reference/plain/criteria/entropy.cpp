#include "tests/reference/plain/criteria/entropy.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/criterion_params.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"
#include "tests/reference/plain/criteria/plain_memory.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

constexpr double singular_value = 1e20; ///< objective of a correlation matrix that is not positive definite

void entropy_open(run_context* ctx) { open_plain_record(ctx->entropy); }

void entropy_close(run_context* ctx) { close_plain_record(ctx->entropy); }

static double& pair_cell(const entropy_state& s, std::int32_t i, std::int32_t j)
{
    return i < j ? s.correlation[i][j] : s.correlation[j][i];
}

/// Correlations of all pairs into both halves, the unit diagonal with them.
static void fill_correlations(distance_kind kind, const double* const* points, std::int32_t rows,
                              std::int32_t factors, double** matrix)
{
    for (std::int32_t i = 0; i < rows; ++i) {
        for (std::int32_t j = i + 1; j < rows; ++j)
            matrix[i][j] = matrix[j][i] = std::exp(-distance_of(kind, points[i], points[j], factors));
        matrix[i][i] = 1.0;
    }
}

/// Sum over m < count of x[m] y[m], from the highest index down.
static double dot_down(const double* x, const double* y, std::int32_t count)
{
    double sum = 0.0;
    for (std::int32_t m = count - 1; m >= 0; --m)
        sum += x[m] * y[m];
    return sum;
}

/// Extends the Cholesky factor of rows 0 .. k0-1 to all n rows.
///   a    in/out  upper cells R with an implied unit diagonal; diagonal and lower cells L, rows below k0 valid
///   returns 1, or -1 when a pivot is not positive: the diagonal from there on is zero then
static int cholesky_extend(double** a, std::int32_t n, std::int32_t k0)
{
    for (std::int32_t i = k0; i < n; ++i)
        a[i][i] = 0.0;
    for (std::int32_t i = 0; i < k0; ++i)
        for (std::int32_t j = k0; j < n; ++j)
            a[j][i] = (a[i][j] - dot_down(a[j], a[i], i)) / a[i][i];
    for (std::int32_t j = k0; j < n; ++j) {
        const double pivot = 1.0 - dot_down(a[j], a[j], j);
        if (!(pivot > 0.0))
            return -1;
        a[j][j] = std::sqrt(pivot);
        for (std::int32_t i = j + 1; i < n; ++i)
            a[i][j] = (a[j][i] - dot_down(a[i], a[j], j)) / a[j][j];
    }
    return 1;
}

/// -ln det R from the diagonal of its factor.
static double value_of_factor(const double* const* a, std::int32_t n)
{
    double product = 1.0;
    for (std::int32_t i = 0; i < n; ++i)
        product *= a[i][i];
    return product > 0.0 ? -2.0 * std::log(product) : singular_value;
}

static double refactor(const entropy_state& s, std::int32_t k0)
{
    cholesky_extend(s.correlation, s.rows, k0);
    return value_of_factor(s.correlation, s.rows);
}

static double entropy_value(run_context* ctx) { return ctx->entropy->value; }

static double** entropy_copy_design(run_context* ctx, double** out)
{
    const entropy_state& s = *ctx->entropy;
    if (out == nullptr)
        return s.points;
    for (std::int32_t r = 0; r < s.rows; ++r)
        for (std::int32_t k = 0; k < s.factors; ++k)
            out[r][k] = s.points[r][k] / s.theta[k];
    return out;
}

static double entropy_evaluate(run_context* ctx, const double* const* design)
{
    entropy_state& s = *ctx->entropy;
    if (design != nullptr)
        for (std::int32_t r = 0; r < s.rows; ++r)
            for (std::int32_t k = 0; k < s.factors; ++k)
                s.points[r][k] = design[r][k] * s.theta[k];
    fill_correlations(s.kind, s.points, s.rows, s.factors, s.correlation);
    s.value = refactor(s, 0);
    return s.value;
}

/// The effective multiplier of every factor, from the first parameter list.
static void read_theta(entropy_state& s, const criterion_options& options)
{
    const criterion_params& params = options.params;
    const double fallback = s.kind == distance_kind::euclidean ? 5.0 : 3.0;
    const std::int32_t given = std::min(list_length(params.param_count_1, params.param_list_1), s.factors);
    for (std::int32_t k = 0; k < s.factors; ++k) {
        double theta = fallback;
        if (given == 1)
            theta = clamp_or_default_double(1e-40, 1000.0, fallback, params.param_list_1[0]);
        else if (k < given)
            theta = clamp_or_default_double(1e-40, 1000.0, fallback, params.param_list_1[k]);
        if (s.kind == distance_kind::euclidean)
            theta = std::sqrt(theta);
        s.theta[k] = theta * options.factor_weights[k];
    }
}

static void entropy_setup(run_context* ctx, const double* const* design, std::uint32_t free_rows,
                          std::uint32_t fixed_rows, std::int32_t factors, const criterion_options& options,
                          const std::int32_t*)
{
    entropy_state& s = *ctx->entropy;
    s.factors = factors;
    s.free_rows = wrap_i32(free_rows);
    s.fixed_rows = wrap_i32(fixed_rows);
    s.rows = s.free_rows + s.fixed_rows;
    s.theta = double_vector_alloc(ctx, factors);
    s.kind = read_distance_kind(options.params);
    read_theta(s, options);

    s.points = double_matrix_alloc(ctx, s.rows, factors);
    s.correlation = double_matrix_alloc(ctx, s.rows, s.rows);
    s.saved_pair_rows = double_matrix_alloc(ctx, s.free_rows, s.rows);
    s.saved_fixed_pairs = double_matrix_alloc(ctx, s.fixed_rows, s.free_rows);
    s.saved_points = double_matrix_alloc(ctx, s.free_rows, factors);
    s.saved_design_pair_rows = double_matrix_alloc(ctx, s.free_rows, s.rows);
    s.saved_design_fixed_pairs = double_matrix_alloc(ctx, s.fixed_rows, s.free_rows);
    s.saved_column = double_vector_alloc(ctx, s.free_rows);
    s.value = singular_value;
    entropy_evaluate(ctx, design);
}

static void entropy_release(run_context* ctx)
{
    entropy_state& s = *ctx->entropy;
    if (s.theta != nullptr)
        tracked_free(ctx, s.theta);
    if (s.saved_column != nullptr)
        tracked_free(ctx, s.saved_column);
    for (double** m : {s.points, s.correlation, s.saved_pair_rows, s.saved_fixed_pairs, s.saved_points,
                       s.saved_design_pair_rows, s.saved_design_fixed_pairs})
        matrix_free(ctx, m);
    s = {};
}

static std::int32_t least_of(const std::int32_t* rows, std::int32_t count, std::int32_t least)
{
    for (std::int32_t t = 0; t < count; ++t)
        least = std::min(least, rows[t]);
    return least;
}

/// Changes the correlations of rows a and b for an exchange of their entries of one column.
static void exchange_correlations(const entropy_state& s, std::int32_t c, std::int32_t a, std::int32_t b)
{
    const double xa = s.points[a][c];
    const double xb = s.points[b][c];
    for (std::int32_t r = 0; r < s.rows; ++r) {
        if (r == a || r == b)
            continue;
        const double xr = s.points[r][c];
        const double f = std::exp(distance_part(s.kind, xr - xa) - distance_part(s.kind, xr - xb));
        pair_cell(s, r, a) *= f;
        pair_cell(s, r, b) /= f;
    }
}

static double entropy_apply_swaps(run_context* ctx, std::int32_t c, std::int32_t count, const std::int32_t* rows_a,
                                  const std::int32_t* rows_b)
{
    entropy_state& s = *ctx->entropy;
    if (count == 0)
        return s.value;
    bool changed = count < 0;
    for (std::int32_t t = 0; t < count; ++t) {
        double& xa = s.points[rows_a[t]][c];
        double& xb = s.points[rows_b[t]][c];
        if (!equal_entries(xa, xb)) {
            changed = true;
            exchange_correlations(s, c, rows_a[t], rows_b[t]);
        }
        std::swap(xa, xb);
    }
    if (changed)
        s.value = refactor(s, least_of(rows_a, count, least_of(rows_b, count, s.rows)));
    return s.value;
}

static double entropy_try_swap(run_context* ctx, std::int32_t c, std::int32_t a, std::int32_t b)
{
    const entropy_state& s = *ctx->entropy;
    if (equal_entries(s.points[a][c], s.points[b][c]))
        return s.value;
    const std::int32_t k0 = std::min(a, b);
    double** factor_rows = double_matrix_alloc(ctx, s.rows - k0, s.rows);
    double** pairs = double_matrix_alloc(ctx, 2, s.rows);
    for (std::int32_t i = k0; i < s.rows; ++i)
        std::memcpy(factor_rows[i - k0], s.correlation[i], bits_u32(i + 1) * sizeof(double));
    for (std::int32_t r = 0; r < s.rows; ++r) {
        pairs[0][r] = pair_cell(s, r, a);
        pairs[1][r] = pair_cell(s, r, b);
    }
    exchange_correlations(s, c, a, b);
    const double result = refactor(s, k0);
    for (std::int32_t r = 0; r < s.rows; ++r) {
        pair_cell(s, r, a) = pairs[0][r];
        pair_cell(s, r, b) = pairs[1][r];
    }
    for (std::int32_t i = k0; i < s.rows; ++i)
        std::memcpy(s.correlation[i], factor_rows[i - k0], bits_u32(i + 1) * sizeof(double));
    matrix_free(ctx, pairs);
    matrix_free(ctx, factor_rows);
    return result;
}

namespace {

/// Everything of the correlation matrix that an update from row k0 on can change.
struct kept_correlations {
    std::int32_t k0;
    double** rows;  ///< [rows - k0 x rows]
    double** cells; ///< [k0 x rows - k0], null for k0 = 0
};

} // namespace

static kept_correlations keep_correlations(run_context* ctx, std::int32_t k0)
{
    const entropy_state& s = *ctx->entropy;
    const std::int32_t below = s.rows - k0;
    const kept_correlations kept{k0, double_matrix_alloc(ctx, below, s.rows), double_matrix_alloc(ctx, k0, below)};
    for (std::int32_t i = 0; i < below; ++i)
        std::memcpy(kept.rows[i], s.correlation[k0 + i], bits_u32(s.rows) * sizeof(double));
    for (std::int32_t i = 0; i < k0; ++i)
        std::memcpy(kept.cells[i], s.correlation[i] + k0, bits_u32(below) * sizeof(double));
    return kept;
}

static void put_correlations_back(run_context* ctx, kept_correlations kept)
{
    const entropy_state& s = *ctx->entropy;
    const std::int32_t below = s.rows - kept.k0;
    for (std::int32_t i = 0; i < below; ++i)
        std::memcpy(s.correlation[kept.k0 + i], kept.rows[i], bits_u32(s.rows) * sizeof(double));
    for (std::int32_t i = 0; i < kept.k0; ++i)
        std::memcpy(s.correlation[i] + kept.k0, kept.cells[i], bits_u32(below) * sizeof(double));
    matrix_free(ctx, kept.cells);
    matrix_free(ctx, kept.rows);
}

static double entropy_try_swaps(run_context* ctx, std::int32_t c, std::int32_t count, const std::int32_t* rows_a,
                                const std::int32_t* rows_b)
{
    entropy_state& s = *ctx->entropy;
    if (count < 1)
        return s.value;
    const double value = s.value;
    const kept_correlations kept = keep_correlations(ctx, least_of(rows_a, count, least_of(rows_b, count, s.rows)));
    const double result = entropy_apply_swaps(ctx, c, count, rows_a, rows_b);
    s.value = value;
    for (std::int32_t t = 0; t < count; ++t)
        std::swap(s.points[rows_a[t]][c], s.points[rows_b[t]][c]);
    put_correlations_back(ctx, kept);
    return result;
}

static double entropy_apply_moves(run_context* ctx, std::int32_t c, std::int32_t count, const std::int32_t* rows_dst,
                                  const std::int32_t* rows_src)
{
    entropy_state& s = *ctx->entropy;
    if (count < 1)
        return s.value;
    double* taken = double_vector_alloc(ctx, count);
    for (std::int32_t t = 0; t < count; ++t)
        taken[t] = s.points[rows_src[t]][c];
    bool changed = false;
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t d = rows_dst[t];
        const double xd = s.points[d][c];
        if (!equal_entries(xd, taken[t])) {
            changed = true;
            for (std::int32_t r = 0; r < s.rows; ++r) {
                if (r == d)
                    continue;
                const double xr = s.points[r][c];
                pair_cell(s, r, d) *= std::exp(distance_part(s.kind, xr - xd) - distance_part(s.kind, xr - taken[t]));
            }
        }
        s.points[d][c] = taken[t];
    }
    vector_free(ctx, taken);
    if (changed)
        s.value = refactor(s, least_of(rows_dst, count, s.rows));
    return s.value;
}

static double entropy_try_moves(run_context* ctx, std::int32_t c, std::int32_t count, const std::int32_t* rows_dst,
                                const std::int32_t* rows_src)
{
    entropy_state& s = *ctx->entropy;
    if (count < 1)
        return s.value;
    const double value = s.value;
    const kept_correlations kept = keep_correlations(ctx, least_of(rows_dst, count, s.rows));
    double* entries = double_vector_alloc(ctx, count);
    for (std::int32_t t = 0; t < count; ++t)
        entries[t] = s.points[rows_src[t]][c];
    const double result = entropy_apply_moves(ctx, c, count, rows_dst, rows_src);
    s.value = value;
    for (std::int32_t t = 0; t < count; ++t)
        s.points[rows_src[t]][c] = entries[t];
    vector_free(ctx, entries);
    put_correlations_back(ctx, kept);
    return result;
}

/// Copies the matrix cells that belong to the free rows into a snapshot.
static void save_pairs(const entropy_state& s, double** pair_rows, double** fixed_pairs)
{
    for (std::int32_t f = 0; f < s.free_rows; ++f) {
        const std::int32_t r = s.fixed_rows + f;
        std::memcpy(pair_rows[f], s.correlation[r], bits_u32(s.rows) * sizeof(double));
        for (std::int32_t i = 0; i < s.fixed_rows; ++i)
            fixed_pairs[i][f] = s.correlation[i][r];
    }
}

static void restore_pairs(const entropy_state& s, double* const* pair_rows, double* const* fixed_pairs)
{
    for (std::int32_t f = 0; f < s.free_rows; ++f) {
        const std::int32_t r = s.fixed_rows + f;
        std::memcpy(s.correlation[r], pair_rows[f], bits_u32(s.rows) * sizeof(double));
        for (std::int32_t i = 0; i < s.fixed_rows; ++i)
            s.correlation[i][r] = fixed_pairs[i][f];
    }
}

static void entropy_save_column(run_context* ctx, std::int32_t c)
{
    entropy_state& s = *ctx->entropy;
    s.saved_column_value = s.value;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        s.saved_column[f] = s.points[s.fixed_rows + f][c];
    save_pairs(s, s.saved_pair_rows, s.saved_fixed_pairs);
}

static void entropy_restore_column(run_context* ctx, std::int32_t c)
{
    entropy_state& s = *ctx->entropy;
    s.value = s.saved_column_value;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        s.points[s.fixed_rows + f][c] = s.saved_column[f];
    restore_pairs(s, s.saved_pair_rows, s.saved_fixed_pairs);
}

static void entropy_save_design(run_context* ctx)
{
    entropy_state& s = *ctx->entropy;
    s.saved_design_value = s.value;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        std::memcpy(s.saved_points[f], s.points[s.fixed_rows + f], bits_u32(s.factors) * sizeof(double));
    save_pairs(s, s.saved_design_pair_rows, s.saved_design_fixed_pairs);
}

static void entropy_restore_design(run_context* ctx)
{
    entropy_state& s = *ctx->entropy;
    s.value = s.saved_design_value;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        std::memcpy(s.points[s.fixed_rows + f], s.saved_points[f], bits_u32(s.factors) * sizeof(double));
    restore_pairs(s, s.saved_design_pair_rows, s.saved_design_fixed_pairs);
}

static double entropy_value_of(run_context* ctx, const double* const* design)
{
    const entropy_state& s = *ctx->entropy;
    double** points = double_matrix_alloc(ctx, s.rows, s.factors);
    double** matrix = double_matrix_alloc(ctx, s.rows, s.rows);
    for (std::int32_t r = 0; r < s.rows; ++r)
        for (std::int32_t k = 0; k < s.factors; ++k)
            points[r][k] = design == nullptr ? s.points[r][k] : design[r][k] * s.theta[k];
    fill_correlations(s.kind, points, s.rows, s.factors, matrix);
    cholesky_extend(matrix, s.rows, 0);
    const double value = value_of_factor(matrix, s.rows);
    matrix_free(ctx, matrix);
    matrix_free(ctx, points);
    return value;
}

static void entropy_copy_saved_design(run_context* ctx, double** out)
{
    const entropy_state& s = *ctx->entropy;
    for (std::int32_t r = 0; r < s.rows; ++r) {
        const double* from = r < s.fixed_rows ? s.points[r] : s.saved_points[r - s.fixed_rows];
        for (std::int32_t k = 0; k < s.factors; ++k)
            out[r][k] = from[k] / s.theta[k];
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

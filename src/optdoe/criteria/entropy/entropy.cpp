#include "optdoe/criteria/entropy/entropy.h"

#include "optdoe/criteria/best_swap.h"
#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/criterion_params.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/settings_table.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

constexpr double singular_value = 1e20; ///< objective of a correlation matrix that is not positive definite

constexpr kernel_variants<entropy_kernels> entropy_kernel_variants
{
    &entropy_kernels_baseline,
#if defined(__x86_64__)
        &entropy_kernels_avx2, &entropy_kernels_avx512,
#endif
};

void entropy_open(run_context* ctx)
{
    open_plain_record(ctx->entropy);
    if (ctx->entropy != nullptr)
        ctx->entropy->kernels = best_variant(entropy_kernel_variants);
}

void entropy_close(run_context* ctx) { close_plain_record(ctx->entropy); }

static double& pair_cell(const upper_table& table, std::int32_t i, std::int32_t j)
{
    return i < j ? table.row[i][j] : table.row[j][i];
}

/// Correlations of all pairs.
static void fill_correlations(const entropy_state& s, const double* const* points, const upper_table& correlation)
{
    for (std::int32_t i = 0; i < s.rows; ++i)
        for (std::int32_t j = i + 1; j < s.rows; ++j)
            correlation.row[i][j] = std::exp(-distance_of(s.kind, points[i], points[j], s.factors));
}

/// -ln det R from the product of the diagonal of its factor.
static double value_of_product(double product) { return product > 0.0 ? -2.0 * std::log(product) : singular_value; }

/// Factorises the working correlations from row k0 on; the new value.
static double refactor(const entropy_state& s, std::int32_t k0)
{
    return value_of_product(
        s.kernels->factorise({s.rows, k0, s.correlation.row, s.factor.row, s.pivot, s.factor.row, s.pivot}));
}

/// The value of the correlations as they stand, whose rows above k0 are those of the factor; the factor is left
/// alone.
static double trial_value(const entropy_state& s, std::int32_t k0)
{
    return value_of_product(s.kernels->factorise(
        {s.rows, k0, s.correlation.row, s.factor.row, s.pivot, s.trial_factor.row, s.trial_pivot}));
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
    fill_correlations(s, s.points, s.correlation);
    s.value = refactor(s, 0);
    return s.value;
}

/// The effective multiplier of every factor, from the first parameter list.
static void read_theta(entropy_state& s, const criterion_options& options)
{
    const criterion_params& params = options.params;
    const setting& row = setting_of(setting_id::theta);
    const double fallback = s.kind == distance_kind::euclidean ? row.fallback : theta_for_rectangular_distances;
    const std::int32_t given = std::min(list_length(params.param_count_1, params.param_list_1), s.factors);
    for (std::int32_t k = 0; k < s.factors; ++k) {
        double theta = fallback;
        if (given == 1)
            theta = clamp_or_default_double(row.low, row.high, fallback, params.param_list_1[0]);
        else if (k < given)
            theta = clamp_or_default_double(row.low, row.high, fallback, params.param_list_1[k]);
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
    for (upper_table* table :
         {&s.correlation, &s.factor, &s.trial_factor, &s.saved_column_correlation, &s.saved_column_factor})
        *table = upper_table_alloc(ctx, s.rows);
    for (double** v : {&s.pivot, &s.trial_pivot, &s.saved_column_pivot})
        *v = double_vector_alloc(ctx, s.rows);
    s.saved_column = double_vector_alloc(ctx, s.free_rows);
    s.trial_lines = double_matrix_alloc(ctx, 2, s.rows);
    s.value = singular_value;
    entropy_evaluate(ctx, design);
}

static void entropy_release(run_context* ctx)
{
    entropy_state& s = *ctx->entropy;
    for (double* v : {s.theta, s.saved_column, s.pivot, s.trial_pivot, s.saved_column_pivot})
        if (v != nullptr)
            vector_free(ctx, v);
    matrix_free(ctx, s.points);
    matrix_free(ctx, s.saved_design);
    matrix_free(ctx, s.trial_lines);
    for (upper_table* table : {&s.correlation, &s.factor, &s.trial_factor, &s.saved_column_correlation,
                               &s.saved_column_factor, &s.saved_design_correlation})
        upper_table_free(ctx, *table);
    aligned_matrix_free(ctx, s.solutions);
    const entropy_kernels* kernels = s.kernels;
    s = {};
    s.kernels = kernels;
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
        pair_cell(s.correlation, r, a) *= f;
        pair_cell(s.correlation, r, b) /= f;
    }
}

/// Exchanges entries of a column, correlations with them; false when all were exchanges of equal entries.
static bool exchange_entries(const entropy_state& s, std::int32_t c, std::int32_t count, const std::int32_t* rows_a,
                             const std::int32_t* rows_b)
{
    bool changed = false;
    for (std::int32_t t = 0; t < count; ++t) {
        double& xa = s.points[rows_a[t]][c];
        double& xb = s.points[rows_b[t]][c];
        if (!equal_entries(xa, xb)) {
            changed = true;
            exchange_correlations(s, c, rows_a[t], rows_b[t]);
        }
        std::swap(xa, xb);
    }
    return changed;
}

static double entropy_apply_swaps(run_context* ctx, std::int32_t c, std::int32_t count, const std::int32_t* rows_a,
                                  const std::int32_t* rows_b)
{
    entropy_state& s = *ctx->entropy;
    if (count == 0)
        return s.value;
    if (exchange_entries(s, c, count, rows_a, rows_b) || count < 0)
        s.value = refactor(s, least_of(rows_a, count, least_of(rows_b, count, s.rows)));
    return s.value;
}

/// Copies the correlations of a row to a line, or back.
static void keep_row(const entropy_state& s, std::int32_t d, double* line)
{
    for (std::int32_t r = 0; r < d; ++r)
        line[r] = s.correlation.row[r][d];
    std::memcpy(line + d, s.correlation.row[d] + d, bits_u32(s.rows - d) * sizeof(double));
}

static void put_row_back(const entropy_state& s, std::int32_t d, const double* line)
{
    for (std::int32_t r = 0; r < d; ++r)
        s.correlation.row[r][d] = line[r];
    std::memcpy(s.correlation.row[d] + d, line + d, bits_u32(s.rows - d) * sizeof(double));
}

/// The value after exchanges of pairs that share no row; correlations and entries are put back.
///   lines   [2 count x rows] scratch
static double try_exchanges(const entropy_state& s, std::int32_t c, std::int32_t count, const std::int32_t* rows_a,
                            const std::int32_t* rows_b, double* const* lines)
{
    for (std::int32_t t = 0; t < count; ++t) {
        keep_row(s, rows_a[t], lines[2 * t]);
        keep_row(s, rows_b[t], lines[2 * t + 1]);
    }
    double result = s.value;
    if (exchange_entries(s, c, count, rows_a, rows_b))
        result = trial_value(s, least_of(rows_a, count, least_of(rows_b, count, s.rows)));
    for (std::int32_t t = 0; t < count; ++t) {
        put_row_back(s, rows_a[t], lines[2 * t]);
        put_row_back(s, rows_b[t], lines[2 * t + 1]);
        std::swap(s.points[rows_a[t]][c], s.points[rows_b[t]][c]);
    }
    return result;
}

static double entropy_try_swap(run_context* ctx, std::int32_t c, std::int32_t a, std::int32_t b)
{
    const entropy_state& s = *ctx->entropy;
    if (equal_entries(s.points[a][c], s.points[b][c]))
        return s.value;
    return try_exchanges(s, c, 1, &a, &b, s.trial_lines);
}

/// Estimates of the values of exchanges, with a margin for unique_best_within_bounds.
///
/// An exchange of the entries of rows a and b changes R in these rows only. Let M be R without them, V = [v_a v_b]
/// their new correlations with the other rows, rho the correlation of the two, and C the 2 x 2 block of the inverse
/// of R at a and b. Then, by Schur complements (Horn and Johnson, "Matrix analysis", 2nd ed., 0.8.5),
///
///     det R' = det R det C det S,   S = (1 rho; rho 1) - V^T M^-1 V,   V^T M^-1 V = A - B^T C^-1 B
///
/// where A = V^T R^-1 V and B holds the rows a and b of R^-1 V, both with V padded by zeroes at a and b. With L y = v
/// and L z = e all of them are dot products of solutions: A = (y y), B = (z y), C = (z z). The estimate of the value
/// is -ln(det C det S) above the working value; the correlations v are those of the trial, bit for bit.
///
/// The margin. Let u = 2^-53, and tau the trace of R^-1, the sum of all z z. The computed factor L is the exact one
/// of a matrix whose entries differ from R by at most (n + 2) u 1.01, and so is that of the trial for R' (Higham,
/// "Accuracy and stability of numerical algorithms", 2nd ed., theorem 10.3; the rows of L have length 1). Estimate
/// and trial therefore belong to matrices that differ by E with entries below e = 2.1 (n + 2) u.
///  1. With X the inverse of R', |ln det (R' + E) - ln det R'| <= 2 n e tr X as long as n e tr X <= 1/4: the first
///     order is the sum of X_ij E_ij, the sum of all |X_ij| at most n times the Frobenius norm of X and that at most
///     tr X; the further orders are less than the first. The block form of the inverse and v^T M^-1 v < 1 give
///     tr X <= theta = tau + (1 + 2 tau) 2 / det S. Under that condition the trial's factorisation succeeds too
///     (theorem 10.7).
///  2. A solution solves a system whose L differs by (n + 1) u 1.01 |L| (theorem 8.5), so it is within the fraction
///     eta = 1.1 (n + 1) u sqrt(n tau) of its length, and a dot product within (2.1 eta + n u) =: eta' of the product
///     of the lengths. With c the larger diagonal entry of C and g that of A: det C is off by the fraction
///     d = 5 eta' c^2 / det C, the entries of B^T C^-1 B, sums of four products g c c / det C in size, by
///     4 g c^2 / det C (3 eta' + d), so that the entries of S are off by s = eta' g + 4 g c^2 / det C (3 eta' + d),
///     and ln det C + ln det S by 2 d + 8 s / det S as long as d and 4 s / det S are below 1/4.
///  3. Product, logarithm and its multiple round n + 2 times: 4 (n + 8) u (1 + |value|).
/// The products that these bounds are made of are computed ones, tau among them, and off by the fraction eta' at
/// most. The margin is twice the sum of the three. Where a condition fails there are no bounds, and the trial
/// decides.
struct entropy_bounds {
    double low;
    double high;
};

/// Dot products of one candidate, named as above.
struct exchange_products {
    double a_aa, a_ab, a_bb;
    double c_aa, c_ab, c_bb;
    double b_aa, b_ab, b_ba, b_bb; ///< z_a y_a, z_a y_b, z_b y_a, z_b y_b
};

static entropy_bounds bounds_of_exchange(const entropy_state& s, const exchange_products& p, double rho, double tau)
{
    constexpr double u = 0x1p-53;
    constexpr entropy_bounds none{NAN, NAN};
    const double n = s.rows;
    const double det_c = p.c_aa * p.c_bb - p.c_ab * p.c_ab;
    // B^T C^-1 B, column by column of B
    const auto through_c = [&](double x_a, double x_b, double y_a, double y_b) {
        return (x_a * (p.c_bb * y_a - p.c_ab * y_b) + x_b * (p.c_aa * y_b - p.c_ab * y_a)) / det_c;
    };
    const double s_aa = 1.0 - (p.a_aa - through_c(p.b_aa, p.b_ba, p.b_aa, p.b_ba));
    const double s_bb = 1.0 - (p.a_bb - through_c(p.b_ab, p.b_bb, p.b_ab, p.b_bb));
    const double s_ab = rho - (p.a_ab - through_c(p.b_aa, p.b_ba, p.b_ab, p.b_bb));
    const double det_s = s_aa * s_bb - s_ab * s_ab;
    if (!(det_c > 0.0) || !(det_s > 0.0) || !(s_aa > 0.0))
        return none;

    const double estimate = -std::log(det_c * det_s);
    const double theta = tau + (1.0 + 2.0 * tau) * 2.0 / det_s;
    const double backward = n * 2.1 * (n + 2.0) * u * theta;
    const double eta = 2.1 * (1.1 * (n + 1.0) * u * std::sqrt(n * tau)) + n * u;
    const double c = std::max(p.c_aa, p.c_bb);
    const double g = std::max(p.a_aa, p.a_bb);
    const double d = 5.0 * eta * c * c / det_c;
    const double of_s = eta * g + 4.0 * g * c * c / det_c * (3.0 * eta + d);
    const double size = 1.0 + std::fabs(s.value) + std::fabs(estimate);
    if (!(backward < 0.1) || !(d < 0.1) || !(of_s / det_s < 0.01) || !(size < 1000.0))
        return none;
    const double margin = 2.0 * (2.0 * backward + 2.0 * d + 8.0 * of_s / det_s + 4.0 * (n + 8.0) * u * size);
    return {estimate - margin, estimate + margin};
}

constexpr std::int32_t unit_columns = 32; ///< rows of the identity that are solved for together
constexpr std::int32_t unit_begin = 4 * candidate_width;
constexpr std::int32_t estimate_columns = unit_begin + unit_columns + 8; ///< rows not a power of two apart: caches

/// New correlations of rows a and b after their exchange, to one column each; those of the two rows are zero.
static void write_new_correlations(const entropy_state& s, std::int32_t c, std::int32_t a, std::int32_t b,
                                   std::int32_t column_a, std::int32_t column_b)
{
    const double xa = s.points[a][c];
    const double xb = s.points[b][c];
    for (std::int32_t r = 0; r < s.rows; ++r) {
        double& new_a = s.solutions[r][column_a];
        double& new_b = s.solutions[r][column_b];
        if (r == a || r == b) {
            new_a = new_b = 0.0;
            continue;
        }
        const double xr = s.points[r][c];
        const double f = std::exp(distance_part(s.kind, xr - xa) - distance_part(s.kind, xr - xb));
        new_a = pair_cell(s.correlation, r, a) * f;
        new_b = pair_cell(s.correlation, r, b) / f;
    }
}

/// Solves for the rows of the identity, group by group, and copies to the candidates what they need.
///   returns the trace of the inverse of R
static double solve_for_units(const entropy_state& s, std::int32_t count, const std::int32_t* rows_a,
                              const std::int32_t* rows_b)
{
    double trace = 0.0;
    for (std::int32_t first = 0; first < s.rows; first += unit_columns) {
        for (std::int32_t r = first; r < s.rows; ++r)
            for (std::int32_t j = 0; j < unit_columns; ++j)
                s.solutions[r][unit_begin + j] = r == first + j ? 1.0 : 0.0;
        s.kernels->substitute(s.rows, first, s.factor.row, s.pivot, s.solutions, unit_begin, unit_columns / 8);
        for (std::int32_t r = first; r < s.rows; ++r)
            for (std::int32_t j = 0; j < unit_columns; ++j)
                trace += s.solutions[r][unit_begin + j] * s.solutions[r][unit_begin + j];
        const auto copy = [&](std::int32_t row, std::int32_t to) {
            if (row < first || row >= first + unit_columns)
                return;
            for (std::int32_t r = 0; r < s.rows; ++r)
                s.solutions[r][to] = r < row ? 0.0 : s.solutions[r][unit_begin + row - first];
        };
        for (std::int32_t t = 0; t < count; ++t) {
            copy(rows_a[t], 2 * candidate_width + t);
            copy(rows_b[t], 3 * candidate_width + t);
        }
    }
    return trace;
}

/// Bounds of at most candidate_width exchanges.
static void estimate_exchanges(const entropy_state& s, std::int32_t c, std::int32_t count, const std::int32_t* rows_a,
                               const std::int32_t* rows_b, double* low, double* high)
{
    const double tau = solve_for_units(s, count, rows_a, rows_b);
    for (std::int32_t t = 0; t < count; ++t)
        write_new_correlations(s, c, rows_a[t], rows_b[t], t, candidate_width + t);
    s.kernels->substitute(s.rows, 0, s.factor.row, s.pivot, s.solutions, 0, 2 * candidate_width / 8);
    double dots[10 * candidate_width] __attribute__((aligned(64)));
    s.kernels->candidate_dots(s.rows, s.solutions, dots);
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t a = rows_a[t];
        const std::int32_t b = rows_b[t];
        const auto dot = [&dots, t](std::int32_t which) { return dots[which * candidate_width + t]; };
        const exchange_products p{dot(0), dot(1), dot(2), dot(3), dot(4), dot(5), dot(6), dot(7), dot(8), dot(9)};
        entropy_bounds bounds = bounds_of_exchange(s, p, pair_cell(s.correlation, a, b), tau);
        if (equal_entries(s.points[a][c],
                          s.points[b][c])) // the working value, whose logarithm rounded as the others'
            bounds.high = -(bounds.low = -8.0 * (s.rows + 8.0) * 0x1p-53 * (1.0 + std::fabs(s.value)));
        low[t] = bounds.low;
        high[t] = bounds.high;
    }
}

static std::int32_t entropy_unique_best_swap(run_context* ctx, std::int32_t c, std::int32_t count,
                                             const std::int32_t* rows_a, const std::int32_t* rows_b,
                                             double* best_value)
{
    entropy_state& s = *ctx->entropy;
    if (!(s.value < 1000.0)) // close to a singular matrix, or one: no estimate would hold
        return -1;
    if (s.solutions == nullptr)
        s.solutions = aligned_matrix_alloc(ctx, s.rows, estimate_columns);
    double* low = double_vector_alloc(ctx, count);
    double* high = double_vector_alloc(ctx, count);
    for (std::int32_t t = 0; t < count; t += candidate_width)
        estimate_exchanges(s, c, std::min(candidate_width, count - t), rows_a + t, rows_b + t, low + t, high + t);
    const swap_candidates candidates{entropy_try_swap, c, count, rows_a, rows_b};
    const std::int32_t best = unique_best_within_bounds(ctx, candidates, low, high, best_value);
    vector_free(ctx, high);
    vector_free(ctx, low);
    return best;
}

static double entropy_try_swaps(run_context* ctx, std::int32_t c, std::int32_t count, const std::int32_t* rows_a,
                                const std::int32_t* rows_b)
{
    const entropy_state& s = *ctx->entropy;
    if (count < 1)
        return s.value;
    double** lines = double_matrix_alloc(ctx, wrap_mul(2, count), s.rows);
    const double result = try_exchanges(s, c, count, rows_a, rows_b, lines);
    matrix_free(ctx, lines);
    return result;
}

/// Gives rows_dst the taken entries, correlations with them; false when every row keeps its entry.
static bool move_entries(const entropy_state& s, std::int32_t c, std::int32_t count, const std::int32_t* rows_dst,
                         const double* taken)
{
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
                pair_cell(s.correlation, r, d) *=
                    std::exp(distance_part(s.kind, xr - xd) - distance_part(s.kind, xr - taken[t]));
            }
        }
        s.points[d][c] = taken[t];
    }
    return changed;
}

/// The entries that the source rows hold.
static double* take_entries(run_context* ctx, std::int32_t c, std::int32_t count, const std::int32_t* rows_src)
{
    double* taken = double_vector_alloc(ctx, count);
    for (std::int32_t t = 0; t < count; ++t)
        taken[t] = ctx->entropy->points[rows_src[t]][c];
    return taken;
}

static double entropy_apply_moves(run_context* ctx, std::int32_t c, std::int32_t count, const std::int32_t* rows_dst,
                                  const std::int32_t* rows_src)
{
    entropy_state& s = *ctx->entropy;
    if (count < 1)
        return s.value;
    double* taken = take_entries(ctx, c, count, rows_src);
    if (move_entries(s, c, count, rows_dst, taken))
        s.value = refactor(s, least_of(rows_dst, count, s.rows));
    vector_free(ctx, taken);
    return s.value;
}

static double entropy_try_moves(run_context* ctx, std::int32_t c, std::int32_t count, const std::int32_t* rows_dst,
                                const std::int32_t* rows_src)
{
    const entropy_state& s = *ctx->entropy;
    if (count < 1)
        return s.value;
    double* taken = take_entries(ctx, c, count, rows_src);
    double** lines = double_matrix_alloc(ctx, count, s.rows);
    for (std::int32_t t = 0; t < count; ++t)
        keep_row(s, rows_dst[t], lines[t]);
    double result = s.value;
    if (move_entries(s, c, count, rows_dst, taken))
        result = trial_value(s, least_of(rows_dst, count, s.rows));
    for (std::int32_t t = 0; t < count; ++t) {
        put_row_back(s, rows_dst[t], lines[t]);
        s.points[rows_src[t]][c] = taken[t];
    }
    matrix_free(ctx, lines);
    vector_free(ctx, taken);
    return result;
}

static void entropy_save_column(run_context* ctx, std::int32_t c)
{
    entropy_state& s = *ctx->entropy;
    s.saved_column_value = s.value;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        s.saved_column[f] = s.points[s.fixed_rows + f][c];
    upper_table_copy(s.saved_column_correlation, s.correlation);
    upper_table_copy(s.saved_column_factor, s.factor);
    std::copy_n(s.pivot, s.rows, s.saved_column_pivot);
}

static void entropy_restore_column(run_context* ctx, std::int32_t c)
{
    entropy_state& s = *ctx->entropy;
    s.value = s.saved_column_value;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        s.points[s.fixed_rows + f][c] = s.saved_column[f];
    upper_table_copy(s.correlation, s.saved_column_correlation);
    upper_table_copy(s.factor, s.saved_column_factor);
    std::copy_n(s.saved_column_pivot, s.rows, s.pivot);
}

static void entropy_save_design(run_context* ctx)
{
    entropy_state& s = *ctx->entropy;
    if (s.saved_design_correlation.row == nullptr) {
        s.saved_design = double_matrix_alloc(ctx, s.free_rows, s.factors);
        s.saved_design_correlation = upper_table_alloc(ctx, s.rows);
    }
    s.saved_design_value = s.value;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        std::copy_n(s.points[s.fixed_rows + f], s.factors, s.saved_design[f]);
    upper_table_copy(s.saved_design_correlation, s.correlation);
}

static void entropy_restore_design(run_context* ctx)
{
    entropy_state& s = *ctx->entropy;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        std::copy_n(s.saved_design[f], s.factors, s.points[s.fixed_rows + f]);
    upper_table_copy(s.correlation, s.saved_design_correlation);
    refactor(s, 0);
    s.value = s.saved_design_value;
}

static double entropy_value_of(run_context* ctx, const double* const* design)
{
    const entropy_state& s = *ctx->entropy;
    double** points = double_matrix_alloc(ctx, s.rows, s.factors);
    for (std::int32_t r = 0; r < s.rows; ++r)
        for (std::int32_t k = 0; k < s.factors; ++k)
            points[r][k] = design == nullptr ? s.points[r][k] : design[r][k] * s.theta[k];
    upper_table correlation = upper_table_alloc(ctx, s.rows);
    fill_correlations(s, points, correlation);
    const double product =
        s.kernels->factorise({s.rows, 0, correlation.row, s.factor.row, s.pivot, s.trial_factor.row, s.trial_pivot});
    upper_table_free(ctx, correlation);
    matrix_free(ctx, points);
    return value_of_product(product);
}

static void entropy_copy_saved_design(run_context* ctx, double** out)
{
    const entropy_state& s = *ctx->entropy;
    for (std::int32_t r = 0; r < s.rows; ++r) {
        const double* from = r < s.fixed_rows ? s.points[r] : s.saved_design[r - s.fixed_rows];
        for (std::int32_t k = 0; k < s.factors; ++k)
            out[r][k] = from[k] / s.theta[k];
    }
}

static memory_need entropy_memory(double free_rows, double fixed_rows, double factors, const criterion_options*)
{
    const double rows = free_rows + fixed_rows;
    const double triangle = 4.0 * rows * rows;
    const double least = 5.0 * triangle + least_matrix_bytes(rows, factors, 8.0);
    return {least, least + triangle + 8.0 * free_rows * rows}; // a saved design, the lines of a re-arrangement
}

constexpr criterion_ops entropy_ops{
    .name = "entropy",
    .facts = {.reads_theta = true, .reads_distance = true},
    .setup = entropy_setup,
    .release = entropy_release,
    .memory = entropy_memory,
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
    .unique_best_swap = entropy_unique_best_swap,
};

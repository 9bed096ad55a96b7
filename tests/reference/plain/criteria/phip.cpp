#include "tests/reference/plain/criteria/phip.h"

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

constexpr double cap = 1e200;
constexpr std::int32_t updates_between_sums = 5;
constexpr double least_ratio = 1e-8;

/// At most the cap; the cap, too, for a sum that is not a number.
static double capped(double sum) { return sum < cap ? sum : cap; }

void phip_open(run_context* ctx) { open_plain_record(ctx->phip); }

void phip_close(run_context* ctx) { close_plain_record(ctx->phip); }

static double& upper(const phip_state& s, std::int32_t i, std::int32_t j)
{
    return i < j ? s.pair_table[i][j] : s.pair_table[j][i];
}

static double& lower(const phip_state& s, std::int32_t i, std::int32_t j)
{
    return i < j ? s.pair_table[j][i] : s.pair_table[i][j];
}

static double term_of(const phip_state& s, double distance)
{
    return distance < s.distance_floor ? cap : 1.0 / int_power(distance, bits_u32(s.p));
}

static double value_of_sum(const phip_state& s, double sum)
{
    return std::pow(sum, (s.kind == distance_kind::euclidean ? 0.5 : 1.0) / s.p);
}

static double sum_of_terms(const phip_state& s)
{
    double total = 0.0;
    for (std::int32_t j = 0; j < s.rows; ++j)
        for (std::int32_t i = 0; i < j; ++i)
            total += s.pair_table[j][i];
    return total;
}

static double negated_least_distance(const phip_state& s)
{
    double least = -s.term_sum;
    for (std::int32_t j = s.fixed_rows; j < s.rows; ++j)
        for (std::int32_t i = 0; i < j; ++i)
            least = std::min(least, s.pair_table[i][j]);
    return -least;
}

static double phip_value(run_context* ctx) { return ctx->phip->value; }

static double** phip_copy_design(run_context* ctx, double** out)
{
    const phip_state& s = *ctx->phip;
    if (out == nullptr)
        return s.points;
    for (std::int32_t r = 0; r < s.rows; ++r)
        for (std::int32_t k = 0; k < s.factors; ++k)
            out[r][k] = s.weighted != 0 ? s.points[r][k] / s.weights[k] : s.points[r][k];
    return out;
}

static double evaluate_terms(phip_state& s)
{
    for (std::int32_t i = 0; i < s.rows; ++i) {
        for (std::int32_t j = i + 1; j < s.rows; ++j) {
            s.pair_table[i][j] = distance_of(s.kind, s.points[i], s.points[j], s.factors);
            s.pair_table[j][i] = term_of(s, s.pair_table[i][j]);
        }
    }
    s.term_sum = capped(sum_of_terms(s));
    return value_of_sum(s, s.term_sum);
}

static double evaluate_maximin(phip_state& s)
{
    double least_fixed = cap;
    for (std::int32_t i = 0; i < s.rows; ++i) {
        for (std::int32_t j = i + 1; j < s.rows; ++j) {
            s.pair_table[i][j] = distance_of(s.kind, s.points[i], s.points[j], s.factors);
            s.pair_table[j][i] = s.pair_table[i][j];
            if (j < s.fixed_rows)
                least_fixed = std::min(least_fixed, s.pair_table[i][j]);
        }
    }
    s.term_sum = -least_fixed;
    return s.free_rows < 1 ? s.term_sum : negated_least_distance(s);
}

static double phip_evaluate(run_context* ctx, const double* const* design)
{
    phip_state& s = *ctx->phip;
    s.update_count = 0;
    if (design != nullptr)
        for (std::int32_t r = 0; r < s.rows; ++r)
            for (std::int32_t k = 0; k < s.factors; ++k)
                s.points[r][k] = s.weighted != 0 ? design[r][k] * s.weights[k] : design[r][k];
    s.value = s.p > 0 ? evaluate_terms(s) : evaluate_maximin(s);
    return s.value;
}

static void phip_setup(run_context* ctx, const double* const* design, std::uint32_t free_rows,
                       std::uint32_t fixed_rows, std::int32_t factors, const criterion_options& options,
                       const std::int32_t*)
{
    phip_state& s = *ctx->phip;
    s.factors = factors;
    s.free_rows = wrap_i32(free_rows);
    s.fixed_rows = wrap_i32(fixed_rows);
    s.rows = s.free_rows + s.fixed_rows;

    const criterion_params& params = options.params;
    s.p = 20;
    if (list_length(params.param_count_1, params.param_list_1) > 0)
        s.p = clamp_or_default_int(0, 100, 20, trunc_i32(params.param_list_1[0] + 0.01));
    s.kind = read_distance_kind(params);
    s.distance_floor = std::pow(1e-200, 1.0 / s.p); // with the p as given, also for squared distances
    if (s.kind == distance_kind::euclidean)
        s.p = (s.p + 1) / 2;

    s.weights = options.factor_weights;
    s.weighted = 0;
    for (std::int32_t k = 0; k < factors; ++k)
        if (std::fabs(s.weights[k] - 1.0) > 1e-10)
            s.weighted = 1;

    s.points = double_matrix_alloc(ctx, s.rows, factors);
    s.pair_table = double_matrix_alloc(ctx, s.rows, s.rows);
    s.saved_pair_rows = double_matrix_alloc(ctx, s.free_rows, s.rows);
    s.saved_points = double_matrix_alloc(ctx, s.free_rows, factors);
    s.saved_design_pair_rows = double_matrix_alloc(ctx, s.free_rows, s.rows);
    if (s.p > 0) {
        s.saved_fixed_pairs = double_matrix_alloc(ctx, s.fixed_rows, s.free_rows);
        s.saved_design_fixed_pairs = double_matrix_alloc(ctx, s.fixed_rows, s.free_rows);
    }
    s.saved_column = double_vector_alloc(ctx, s.free_rows);
    s.old_terms = double_vector_alloc(ctx, 2 * s.rows);
    phip_evaluate(ctx, design);
}

static void phip_release(run_context* ctx)
{
    phip_state& s = *ctx->phip;
    matrix_free(ctx, s.points);
    matrix_free(ctx, s.pair_table);
    matrix_free(ctx, s.saved_pair_rows);
    matrix_free(ctx, s.saved_points);
    matrix_free(ctx, s.saved_design_pair_rows);
    matrix_free(ctx, s.saved_fixed_pairs);
    matrix_free(ctx, s.saved_design_fixed_pairs);
    if (s.saved_column != nullptr)
        tracked_free(ctx, s.saved_column);
    if (s.old_terms != nullptr)
        tracked_free(ctx, s.old_terms);
    s = {};
}

/// Change of the distance to a row at y when the other row's entry goes from x_old to x_new.
static double distance_change(const phip_state& s, double y, double x_old, double x_new)
{
    return distance_part(s.kind, y - x_new) - distance_part(s.kind, y - x_old);
}

namespace {

/// What a batch of updates took out of and put into the sum of terms.
struct replaced_terms {
    double old_sum;
    double new_sum;
};

} // namespace

/// Gives the pair (r, d) the distance changed by delta and its new term.
static void update_pair(const phip_state& s, std::int32_t r, std::int32_t d, double delta, bool with_floor,
                        replaced_terms& sums)
{
    double& distance = upper(s, r, d);
    double& term = lower(s, r, d);
    distance = std::max(0.0, distance + delta);
    sums.old_sum += term;
    term = with_floor ? term_of(s, distance) : 1.0 / int_power(distance, bits_u32(s.p));
    sums.new_sum += term;
}

/// Ends a committed update: the new sum, re-summed when it is due or when cancellation has eaten the digits.
static double commit_terms(phip_state& s, const replaced_terms& sums)
{
    const double old_sum = capped(sums.old_sum);
    double total = capped(sums.new_sum) + s.term_sum - old_sum;
    if (s.update_count != updates_between_sums && total / old_sum >= least_ratio) {
        s.update_count += 1;
    } else {
        s.update_count = 0;
        total = sum_of_terms(s);
    }
    s.term_sum = capped(total);
    s.value = value_of_sum(s, s.term_sum);
    return s.value;
}

static double apply_swaps_terms(phip_state& s, std::int32_t c, std::int32_t count, const std::int32_t* rows_a,
                                const std::int32_t* rows_b)
{
    replaced_terms sums{0.0, 0.0};
    bool changed = false;
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t a = rows_a[t];
        const std::int32_t b = rows_b[t];
        const double xa = s.points[a][c];
        const double xb = s.points[b][c];
        if (!equal_entries(xa, xb)) {
            changed = true;
            for (std::int32_t r = 0; r < s.rows; ++r) {
                if (r == a || r == b)
                    continue;
                const double delta = distance_change(s, s.points[r][c], xa, xb);
                update_pair(s, r, a, delta, true, sums);
                update_pair(s, r, b, -delta, true, sums);
            }
        }
        std::swap(s.points[a][c], s.points[b][c]);
    }
    return changed ? commit_terms(s, sums) : s.value;
}

static double apply_swaps_maximin(phip_state& s, std::int32_t c, std::int32_t count, const std::int32_t* rows_a,
                                  const std::int32_t* rows_b, bool committed)
{
    bool changed = false;
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t a = rows_a[t];
        const std::int32_t b = rows_b[t];
        const double xa = s.points[a][c];
        const double xb = s.points[b][c];
        if (!equal_entries(xa, xb)) {
            changed = true;
            for (std::int32_t r = 0; r < s.rows; ++r) {
                if (r == a || r == b)
                    continue;
                const double delta = distance_change(s, s.points[r][c], xa, xb);
                upper(s, r, a) += delta;
                upper(s, r, b) -= delta;
                if (committed) {
                    lower(s, r, a) = upper(s, r, a);
                    lower(s, r, b) = upper(s, r, b);
                }
            }
        }
        std::swap(s.points[a][c], s.points[b][c]);
    }
    if (!changed)
        return s.value;
    return s.free_rows < 1 ? s.term_sum : negated_least_distance(s);
}

/// Puts the working copies of every distance of row d back.
static void restore_distances(const phip_state& s, std::int32_t d)
{
    for (std::int32_t r = 0; r < s.rows; ++r)
        if (r != d)
            upper(s, r, d) = lower(s, r, d);
}

static double phip_apply_swaps(run_context* ctx, std::int32_t c, std::int32_t count, const std::int32_t* rows_a,
                               const std::int32_t* rows_b)
{
    phip_state& s = *ctx->phip;
    if (s.p > 0)
        return apply_swaps_terms(s, c, count, rows_a, rows_b);
    s.value = apply_swaps_maximin(s, c, count, rows_a, rows_b, true);
    return s.value;
}

/// Keeps column and row d of the pair table in two lines.
static void keep_pairs(const phip_state& s, std::int32_t d, double* column, double* row)
{
    for (std::int32_t r = 0; r < s.rows; ++r)
        column[r] = s.pair_table[r][d];
    std::memcpy(row, s.pair_table[d], bits_u32(s.rows) * sizeof(double));
}

static void put_pairs_back(const phip_state& s, std::int32_t d, const double* column, const double* row)
{
    for (std::int32_t r = 0; r < s.rows; ++r)
        s.pair_table[r][d] = column[r];
    std::memcpy(s.pair_table[d], row, bits_u32(s.rows) * sizeof(double));
}

static double try_swaps_terms(run_context* ctx, std::int32_t c, std::int32_t count, const std::int32_t* rows_a,
                              const std::int32_t* rows_b)
{
    phip_state& s = *ctx->phip;
    double** kept = double_matrix_alloc(ctx, wrap_mul(count, 4), s.rows);
    for (std::int32_t t = 0; t < count; ++t) {
        keep_pairs(s, rows_a[t], kept[4 * t], kept[4 * t + 1]);
        keep_pairs(s, rows_b[t], kept[4 * t + 2], kept[4 * t + 3]);
    }
    const double value = s.value;
    const double term_sum = s.term_sum;
    const std::int32_t update_count = s.update_count;
    const double result = apply_swaps_terms(s, c, count, rows_a, rows_b);
    s.update_count = update_count;
    for (std::int32_t t = 0; t < count; ++t) {
        std::swap(s.points[rows_a[t]][c], s.points[rows_b[t]][c]);
        put_pairs_back(s, rows_a[t], kept[4 * t], kept[4 * t + 1]);
        put_pairs_back(s, rows_b[t], kept[4 * t + 2], kept[4 * t + 3]);
    }
    s.value = value;
    s.term_sum = term_sum;
    matrix_free(ctx, kept);
    return result;
}

static double phip_try_swaps(run_context* ctx, std::int32_t c, std::int32_t count, const std::int32_t* rows_a,
                             const std::int32_t* rows_b)
{
    phip_state& s = *ctx->phip;
    if (count < 1)
        return s.value;
    if (s.p > 0)
        return try_swaps_terms(ctx, c, count, rows_a, rows_b);
    const double result = apply_swaps_maximin(s, c, count, rows_a, rows_b, false);
    for (std::int32_t t = 0; t < count; ++t) {
        restore_distances(s, rows_a[t]);
        restore_distances(s, rows_b[t]);
        std::swap(s.points[rows_a[t]][c], s.points[rows_b[t]][c]);
    }
    return result;
}

static double phip_try_swap(run_context* ctx, std::int32_t c, std::int32_t a, std::int32_t b)
{
    phip_state& s = *ctx->phip;
    const double xa = s.points[a][c];
    const double xb = s.points[b][c];
    if (equal_entries(xa, xb))
        return s.value;
    if (s.p == 0)
        return phip_try_swaps(ctx, c, 1, &a, &b);

    replaced_terms sums{0.0, 0.0};
    const auto try_pair = [&](std::int32_t r, std::int32_t d, double delta, double& kept) {
        double& term = lower(s, r, d);
        kept = term;
        sums.old_sum += term;
        term = term_of(s, std::max(0.0, upper(s, r, d) + delta));
        sums.new_sum += term;
    };
    for (std::int32_t r = 0; r < s.rows; ++r) {
        if (r == a || r == b)
            continue;
        const double delta = distance_change(s, s.points[r][c], xa, xb);
        try_pair(r, a, delta, s.old_terms[2 * r]);
        try_pair(r, b, -delta, s.old_terms[2 * r + 1]);
    }
    const double old_sum = capped(sums.old_sum);
    double total = capped(sums.new_sum) + s.term_sum - old_sum;
    if (total / old_sum < least_ratio)
        total = sum_of_terms(s);
    const double result = value_of_sum(s, capped(total));
    for (std::int32_t r = 0; r < s.rows; ++r) {
        if (r == a || r == b)
            continue;
        lower(s, r, a) = s.old_terms[2 * r];
        lower(s, r, b) = s.old_terms[2 * r + 1];
    }
    return result;
}

/// Puts the entries that the sources hold on the diagonal of the pair table.
static void put_sources_on_diagonal(const phip_state& s, std::int32_t c, std::int32_t count,
                                    const std::int32_t* rows_src)
{
    for (std::int32_t t = 0; t < count; ++t)
        s.pair_table[t][t] = s.points[rows_src[t]][c];
}

static double apply_moves_terms(phip_state& s, std::int32_t c, std::int32_t count, const std::int32_t* rows_dst)
{
    replaced_terms sums{0.0, 0.0};
    bool changed = false;
    for (std::int32_t t = 0; t < count; ++t) {
        const double v = s.pair_table[t][t];
        const std::int32_t d = rows_dst[t];
        const double xd = s.points[d][c];
        if (!equal_entries(xd, v)) {
            changed = true;
            for (std::int32_t r = 0; r < s.rows; ++r)
                if (r != d)
                    update_pair(s, r, d, distance_change(s, s.points[r][c], xd, v), false, sums);
        }
        s.points[d][c] = v;
    }
    return changed ? commit_terms(s, sums) : s.value;
}

static double apply_moves_maximin(phip_state& s, std::int32_t c, std::int32_t count, const std::int32_t* rows_dst,
                                  bool committed)
{
    bool changed = false;
    for (std::int32_t t = 0; t < count; ++t) {
        const double v = s.pair_table[t][t];
        const std::int32_t d = rows_dst[t];
        const double xd = s.points[d][c];
        if (!equal_entries(xd, v)) {
            changed = true;
            for (std::int32_t r = 0; r < s.rows; ++r) {
                if (r == d)
                    continue;
                upper(s, r, d) += distance_change(s, s.points[r][c], xd, v);
                if (committed)
                    lower(s, r, d) = upper(s, r, d);
            }
        }
        s.points[d][c] = v;
    }
    if (!changed)
        return s.value;
    return s.free_rows < 1 ? s.term_sum : negated_least_distance(s);
}

static double phip_apply_moves(run_context* ctx, std::int32_t c, std::int32_t count, const std::int32_t* rows_dst,
                               const std::int32_t* rows_src)
{
    phip_state& s = *ctx->phip;
    put_sources_on_diagonal(s, c, count, rows_src);
    if (s.p > 0)
        return apply_moves_terms(s, c, count, rows_dst);
    s.value = apply_moves_maximin(s, c, count, rows_dst, true);
    return s.value;
}

static double try_moves_terms(run_context* ctx, std::int32_t c, std::int32_t count, const std::int32_t* rows_dst,
                              const std::int32_t* rows_src)
{
    phip_state& s = *ctx->phip;
    double** kept = double_matrix_alloc(ctx, 2 * count, s.rows);
    for (std::int32_t t = 0; t < count; ++t)
        keep_pairs(s, rows_dst[t], kept[2 * t], kept[2 * t + 1]);
    const double value = s.value;
    const double term_sum = s.term_sum;
    const std::int32_t update_count = s.update_count;
    const double result = apply_moves_terms(s, c, count, rows_dst);
    s.update_count = update_count;
    for (std::int32_t t = 0; t < count; ++t)
        s.points[rows_src[t]][c] = s.pair_table[t][t];
    for (std::int32_t t = 0; t < count; ++t)
        put_pairs_back(s, rows_dst[t], kept[2 * t], kept[2 * t + 1]);
    s.value = value;
    s.term_sum = term_sum;
    matrix_free(ctx, kept);
    return result;
}

static double phip_try_moves(run_context* ctx, std::int32_t c, std::int32_t count, const std::int32_t* rows_dst,
                             const std::int32_t* rows_src)
{
    phip_state& s = *ctx->phip;
    if (count < 1)
        return s.value;
    put_sources_on_diagonal(s, c, count, rows_src);
    if (s.p > 0)
        return try_moves_terms(ctx, c, count, rows_dst, rows_src);
    const double result = apply_moves_maximin(s, c, count, rows_dst, false);
    for (std::int32_t t = 0; t < count; ++t)
        s.points[rows_src[t]][c] = s.pair_table[t][t];
    for (std::int32_t t = 0; t < count; ++t)
        restore_distances(s, rows_dst[t]);
    return result;
}

/// Copies the pair-table cells that belong to the free rows into a snapshot.
static void save_pairs(const phip_state& s, double** pair_rows, double** fixed_pairs)
{
    for (std::int32_t f = 0; f < s.free_rows; ++f) {
        const std::int32_t r = s.fixed_rows + f;
        std::memcpy(pair_rows[f], s.pair_table[r], bits_u32(s.rows) * sizeof(double));
        for (std::int32_t i = 0; i < s.fixed_rows && s.p > 0; ++i)
            fixed_pairs[i][f] = s.pair_table[i][r];
    }
}

/// Puts them back; for maximin the lower cells of the free rows are the committed distances, copied into both.
static void restore_pairs(const phip_state& s, double* const* pair_rows, double* const* fixed_pairs)
{
    for (std::int32_t f = 0; f < s.free_rows; ++f) {
        const std::int32_t r = s.fixed_rows + f;
        std::memcpy(s.pair_table[r], pair_rows[f], bits_u32(s.rows) * sizeof(double));
        for (std::int32_t i = 0; i < s.fixed_rows; ++i)
            s.pair_table[i][r] = s.p > 0 ? fixed_pairs[i][f] : pair_rows[f][i];
    }
}

static void phip_save_column(run_context* ctx, std::int32_t c)
{
    phip_state& s = *ctx->phip;
    s.saved_column_value = s.value;
    s.saved_column_sum = s.term_sum;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        s.saved_column[f] = s.points[s.fixed_rows + f][c];
    save_pairs(s, s.saved_pair_rows, s.saved_fixed_pairs);
}

static void phip_restore_column(run_context* ctx, std::int32_t c)
{
    phip_state& s = *ctx->phip;
    s.value = s.saved_column_value;
    s.term_sum = s.saved_column_sum;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        s.points[s.fixed_rows + f][c] = s.saved_column[f];
    restore_pairs(s, s.saved_pair_rows, s.saved_fixed_pairs);
}

static void phip_save_design(run_context* ctx)
{
    phip_state& s = *ctx->phip;
    s.saved_design_value = s.value;
    s.saved_design_sum = s.term_sum;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        std::memcpy(s.saved_points[f], s.points[s.fixed_rows + f], bits_u32(s.factors) * sizeof(double));
    save_pairs(s, s.saved_design_pair_rows, s.saved_design_fixed_pairs);
}

static void phip_restore_design(run_context* ctx)
{
    phip_state& s = *ctx->phip;
    s.value = s.saved_design_value;
    s.term_sum = s.saved_design_sum;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        std::memcpy(s.points[s.fixed_rows + f], s.saved_points[f], bits_u32(s.factors) * sizeof(double));
    restore_pairs(s, s.saved_design_pair_rows, s.saved_design_fixed_pairs);
}

static double phip_value_of(run_context* ctx, const double* const* design)
{
    const phip_state& s = *ctx->phip;
    double** scratch = double_matrix_alloc(ctx, s.rows, s.factors);
    for (std::int32_t r = 0; r < s.rows; ++r)
        for (std::int32_t k = 0; k < s.factors; ++k)
            scratch[r][k] = design == nullptr ? s.points[r][k]
                            : s.weighted != 0 ? design[r][k] * s.weights[k]
                                              : design[r][k];
    // Rows in the order of the full re-sum, so that a fresh evaluation has the same bits.
    double total = 0.0;
    double least = cap;
    for (std::int32_t j = 0; j < s.rows; ++j) {
        for (std::int32_t i = 0; i < j; ++i) {
            const double d = distance_of(s.kind, scratch[i], scratch[j], s.factors);
            least = std::min(least, d);
            total += s.p > 0 ? term_of(s, d) : 0.0;
        }
    }
    matrix_free(ctx, scratch);
    return s.p > 0 ? value_of_sum(s, capped(total)) : -least;
}

static void phip_copy_saved_design(run_context* ctx, double** out)
{
    const phip_state& s = *ctx->phip;
    for (std::int32_t r = 0; r < s.rows; ++r) {
        const double* from = r < s.fixed_rows ? s.points[r] : s.saved_points[r - s.fixed_rows];
        for (std::int32_t k = 0; k < s.factors; ++k)
            out[r][k] = s.weighted != 0 ? from[k] / s.weights[k] : from[k];
    }
}

constexpr criterion_ops phip_ops{
    .name = "phip",
    .facts = {.reads_exponent = true, .reads_distance = true},
    .setup = phip_setup,
    .release = phip_release,
    .memory = plain_memory,
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
};

#include "optdoe/criteria/cd2/cd2.h"

#include "optdoe/criteria/best_swap.h"
#include "optdoe/criteria/criterion.h"
#include "optdoe/numeric/ordered_sum.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/aligned_tables.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

// Uses of the scratch lines; 0 and 1 hold new terms.
constexpr std::int32_t counted_line = 2; ///< always ones, and zeroes in the padding

constexpr double mean_square_one_factor = 1.0833333333333333; ///< 13/12

constexpr kernel_variants<cd2_kernels> cd2_kernel_variants
{
    &cd2_kernels_baseline,
#if defined(__x86_64__)
        &cd2_kernels_avx2, &cd2_kernels_avx512,
#endif
};

void cd2_open(run_context* ctx)
{
    open_plain_record(ctx->cd2);
    if (ctx->cd2 == nullptr)
        return;
    ctx->cd2->kernels = best_variant(cd2_kernel_variants);
    ctx->cd2->sums = best_ordered_sum_kernels();
}

void cd2_close(run_context* ctx) { close_plain_record(ctx->cd2); }

using entry = cd2_entry;

static entry entry_at(const cd2_state& s, std::int32_t r, std::int32_t k)
{
    return {s.columns[k][r], s.columns[s.factors + k][r]};
}

/// Sets an entry in both layouts.
static void put_entry(const cd2_state& s, std::int32_t r, std::int32_t k, entry e)
{
    s.scaled[r][k] = s.columns[k][r] = e.z;
    s.centred[r][k] = s.columns[s.factors + k][r] = e.a;
}

static void exchange_entries(const cd2_state& s, std::int32_t a, std::int32_t b, std::int32_t k)
{
    const entry before = entry_at(s, a, k);
    put_entry(s, a, k, entry_at(s, b, k));
    put_entry(s, b, k, before);
}

/// Entry of the caller as a criterion entry, and its distance from the centre.
static double scaled_entry(const cd2_state& s, double x, std::int32_t k)
{
    return s.weighted != 0 ? s.weights[k] * x : x;
}

static double centred_entry(const cd2_state& s, double x, std::int32_t k)
{
    return s.weighted != 0 ? std::fabs(s.weights[k] * (x - 0.5)) : std::fabs(x - 0.5);
}

/// Twice the factor of a pair; terms and ratios are made of it.
static double twice_pair_factor(double a_i, double z_i, double a_j, double z_j)
{
    return a_i + 2.0 + a_j - std::fabs(z_i - z_j);
}

static double diagonal_term(const cd2_state& s, const double* a)
{
    double product = 1.0;
    for (std::int32_t k = 0; k < s.factors; ++k)
        product *= 1.0 + a[k];
    const double n = s.rows;
    return product / (n * n);
}

static double single_term(const cd2_state& s, const double* a)
{
    double product = 1.0;
    for (std::int32_t k = 0; k < s.factors; ++k)
        product *= (a[k] + 2.0 - a[k] * a[k]) * 0.5;
    return -2.0 / s.rows * product;
}

enum class half { upper, lower };

/// Copies the cells of rows begin .. end-1 behind the diagonal to the lower half, or has them copied from there. Rows
/// of a block take several cells of a line of the other half.
static void copy_rows(half to, double* const* terms, std::int32_t begin, std::int32_t end, std::int32_t n)
{
    for (std::int32_t j = begin + 1; j <= n; ++j) {
        for (std::int32_t i = begin; i < std::min(end, j); ++i) {
            if (to == half::lower)
                terms[j][i] = terms[i][j];
            else
                terms[i][j] = terms[j][i];
        }
    }
}

/// The constant of the value, (13/12)^m.
static double constant_part(const cd2_state& s)
{
    double value = 1.0;
    for (std::int32_t k = 0; k < s.active_factors; ++k)
        value *= mean_square_one_factor;
    return value;
}

/// The constant before the products of pairs.
static double pair_scale(const cd2_state& s)
{
    const double n = s.rows;
    return 2.0 / (n * n);
}

/// Adds row i of the upper triangle to the value, in the order of the definition.
static double add_row(const cd2_state& s, double value, std::int32_t i, const double* row)
{
    return add_in_order(*s.sums, value, s.rows - i + 1, row + i);
}

/// All terms of a design and their sum with the constant.
///   columns   scaled, then centred entries, as s.columns
static double evaluate_into(const cd2_state& s, const double* const* centred, const double* const* columns,
                            double** terms)
{
    const std::int32_t n = s.rows;
    double value = constant_part(s);
    for (std::int32_t begin = 0; begin < n; begin += row_multiple) {
        const std::int32_t end = std::min(n, begin + row_multiple);
        for (std::int32_t i = begin; i < end; ++i) {
            double* row = terms[i];
            s.kernels->pair_terms(n, s.factors, i, columns, columns + s.factors, pair_scale(s), row);
            row[i] = diagonal_term(s, centred[i]);
            row[n] = single_term(s, centred[i]);
            value = add_row(s, value, i, row);
        }
        copy_rows(half::lower, terms, begin, end, n);
    }
    terms[n][n] = 0.0;
    return value + terms[n][n];
}

static void list_changed(cd2_changed_rows& list, std::int32_t r)
{
    list.rows[list.count] = r;
    list.count += list.is_listed[r] == 0;
    list.is_listed[r] = 1;
}

static void forget_changed(cd2_changed_rows& list)
{
    for (std::int32_t i = 0; i < list.count; ++i)
        list.is_listed[list.rows[i]] = 0;
    list.count = 0;
}

static void copy_changed(cd2_changed_rows& to, const cd2_changed_rows& from)
{
    forget_changed(to);
    for (std::int32_t i = 0; i < from.count; ++i)
        list_changed(to, from.rows[i]);
}

/// An exchange or re-arrangement of column k changes the terms of row r.
static void change_row(cd2_state& s, std::int32_t k, std::int32_t r)
{
    list_changed(s.changed, r);
    if (k != s.saved_column) // the column that is restored does not bring its terms back
        list_changed(s.saved_changed, r);
}

/// All entries have changed.
static void change_all_rows(cd2_state& s)
{
    for (std::int32_t r = 0; r < s.rows; ++r)
        change_row(s, -1, r);
}

/// Gives row i the terms of an evaluation, in both halves of the table.
static void refresh_row(const cd2_state& s, std::int32_t i)
{
    const std::int32_t n = s.rows;
    double* const* terms = s.terms;
    const auto pair_terms = [&](auto kernel, double* line) {
        kernel(n, s.factors, i, s.columns, s.columns + s.factors, pair_scale(s), line);
    };
    pair_terms(s.kernels->pair_terms_before, s.lines[0]);
    pair_terms(s.kernels->pair_terms, s.lines[1]);
    std::copy_n(s.lines[0], i, terms[i]);
    std::copy_n(s.lines[1] + i + 1, n - i - 1, terms[i] + i + 1);
    for (std::int32_t j = 0; j < n; ++j)
        terms[j][i] = terms[i][j];
    terms[i][i] = diagonal_term(s, s.centred[i]);
    terms[i][n] = terms[n][i] = single_term(s, s.centred[i]);
}

static symmetric_table<double> table_of(const cd2_state& s) { return {s.terms, s.rows + 1, s.fixed_rows}; }

static double cd2_value(run_context* ctx) { return ctx->cd2->value; }

/// Takes the loaded entries in; not a number, once there, stays.
static void widen_most_centred(cd2_state& s)
{
    for (std::int32_t r = 0; r < s.rows; ++r)
        for (std::int32_t k = 0; k < s.factors; ++k)
            if (!std::isnan(s.most_centred) && !(s.centred[r][k] <= s.most_centred))
                s.most_centred = s.centred[r][k];
}

static void load_design(cd2_state& s, const double* const* design)
{
    for (std::int32_t r = 0; r < s.rows; ++r)
        for (std::int32_t k = 0; k < s.factors; ++k)
            put_entry(s, r, k, {scaled_entry(s, design[r][k], k), centred_entry(s, design[r][k], k)});
    widen_most_centred(s);
    change_all_rows(s);
}

/// Gives the changed rows the terms of an evaluation and adds all terms up.
static double evaluate_changed(const cd2_state& s)
{
    for (std::int32_t i = 0; i < s.changed.count; ++i)
        refresh_row(s, s.changed.rows[i]);
    double value = constant_part(s);
    for (std::int32_t i = 0; i < s.rows; ++i)
        value = add_row(s, value, i, s.terms[i]);
    return value + s.terms[s.rows][s.rows];
}

static double cd2_evaluate(run_context* ctx, const double* const* design)
{
    cd2_state& s = *ctx->cd2;
    if (design != nullptr)
        load_design(s, design);
    // A changed row takes a whole row of terms, an evaluation of all half a row each, and writes them in order.
    if (s.changed.count <= s.rows / 4) {
        snapshot_keep_rows(ctx, s.saved_column_terms, table_of(s), s.changed.count, s.changed.rows);
        s.value = evaluate_changed(s);
    } else {
        snapshot_keep_all(ctx, s.saved_column_terms, table_of(s));
        s.value = evaluate_into(s, s.centred, s.columns, s.terms);
    }
    forget_changed(s.changed);
    return s.value;
}

static cd2_changed_rows changed_rows_alloc(run_context* ctx, std::int32_t rows)
{
    return {int_vector_alloc(ctx, rows + 1), 0, byte_vector_alloc(ctx, rows + 1)};
}

static void cd2_setup(run_context* ctx, const double* const* design, std::uint32_t free_rows,
                      std::uint32_t fixed_rows, std::int32_t factors, const criterion_options& options,
                      const std::int32_t*)
{
    cd2_state& s = *ctx->cd2;
    s.factors = factors;
    s.free_rows = wrap_i32(free_rows);
    s.fixed_rows = wrap_i32(fixed_rows);
    s.rows = s.free_rows + s.fixed_rows;
    s.weights = options.factor_weights;
    s.active_factors = 0;
    s.weighted = 0;
    for (std::int32_t k = 0; k < factors; ++k) {
        if (s.weights[k] > 1e-15)
            s.active_factors += 1;
        if (std::fabs(s.weights[k] - 1.0) > 1e-10)
            s.weighted = 1;
    }
    s.scaled = double_matrix_alloc(ctx, s.rows, factors);
    s.centred = double_matrix_alloc(ctx, s.rows, factors);
    s.terms = aligned_matrix_alloc(ctx, s.rows + 1, s.rows + 1);
    s.columns = aligned_matrix_alloc(ctx, 2 * factors, s.rows);
    s.lines = aligned_matrix_alloc(ctx, 3, s.rows + 1);
    std::fill_n(s.lines[counted_line], s.rows, 1.0);
    s.saved_column_scaled = double_vector_alloc(ctx, s.free_rows);
    s.saved_column_centred = double_vector_alloc(ctx, s.free_rows);
    s.changed = changed_rows_alloc(ctx, s.rows);
    s.saved_changed = changed_rows_alloc(ctx, s.rows);
    cd2_evaluate(ctx, design);
}

static void cd2_release(run_context* ctx)
{
    cd2_state& s = *ctx->cd2;
    for (double** m : {s.terms, s.columns, s.lines})
        aligned_matrix_free(ctx, m);
    for (double** m : {s.scaled, s.centred, s.saved_design})
        matrix_free(ctx, m);
    for (double* v : {s.saved_design_terms, s.saved_column_scaled, s.saved_column_centred})
        if (v != nullptr)
            vector_free(ctx, v);
    for (const cd2_changed_rows& list : {s.changed, s.saved_changed}) {
        vector_free(ctx, list.rows);
        vector_free(ctx, list.is_listed);
    }
    snapshot_release(ctx, s.saved_column_terms);
    const cd2_kernels* kernels = s.kernels;
    const ordered_sum_kernels* sums = s.sums;
    s = {};
    s.kernels = kernels;
    s.sums = sums;
}

/// Sets a summand, in both halves, and returns its change.
static double set_term(const cd2_state& s, std::int32_t i, std::int32_t j, double term)
{
    const double change = term - s.terms[i][j];
    s.terms[i][j] = term;
    s.terms[j][i] = term;
    return change;
}

/// Ratio of the new to the old factor of the pair (r, d) when row d's entry goes from `from` to `to`.
static double pair_ratio(entry r, entry from, entry to)
{
    return twice_pair_factor(to.a, to.z, r.a, r.z) / twice_pair_factor(from.a, from.z, r.a, r.z);
}

/// Ratio of the diagonal term, and the further ratio of the single term.
static double diagonal_ratio(entry from, entry to) { return (to.a + 1.0) / (from.a + 1.0); }

static double single_ratio(entry from, entry to) { return (2.0 - to.a) / (2.0 - from.a); }

/// Adds the changes of the diagonal and single terms of an exchange to delta, one by one: the order of the running
/// sum decides its last bits.
///   set   (i, j, term) -> change
template <class Set>
static void exchange_own_terms(const cd2_state& s, std::int32_t a, std::int32_t b, entry ea, entry eb, Set set,
                               double& delta)
{
    const std::int32_t n = s.rows;
    const double g = diagonal_ratio(ea, eb);
    const double hg = single_ratio(ea, eb) * g;
    delta += set(a, a, s.terms[a][a] * g);
    delta += set(b, b, s.terms[b][b] / g);
    delta += set(a, n, s.terms[a][n] * hg);
    delta += set(b, n, s.terms[b][n] / hg);
}

static cd2_exchange describe_exchange(const cd2_state& s, std::int32_t k, std::int32_t a, std::int32_t b)
{
    return {s.rows, s.columns[k], s.columns[s.factors + k], s.terms[a], s.terms[b], a, b};
}

/// Gives rows a and b their new pair terms, in both halves of the table; the pair of both keeps its term.
static void put_pair_terms(const cd2_state& s, std::int32_t a, std::int32_t b, const double* new_a,
                           const double* new_b)
{
    for (std::int32_t r = 0; r < s.rows; ++r) {
        if (r == a || r == b)
            continue;
        s.terms[a][r] = s.terms[r][a] = new_a[r];
        s.terms[b][r] = s.terms[r][b] = new_b[r];
    }
}

static double cd2_apply_swaps(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_a,
                              const std::int32_t* rows_b)
{
    cd2_state& s = *ctx->cd2;
    const auto set = [&s](std::int32_t i, std::int32_t j, double term) { return set_term(s, i, j, term); };
    for (const std::int32_t* rows : {rows_a, rows_b})
        snapshot_keep_rows(ctx, s.saved_column_terms, table_of(s), count, rows);
    double delta = 0.0;
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t a = rows_a[t];
        const std::int32_t b = rows_b[t];
        const entry ea = entry_at(s, a, k);
        const entry eb = entry_at(s, b, k);
        if (!equal_entries(ea.z, eb.z)) {
            exchange_own_terms(s, a, b, ea, eb, set, delta);
            delta = s.kernels->exchange(describe_exchange(s, k, a, b), s.lines[0], s.lines[1], delta);
            put_pair_terms(s, a, b, s.lines[0], s.lines[1]);
        }
        exchange_entries(s, a, b, k);
        change_row(s, k, a);
        change_row(s, k, b);
    }
    s.value += delta;
    return s.value;
}

static double cd2_try_swap(run_context* ctx, std::int32_t k, std::int32_t a, std::int32_t b)
{
    const cd2_state& s = *ctx->cd2;
    const entry ea = entry_at(s, a, k);
    const entry eb = entry_at(s, b, k);
    if (equal_entries(ea.z, eb.z))
        return s.value;
    const auto change = [&s](std::int32_t i, std::int32_t j, double term) { return term - s.terms[i][j]; };
    double delta = 0.0;
    exchange_own_terms(s, a, b, ea, eb, change, delta);
    return s.value + s.kernels->exchange(describe_exchange(s, k, a, b), s.lines[0], s.lines[1], delta);
}

/// Bounds of the values of exchanges, for unique_best_within_bounds.
///
/// Let u = 2^-53, t and s the pair terms of the rows a and b, T an upper bound of their sum over the n - 2 other
/// rows, F and G the computed factors of a row's pairs with a and b. With centred entries up to 1e6 every F and G
/// lies between 1.9 and H = 2.1 + 2 max a (the definition gives at least 2), so that every ratio is at most Q = H
/// / 1.9. The terms are positive.
///  - The trial computes t (G/F - 1) and s (F/G - 1), each within 4 u (Q + 1) times its term, and adds the 2 n - 4
///    changes, none above (Q + 1) times its term in size, to the four own changes, of which the estimate has the same
///    bits: both errors together stay below u (4 n + 8) (Q + 1) T + 2 n u O, O the sizes of the own changes.
///  - The estimate of a row, (G - F) (t G - s F) / (F G), is at most Q (t + s) in size and within 20 u Q (t + s)
///    with the common denominators, and the sum of them within (n + 8) u Q T.
///  - A factor of a pair, 1 + (a + a')/2 - |z - z'|/2, is at most 1 + min(a, a'): on one side of the centre the
///    entries differ by |a - a'|, else by a + a'. So with the constants before the products t is at most twice the
///    diagonal term of its row, four times with what drifts between evaluations, and T = 4 n times both of them.
/// The margin below, 32 u (n + 8) (Q T + O), is twice all of it; results near the smallest numbers err by less than
/// its last summand. The value is the working value V plus the change, rounded once; two
/// sums that differ by more than 2 u times the larger one round to different numbers in the same order, which the
/// summand with |V| takes care of. Sizes that could overflow give no bounds.
struct cd2_bounds {
    double low;
    double high;
};

static cd2_bounds bounds_of_exchange(const cd2_state& s, std::int32_t k, std::int32_t a, std::int32_t b)
{
    constexpr double u = 0x1p-53;
    const entry ea = entry_at(s, a, k);
    const entry eb = entry_at(s, b, k);
    double own_delta = 0.0;
    double own_sizes = 0.0;
    double pair_change = 0.0;
    if (!equal_entries(ea.z, eb.z)) {
        const auto change = [&](std::int32_t i, std::int32_t j, double term) {
            own_sizes += std::fabs(term - s.terms[i][j]);
            return term - s.terms[i][j];
        };
        exchange_own_terms(s, a, b, ea, eb, change, own_delta);
        double* counted = s.lines[counted_line];
        counted[a] = counted[b] = 0.0;
        pair_change = s.kernels->estimate(describe_exchange(s, k, a, b), counted);
        counted[a] = counted[b] = 1.0;
    }
    const double estimate = own_delta + pair_change;
    const double pair_sum = 4.0 * s.rows * (s.terms[a][a] + s.terms[b][b]);
    const double ratio = (2.1 + 2.0 * s.most_centred) / 1.9;
    const double margin = 32.0 * u * (s.rows + 8.0) * (ratio * pair_sum + own_sizes) +
                          16.0 * u * (std::fabs(s.value) + std::fabs(estimate)) + 1e-280;
    if (!(ratio * pair_sum < 1e280) || !(s.most_centred <= 1e6))
        return {NAN, NAN};
    return {estimate - margin, estimate + margin};
}

static std::int32_t cd2_unique_best_swap(run_context* ctx, std::int32_t k, std::int32_t count,
                                         const std::int32_t* rows_a, const std::int32_t* rows_b, double* best_value)
{
    const cd2_state& s = *ctx->cd2;
    double* low = double_vector_alloc(ctx, count);
    double* high = double_vector_alloc(ctx, count);
    for (std::int32_t t = 0; t < count; ++t) {
        const cd2_bounds bounds = bounds_of_exchange(s, k, rows_a[t], rows_b[t]);
        low[t] = bounds.low;
        high[t] = bounds.high;
    }
    const swap_candidates candidates{cd2_try_swap, k, count, rows_a, rows_b};
    const std::int32_t best = unique_best_within_bounds(ctx, candidates, low, high, best_value);
    vector_free(ctx, high);
    vector_free(ctx, low);
    return best;
}

/// Multiplies a summand by a ratio and returns its change.
static double multiply_term(double& term, double ratio)
{
    const double before = term;
    term = before * ratio;
    return term - before;
}

/// Sets a summand in the upper half only and returns its change; the lower half keeps the committed one.
static double set_upper(const cd2_state& s, std::int32_t i, std::int32_t j, double ratio, bool divide)
{
    double& term = i < j ? s.terms[i][j] : s.terms[j][i];
    const double before = term;
    term = divide ? before / ratio : before * ratio;
    return term - before;
}

/// Copies the pair terms of one row to one half of the table from the other.
static void copy_row(half to, const cd2_state& s, std::int32_t d)
{
    for (std::int32_t r = 0; r < s.rows; ++r) {
        double& upper = r < d ? s.terms[r][d] : s.terms[d][r];
        double& lower = r < d ? s.terms[d][r] : s.terms[r][d];
        if (r != d)
            (to == half::upper ? upper : lower) = to == half::upper ? lower : upper;
    }
}

/// The same for several rows; from some number on for all, which is then faster.
static void copy_half(half to, const cd2_state& s, std::int32_t count, const std::int32_t* rows)
{
    if (count <= s.rows / 8) {
        for (std::int32_t t = 0; t < count; ++t)
            copy_row(to, s, rows[t]);
        return;
    }
    for (std::int32_t begin = 0; begin < s.rows; begin += row_multiple)
        copy_rows(to, s.terms, begin, std::min(s.rows, begin + row_multiple), s.rows - 1);
}

static double cd2_try_swaps(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_a,
                            const std::int32_t* rows_b)
{
    const cd2_state& s = *ctx->cd2;
    if (count < 1)
        return s.value;
    const auto change = [&s](std::int32_t i, std::int32_t j, double term) { return term - s.terms[i][j]; };
    double delta = 0.0;
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t a = rows_a[t];
        const std::int32_t b = rows_b[t];
        const entry ea = entry_at(s, a, k);
        const entry eb = entry_at(s, b, k);
        if (equal_entries(ea.z, eb.z))
            continue;
        exchange_own_terms(s, a, b, ea, eb, change, delta);
        for (std::int32_t r = 0; r < s.rows; ++r) {
            if (r == a || r == b)
                continue;
            const double q = pair_ratio(entry_at(s, r, k), ea, eb);
            delta += set_upper(s, r, a, q, false);
            delta += set_upper(s, r, b, q, true);
        }
        exchange_entries(s, a, b, k);
    }
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t a = rows_a[t];
        const std::int32_t b = rows_b[t];
        if (equal_entries(s.scaled[a][k], s.scaled[b][k]))
            continue;
        copy_row(half::upper, s, a);
        copy_row(half::upper, s, b);
        exchange_entries(s, a, b, k);
    }
    return s.value + delta;
}

/// Adds the changes of the diagonal and single terms of one row whose entry goes from `from` to `to`.
template <class Set>
static void move_own_terms(const cd2_state& s, std::int32_t d, entry from, entry to, Set set, double& delta)
{
    const std::int32_t n = s.rows;
    const double g = diagonal_ratio(from, to);
    delta += set(d, d, s.terms[d][d] * g);
    delta += set(d, n, s.terms[d][n] * (g * single_ratio(from, to)));
}

/// The entries that the source rows hold.
static entry* take_entries(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_src)
{
    auto* taken = static_cast<entry*>(tracked_alloc(ctx, bits_u32(count) * sizeof(entry)));
    for (std::int32_t t = 0; t < count; ++t)
        taken[t] = entry_at(*ctx->cd2, rows_src[t], k);
    return taken;
}

/// Gives the destination rows the taken entries one after the other, and the upper half of the table their pair
/// terms.
///   set          (i, j, term) -> change of a diagonal or single term
///   keep_equal   an entry that the taken one equals stays; else its last bits change, too
///   returns the change of the value
template <class Set>
static double rearrange_upper(const cd2_state& s, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                              const entry* taken, Set set, bool keep_equal)
{
    double delta = 0.0;
    const double* ratios = s.lines[0];
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t d = rows_dst[t];
        const entry from = entry_at(s, d, k);
        const bool is_equal = equal_entries(from.z, taken[t].z);
        if (!is_equal) {
            move_own_terms(s, d, from, taken[t], set, delta);
            s.kernels->pair_ratios(s.rows, from, taken[t], s.columns[k], s.columns[s.factors + k], s.lines[0]);
            for (std::int32_t r = 0; r < d; ++r)
                delta += multiply_term(s.terms[r][d], ratios[r]);
            for (std::int32_t r = d + 1; r < s.rows; ++r)
                delta += multiply_term(s.terms[d][r], ratios[r]);
        }
        if (!is_equal || !keep_equal)
            put_entry(s, d, k, taken[t]);
    }
    return delta;
}

static double cd2_apply_moves(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                              const std::int32_t* rows_src)
{
    cd2_state& s = *ctx->cd2;
    if (count < 1)
        return s.value;
    const auto set = [&s](std::int32_t i, std::int32_t j, double term) { return set_term(s, i, j, term); };
    snapshot_keep_rows(ctx, s.saved_column_terms, table_of(s), count, rows_dst);
    entry* taken = take_entries(ctx, k, count, rows_src);
    s.value += rearrange_upper(s, k, count, rows_dst, taken, set, false);
    copy_half(half::lower, s, count, rows_dst);
    for (std::int32_t t = 0; t < count; ++t)
        change_row(s, k, rows_dst[t]);
    tracked_free(ctx, taken);
    return s.value;
}

static double cd2_try_moves(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                            const std::int32_t* rows_src)
{
    const cd2_state& s = *ctx->cd2;
    if (count < 1)
        return s.value;
    const auto change = [&s](std::int32_t i, std::int32_t j, double term) { return term - s.terms[i][j]; };
    entry* taken = take_entries(ctx, k, count, rows_src);
    const double delta = rearrange_upper(s, k, count, rows_dst, taken, change, true);
    copy_half(half::upper, s, count, rows_dst);
    for (std::int32_t t = 0; t < count; ++t)
        put_entry(s, rows_src[t], k, taken[t]);
    tracked_free(ctx, taken);
    return s.value + delta;
}

static void cd2_save_column(run_context* ctx, std::int32_t k)
{
    cd2_state& s = *ctx->cd2;
    s.saved_column_value = s.value;
    std::copy_n(s.columns[k] + s.fixed_rows, s.free_rows, s.saved_column_scaled);
    std::copy_n(s.columns[s.factors + k] + s.fixed_rows, s.free_rows, s.saved_column_centred);
    snapshot_take(s.saved_column_terms);
    s.saved_column = k;
    copy_changed(s.saved_changed, s.changed);
}

static void cd2_restore_column(run_context* ctx, std::int32_t k)
{
    cd2_state& s = *ctx->cd2;
    s.value = s.saved_column_value;
    const auto differ = [](double x, double y) {
        return std::bit_cast<std::uint64_t>(x) != std::bit_cast<std::uint64_t>(y);
    };
    for (std::int32_t f = 0; f < s.free_rows; ++f) {
        const entry saved{s.saved_column_scaled[f], s.saved_column_centred[f]};
        const entry present = entry_at(s, s.fixed_rows + f, k);
        if (differ(present.z, saved.z) || differ(present.a, saved.a))
            put_entry(s, s.fixed_rows + f, k, saved);
    }
    snapshot_restore(s.saved_column_terms, table_of(s));
    copy_changed(s.changed, s.saved_changed);
}

static void cd2_save_design(run_context* ctx)
{
    cd2_state& s = *ctx->cd2;
    if (s.saved_design == nullptr)
        s.saved_design = double_matrix_alloc(ctx, s.free_rows, s.factors);
    s.saved_design_value = s.value;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        std::memcpy(s.saved_design[f], s.scaled[s.fixed_rows + f], bits_u32(s.factors) * sizeof(double));
    pack_table(ctx, table_of(s), s.saved_design_terms);
}

static void cd2_restore_design(run_context* ctx)
{
    cd2_state& s = *ctx->cd2;
    snapshot_keep_all(ctx, s.saved_column_terms, table_of(s));
    s.value = s.saved_design_value;
    for (std::int32_t f = 0; f < s.free_rows; ++f) {
        for (std::int32_t k = 0; k < s.factors; ++k) {
            const double z = s.saved_design[f][k];
            put_entry(s, s.fixed_rows + f, k, {z, std::fabs(z - (s.weighted != 0 ? 0.5 * s.weights[k] : 0.5))});
        }
    }
    unpack_table(table_of(s), s.saved_design_terms);
    change_all_rows(s);
}

/// Scaled entry in the caller's units.
static double unscaled_entry(const cd2_state& s, double z, std::int32_t k)
{
    return s.weighted != 0 ? z / s.weights[k] : z;
}

static double** cd2_copy_design(run_context* ctx, double** out)
{
    const cd2_state& s = *ctx->cd2;
    if (out == nullptr)
        return s.scaled;
    for (std::int32_t r = 0; r < s.rows; ++r)
        for (std::int32_t k = 0; k < s.factors; ++k)
            out[r][k] = unscaled_entry(s, s.scaled[r][k], k);
    return out;
}

static void cd2_copy_saved_design(run_context* ctx, double** out)
{
    const cd2_state& s = *ctx->cd2;
    for (std::int32_t r = 0; r < s.rows; ++r) {
        const double* from = r < s.fixed_rows ? s.scaled[r] : s.saved_design[r - s.fixed_rows];
        for (std::int32_t k = 0; k < s.factors; ++k)
            out[r][k] = unscaled_entry(s, from[k], k);
    }
}

static double cd2_value_of(run_context* ctx, const double* const* design)
{
    const cd2_state& s = *ctx->cd2;
    double** centred = double_matrix_alloc(ctx, s.rows, s.factors);
    double** columns = aligned_matrix_alloc(ctx, 2 * s.factors, s.rows);
    double** terms = aligned_matrix_alloc(ctx, s.rows + 1, s.rows + 1);
    for (std::int32_t r = 0; r < s.rows; ++r) {
        for (std::int32_t k = 0; k < s.factors; ++k) {
            columns[k][r] = design == nullptr ? s.scaled[r][k] : scaled_entry(s, design[r][k], k);
            centred[r][k] = design == nullptr ? s.centred[r][k] : centred_entry(s, design[r][k], k);
            columns[s.factors + k][r] = centred[r][k];
        }
    }
    const double value = evaluate_into(s, centred, columns, terms);
    aligned_matrix_free(ctx, terms);
    aligned_matrix_free(ctx, columns);
    matrix_free(ctx, centred);
    return value;
}

static memory_need cd2_memory(double free_rows, double fixed_rows, double factors, const criterion_options*)
{
    const double rows = free_rows + fixed_rows;
    const double least = 8.0 * rows * rows + 16.0 * rows * factors + 2.0 * least_matrix_bytes(rows, factors, 8.0);
    return {least, least + 10.0 * rows * rows}; // two snapshots of half the table, a journal of a quarter
}

constexpr criterion_ops cd2_ops{
    .name = "cd2",
    .facts = {.scaling = 2},
    .setup = cd2_setup,
    .release = cd2_release,
    .memory = cd2_memory,
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
    .unique_best_swap = cd2_unique_best_swap,
};

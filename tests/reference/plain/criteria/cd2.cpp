#include "tests/reference/plain/criteria/cd2.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"
#include "tests/reference/plain/criteria/plain_memory.h"

#include <cmath>
#include <cstring>
#include <utility>

constexpr double mean_square_one_factor = 1.0833333333333333; ///< 13/12

void cd2_open(run_context* ctx) { open_plain_record(ctx->cd2); }

void cd2_close(run_context* ctx) { close_plain_record(ctx->cd2); }

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

static double pair_term(const cd2_state& s, const double* a_i, const double* z_i, const double* a_j,
                        const double* z_j)
{
    double product = 1.0;
    for (std::int32_t k = 0; k < s.factors; ++k)
        product *= twice_pair_factor(a_i[k], z_i[k], a_j[k], z_j[k]) * 0.5;
    const double n = s.rows;
    return 2.0 / (n * n) * product;
}

/// All terms of a design and their sum with the constant.
static double evaluate_into(const cd2_state& s, const double* const* scaled, const double* const* centred,
                            double** terms)
{
    const std::int32_t n = s.rows;
    terms[n][n] = 0.0;
    for (std::int32_t i = 0; i < n; ++i) {
        terms[i][i] = diagonal_term(s, centred[i]);
        terms[i][n] = terms[n][i] = single_term(s, centred[i]);
        for (std::int32_t j = i + 1; j < n; ++j)
            terms[i][j] = terms[j][i] = pair_term(s, centred[i], scaled[i], centred[j], scaled[j]);
    }
    double value = 1.0;
    for (std::int32_t k = 0; k < s.active_factors; ++k)
        value *= mean_square_one_factor;
    for (std::int32_t i = 0; i <= n; ++i)
        for (std::int32_t j = i; j <= n; ++j)
            value += terms[i][j];
    return value;
}

static double cd2_value(run_context* ctx) { return ctx->cd2->value; }

static double cd2_evaluate(run_context* ctx, const double* const* design)
{
    cd2_state& s = *ctx->cd2;
    for (std::int32_t r = 0; r < s.rows && design != nullptr; ++r) {
        for (std::int32_t k = 0; k < s.factors; ++k) {
            s.scaled[r][k] = scaled_entry(s, design[r][k], k);
            s.centred[r][k] = centred_entry(s, design[r][k], k);
        }
    }
    s.value = evaluate_into(s, s.scaled, s.centred, s.terms);
    return s.value;
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
    const std::int32_t packed = wrap_mul(s.rows + s.fixed_rows + 2, s.free_rows + 1) / 2;
    s.scaled = double_matrix_alloc(ctx, s.rows, factors);
    s.centred = double_matrix_alloc(ctx, s.rows, factors);
    s.terms = double_matrix_alloc(ctx, s.rows + 1, s.rows + 1);
    s.saved_design = double_matrix_alloc(ctx, s.free_rows, factors);
    s.saved_design_terms = double_vector_alloc(ctx, packed);
    s.saved_column_terms = double_vector_alloc(ctx, packed);
    s.saved_column_scaled = double_vector_alloc(ctx, s.free_rows);
    s.saved_column_centred = double_vector_alloc(ctx, s.free_rows);
    cd2_evaluate(ctx, design);
}

static void cd2_release(run_context* ctx)
{
    cd2_state& s = *ctx->cd2;
    for (double** m : {s.scaled, s.centred, s.terms, s.saved_design})
        matrix_free(ctx, m);
    for (double* v : {s.saved_design_terms, s.saved_column_terms, s.saved_column_scaled, s.saved_column_centred})
        if (v != nullptr)
            vector_free(ctx, v);
    s = {};
}

/// Sets a summand, in both halves, and returns its change.
static double set_term(const cd2_state& s, std::int32_t i, std::int32_t j, double term)
{
    const double change = term - s.terms[i][j];
    s.terms[i][j] = term;
    s.terms[j][i] = term;
    return change;
}

namespace {

/// Entry of a row in one column: scaled and centred.
struct entry {
    double z;
    double a;
};

} // namespace

static entry entry_at(const cd2_state& s, std::int32_t r, std::int32_t k)
{
    return {s.scaled[r][k], s.centred[r][k]};
}

static void put_entry(const cd2_state& s, std::int32_t r, std::int32_t k, entry e)
{
    s.scaled[r][k] = e.z;
    s.centred[r][k] = e.a;
}

static void exchange_entries(const cd2_state& s, std::int32_t a, std::int32_t b, std::int32_t k)
{
    std::swap(s.scaled[a][k], s.scaled[b][k]);
    std::swap(s.centred[a][k], s.centred[b][k]);
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

static double cd2_apply_swaps(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_a,
                              const std::int32_t* rows_b)
{
    cd2_state& s = *ctx->cd2;
    const auto set = [&s](std::int32_t i, std::int32_t j, double term) { return set_term(s, i, j, term); };
    double delta = 0.0;
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t a = rows_a[t];
        const std::int32_t b = rows_b[t];
        const entry ea = entry_at(s, a, k);
        const entry eb = entry_at(s, b, k);
        if (!equal_entries(ea.z, eb.z)) {
            exchange_own_terms(s, a, b, ea, eb, set, delta);
            for (std::int32_t r = 0; r < s.rows; ++r) {
                if (r == a || r == b)
                    continue;
                const double q = pair_ratio(entry_at(s, r, k), ea, eb);
                delta += set_term(s, r, a, s.terms[r][a] * q);
                delta += set_term(s, r, b, s.terms[r][b] / q);
            }
        }
        exchange_entries(s, a, b, k);
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
    for (std::int32_t r = 0; r < s.rows; ++r) {
        if (r == a || r == b)
            continue;
        const double q = pair_ratio(entry_at(s, r, k), ea, eb);
        delta += s.terms[r][a] * q - s.terms[r][a];
        delta += s.terms[r][b] / q - s.terms[r][b];
    }
    return s.value + delta;
}

/// Sets a summand in the upper half only and returns its change; the lower half keeps the committed one.
static double set_upper(const cd2_state& s, std::int32_t i, std::int32_t j, double ratio, bool divide)
{
    double& term = i < j ? s.terms[i][j] : s.terms[j][i];
    const double before = term;
    term = divide ? before / ratio : before * ratio;
    return term - before;
}

static void restore_upper(const cd2_state& s, std::int32_t d)
{
    for (std::int32_t r = 0; r < s.rows; ++r) {
        if (r < d)
            s.terms[r][d] = s.terms[d][r];
        else if (r > d)
            s.terms[d][r] = s.terms[r][d];
    }
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
        restore_upper(s, a);
        restore_upper(s, b);
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

static double cd2_apply_moves(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                              const std::int32_t* rows_src)
{
    cd2_state& s = *ctx->cd2;
    if (count < 1)
        return s.value;
    const auto set = [&s](std::int32_t i, std::int32_t j, double term) { return set_term(s, i, j, term); };
    entry* taken = take_entries(ctx, k, count, rows_src);
    double delta = 0.0;
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t d = rows_dst[t];
        const entry from = entry_at(s, d, k);
        if (!equal_entries(from.z, taken[t].z)) {
            move_own_terms(s, d, from, taken[t], set, delta);
            for (std::int32_t r = 0; r < s.rows; ++r)
                if (r != d)
                    delta += set_term(s, r, d, s.terms[r][d] * pair_ratio(entry_at(s, r, k), from, taken[t]));
        }
        put_entry(s, d, k, taken[t]);
    }
    tracked_free(ctx, taken);
    s.value += delta;
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
    double delta = 0.0;
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t d = rows_dst[t];
        const entry from = entry_at(s, d, k);
        if (equal_entries(from.z, taken[t].z))
            continue;
        move_own_terms(s, d, from, taken[t], change, delta);
        for (std::int32_t r = 0; r < s.rows; ++r)
            if (r != d)
                delta += set_upper(s, r, d, pair_ratio(entry_at(s, r, k), from, taken[t]), false);
        put_entry(s, d, k, taken[t]);
    }
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t source = rows_src[t];
        if (equal_entries(s.scaled[source][k], taken[t].z))
            continue;
        restore_upper(s, source);
        put_entry(s, source, k, taken[t]);
    }
    tracked_free(ctx, taken);
    return s.value + delta;
}

static void pack_terms(const cd2_state& s, double* packed)
{
    for (std::int32_t i = s.fixed_rows; i <= s.rows; ++i) {
        std::memcpy(packed, s.terms[i], bits_u32(i + 1) * sizeof(double));
        packed += i + 1;
    }
}

static void unpack_terms(const cd2_state& s, const double* packed)
{
    for (std::int32_t i = s.fixed_rows; i <= s.rows; ++i)
        for (std::int32_t j = 0; j <= i; ++j)
            s.terms[i][j] = s.terms[j][i] = *packed++;
}

static void cd2_save_column(run_context* ctx, std::int32_t k)
{
    cd2_state& s = *ctx->cd2;
    s.saved_column_value = s.value;
    for (std::int32_t f = 0; f < s.free_rows; ++f) {
        s.saved_column_scaled[f] = s.scaled[s.fixed_rows + f][k];
        s.saved_column_centred[f] = s.centred[s.fixed_rows + f][k];
    }
    pack_terms(s, s.saved_column_terms);
}

static void cd2_restore_column(run_context* ctx, std::int32_t k)
{
    cd2_state& s = *ctx->cd2;
    s.value = s.saved_column_value;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        put_entry(s, s.fixed_rows + f, k, {s.saved_column_scaled[f], s.saved_column_centred[f]});
    unpack_terms(s, s.saved_column_terms);
}

static void cd2_save_design(run_context* ctx)
{
    cd2_state& s = *ctx->cd2;
    s.saved_design_value = s.value;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        std::memcpy(s.saved_design[f], s.scaled[s.fixed_rows + f], bits_u32(s.factors) * sizeof(double));
    pack_terms(s, s.saved_design_terms);
}

static void cd2_restore_design(run_context* ctx)
{
    cd2_state& s = *ctx->cd2;
    s.value = s.saved_design_value;
    for (std::int32_t f = 0; f < s.free_rows; ++f) {
        for (std::int32_t k = 0; k < s.factors; ++k) {
            const double z = s.saved_design[f][k];
            put_entry(s, s.fixed_rows + f, k, {z, std::fabs(z - (s.weighted != 0 ? 0.5 * s.weights[k] : 0.5))});
        }
    }
    unpack_terms(s, s.saved_design_terms);
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
    double** scaled = double_matrix_alloc(ctx, s.rows, s.factors);
    double** centred = double_matrix_alloc(ctx, s.rows, s.factors);
    double** terms = double_matrix_alloc(ctx, s.rows + 1, s.rows + 1);
    for (std::int32_t r = 0; r < s.rows; ++r) {
        for (std::int32_t k = 0; k < s.factors; ++k) {
            scaled[r][k] = design == nullptr ? s.scaled[r][k] : scaled_entry(s, design[r][k], k);
            centred[r][k] = design == nullptr ? s.centred[r][k] : centred_entry(s, design[r][k], k);
        }
    }
    const double value = evaluate_into(s, scaled, centred, terms);
    matrix_free(ctx, terms);
    matrix_free(ctx, centred);
    matrix_free(ctx, scaled);
    return value;
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

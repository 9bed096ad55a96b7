#include "tests/reference/plain/criteria/a2.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/run/factor_levels.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"
#include "tests/reference/plain/criteria/plain_memory.h"

#include <cstring>
#include <utility>

void a2_open(run_context* ctx) { open_plain_record(ctx->a2); }

void a2_close(run_context* ctx) { close_plain_record(ctx->a2); }

static std::int32_t& count_cell(const a2_state& s, std::int32_t i, std::int32_t j)
{
    return i < j ? s.coincidence[i][j] : s.coincidence[j][i];
}

static std::int32_t& square_cell(const a2_state& s, std::int32_t i, std::int32_t j)
{
    return i < j ? s.coincidence[j][i] : s.coincidence[i][j];
}

static std::int32_t coincidences(const a2_state& s, const double* x, const double* y)
{
    std::int32_t count = 0;
    for (std::int32_t k = 0; k < s.factors; ++k)
        if (equal_entries(x[k], y[k]))
            count = wrap_add(count, s.level_weight[k]);
    return count;
}

/// Half the constant K of the value: n (S^2 - n (m^2 - m + S)) / 2, the integer part in 32 bits.
static double constant_part(const a2_state& s)
{
    const std::int32_t m = s.active_factors;
    const std::int32_t n = s.rows;
    const std::int32_t from_factors = wrap_mul(wrap_mul(wrap_sub(1, m), m), n);
    const std::int32_t from_levels = wrap_mul(wrap_sub(s.level_sum, n), s.level_sum);
    return wrap_mul(wrap_add(from_factors, from_levels), n) * 0.5;
}

static double a2_value(run_context* ctx) { return ctx->a2->value; }

static double** a2_copy_design(run_context* ctx, double** out)
{
    const a2_state& s = *ctx->a2;
    if (out == nullptr)
        return s.design;
    for (std::int32_t r = 0; r < s.rows; ++r)
        std::memcpy(out[r], s.design[r], bits_u32(s.factors) * sizeof(double));
    return out;
}

static double a2_evaluate(run_context* ctx, const double* const* design)
{
    a2_state& s = *ctx->a2;
    for (std::int32_t r = 0; r < s.rows && design != nullptr; ++r)
        std::memcpy(s.design[r], design[r], bits_u32(s.factors) * sizeof(double));
    double sum = constant_part(s);
    for (std::int32_t i = 0; i < s.rows; ++i) {
        for (std::int32_t j = i + 1; j < s.rows; ++j) {
            const std::int32_t c = coincidences(s, s.design[i], s.design[j]);
            s.coincidence[i][j] = c;
            s.coincidence[j][i] = wrap_mul(c, c);
            sum += s.coincidence[j][i];
        }
    }
    s.value = sum / s.rows_squared;
    return s.value;
}

static void a2_setup(run_context* ctx, const double* const* design, std::uint32_t free_rows, std::uint32_t fixed_rows,
                     std::int32_t factors, const criterion_options& options, const std::int32_t* level_counts)
{
    a2_state& s = *ctx->a2;
    s.factors = factors;
    s.free_rows = wrap_i32(free_rows);
    s.fixed_rows = wrap_i32(fixed_rows);
    s.rows = s.free_rows + s.fixed_rows;
    s.weights = options.factor_weights;
    s.level_weight = int_vector_alloc(ctx, factors);
    s.active_factors = 0;
    s.level_sum = 0;
    for (std::int32_t k = 0; k < factors; ++k) {
        if (!(s.weights[k] > 1e-15))
            continue;
        s.active_factors += 1;
        s.level_weight[k] = level_counts[k];
        s.level_sum = wrap_add(s.level_sum, level_counts[k]);
    }
    s.design = double_matrix_alloc(ctx, s.rows, factors);
    s.saved_design = double_matrix_alloc(ctx, s.free_rows, factors);
    s.coincidence = int_matrix_alloc(ctx, s.rows, s.rows);
    s.saved_column_rows = int_matrix_alloc(ctx, s.free_rows, s.rows);
    s.saved_column_fixed = int_matrix_alloc(ctx, s.fixed_rows, s.free_rows);
    s.saved_design_rows = int_matrix_alloc(ctx, s.free_rows, s.rows);
    s.saved_design_fixed = int_matrix_alloc(ctx, s.fixed_rows, s.free_rows);
    s.saved_column = double_vector_alloc(ctx, s.free_rows);
    s.rows_squared = wrap_mul(s.rows, s.rows);
    a2_evaluate(ctx, design);
}

static void a2_release(run_context* ctx)
{
    a2_state& s = *ctx->a2;
    if (s.level_weight != nullptr)
        vector_free(ctx, s.level_weight);
    if (s.saved_column != nullptr)
        vector_free(ctx, s.saved_column);
    matrix_free(ctx, s.design);
    matrix_free(ctx, s.saved_design);
    for (std::int32_t** m :
         {s.coincidence, s.saved_column_rows, s.saved_column_fixed, s.saved_design_rows, s.saved_design_fixed})
        matrix_free(ctx, m);
    s = {};
}

/// Change of the coincidences of a row that holds y when another row's entry goes from x_old to x_new.
static std::int32_t count_change(const a2_state& s, std::int32_t k, double y, double x_old, double x_new)
{
    const std::int32_t before = equal_entries(y, x_old) ? s.level_weight[k] : 0;
    const std::int32_t after = equal_entries(y, x_new) ? s.level_weight[k] : 0;
    return wrap_sub(after, before);
}

/// Gives the pair its new count and square; returns the change of the square.
static std::int32_t update_pair(const a2_state& s, std::int32_t r, std::int32_t d, std::int32_t change)
{
    std::int32_t& count = count_cell(s, r, d);
    std::int32_t& square = square_cell(s, r, d);
    count = wrap_add(count, change);
    const std::int32_t before = square;
    square = wrap_mul(count, count);
    return wrap_sub(square, before);
}

static double a2_apply_swaps(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_a,
                             const std::int32_t* rows_b)
{
    a2_state& s = *ctx->a2;
    std::int32_t change = 0;
    bool changed = false;
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t a = rows_a[t];
        const std::int32_t b = rows_b[t];
        const double xa = s.design[a][k];
        const double xb = s.design[b][k];
        if (!equal_entries(xa, xb)) {
            changed = true;
            for (std::int32_t r = 0; r < s.rows; ++r) {
                if (r == a || r == b)
                    continue;
                const std::int32_t delta = count_change(s, k, s.design[r][k], xa, xb);
                change = wrap_add(change, update_pair(s, r, a, delta));
                change = wrap_add(change, update_pair(s, r, b, wrap_sub(0, delta)));
            }
        }
        std::swap(s.design[a][k], s.design[b][k]);
    }
    if (changed)
        s.value += static_cast<double>(change) / s.rows_squared;
    return s.value;
}

/// In double, but for the kept squares, which have 32 bits and may have wrapped.
static double a2_try_swap(run_context* ctx, std::int32_t k, std::int32_t a, std::int32_t b)
{
    const a2_state& s = *ctx->a2;
    const double xa = s.design[a][k];
    const double xb = s.design[b][k];
    if (equal_entries(xa, xb))
        return s.value;
    const auto square_change = [&s](std::int32_t r, std::int32_t d, std::int32_t change) {
        const double count = static_cast<double>(count_cell(s, r, d)) + change;
        return count * count - square_cell(s, r, d);
    };
    double change = 0.0;
    for (std::int32_t r = 0; r < s.rows; ++r) {
        if (r == a || r == b)
            continue;
        const std::int32_t delta = count_change(s, k, s.design[r][k], xa, xb);
        change += square_change(r, a, delta) + square_change(r, b, wrap_sub(0, delta));
    }
    return s.value + change / s.rows_squared;
}

/// Keeps column and row d of the coincidence matrix in two lines.
static void keep_lines(const a2_state& s, std::int32_t d, std::int32_t* column, std::int32_t* row)
{
    for (std::int32_t r = 0; r < s.rows; ++r)
        column[r] = s.coincidence[r][d];
    std::memcpy(row, s.coincidence[d], bits_u32(s.rows) * sizeof(std::int32_t));
}

static void put_lines_back(const a2_state& s, std::int32_t d, const std::int32_t* column, const std::int32_t* row)
{
    for (std::int32_t r = 0; r < s.rows; ++r)
        s.coincidence[r][d] = column[r];
    std::memcpy(s.coincidence[d], row, bits_u32(s.rows) * sizeof(std::int32_t));
}

static double a2_try_swaps(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_a,
                           const std::int32_t* rows_b)
{
    a2_state& s = *ctx->a2;
    if (count < 1)
        return s.value;
    std::int32_t** kept = int_matrix_alloc(ctx, wrap_mul(4, count), s.rows);
    for (std::int32_t t = 0; t < count; ++t) {
        keep_lines(s, rows_a[t], kept[4 * t], kept[4 * t + 1]);
        keep_lines(s, rows_b[t], kept[4 * t + 2], kept[4 * t + 3]);
    }
    const double value = s.value;
    const double result = a2_apply_swaps(ctx, k, count, rows_a, rows_b);
    s.value = value;
    for (std::int32_t t = 0; t < count; ++t) {
        put_lines_back(s, rows_a[t], kept[4 * t], kept[4 * t + 1]);
        put_lines_back(s, rows_b[t], kept[4 * t + 2], kept[4 * t + 3]);
        std::swap(s.design[rows_a[t]][k], s.design[rows_b[t]][k]);
    }
    matrix_free(ctx, kept);
    return result;
}

/// The entries that the source rows hold.
static double* take_entries(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_src)
{
    double* taken = double_vector_alloc(ctx, count);
    for (std::int32_t t = 0; t < count; ++t)
        taken[t] = ctx->a2->design[rows_src[t]][k];
    return taken;
}

static double a2_apply_moves(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                             const std::int32_t* rows_src)
{
    a2_state& s = *ctx->a2;
    if (count < 1)
        return s.value;
    double* taken = take_entries(ctx, k, count, rows_src);
    std::int32_t change = 0;
    bool changed = false;
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t d = rows_dst[t];
        const double xd = s.design[d][k];
        if (!equal_entries(xd, taken[t])) {
            changed = true;
            for (std::int32_t r = 0; r < s.rows; ++r)
                if (r != d)
                    change = wrap_add(change, update_pair(s, r, d, count_change(s, k, s.design[r][k], xd, taken[t])));
        }
        s.design[d][k] = taken[t];
    }
    vector_free(ctx, taken);
    if (changed)
        s.value += static_cast<double>(change) / s.rows_squared;
    return s.value;
}

static double a2_try_moves(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                           const std::int32_t* rows_src)
{
    a2_state& s = *ctx->a2;
    if (count < 1)
        return s.value;
    double* taken = take_entries(ctx, k, count, rows_src);
    std::int32_t** kept = int_matrix_alloc(ctx, wrap_mul(2, count), s.rows);
    for (std::int32_t t = 0; t < count; ++t)
        keep_lines(s, rows_dst[t], kept[2 * t], kept[2 * t + 1]);
    const double value = s.value;
    const double result = a2_apply_moves(ctx, k, count, rows_dst, rows_src);
    s.value = value;
    for (std::int32_t t = 0; t < count; ++t) {
        s.design[rows_src[t]][k] = taken[t];
        put_lines_back(s, rows_dst[t], kept[2 * t], kept[2 * t + 1]);
    }
    matrix_free(ctx, kept);
    vector_free(ctx, taken);
    return result;
}

/// Copies the matrix cells that belong to the free rows into a snapshot.
static void save_coincidences(const a2_state& s, std::int32_t** lines, std::int32_t** fixed)
{
    for (std::int32_t f = 0; f < s.free_rows; ++f) {
        const std::int32_t r = s.fixed_rows + f;
        std::memcpy(lines[f], s.coincidence[r], bits_u32(s.rows) * sizeof(std::int32_t));
        for (std::int32_t i = 0; i < s.fixed_rows; ++i)
            fixed[i][f] = s.coincidence[i][r];
    }
}

static void restore_coincidences(const a2_state& s, std::int32_t* const* lines, std::int32_t* const* fixed)
{
    for (std::int32_t f = 0; f < s.free_rows; ++f) {
        const std::int32_t r = s.fixed_rows + f;
        std::memcpy(s.coincidence[r], lines[f], bits_u32(s.rows) * sizeof(std::int32_t));
        for (std::int32_t i = 0; i < s.fixed_rows; ++i)
            s.coincidence[i][r] = fixed[i][f];
    }
}

static void a2_save_column(run_context* ctx, std::int32_t k)
{
    a2_state& s = *ctx->a2;
    s.saved_column_value = s.value;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        s.saved_column[f] = s.design[s.fixed_rows + f][k];
    save_coincidences(s, s.saved_column_rows, s.saved_column_fixed);
}

static void a2_restore_column(run_context* ctx, std::int32_t k)
{
    a2_state& s = *ctx->a2;
    s.value = s.saved_column_value;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        s.design[s.fixed_rows + f][k] = s.saved_column[f];
    restore_coincidences(s, s.saved_column_rows, s.saved_column_fixed);
}

static void a2_save_design(run_context* ctx)
{
    a2_state& s = *ctx->a2;
    s.saved_design_value = s.value;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        std::memcpy(s.saved_design[f], s.design[s.fixed_rows + f], bits_u32(s.factors) * sizeof(double));
    save_coincidences(s, s.saved_design_rows, s.saved_design_fixed);
}

static void a2_restore_design(run_context* ctx)
{
    a2_state& s = *ctx->a2;
    s.value = s.saved_design_value;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        std::memcpy(s.design[s.fixed_rows + f], s.saved_design[f], bits_u32(s.factors) * sizeof(double));
    restore_coincidences(s, s.saved_design_rows, s.saved_design_fixed);
}

static double a2_value_of(run_context* ctx, const double* const* design)
{
    const a2_state& s = *ctx->a2;
    const double* const* rows = design != nullptr ? design : s.design;
    double sum = constant_part(s);
    for (std::int32_t i = 0; i < s.rows; ++i) {
        for (std::int32_t j = i + 1; j < s.rows; ++j) {
            const std::int32_t c = coincidences(s, rows[i], rows[j]);
            sum += wrap_mul(c, c);
        }
    }
    return sum / s.rows_squared;
}

static void a2_copy_saved_design(run_context* ctx, double** out)
{
    const a2_state& s = *ctx->a2;
    for (std::int32_t r = 0; r < s.rows; ++r)
        std::memcpy(out[r], r < s.fixed_rows ? s.design[r] : s.saved_design[r - s.fixed_rows],
                    bits_u32(s.factors) * sizeof(double));
}

/// Whether the columns are balanced is not asked: the formula is computed whatever the design.
static const char* a2_refusal(const run_context* ctx, const criterion_options&)
{
    return ctx->levels->balanced == nullptr ? "\nThe a2 criteria only work for balanced matrix." : nullptr;
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

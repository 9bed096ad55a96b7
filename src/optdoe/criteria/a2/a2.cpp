#include "optdoe/criteria/a2/a2.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/run/factor_levels.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

constexpr kernel_variants<a2_kernels> a2_kernel_variants
{
    &a2_kernels_baseline,
#if defined(__x86_64__)
        &a2_kernels_avx2, &a2_kernels_avx512,
#endif
};

void a2_open(run_context* ctx)
{
    open_plain_record(ctx->a2);
    if (ctx->a2 != nullptr)
        ctx->a2->kernels = best_variant(a2_kernel_variants);
}

void a2_close(run_context* ctx) { close_plain_record(ctx->a2); }

static symmetric_table<std::int32_t> counts_of(const a2_state& s) { return {s.coincidence, s.rows, s.fixed_rows}; }

static std::int32_t square_of(std::int32_t count) { return wrap_mul(count, count); }

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

/// Adds up the squared coincidences of a design, row by row: the value.
///   counts   out  [rows x rows] the coincidences; null: not wanted
static double value_from_scratch(const a2_state& s, const double* const* design, std::int32_t** counts)
{
    const std::size_t n = static_cast<std::size_t>(s.rows);
    for (std::int32_t k = 0; k < s.factors; ++k)
        for (std::size_t r = 0; r < n; ++r)
            s.column[static_cast<std::size_t>(k) * n + r] = design[r][k];
    double sum = constant_part(s);
    for (std::int32_t i = 0; i < s.rows; ++i) {
        const std::int32_t below = s.rows - i - 1;
        std::int32_t* row = counts != nullptr ? counts[i] + i + 1 : s.change;
        std::fill_n(row, below, 0);
        for (std::int32_t k = 0; k < s.factors; ++k)
            s.kernels->add_coincidences(below, s.column + static_cast<std::size_t>(k) * n + i + 1, design[i][k],
                                        s.level_weight[k], row);
        for (std::int32_t j = 0; j < below; ++j)
            sum += square_of(row[j]);
        for (std::int32_t j = i + 1; counts != nullptr && j < s.rows; ++j)
            counts[j][i] = counts[i][j];
    }
    return sum / s.rows_squared;
}

static void load_design(a2_state& s, const double* const* design)
{
    for (std::int32_t r = 0; r < s.rows; ++r)
        std::memcpy(s.design[r], design[r], bits_u32(s.factors) * sizeof(double));
    // A snapshot from before would not bring all of the design back.
    s.squares.known = s.saved_column_squares.known = s.saved_design_squares.known = false;
}

static double a2_evaluate(run_context* ctx, const double* const* design)
{
    a2_state& s = *ctx->a2;
    if (design != nullptr) {
        load_design(s, design);
    } else if (s.squares.known) {
        s.value = (constant_part(s) + static_cast<double>(s.squares.sum)) / s.rows_squared;
        return s.value;
    }
    snapshot_keep_all(ctx, s.saved_column_counts, counts_of(s));
    s.value = value_from_scratch(s, s.design, s.coincidence);
    return s.value;
}

/// True when entries of a column that count as equal are the same. The table then always has the coincidences of the
/// design, however its entries change places.
static bool equal_entries_are_the_same(const a2_state& s)
{
    for (std::int32_t k = 0; k < s.factors; ++k) {
        for (std::int32_t r = 0; r < s.rows; ++r) {
            s.column[r] = s.design[r][k];
            if (!std::isfinite(s.column[r]))
                return false;
        }
        std::sort(s.column, s.column + s.rows);
        for (std::int32_t r = 1; r < s.rows; ++r)
            if (s.column[r] != s.column[r - 1] && equal_entries(s.column[r], s.column[r - 1]))
                return false;
    }
    return true;
}

/// True when an evaluation from scratch rounds none of its sums, which are whole and half numbers below 2^52: there
/// are fewer than 2^21 pairs, and the squares have 32 bits.
static bool sums_are_exact(const a2_state& s) { return s.rows <= 2048; }

/// What the table has.
static std::int64_t sum_of_squares(const a2_state& s)
{
    std::int64_t sum = 0;
    for (std::int32_t i = 0; i < s.rows; ++i)
        for (std::int32_t j = i + 1; j < s.rows; ++j)
            sum += square_of(s.coincidence[i][j]);
    return sum;
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
    double levels = 0.0;
    for (std::int32_t k = 0; k < factors; ++k) {
        if (!(s.weights[k] > 1e-15))
            continue;
        s.active_factors += 1;
        s.level_weight[k] = level_counts[k];
        s.level_sum = wrap_add(s.level_sum, level_counts[k]);
        levels += level_counts[k];
    }
    s.squares_fit = levels * levels <= INT32_MAX;
    s.design = double_matrix_alloc(ctx, s.rows, factors);
    s.coincidence = int_matrix_alloc(ctx, s.rows, s.rows);
    s.column = static_cast<double*>(
        tracked_alloc(ctx, static_cast<std::size_t>(s.rows) * static_cast<std::size_t>(factors) * sizeof(double)));
    s.change = int_vector_alloc(ctx, s.rows);
    s.saved_column = double_vector_alloc(ctx, s.free_rows);
    s.rows_squared = wrap_mul(s.rows, s.rows);
    a2_evaluate(ctx, design);
    s.squares = {sum_of_squares(s), sums_are_exact(s) && equal_entries_are_the_same(s)};
}

static void a2_release(run_context* ctx)
{
    a2_state& s = *ctx->a2;
    const auto free_block = [ctx](void* block) {
        if (block != nullptr)
            tracked_free(ctx, block);
    };
    free_block(s.level_weight);
    free_block(s.saved_column);
    free_block(s.column);
    free_block(s.change);
    free_block(s.saved_design_counts);
    matrix_free(ctx, s.design);
    matrix_free(ctx, s.saved_design);
    matrix_free(ctx, s.coincidence);
    snapshot_release(ctx, s.saved_column_counts);
    const a2_kernels* kernels = s.kernels;
    s = {};
    s.kernels = kernels;
}

/// Reads a column into the scratch column.
static void read_column(const a2_state& s, std::int32_t k)
{
    for (std::int32_t r = 0; r < s.rows; ++r)
        s.column[r] = s.design[r][k];
}

/// Fills s.change for an exchange of rows a and b of the scratch column; the pair of both keeps its coincidences.
static void describe_exchange(const a2_state& s, std::int32_t k, std::int32_t a, std::int32_t b)
{
    s.kernels->count_changes(s.rows, s.column, s.column[a], s.column[b], s.level_weight[k], s.change);
    s.change[a] = s.change[b] = 0;
}

/// Gives the pair its new count.
static void update_pair(a2_state& s, std::int32_t r, std::int32_t d, std::int32_t change)
{
    const std::int32_t before = s.coincidence[d][r];
    const std::int32_t count = wrap_add(before, change);
    s.coincidence[d][r] = s.coincidence[r][d] = count;
    s.squares.sum += std::int64_t{square_of(count)} - square_of(before);
}

/// To be called before rows of a column change. A sum that the column snapshot has is not that of the design that a
/// restore leaves when other columns have changed.
static void keep_rows(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows)
{
    a2_state& s = *ctx->a2;
    s.saved_column_squares.known = s.saved_column_squares.known && k == s.saved_column_number;
    snapshot_keep_rows(ctx, s.saved_column_counts, counts_of(s), count, rows);
}

/// What an exchange changes of the sum of squares: the squares after it, in double, less those of before, which are
/// kept in 32 bits and may have wrapped.
static double change_in_doubles(const a2_state& s, std::int32_t a, std::int32_t b)
{
    const auto square_change = [](std::int32_t before, double change) {
        const double after = before + change;
        return after * after - square_of(before);
    };
    double sum = 0.0;
    for (std::int32_t r = 0; r < s.rows; ++r)
        if (r != a && r != b)
            sum += square_change(s.coincidence[a][r], s.change[r]) +
                   square_change(s.coincidence[b][r], -1.0 * s.change[r]);
    return sum;
}

/// Where no square wraps, the changes of single cells are 32-bit, and fewer than 2^21 of them have a sum below 2^53:
/// their sum in doubles has no rounding, so that it may be made of integers.
static double a2_try_swap(run_context* ctx, std::int32_t k, std::int32_t a, std::int32_t b)
{
    const a2_state& s = *ctx->a2;
    if (equal_entries(s.design[a][k], s.design[b][k]))
        return s.value;
    read_column(s, k);
    describe_exchange(s, k, a, b);
    const double change =
        s.squares_fit
            ? static_cast<double>(s.kernels->square_changes(s.rows, s.coincidence[a], s.coincidence[b], s.change))
            : change_in_doubles(s, a, b);
    return s.value + change / s.rows_squared;
}

/// The change of the sum of squares in 32 bits, where adding up the changes of pairs ends, too.
static std::int32_t change_since(const a2_state& s, std::int64_t before)
{
    return wrap_i32(static_cast<std::uint32_t>(s.squares.sum - before));
}

/// The exchange without the value: the 32-bit change of the sum of squares; changed tells whether any entries
/// differed.
static std::int32_t exchange_entries(a2_state& s, std::int32_t k, std::int32_t count, const std::int32_t* rows_a,
                                     const std::int32_t* rows_b, bool& changed)
{
    const std::int64_t before = s.squares.sum;
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t a = rows_a[t];
        const std::int32_t b = rows_b[t];
        if (!equal_entries(s.design[a][k], s.design[b][k])) {
            changed = true;
            read_column(s, k);
            describe_exchange(s, k, a, b);
            for (std::int32_t r = 0; r < s.rows; ++r) {
                if (s.change[r] == 0)
                    continue;
                update_pair(s, r, a, s.change[r]);
                update_pair(s, r, b, wrap_sub(0, s.change[r]));
            }
        }
        std::swap(s.design[a][k], s.design[b][k]);
    }
    return change_since(s, before);
}

static double value_after(const a2_state& s, std::int32_t change, bool changed)
{
    return changed ? s.value + static_cast<double>(change) / s.rows_squared : s.value;
}

static double a2_apply_swaps(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_a,
                             const std::int32_t* rows_b)
{
    a2_state& s = *ctx->a2;
    keep_rows(ctx, k, count, rows_a);
    keep_rows(ctx, k, count, rows_b);
    bool changed = false;
    const std::int32_t change = exchange_entries(s, k, count, rows_a, rows_b, changed);
    s.value = value_after(s, change, changed);
    return s.value;
}

/// Undoing an exchange by itself is exact: integers, and the entries as they were.
static double a2_try_swaps(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_a,
                           const std::int32_t* rows_b)
{
    a2_state& s = *ctx->a2;
    bool changed = false;
    const std::int32_t change = exchange_entries(s, k, count, rows_a, rows_b, changed);
    for (std::int32_t t = count - 1; t >= 0; --t)
        exchange_entries(s, k, 1, rows_a + t, rows_b + t, changed);
    return value_after(s, change, changed);
}

/// The entries that the source rows hold.
static double* take_entries(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_src)
{
    double* taken = double_vector_alloc(ctx, count);
    for (std::int32_t t = 0; t < count; ++t)
        taken[t] = ctx->a2->design[rows_src[t]][k];
    return taken;
}

/// Gives rows_dst the taken entries one after the other; returns and tells as exchange_entries.
static std::int32_t move_entries(a2_state& s, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                                 const double* taken, bool& changed)
{
    read_column(s, k);
    const std::int64_t before = s.squares.sum;
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t d = rows_dst[t];
        if (!equal_entries(s.column[d], taken[t])) {
            changed = true;
            s.kernels->count_changes(s.rows, s.column, s.column[d], taken[t], s.level_weight[k], s.change);
            for (std::int32_t r = 0; r < s.rows; ++r)
                if (r != d && s.change[r] != 0)
                    update_pair(s, r, d, s.change[r]);
        }
        s.column[d] = s.design[d][k] = taken[t];
    }
    return change_since(s, before);
}

static double a2_apply_moves(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                             const std::int32_t* rows_src)
{
    a2_state& s = *ctx->a2;
    if (count < 1)
        return s.value;
    keep_rows(ctx, k, count, rows_dst);
    double* taken = take_entries(ctx, k, count, rows_src);
    bool changed = false;
    const std::int32_t change = move_entries(s, k, count, rows_dst, taken, changed);
    vector_free(ctx, taken);
    s.value = value_after(s, change, changed);
    return s.value;
}

/// The destinations are a permutation of the sources, so that giving the destinations back what they held, the last
/// first, undoes every step. Equality of entries is not transitive: what a step left alone, its undoing leaves alone.
static double a2_try_moves(run_context* ctx, std::int32_t k, std::int32_t count, const std::int32_t* rows_dst,
                           const std::int32_t* rows_src)
{
    a2_state& s = *ctx->a2;
    if (count < 1)
        return s.value;
    double* taken = take_entries(ctx, k, count, rows_src);
    double* held = take_entries(ctx, k, count, rows_dst);
    bool changed = false;
    const std::int32_t change = move_entries(s, k, count, rows_dst, taken, changed);
    bool undone = false;
    for (std::int32_t t = count - 1; t >= 0; --t)
        move_entries(s, k, 1, rows_dst + t, held + t, undone);
    vector_free(ctx, held);
    vector_free(ctx, taken);
    return value_after(s, change, changed);
}

static void a2_save_column(run_context* ctx, std::int32_t k)
{
    a2_state& s = *ctx->a2;
    s.saved_column_number = k;
    s.saved_column_value = s.value;
    s.saved_column_squares = s.squares;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        s.saved_column[f] = s.design[s.fixed_rows + f][k];
    snapshot_take(s.saved_column_counts);
}

static void a2_restore_column(run_context* ctx, std::int32_t k)
{
    a2_state& s = *ctx->a2;
    s.value = s.saved_column_value;
    s.squares = s.saved_column_squares;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        s.design[s.fixed_rows + f][k] = s.saved_column[f];
    snapshot_restore(s.saved_column_counts, counts_of(s));
}

static void a2_save_design(run_context* ctx)
{
    a2_state& s = *ctx->a2;
    if (s.saved_design == nullptr)
        s.saved_design = double_matrix_alloc(ctx, s.free_rows, s.factors);
    s.saved_design_value = s.value;
    s.saved_design_squares = s.squares;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        std::memcpy(s.saved_design[f], s.design[s.fixed_rows + f], bits_u32(s.factors) * sizeof(double));
    pack_table(ctx, counts_of(s), s.saved_design_counts);
}

static void a2_restore_design(run_context* ctx)
{
    a2_state& s = *ctx->a2;
    snapshot_keep_all(ctx, s.saved_column_counts, counts_of(s));
    s.saved_column_squares.known = false; // all columns may change
    s.value = s.saved_design_value;
    s.squares = s.saved_design_squares;
    for (std::int32_t f = 0; f < s.free_rows; ++f)
        std::memcpy(s.design[s.fixed_rows + f], s.saved_design[f], bits_u32(s.factors) * sizeof(double));
    unpack_table(counts_of(s), s.saved_design_counts);
}

static double a2_value_of(run_context* ctx, const double* const* design)
{
    const a2_state& s = *ctx->a2;
    return value_from_scratch(s, design != nullptr ? design : s.design, nullptr);
}

static void a2_copy_saved_design(run_context* ctx, double** out)
{
    const a2_state& s = *ctx->a2;
    for (std::int32_t r = 0; r < s.rows; ++r)
        std::memcpy(out[r], r < s.fixed_rows ? s.design[r] : s.saved_design[r - s.fixed_rows],
                    bits_u32(s.factors) * sizeof(double));
}

static memory_need a2_memory(double free_rows, double fixed_rows, double factors, const criterion_options*)
{
    const double rows = free_rows + fixed_rows;
    const double least =
        least_matrix_bytes(rows, rows, 4.0) + 8.0 * rows * factors + least_matrix_bytes(rows, factors, 8.0);
    return {least, least + 2.0 * rows * rows}; // a snapshot of half the table
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
    .memory = a2_memory,
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

#include "optdoe/criteria/criterion.h"

#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/numeric/index_sort.h"
#include "optdoe/run/factor_levels.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cmath>

static const criterion_ops& in_force(const run_context* ctx) { return *ctx->criterion->in_force; }

memory_need crit_memory(double free_rows, double fixed_rows, double factors, const criterion_options* options)
{
    if (options != nullptr)
        return criterion_for(*options).memory(free_rows, fixed_rows, factors, options);
    constexpr double beyond_all = HUGE_VAL;
    memory_need smallest{beyond_all, beyond_all};
    const double zero = 0.0; // an exponent of its own makes phi-p another criterion
    for (std::int8_t id = 0; id < 4; ++id) {
        for (const std::int32_t count : {0, 1}) {
            criterion_options any{};
            any.criterion_id = id;
            any.params.param_count_1 = count;
            any.params.param_list_1 = &zero;
            const memory_need need = criterion_for(any).memory(free_rows, fixed_rows, factors, &any);
            smallest = {std::min(smallest.least, need.least), std::min(smallest.peak, need.peak)};
        }
    }
    return smallest;
}

void criterion_open(run_context* ctx) { open_plain_record(ctx->criterion); }

void criterion_close(run_context* ctx) { close_plain_record(ctx->criterion); }

void crit_setup(run_context* ctx, const double* const* design, std::uint32_t free_rows, std::uint32_t fixed_rows,
                std::int32_t factors, const criterion_options& options)
{
    ctx->criterion->target = options.criterion_threshold;
    ctx->criterion->in_force = &criterion_for(options);
    in_force(ctx).setup(ctx, design, free_rows, fixed_rows, factors, options, ctx->levels->level_count);
}

void crit_release(run_context* ctx) { in_force(ctx).release(ctx); }

double crit_value(run_context* ctx) { return in_force(ctx).value(ctx); }

double** crit_copy_design(run_context* ctx, double** out) { return in_force(ctx).copy_design(ctx, out); }

double crit_evaluate(run_context* ctx, const double* const* design) { return in_force(ctx).evaluate(ctx, design); }

double crit_apply_swaps(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                        const std::int32_t* rows_b)
{
    return in_force(ctx).apply_swaps(ctx, column, count, rows_a, rows_b);
}

double crit_try_swaps(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                      const std::int32_t* rows_b)
{
    return in_force(ctx).try_swaps(ctx, column, count, rows_a, rows_b);
}

double crit_try_swap(run_context* ctx, std::int32_t column, std::int32_t row_a, std::int32_t row_b)
{
    return in_force(ctx).try_swap(ctx, column, row_a, row_b);
}

double crit_try_moves(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                      const std::int32_t* rows_src)
{
    return in_force(ctx).try_moves(ctx, column, count, rows_dst, rows_src);
}

double crit_apply_moves(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                        const std::int32_t* rows_src)
{
    return in_force(ctx).apply_moves(ctx, column, count, rows_dst, rows_src);
}

void crit_save_column(run_context* ctx, std::int32_t column) { in_force(ctx).save_column(ctx, column); }

void crit_restore_column(run_context* ctx, std::int32_t column) { in_force(ctx).restore_column(ctx, column); }

double crit_target(run_context* ctx) { return ctx->criterion->target; }

void crit_save_design(run_context* ctx) { in_force(ctx).save_design(ctx); }

void crit_restore_design(run_context* ctx) { in_force(ctx).restore_design(ctx); }

double crit_value_of(run_context* ctx, const double* const* design) { return in_force(ctx).value_of(ctx, design); }

void crit_copy_saved_design(run_context* ctx, double** out) { in_force(ctx).copy_saved_design(ctx, out); }

std::int32_t best_swap_by_trials(run_context* ctx, criterion_ops::trial try_swap, std::int32_t column,
                                 std::int32_t count, const std::int32_t* rows_a, const std::int32_t* rows_b,
                                 double* best_value)
{
    double* values = double_vector_alloc(ctx, count);
    std::int32_t* order = int_vector_alloc(ctx, count);
    for (std::int32_t t = 0; t < count; ++t)
        values[t] = try_swap(ctx, column, rows_a[t], rows_b[t]);
    indexx_double(ctx, bits_u32(count), values, order);
    const std::int32_t best = order[0];
    *best_value = values[best];
    vector_free(ctx, order);
    vector_free(ctx, values);
    return best;
}

std::int32_t crit_best_swap(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                            const std::int32_t* rows_b, double* best_value)
{
    const std::int32_t unique = crit_unique_best_swap(ctx, column, count, rows_a, rows_b, best_value);
    return unique >= 0 ? unique
                       : best_swap_by_trials(ctx, in_force(ctx).try_swap, column, count, rows_a, rows_b, best_value);
}

std::int32_t crit_unique_best_swap(run_context* ctx, std::int32_t column, std::int32_t count,
                                   const std::int32_t* rows_a, const std::int32_t* rows_b, double* best_value)
{
    const criterion_ops& ops = in_force(ctx);
    return ops.unique_best_swap == nullptr ? -1
                                           : ops.unique_best_swap(ctx, column, count, rows_a, rows_b, best_value);
}

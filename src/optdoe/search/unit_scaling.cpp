#include "optdoe/search/unit_scaling.h"

#include "optdoe/numeric/index_sort.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"

#include <cmath>

/// Number of distinct values of a column.
static std::int32_t count_distinct(run_context* ctx, const double* values, std::int32_t* order, std::int32_t n)
{
    indexx_double(ctx, bits_u32(n), values, order);
    std::int32_t distinct = 1;
    for (std::int32_t i = 1; i < n; ++i)
        if (std::fabs(values[order[i]] - values[order[i - 1]]) > 1e-15)
            ++distinct;
    return distinct;
}

/// Widens each range by half a level step at both ends.
static void widen_ranges(run_context* ctx, double** ranges, const double* const* design, std::int32_t n,
                         std::int32_t k)
{
    double* values = double_vector_alloc(ctx, n);
    std::int32_t* order = int_vector_alloc(ctx, n);
    for (std::int32_t j = 0; j < k; ++j) {
        for (std::int32_t i = 0; i < n; ++i)
            values[i] = design[i][j];
        const std::int32_t distinct = count_distinct(ctx, values, order, n);
        const double half = (ranges[1][j] - ranges[0][j]) * 0.5 / (distinct - 1);
        ranges[0][j] = ranges[0][j] - half;
        ranges[1][j] = ranges[1][j] + half;
    }
    vector_free(ctx, order);
    vector_free(ctx, values);
}

double** column_ranges(run_context* ctx, std::int32_t mode, const double* const* design, std::int32_t n,
                       std::int32_t k)
{
    double** ranges = double_matrix_alloc(ctx, 2, k);
    for (std::int32_t j = 0; j < k; ++j) {
        double lower = design[0][j];
        double upper = design[0][j];
        for (std::int32_t i = 1; i < n; ++i) {
            const double x = design[i][j];
            if (x < lower)
                lower = x;
            else if (x > upper)
                upper = x;
        }
        ranges[0][j] = lower;
        ranges[1][j] = upper;
    }
    if (mode == 2)
        widen_ranges(ctx, ranges, design, n, k);
    return ranges;
}

double** scale_to_unit(run_context* ctx, std::int32_t mode, double** design, std::int32_t n, std::int32_t k)
{
    double** ranges = column_ranges(ctx, mode, design, n, k);
    for (std::int32_t j = 0; j < k; ++j) {
        const double lower = ranges[0][j];
        const double upper = ranges[1][j];
        const double span = upper - lower;
        const bool constant = span <= (std::fabs(lower) + std::fabs(upper)) * 1e-10;
        for (std::int32_t i = 0; i < n; ++i)
            design[i][j] = constant ? 0.5 : (design[i][j] - lower) / span;
    }
    return ranges;
}

void scale_from_unit(double** design, const double* const* ranges, std::int32_t n, std::int32_t k)
{
    for (std::int32_t j = 0; j < k; ++j) {
        const double lower = ranges[0][j];
        const double upper = ranges[1][j];
        for (std::int32_t i = 0; i < n; ++i)
            design[i][j] = (upper - lower) * design[i][j] + lower;
    }
}

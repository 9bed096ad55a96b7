#include "criteria/phip_coarse.h"

#include "criteria/criterion.h"
#include "numeric/wrap32.h"
#include "storage/vectors.h"

#include <algorithm>
#include <cmath>

static float* floats_alloc(run_context* ctx, std::int32_t lines, std::int32_t stride)
{
    // coarse_step floats are a whole number of doubles
    return reinterpret_cast<float*>(
        aligned_alloc_doubles(ctx, static_cast<std::size_t>(lines) * bits_u32(stride / 2)));
}

void coarse_alloc(run_context* ctx, phip_coarse& c)
{
    c.stride = (c.rows + coarse_step - 1) / coarse_step * coarse_step;
    c.pitch = spread_pitch(c.stride, coarse_step);
    c.distances = floats_alloc(ctx, c.rows, c.pitch);
    c.columns = floats_alloc(ctx, c.factors, c.stride);
    for (std::int32_t r = 0; r < c.rows; ++r)
        std::fill(coarse_distance_line(c, r) + c.rows, coarse_distance_line(c, r) + c.pitch, __builtin_inff());
    std::fill_n(c.columns, static_cast<std::ptrdiff_t>(c.factors) * c.stride, 0.0f);
    c.has_equal = byte_vector_alloc(ctx, c.factors);
    c.lowest = double_vector_alloc(ctx, c.factors);
    c.highest = double_vector_alloc(ctx, c.factors);
    std::fill_n(c.lowest, c.factors, __builtin_inf());
    std::fill_n(c.highest, c.factors, -__builtin_inf());
}

void coarse_free(run_context* ctx, phip_coarse& c)
{
    aligned_free_doubles(ctx, reinterpret_cast<double*>(c.distances));
    aligned_free_doubles(ctx, reinterpret_cast<double*>(c.columns));
    for (void* v : {static_cast<void*>(c.lowest), static_cast<void*>(c.highest), static_cast<void*>(c.has_equal)})
        if (v != nullptr)
            vector_free(ctx, v);
    c = {};
}

void coarse_note_equal(run_context* ctx, phip_coarse& c, const double* const* points)
{
    double* column = double_vector_alloc(ctx, c.rows);
    for (std::int32_t k = 0; k < c.factors; ++k) {
        bool finite = true;
        for (std::int32_t r = 0; r < c.rows; ++r) {
            column[r] = points[r][k];
            finite = finite && std::isfinite(column[r]);
        }
        if (!finite) { // there are no bounds then
            c.has_equal[k] = 1;
            c.has_nearly_equal = true;
            continue;
        }
        std::sort(column, column + c.rows);
        for (std::int32_t r = 1; r < c.rows; ++r) {
            if (!equal_entries(column[r - 1], column[r]))
                continue;
            c.has_equal[k] = 1;
            c.has_nearly_equal = c.has_nearly_equal || column[r - 1] != column[r];
        }
    }
    vector_free(ctx, column);
}

void coarse_fit(phip_coarse& c, const double* const* points)
{
    c.reach = 0.0;
    for (std::int32_t k = 0; k < c.factors; ++k) {
        for (std::int32_t r = 0; r < c.rows; ++r) {
            const double x = points[r][k];
            c.lowest[k] = std::min(c.lowest[k], x);
            c.highest[k] = std::isnan(x) ? __builtin_inf() : std::max(c.highest[k], x);
        }
        c.reach += distance_part(c.kind, c.highest[k] - c.lowest[k]);
    }
    c.scale = c.entry_scale = 1.0;
    if (!coarse_is_usable(c))
        return;
    const int exponent = c.reach > 0.0 ? std::ilogb(c.reach) : 0;
    if (c.kind == distance_kind::euclidean) {
        c.entry_scale = std::ldexp(1.0, -(exponent / 2));
        c.scale = c.entry_scale * c.entry_scale;
    } else {
        c.scale = c.entry_scale = std::ldexp(1.0, -exponent);
    }
    for (std::int32_t k = 0; k < c.factors; ++k)
        for (std::int32_t r = 0; r < c.rows; ++r)
            coarse_set_entry(c, r, k, points[r][k]);
}

bool coarse_is_usable(const phip_coarse& c) { return c.reach < 1e200 && (c.reach > 1e-200 || c.reach == 0.0); }

void coarse_set_entry(phip_coarse& c, std::int32_t r, std::int32_t column, double x)
{
    if (!coarse_is_usable(c))
        return;
    const double middle = 0.5 * c.lowest[column] + 0.5 * c.highest[column];
    coarse_column_line(c, column)[r] = static_cast<float>((x - middle) * c.entry_scale);
}

void coarse_set_row(phip_coarse& c, std::int32_t r, const double* distances)
{
    if (!coarse_is_usable(c))
        return;
    float* line = coarse_distance_line(c, r);
    for (std::int32_t j = 0; j < c.rows; ++j) // a distance may carry a sign as a mark
        line[j] = static_cast<float>(std::fabs(distances[j]) * c.scale);
}

void coarse_set_row_and_column(phip_coarse& c, std::int32_t r, const double* distances)
{
    if (!coarse_is_usable(c))
        return;
    coarse_set_row(c, r, distances);
    const float* line = coarse_distance_line(c, r);
    float* cell = c.distances + r;
    for (std::int32_t j = 0; j < c.rows; ++j, cell += c.pitch)
        *cell = line[j];
}

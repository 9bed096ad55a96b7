#include "optdoe/criteria/phip/coarse_copies.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cmath>

constexpr double most_entry = 32700.0;      ///< steps of an entry, of a slope, and of two changes of a distance
constexpr double most_steps = 65000.0;      ///< of a distance that counts
constexpr double least_half_range = 1e-300; ///< of entries; the squares of smaller ones are 0

static std::uint16_t* integers_alloc(run_context* ctx, std::int32_t lines, std::int32_t stride)
{
    // coarse_step integers are a whole number of doubles
    return reinterpret_cast<std::uint16_t*>(
        aligned_alloc_doubles(ctx, static_cast<std::size_t>(lines) * bits_u32(stride / 4)));
}

void coarse_alloc(run_context* ctx, coarse_copies& c, const pair_distances& d, std::int32_t p)
{
    c.rows = d.rows;
    c.factors = d.factors;
    c.kind = d.kind;
    c.p = p;
    c.stride = (c.rows + coarse_step - 1) / coarse_step * coarse_step;
    c.distances = integers_alloc(ctx, c.rows, c.stride);
    c.columns = reinterpret_cast<std::int16_t*>(integers_alloc(ctx, c.factors, c.stride));
    for (std::int32_t r = 0; r < c.rows; ++r)
        std::fill(coarse_line(c, r) + c.rows, coarse_line(c, r) + c.stride, coarse_none);
    std::fill_n(c.columns, static_cast<std::ptrdiff_t>(c.factors) * c.stride, std::int16_t{0});
    c.marks = integers_alloc(ctx, 2, c.stride);
    std::fill_n(c.marks, 2 * c.stride, std::uint16_t{0});
    c.marks[c.stride] = coarse_none;
    if (!stores_all_lines(d)) {
        c.change_log = int_vector_alloc(ctx, c.rows);
        c.log_read = int_vector_alloc(ctx, c.rows);
    }
    c.column = static_cast<coarse_column*>(tracked_alloc(ctx, bits_u32(c.factors) * sizeof(coarse_column)));
    coarse_column nothing{};
    nothing.lowest = __builtin_inf();
    nothing.highest = -__builtin_inf();
    std::fill_n(c.column, c.factors, nothing);
}

void coarse_free(run_context* ctx, coarse_copies& c)
{
    aligned_free_doubles(ctx, reinterpret_cast<double*>(c.distances));
    aligned_free_doubles(ctx, reinterpret_cast<double*>(c.columns));
    aligned_free_doubles(ctx, reinterpret_cast<double*>(c.marks));
    vectors_free(ctx, {c.change_log, c.log_read, c.column});
    c = {};
}

void coarse_find_equal(run_context* ctx, coarse_copies& c, const double* const* points)
{
    double* column = double_vector_alloc(ctx, c.rows);
    for (std::int32_t k = 0; k < c.factors; ++k) {
        bool finite = true;
        for (std::int32_t r = 0; r < c.rows; ++r) {
            column[r] = points[r][k];
            finite = finite && std::isfinite(column[r]);
        }
        if (!finite) { // there are no bounds then
            c.column[k].has_equal = true;
            c.has_nearly_equal = true;
            continue;
        }
        std::sort(column, column + c.rows);
        for (std::int32_t r = 1; r < c.rows; ++r) {
            if (!equal_entries(column[r - 1], column[r]))
                continue;
            c.column[k].has_equal = true;
            c.has_nearly_equal = c.has_nearly_equal || column[r - 1] != column[r];
        }
    }
    vector_free(ctx, column);
}

/// The mean distance of two rows in one column, for the rectangular kind an upper bound of it.
static double mean_part(const coarse_copies& c, std::int32_t k, const double* const* points)
{
    const double middle = c.column[k].middle;
    double sum = 0.0;
    double squares = 0.0;
    for (std::int32_t r = 0; r < c.rows; ++r) {
        const double x = points[r][k] - middle;
        sum += x;
        squares += x * x;
    }
    const double pairs = std::max(c.rows - 1.0, 1.0);
    const double part = 2.0 * std::max(squares - sum * sum / c.rows, 0.0) / pairs;
    return c.kind == distance_kind::euclidean ? part : std::sqrt(part);
}

/// What is derived from the scale.
static void fit_column(const coarse_copies& c, coarse_column& column)
{
    const double half_range = 0.5 * (column.highest - column.lowest);
    if (c.kind == distance_kind::rectangular)
        column.entry_scale = c.scale;
    else
        column.entry_scale = half_range > least_half_range ? most_entry / half_range : 0.0;
    column.slope_scale = column.entry_scale > 0.0 ? 0x1p17 * c.scale / column.entry_scale : 0.0;
    const double most_change = distance_part(c.kind, column.highest - column.lowest) * c.scale;
    column.bias = static_cast<std::uint16_t>(most_change + 4.0);
    // Less the bias, and a quarter of it for the constant of the change.
    const double far = coarse_none - 1.5 * column.bias - 8.0;
    column.far_term = 1.0 / int_power(far / c.scale, bits_u32(c.p));
}

static void empty_log(coarse_copies& c)
{
    c.logged_count = 0;
    if (c.change_log != nullptr)
        std::fill_n(c.log_read, c.rows, 0);
}

void coarse_fit(coarse_copies& c, const double* const* points)
{
    c.reach = 0.0;
    double largest_part = 0.0;
    double mean = 0.0;
    for (std::int32_t k = 0; k < c.factors; ++k) {
        coarse_column& column = c.column[k];
        for (std::int32_t r = 0; r < c.rows; ++r) {
            const double x = points[r][k];
            column.lowest = std::min(column.lowest, x);
            column.highest = std::isnan(x) ? __builtin_inf() : std::max(column.highest, x);
        }
        column.middle = 0.5 * column.lowest + 0.5 * column.highest;
        const double part = distance_part(c.kind, column.highest - column.lowest);
        c.reach += part;
        largest_part = std::max(largest_part, part);
        mean += mean_part(c, k, points);
    }
    if (!coarse_is_usable(c))
        return;
    // On the way to a new distance stands one without the constant of its change, which is at most a quarter of the
    // column's part, and with the bias. The steps of a slope are a little more than twice those of the part.
    constexpr double beyond_mean = 1.25;
    c.scale = c.reach > 0.0 ? std::min(most_steps / (beyond_mean * mean + 2.25 * largest_part),
                                       0.49 * most_entry / largest_part)
                            : 1.0;
    for (std::int32_t k = 0; k < c.factors; ++k) {
        fit_column(c, c.column[k]);
        for (std::int32_t r = 0; r < c.rows; ++r)
            coarse_set_entry(c, r, k, points[r][k]);
    }
    empty_log(c);
}

/// The scale takes squares of sums of as many distances as there are rows: they are in the range, too.
bool coarse_is_usable(const coarse_copies& c) { return c.reach < 1e140 && (c.reach > 1e-140 || c.reach == 0.0); }

/// An entry that is loaded may leave the range that the copies were last fitted to: they are fitted anew before
/// anybody reads them.
void coarse_set_entry(coarse_copies& c, std::int32_t r, std::int32_t column, double x)
{
    if (!coarse_is_usable(c))
        return;
    const double steps = (x - c.column[column].middle) * c.column[column].entry_scale;
    c.columns[static_cast<std::ptrdiff_t>(column) * c.stride + r] =
        std::fabs(steps) < INT16_MAX ? static_cast<std::int16_t>(std::lrint(steps)) : std::int16_t{0};
}

void coarse_set_line(coarse_copies& c, std::int32_t r, const double* distances)
{
    if (!coarse_is_usable(c))
        return;
    // A distance may carry a sign as a mark. Half a step is added: they are rounded by leaving out the fraction. What
    // is not a number becomes coarse_none.
    std::uint16_t* line = coarse_line(c, r);
    constexpr double most = coarse_none;
    for (std::int32_t j = 0; j < c.rows; ++j)
        line[j] = static_cast<std::uint16_t>(std::min(most, std::fabs(distances[j]) * c.scale + 0.5));
}

void coarse_change_line(coarse_copies& c, std::int32_t r, const double* distances)
{
    if (!coarse_is_usable(c))
        return;
    if (c.change_log == nullptr) {
        coarse_set_line(c, r, distances);
        const std::uint16_t* line = coarse_line(c, r);
        std::uint16_t* cell = c.distances + r;
        for (std::int32_t j = 0; j < c.rows; ++j, cell += c.stride)
            *cell = line[j];
        return;
    }
    if (c.logged_count == c.rows) {
        for (std::int32_t i = 0; i < c.rows; ++i)
            coarse_catch_up(c, i);
        empty_log(c);
    }
    coarse_set_line(c, r, distances);
    c.change_log[c.logged_count] = r;
    c.logged_count += 1;
    c.log_read[r] = c.logged_count;
}

void coarse_read_log(coarse_copies& c, std::int32_t r)
{
    std::uint16_t* line = coarse_line(c, r);
    const std::uint16_t* column = c.distances + r;
    const std::int32_t stride = c.stride;
    const std::int32_t* const end = c.change_log + c.logged_count;
    for (const std::int32_t* row = c.change_log + c.log_read[r]; row != end; ++row)
        line[*row] = column[static_cast<std::ptrdiff_t>(*row) * stride];
    c.log_read[r] = c.logged_count;
}

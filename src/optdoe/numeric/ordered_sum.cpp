#include "optdoe/numeric/ordered_sum.h"

#include <algorithm>

constexpr kernel_variants<ordered_sum_kernels> ordered_sum_kernel_variants
{
    &ordered_sum_kernels_baseline,
#if defined(__x86_64__)
        &ordered_sum_kernels_avx2, &ordered_sum_kernels_avx512,
#endif
};

const ordered_sum_kernels* best_ordered_sum_kernels() { return best_variant(ordered_sum_kernel_variants); }

using grid_kernel = decltype(ordered_sum_kernels::sum_on_grid);

/// Steps 2 to 4: adds the summands at once where the proof holds.
///   returns false when it does not; the total is then as before
static bool add_on_grid(grid_kernel sum_on_grid, double& total, std::int32_t count, const double* x)
{
    const double limit = grid_limit(total);
    if (limit == 0.0)
        return false;
    const grid_sum sum = sum_on_grid(count, x, limit);
    const double most = total + sum.above;
    const double least = total + sum.below;
    const bool stays =
        total > 0.0 ? most < 4.0 * limit && least > 2.0 * limit : least > -4.0 * limit && most < -2.0 * limit;
    if (!stays || sum.ties != 0.0)
        return false;
    total += sum.above + sum.below;
    return true;
}

static double add_with(grid_kernel sum_on_grid, double total, std::int32_t count, const double* x)
{
    constexpr std::int32_t part = 64;
    if (count > part && add_on_grid(sum_on_grid, total, count, x))
        return total;
    for (std::int32_t first = 0; first < count; first += part) {
        const std::int32_t length = std::min(part, count - first);
        if (length == part && add_on_grid(sum_on_grid, total, length, x + first))
            continue;
        for (std::int32_t i = first; i < first + length; ++i)
            total += x[i];
    }
    return total;
}

double add_in_order(const ordered_sum_kernels& kernels, double total, std::int32_t count, const double* x)
{
    return add_with(kernels.sum_on_grid, total, count, x);
}

double add_positive_in_order(const ordered_sum_kernels& kernels, double total, std::int32_t count, const double* x)
{
    return add_with(kernels.sum_positive_on_grid, total, count, x);
}

constexpr double infinity = __builtin_inf();

void forget_rows(const triangle_sum& t) { std::fill_n(t.kept.ties, t.rows, infinity); }

void replace_line_on_grid(const triangle_sum& t, const replaced_line& line)
{
    t.kernels->replace_on_grid(t.stride, line.line, line.before, line.after, t.kept);
    t.kept.ties[line.line] = infinity;
}

static double to_grid(double x, double limit) { return (x + 3.0 * limit) - 3.0 * limit; }

static double tie(double x, double limit) { return std::fabs(x - to_grid(x, limit)) == limit * 0x1p-52; }

static void set_row(const rows_on_grid& rows, std::int32_t j, const grid_sum& sum, double limit)
{
    rows.sum[j] = sum.above;
    rows.ties[j] = sum.above < 4.0 * limit ? sum.ties : infinity;
}

void complete_row(const triangle_sum& t, std::int32_t j, double limit, const double* row, std::int32_t count,
                  const replaced_line* replaced)
{
    if (t.kept.limit[j] != limit || t.kept.ties[j] == infinity) {
        t.kept.limit[j] = limit;
        set_row(t.kept, j, t.kernels->sum_positive_on_grid(j, row, limit), limit);
    }
    if (count == 0)
        return;
    grid_sum sum{t.kept.sum[j], 0.0, t.kept.ties[j]};
    for (std::int32_t i = 0; i < count; ++i) {
        const replaced_line& line = replaced[i];
        if (line.line == j)
            return set_row(t.with_replaced, j, t.kernels->sum_positive_on_grid(j, line.after, limit), limit);
        if (line.line > j)
            continue;
        sum.above = (sum.above - to_grid(line.before[j], limit)) + to_grid(line.after[j], limit);
        sum.ties += tie(line.after[j], limit) - tie(line.before[j], limit);
        if (!(line.after[j] < limit))
            sum.ties = infinity;
    }
    set_row(t.with_replaced, j, sum, limit);
}

const double* row_with_replaced(std::int32_t j, double* row, std::int32_t count, const replaced_line* replaced)
{
    for (std::int32_t i = 0; i < count; ++i) {
        if (replaced[i].line == j)
            return replaced[i].after;
        if (replaced[i].line < j)
            row[replaced[i].line] = replaced[i].after[j];
    }
    return row;
}

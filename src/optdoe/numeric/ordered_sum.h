/// Sums of doubles with the bits of adding one by one, in a fraction of the time of the chain of additions.
///
/// Why the bits are the same:
///  1. Let the running sum S lie in a binade, 2 L <= |S| < 4 L with L a power of two. Its last place is worth
///     u = 2^-51 L, and S is a multiple of u: a point of the grid of that binade.
///  2. For |x| < L let g(x) be the multiple of u nearest to x. If x is not half way between two multiples, then
///     S + x is nearest to S + g(x), and the rounded sum of S and x is S + g(x) while that lies in the binade.
///  3. Strictly inside: at 2 L itself a smaller |S + x| would be rounded on the finer grid below. At 4 L the sum is
///     right but leaves the binade.
///  4. Sums of g(x) are exact in any order while they stay below 4 L. So a whole row of summands is added at once as
///     the sum of their g(x) when no summand is half way and every partial sum stays in the binade. It does when S
///     with all positive g(x) stays below 4 L in size and S with all negative ones above 2 L, or the reverse for S <
///     0.
///  5. When any of this fails, the row is added in parts, and a part for which it fails one by one. A change of
///  binade
///     happens a number of times that grows with the logarithm of the sum.
/// g(x) is (x + 3 L) - 3 L in IEEE arithmetic with rounding to nearest. Nothing is assumed of numbers that are not
/// finite or of sums below 1e-290: they go one by one.
#pragma once

#include "optdoe/simd/ordered_sum_kernels.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

/// The variant that this machine runs best; never null.
const ordered_sum_kernels* best_ordered_sum_kernels();

/// What this build has.
extern const kernel_variants<ordered_sum_kernels> ordered_sum_kernel_variants;

/// total + x[0] + x[1] + ... + x[count-1], added in this order, bit for bit.
///   x   in   [count] any doubles at any address; count may be 0
double add_in_order(const ordered_sum_kernels& kernels, double total, std::int32_t count, const double* x);

/// The same of summands of which none is negative, in half the time.
double add_positive_in_order(const ordered_sum_kernels& kernels, double total, std::int32_t count, const double* x);

/// L of a running sum, 0 where it has no grid.
inline double grid_limit(double total)
{
    constexpr double least_binade = 1e-290; // below it the steps of the grid would leave the range of doubles
    constexpr std::uint64_t exponent_bits = 0x7FF0000000000000u;
    const double size = std::fabs(total);
    if (!(size >= least_binade && size < __builtin_inf()))
        return 0.0;
    return 0.5 * std::bit_cast<double>(std::bit_cast<std::uint64_t>(size) & exponent_bits);
}

/// The summands of one line of a triangle, before and after it is replaced.
struct replaced_line {
    std::int32_t line;
    const double* before; ///< [stride] the summand in each row
    const double* after;
};

/// The lower triangle of a symmetric table of summands of which none is negative: row j has the j summands left of
/// the diagonal. Rows on the grid are kept, so that a sum costs a step a row while few of them change.
struct triangle_sum {
    const ordered_sum_kernels* kernels;
    std::int32_t rows;
    std::int32_t stride;
    rows_on_grid kept;          ///< of the table
    rows_on_grid with_replaced; ///< scratch: of the table with replaced lines; its limit is that of kept
};

/// No row of the triangle is known on the grid.
void forget_rows(const triangle_sum& t);

/// Keeps the rows in step when a line is replaced.
void replace_line_on_grid(const triangle_sum& t, const replaced_line& line);

/// For sum_in_order: what is known of row j is made complete, for the grid of `limit`.
///   row        in       [j] the row's summands in the table
///   replaced   in       [count] lines that are replaced for this sum only
void complete_row(const triangle_sum& t, std::int32_t j, double limit, const double* row, std::int32_t count,
                  const replaced_line* replaced);

/// Puts the replaced lines' summands into row j of the table.
///   row   in/out   [j]
///   returns the row
const double* row_with_replaced(std::int32_t j, double* row, std::int32_t count, const replaced_line* replaced);

/// Sum of the triangle, bit for bit that of adding its summands one by one, row by row.
///   replaced    in   [count] lines that are replaced for this sum only; count may be 0
///   row_of      (j) -> double* to row j of the table, which may be written, until the next call
template <class RowOf>
double sum_in_order(const triangle_sum& t, std::int32_t count, const replaced_line* replaced, RowOf row_of)
{
    if (count > 0) {
        std::copy_n(t.kept.sum, t.stride, t.with_replaced.sum);
        std::copy_n(t.kept.ties, t.stride, t.with_replaced.ties);
        for (std::int32_t i = 0; i < count; ++i)
            replace_line_on_grid({t.kernels, t.rows, t.stride, t.with_replaced, {}}, replaced[i]);
    }
    const rows_on_grid& on_grid = count > 0 ? t.with_replaced : t.kept;
    double total = 0.0;
    for (std::int32_t j = 1; j < t.rows; ++j) {
        const double limit = grid_limit(total);
        double* row = nullptr;
        if (limit > 0.0 && (on_grid.limit[j] != limit || on_grid.ties[j] == __builtin_inf())) {
            row = row_of(j);
            complete_row(t, j, limit, row, count, replaced);
        }
        const double next = total + on_grid.sum[j];
        if (limit > 0.0 && on_grid.ties[j] == 0.0 && next < 4.0 * limit) {
            total = next;
            continue;
        }
        row = row == nullptr ? row_of(j) : row;
        total = add_positive_in_order(*t.kernels, total, j, row_with_replaced(j, row, count, replaced));
    }
    return total;
}

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

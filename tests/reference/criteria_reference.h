/// The criteria from their definitions: slow, in long double, sharing nothing with the library.
#pragma once

#include "tests/support/designs.h"

#include <vector>

namespace reference {

enum class distance { rectangular, euclidean };

/// The exponent that the library's integer power applies for n: n's highest bit followed by its other bits in reverse
/// order (5 = 101b gives 6 = 110b).
int applied_exponent(int n);

/// Sum over all pairs of rows of distance^-e, e the applied exponent; the Euclidean distance is squared and its order
/// halved (rounded up). Pairs closer than 1e-200^(1/p) count 1e200, so does the sum at most.
///   p         1..100
///   weights   per factor; multiply the coordinates
/// Source: Morris and Mitchell, "Exploratory designs for computational experiments", 1995, equation 1.
long double phip_sum(const table& design, int p, distance kind, const std::vector<double>& weights);
double phip(const table& design, int p, distance kind, const std::vector<double>& weights);

/// The negated least distance (squared for Euclidean).
/// Source: Johnson, Moore and Ylvisaker, "Minimax and maximin distance designs", 1990.
double maximin(const table& design, distance kind, const std::vector<double>& weights);

/// The least and the largest distance between two rows, as phip and maximin measure it.
struct distance_range {
    double least, largest;
};
distance_range distances(const table& design, distance kind, const std::vector<double>& weights);

/// -ln det R, R(i, j) = exp(-sum theta_k w_k^q |difference|^q), q = 1 or 2; by LU decomposition with pivoting.
/// Source: Shewry and Wynn, "Maximum entropy sampling", 1987.
double entropy(const table& design, distance kind, const std::vector<double>& theta,
               const std::vector<double>& weights);

/// Squared centered L2 discrepancy; weights scale the distances of a factor from the centre and between rows.
/// Source: Hickernell, "A generalized discrepancy and quadrature error bound", 1998, equation 5.2c.
double cd2(const table& design, const std::vector<double>& weights);

/// A2 of the generalized word-length pattern of a balanced design, by orthogonal contrasts of all pairs of factors.
/// Source: Xu and Wu, "Generalized minimum aberration for asymmetrical fractional factorial designs", 2001,
/// section 2.
double a2_by_contrasts(const table& design);

/// The same from the coincidences of rows; for any design, with only the factors of weight above 1e-15.
///   level_counts   per factor
/// Source: Xu, "Minimum moment aberration for nonregular designs and supersaturated designs", 2003.
double a2_by_coincidences(const table& design, const std::vector<int>& level_counts,
                          const std::vector<double>& weights);

} // namespace reference

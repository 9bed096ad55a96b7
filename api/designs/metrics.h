/// Plain measures of a design, computed from their definitions.
///
/// Units   distances and phi-p on columns scaled to 0..1, the discrepancy on cell centres; the caller scales.
#pragma once

#include "api/designs/design.h"

#include <cstddef>

namespace optdoe {

struct closest_pair {
    double distance;
    std::size_t row_a, row_b; ///< from 0; row_a below row_b
};

struct strongest_correlation {
    double value;                   ///< absolute value of Pearson's correlation; 0 with one factor
    std::size_t factor_a, factor_b; ///< from 0
};

closest_pair smallest_distance(const table& unit, bool rectangular);

/// (sum over pairs of d^-p)^(1/p), Euclidean d. Infinite with a repeated run.
/// Source: Morris and Mitchell, "Exploratory designs for computational experiments", 1995, equation 1 with J = 1.
double textbook_phi_p(const table& unit, int p);

/// Source: Hickernell, "A generalized discrepancy and quadrature error bound", 1998, centered L2 discrepancy squared.
double centered_l2_squared(const table& unit);

/// Constant columns count as uncorrelated.
strongest_correlation largest_correlation(const table& design);

/// Rows equal to an earlier row.
std::size_t repeated_rows(const table& design);

/// Strata that hold a value when 0..1 is cut into n equal strata: n for a Latin column.
std::size_t filled_strata(const table& unit, std::size_t column);

/// True when every level of every column occurs equally often.
bool is_balanced(const table& design);

/// Each column mapped by its own range: to 0..1, or (cells) to cell centres of its distinct values.
/// The same rules as the library's scaling; a constant column becomes 0.5.
table scaled_by_range(const table& design, bool cells);

} // namespace optdoe

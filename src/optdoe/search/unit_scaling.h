/// Scaling of the design's columns into the unit interval and back.
///
/// Modes  1: by the column's range, levels 1..n become (i - 1) / (n - 1); 2: by the range widened by half a level
///        step at each end, levels become the cell centres (i - 0.5) / n.
/// Ranges [2 x k] matrix: row 0 the lower, row 1 the upper ends. Made here, owned and freed by the caller.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstdint>

/// The ranges of the columns; n and k at least 1.
double** column_ranges(run_context* ctx, std::int32_t mode, const double* const* design, std::int32_t n,
                       std::int32_t k);

/// Scales every entry in place; a constant column becomes 0.5. Returns the ranges used.
double** scale_to_unit(run_context* ctx, std::int32_t mode, double** design, std::int32_t n, std::int32_t k);

/// Scales back in place: (upper - lower) x + lower, not rounded.
void scale_from_unit(double** design, const double* const* ranges, std::int32_t n, std::int32_t k);

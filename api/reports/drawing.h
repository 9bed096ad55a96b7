/// SVG drawings for the report: no scripts, no outside files, numbers in any locale alike.
#pragma once

#include "api/designs/design.h"
#include "api/runs/history.h"

#include <string>
#include <vector>

namespace optdoe {

/// Every factor against every other; the diagonal names the factor and has a tick for each value.
///   values  as written in the file; a factor with a range is drawn over its range
std::string pair_matrix_svg(const table& values, const std::vector<factor>& factors);

/// Best objective against seconds, as steps. Empty with fewer than two points.
std::string history_svg(const std::vector<search_trace>& traces);

/// The range a factor is drawn over: its own, else that of its values; never empty.
bounds drawn_range(const table& values, const std::vector<factor>& factors, std::size_t j);

} // namespace optdoe

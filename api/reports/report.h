/// The report: one self-contained HTML page about a design.
#pragma once

#include "api/designs/design_file.h"
#include "api/runs/history.h"
#include "api/scores/evaluation.h"

#include <string>

namespace optdoe {

std::string report_page(const design_file& design, const evaluation& quality, std::size_t random_designs,
                        const std::vector<search_trace>& traces);

} // namespace optdoe

/// The report: one self-contained HTML page about a design.
#pragma once

#include "cli/design_file.h"
#include "cli/evaluation.h"
#include "cli/progress.h"

#include <string>

namespace cli {

std::string report_page(const design_file& design, const evaluation& quality, std::size_t random_designs,
                        const std::vector<history_point>& history);

} // namespace cli

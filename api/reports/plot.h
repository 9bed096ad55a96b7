/// Pictures of a design through gnuplot, which runs as a child process.
#pragma once

#include "api/designs/design_file.h"
#include "api/runs/history.h"

#include <string>
#include <vector>

namespace optdoe {

/// The gnuplot program for the picture; the file names and every word of the user stand in single quotes, in which
/// gnuplot runs no commands. `terminal` is svg, pngcairo or pdfcairo.
std::string plot_script(const design_file& design, const std::vector<search_trace>& traces,
                        const std::string& terminal, const std::string& output);

/// Draws into output; its ending chooses svg, png or pdf (usage_error otherwise).
/// Throws input_error when gnuplot is missing or fails; the file then is as it was.
void plot(const design_file& design, const std::vector<search_trace>& traces, const std::string& output);

} // namespace optdoe

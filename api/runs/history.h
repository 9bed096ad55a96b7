/// The history of a search: the objective of every round.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace optdoe {

struct history_point {
    std::int32_t round;
    double seconds;
    double objective;
};

/// CSV with the columns round,seconds,objective.
std::string history_text(const std::vector<history_point>& history);
/// Reads it back; throws input_error.
std::vector<history_point> read_history(const std::string& file);

} // namespace optdoe

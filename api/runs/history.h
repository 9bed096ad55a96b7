/// The course of searches: the objective against rounds and time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace optdoe {

struct history_point {
    std::int64_t round;
    double seconds; ///< since the program began
    double objective;
};

/// The course of one search.
struct search_trace {
    std::uint32_t seed;
    std::vector<history_point> points; ///< in the order of time
};

/// CSV with the columns seed,round,seconds,objective; without the seed where there is one search.
std::string history_text(const std::vector<search_trace>& traces);
/// Reads it back; throws input_error. The seed of a file without seeds is 0.
std::vector<search_trace> read_history(const std::string& file);

/// The same of a content that is at hand; `name` stands in messages.
std::vector<search_trace> parse_history(const std::string& name, const std::string& content);

/// The best objective of all searches against time: each point is lower than the one before, but for the last, which
/// repeats the objective at the end of the time.
std::vector<history_point> best_course(const std::vector<search_trace>& traces);

} // namespace optdoe

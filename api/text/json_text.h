/// JSON of a file, with places in its refusals.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <string>
#include <string_view>

namespace optdoe {

/// `file:line:column: what` for a byte of the content, counted from 0.
std::string at_byte(std::string_view file, std::string_view content, std::size_t byte, std::string_view what);

/// The document; throws input_error where it is no JSON or holds a number beyond double.
nlohmann::ordered_json parse_json(std::string_view file, std::string_view content);

} // namespace optdoe

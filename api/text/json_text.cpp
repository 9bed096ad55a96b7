#include "api/text/json_text.h"

#include "api/text/csv_reader.h"
#include "api/text/errors.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace optdoe {

std::string at_byte(std::string_view file, std::string_view content, std::size_t byte, std::string_view what)
{
    const std::string_view before = content.substr(0, std::min(byte, content.size()));
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const std::string_view in_line = before.substr(before.rfind('\n') + 1); // npos + 1 is 0
    const auto column = 1 + std::count_if(in_line.begin(), in_line.end(), [](char c) { return (c & 0xC0) != 0x80; });
    return at_place(file, static_cast<std::size_t>(line), static_cast<std::size_t>(column), what);
}

nlohmann::ordered_json parse_json(std::string_view file, std::string_view content)
{
    using nlohmann::ordered_json;
    try {
        return ordered_json::parse(content);
    } catch (const ordered_json::parse_error& error) {
        throw input_error(at_byte(file, content, error.byte > 0 ? error.byte - 1 : 0, "is not valid JSON"));
    } catch (const ordered_json::out_of_range& error) {
        // The message ends with the number in quotation marks; its place is not told.
        const std::string_view message = error.what();
        const std::string_view number = message.substr(std::min(message.find('\''), message.size()));
        const std::size_t byte = number.size() > 2 ? content.find(number.substr(1, number.size() - 2)) : 0;
        throw input_error(at_byte(file, content, byte == std::string_view::npos ? 0 : byte,
                                  "a number is beyond the range of a double"));
    }
}

} // namespace optdoe

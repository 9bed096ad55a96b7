#include "api/text/text.h"

#include "api/text/errors.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>

namespace optdoe {

std::optional<double> parse_number(std::string_view text)
{
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.starts_with('+') || error != std::errc{} || end != text.data() + text.size() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::optional<std::int64_t> parse_integer(std::string_view text)
{
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::optional<double> parse_duration(std::string_view text)
{
    double unit = 1.0;
    if (!text.empty()) {
        switch (text.back()) {
        case 'h': unit = 3600.0; break;
        case 'm': unit = 60.0; break;
        case 's': break;
        default: unit = 0.0; break;
        }
    }
    const auto number = parse_number(unit == 0.0 ? text : text.substr(0, text.size() - !text.empty()));
    if (!number)
        return std::nullopt;
    return *number * (unit == 0.0 ? 1.0 : unit);
}

std::vector<double> parse_list(std::string_view option, std::string_view text)
{
    std::vector<double> values;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        const std::string_view word = text.substr(begin, end - begin);
        const auto value = parse_number(word);
        if (!value)
            throw usage_error(fmt::format("{}: \"{}\" is not a number (a list looks like 1,0.5,2)", option, word));
        values.push_back(*value);
        begin = end + 1;
    }
    return values;
}

std::string number_text(double value) { return fmt::format("{}", value == 0.0 ? 0.0 : value); }

std::string short_text(double value) { return fmt::format("{:.6g}", value == 0.0 ? 0.0 : value); }

std::string shell_quoted(std::string_view word)
{
    constexpr std::string_view plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=:,./@%";
    if (!word.empty() && word.find_first_not_of(plain) == std::string_view::npos)
        return std::string(word);
    std::string quoted = "'";
    for (const char c : word)
        c == '\'' ? quoted += "'\\''" : quoted += c;
    return quoted + "'";
}

std::string html_escaped(std::string_view text)
{
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        case '\'': out += "&#39;"; break;
        default: out += c; break;
        }
    }
    return out;
}

} // namespace optdoe

/// Numbers, lists and quoting as the program reads and writes them: the same in every locale.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace optdoe {

/// A finite decimal number that fills the whole text (a leading + is allowed); nothing otherwise.
std::optional<double> parse_number(std::string_view text);

/// A whole number that fills the text; nothing otherwise.
std::optional<std::int64_t> parse_integer(std::string_view text);

/// Seconds from `90`, `90s`, `1.5m` or `2h`; nothing otherwise.
std::optional<double> parse_duration(std::string_view text);

/// The numbers of a comma list; throws usage_error that names the option and the bad element.
std::vector<double> parse_list(std::string_view option, std::string_view text);

/// The shortest decimal text that reads back as the same double.
std::string number_text(double value);

/// Six significant digits, for tables that people read.
std::string short_text(double value);

/// The word as a POSIX shell reads it back.
std::string shell_quoted(std::string_view word);

/// The text for HTML content, attributes and SVG.
std::string html_escaped(std::string_view text);

} // namespace optdoe

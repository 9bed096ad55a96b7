/// Comma separated values with the place of every field, through libcsv.
///
/// Lines that start with # are comments and kept apart, blank lines are skipped, a byte-order mark is ignored. The
/// separator is the comma, or the tabulator or semicolon when the first line that is no comment has one.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace optdoe {

struct csv_field {
    std::string text;
    std::size_t line;   ///< from 1
    std::size_t column; ///< from 1, in characters
};

struct csv_row {
    std::vector<csv_field> fields;
    std::string source; ///< the bytes of the row with its line end
};

struct csv_text {
    std::vector<std::string> comments; ///< without # and line end
    std::vector<csv_row> rows;
};

/// `file:line:column: what`, the form of every message about a file.
std::string at_place(std::string_view file, std::size_t line, std::size_t column, std::string_view what);

/// The whole file, or standard input for "-". Throws input_error.
std::string read_file(const std::string& file);

/// Throws input_error on text that is no CSV.
csv_text read_csv(std::string_view file, std::string_view content);

} // namespace optdoe

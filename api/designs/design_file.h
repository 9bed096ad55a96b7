/// Design files: what the program writes and what it reads back, CSV and JSON.
///
/// CSV   a comment block (`# optdoe design`, then `# key: JSON value` lines: the provenance), a header of factor
/// names,
///       one row a run. JSON: {"provenance": {…}, "factors": ["…"], "design": [[…], …]}.
/// The provenance holds what repeats the run and what reads the numbers back: coding, placement, levels, factors.
/// Files of other programs (no provenance, header optional) are read as well.
#pragma once

#include "api/designs/design.h"
#include "api/text/errors.h"

#include <nlohmann/json_fwd.hpp>

#include <memory>
#include <string>
#include <vector>

namespace optdoe {

enum class file_format { csv, json };

struct design_file {
    std::string name; ///< as the user gave it
    file_format format = file_format::csv;
    table values; ///< the numbers as written
    std::vector<factor> factors;
    coding code = coding::raw;
    placement place = placement::centres;
    std::vector<std::size_t> level_counts; ///< of each factor; the distinct values where no level is known
    std::shared_ptr<nlohmann::ordered_json> provenance; ///< an object, empty for files of other programs
    std::string header_text;                            ///< CSV: the bytes of the header, may be empty
    std::vector<std::string> row_texts;                 ///< CSV: the bytes of each run with its line end

    std::vector<std::pair<std::size_t, std::size_t>> places; ///< CSV: line and column of each value

    /// Levels where the coding is known, else the values as written.
    table levels() const;
    /// True when every column holds whole levels 1 .. L: centres and ends then follow from the level alone.
    bool whole_levels() const;
};

/// Reads `name` ("-": standard input). Throws input_error `file:line:column: what`.
design_file read_design(const std::string& name);

/// The same of a content that is at hand; `name` stands in messages.
design_file parse_design(const std::string& name, const std::string& content);

/// Numbers as a file without names holds them; its name is "-".
design_file design_of_values(const table& values);

/// A message about one value, with its place.
input_error refused_value(const design_file& file, std::size_t i, std::size_t j, std::string_view what);

/// For a file of another program: its factors' ranges and what its numbers mean. A factor is about the column of its
/// name; where the columns have no names but x1, x2, ..., factors for all of them are taken in their order. Refuses a
/// name that is not there and to contradict a file's own provenance (usage_error), and values outside of 0..1 or of
/// the ranges (input_error).
void interpret(design_file& file, const std::vector<factor>& factors, std::optional<coding> code);

/// Factor ranges: a CSV with the columns name,low,high and optionally unit, with or without that header.
std::vector<factor> read_bounds(const std::string& name);

/// The design as a file of this format. A CSV design keeps the bytes of the header and the runs that it was read
/// with.
std::string design_text(const design_file& design, file_format format);

/// The provenance's description of coding and factors, as read_design takes it back.
void describe_coding(nlohmann::ordered_json& provenance, const std::vector<factor>& factors, coding code,
                     placement place, const std::vector<std::size_t>& level_counts);

} // namespace optdoe

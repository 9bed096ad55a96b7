#include "api/designs/design_file.h"

#include "api/text/csv_reader.h"
#include "api/text/errors.h"
#include "api/text/json_text.h"
#include "api/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace optdoe {

using nlohmann::ordered_json;

namespace {

constexpr std::string_view magic = " optdoe design";

ordered_json provenance_of(const std::vector<std::string>& comments)
{
    ordered_json provenance = ordered_json::object();
    if (comments.empty() || comments.front() != magic)
        return provenance;
    for (const std::string& comment : comments) {
        const std::size_t colon = comment.find(": ");
        if (!comment.starts_with(' ') || colon == std::string::npos)
            continue;
        ordered_json value = ordered_json::parse(comment.substr(colon + 2), nullptr, false);
        if (!value.is_discarded())
            provenance[comment.substr(1, colon - 1)] = std::move(value);
    }
    return provenance;
}

void read_csv_design(design_file& file, const std::string& content)
{
    csv_text text = read_csv(file.name, content);
    *file.provenance = provenance_of(text.comments);
    if (text.rows.empty())
        throw input_error(at_place(file.name, 1, 1, "holds no runs; expected a line of numbers for each run"));

    const std::vector<csv_field>& first = text.rows.front().fields;
    const bool header =
        std::any_of(first.begin(), first.end(), [](const csv_field& f) { return !parse_number(f.text); });
    const std::size_t columns = first.size();
    file.factors = default_factors(columns);
    if (header) {
        for (std::size_t j = 0; j < columns; ++j)
            if (!first[j].text.empty())
                file.factors[j].name = first[j].text;
        file.header_text = text.rows.front().source;
    }
    if (text.rows.size() == 1 && header)
        throw input_error(at_place(file.name, first[0].line, first[0].column, "holds no runs after the names"));
    file.values = table(text.rows.size() - header, columns);
    for (std::size_t i = 0; i < file.values.rows; ++i) {
        csv_row& row = text.rows[i + header];
        if (row.fields.size() != columns)
            throw input_error(
                at_place(file.name, row.fields.front().line, row.fields.front().column,
                         fmt::format("{} fields where the first line has {}", row.fields.size(), columns)));
        for (std::size_t j = 0; j < columns; ++j) {
            const csv_field& field = row.fields[j];
            const auto value = parse_number(field.text);
            if (!value)
                throw input_error(
                    at_place(file.name, field.line, field.column,
                             fmt::format("expected a number with a decimal point, found \"{}\"", field.text)));
            file.values.at(i, j) = *value;
            file.places.emplace_back(field.line, field.column);
        }
        file.row_texts.push_back(std::move(row.source));
    }
}

void read_json_design(design_file& file, const std::string& content)
{
    const ordered_json document = parse_json(file.name, content);
    const auto refuse = [&file](const std::string& what) { throw input_error(at_place(file.name, 1, 1, what)); };
    if (!document.is_object() || !document.contains("design") || !document["design"].is_array() ||
        document["design"].empty() || !document["design"].front().is_array() || document["design"].front().empty())
        refuse("expected an object with \"design\", an array of runs");
    const ordered_json& runs = document["design"];
    file.values = table(runs.size(), runs.front().size());
    for (std::size_t i = 0; i < runs.size(); ++i) {
        if (!runs[i].is_array() || runs[i].size() != file.values.columns)
            refuse(fmt::format("run {} is not an array of {} numbers", i + 1, file.values.columns));
        for (std::size_t j = 0; j < file.values.columns; ++j) {
            if (!runs[i][j].is_number())
                refuse(fmt::format("run {}, number {} is not a number", i + 1, j + 1));
            file.values.at(i, j) = runs[i][j].get<double>();
        }
    }
    file.factors = default_factors(file.values.columns);
    if (document.contains("factors")) {
        const ordered_json& names = document["factors"];
        if (!names.is_array() || names.size() != file.factors.size() ||
            !std::all_of(names.begin(), names.end(), [](const ordered_json& n) { return n.is_string(); }))
            refuse(fmt::format("\"factors\" is not an array of {} names", file.factors.size()));
        for (std::size_t j = 0; j < file.factors.size(); ++j)
            file.factors[j].name = names[j].get<std::string>();
    }
    if (document.contains("provenance") && document["provenance"].is_object())
        *file.provenance = document["provenance"];
}

/// Takes coding, placement, level counts and ranges from the provenance; false when they are not all there.
bool take_coding(design_file& file)
{
    const ordered_json& p = *file.provenance;
    try {
        const auto code = coding_named(p.at("coding").get<std::string>());
        const auto place = placement_named(p.at("placement").get<std::string>());
        const ordered_json& factors = p.at("factors");
        if (!code || !place || factors.size() != file.factors.size())
            return false;
        std::vector<std::size_t> counts;
        std::vector<factor> described = file.factors;
        for (std::size_t j = 0; j < described.size(); ++j) {
            counts.push_back(factors.at(j).at("levels").get<std::size_t>());
            described[j].unit = factors.at(j).value("unit", "");
            if (factors.at(j).contains("low"))
                described[j].range =
                    bounds{factors.at(j).at("low").get<double>(), factors.at(j).at("high").get<double>()};
            if (counts.back() == 0 || (*code == coding::physical && !described[j].range))
                return false;
        }
        file.code = *code;
        file.place = *place;
        file.factors = std::move(described);
        file.level_counts = std::move(counts);
        return true;
    } catch (const ordered_json::exception&) {
        return false;
    }
}

/// Without an account of its own: whole levels where all columns hold them, else values of another program.
void guess_coding(design_file& file)
{
    file.level_counts = distinct_counts(file.values);
    bool whole = true;
    for (std::size_t j = 0; j < file.values.columns; ++j)
        whole = whole && is_levels_column(file.values, j);
    file.code = whole ? coding::levels : coding::raw;
}

} // namespace

input_error refused_value(const design_file& file, std::size_t i, std::size_t j, std::string_view what)
{
    const auto [line, column] =
        file.places.empty() ? std::pair<std::size_t, std::size_t>{1, 1} : file.places[i * file.values.columns + j];
    return input_error(
        at_place(file.name, line, column, fmt::format("run {}, factor {}: {}", i + 1, file.factors[j].name, what)));
}

table design_file::levels() const
{
    table result = values;
    for (std::size_t i = 0; i < values.rows; ++i)
        for (std::size_t j = 0; j < values.columns; ++j)
            result.at(i, j) = decode(values.at(i, j), level_counts[j], factors[j], code, place);
    return result;
}

bool design_file::whole_levels() const
{
    if (code == coding::raw)
        return false;
    const table decoded = levels();
    for (std::size_t j = 0; j < decoded.columns; ++j)
        if (!is_levels_column(decoded, j))
            return false;
    return true;
}

design_file parse_design(const std::string& name, const std::string& content)
{
    design_file file;
    file.name = name;
    file.provenance = std::make_shared<ordered_json>(ordered_json::object());
    const std::size_t start = content.find_first_not_of(" \t\r\n");
    file.format = start != std::string::npos && content[start] == '{' ? file_format::json : file_format::csv;
    file.format == file_format::json ? read_json_design(file, content) : read_csv_design(file, content);
    if (!take_coding(file))
        guess_coding(file);
    return file;
}

design_file read_design(const std::string& name) { return parse_design(name, read_file(name)); }

design_file design_of_values(const table& values)
{
    design_file design;
    design.name = std::string("-");
    design.values = values;
    design.factors = default_factors(values.columns);
    design.provenance = std::make_shared<ordered_json>(ordered_json::object());
    guess_coding(design);
    return design;
}

namespace {

std::size_t place_of(const std::vector<factor>& factors, const std::string& name)
{
    const auto found = std::find_if(factors.begin(), factors.end(), [&](const factor& f) { return f.name == name; });
    return static_cast<std::size_t>(found - factors.begin());
}

/// The file's columns are named x1, x2, ..., and factors of other names are given for all of them.
bool are_named_by(const std::vector<factor>& given, const design_file& file)
{
    const std::vector<factor> defaults = default_factors(file.factors.size());
    const auto is_default = [&](const factor& f) { return place_of(defaults, f.name) < defaults.size(); };
    return given.size() == file.factors.size() && std::all_of(file.factors.begin(), file.factors.end(), is_default) &&
           std::none_of(given.begin(), given.end(), is_default);
}

std::size_t column_named(const design_file& file, const std::string& name)
{
    const std::size_t j = place_of(file.factors, name);
    if (j < file.factors.size())
        return j;
    std::vector<std::string> names;
    for (const factor& f : file.factors)
        names.push_back(f.name);
    throw usage_error(fmt::format("{}: has no factor {}; it has {}", file.name, name, fmt::join(names, ", ")));
}

void describe_factors(design_file& file, const std::vector<factor>& given)
{
    std::vector<factor> described = file.factors;
    const bool by_place = are_named_by(given, file);
    for (std::size_t place = 0; place < given.size(); ++place) {
        const std::size_t j = by_place ? place : column_named(file, given[place].name);
        const auto& own = file.factors[j].range;
        if (file.code == coding::physical && given[place].range &&
            (own->low != given[place].range->low || own->high != given[place].range->high))
            throw usage_error(fmt::format("{}: factor {} lies in {}:{} by the file's own account", file.name,
                                          file.factors[j].name, own->low, own->high));
        if (given[place].range)
            described[j] = given[place];
        else
            described[j].name = given[place].name;
    }
    check_factors(described);
    file.factors = std::move(described);
}

} // namespace

void interpret(design_file& file, const std::vector<factor>& factors, std::optional<coding> code)
{
    if (!factors.empty()) {
        describe_factors(file, factors);
        if (!code && file.code == coding::raw && factors.front().range)
            code = coding::physical;
    }
    if (!code || *code == file.code)
        return;
    if (file.code != coding::raw)
        throw usage_error(
            fmt::format("{}: is coded in {}, not in {}", file.name, name_of(file.code), name_of(*code)));
    for (std::size_t i = 0; i < file.values.rows; ++i) {
        for (std::size_t j = 0; j < file.values.columns; ++j) {
            if (*code == coding::physical && !file.factors[j].range)
                throw usage_error("--coding physical needs --bounds or --factor");
            const bounds range = *code == coding::physical ? *file.factors[j].range : bounds{0.0, 1.0};
            const double value = file.values.at(i, j);
            if (*code == coding::levels || value < range.low || value > range.high)
                throw refused_value(file, i, j,
                                    fmt::format("{} does not lie in {}:{}", value, range.low, range.high));
        }
    }
    file.code = *code;
    // Without an account of its own the file's runs are n strata of the range.
    std::fill(file.level_counts.begin(), file.level_counts.end(), file.values.rows);
}

std::vector<factor> read_bounds(const std::string& name)
{
    const csv_text text = read_csv(name, read_file(name));
    std::vector<factor> factors;
    for (std::size_t i = 0; i < text.rows.size(); ++i) {
        const std::vector<csv_field>& fields = text.rows[i].fields;
        const auto place = [&](std::size_t j, std::string_view what) {
            return input_error(at_place(name, fields[j].line, fields[j].column, what));
        };
        if (fields.size() < 3 || fields.size() > 4)
            throw place(0,
                        fmt::format("expected name,low,high or name,low,high,unit, found {} fields", fields.size()));
        if (i == 0 && fields[0].text == "name" && fields[1].text == "low" && fields[2].text == "high")
            continue;
        const auto low = parse_number(fields[1].text);
        const auto high = parse_number(fields[2].text);
        if (!low || !high)
            throw place(low ? 2 : 1, fmt::format("expected a number with a decimal point, found \"{}\"",
                                                 fields[low ? 2 : 1].text));
        if (!(*low < *high))
            throw place(2, "the high end must be above the low end");
        factors.push_back({fields[0].text, bounds{*low, *high}, fields.size() > 3 ? fields[3].text : ""});
    }
    if (factors.empty())
        throw input_error(at_place(name, 1, 1, "holds no factors; expected lines name,low,high"));
    return factors;
}

namespace {

/// The comment block of a CSV file.
std::string provenance_comments(const ordered_json& provenance)
{
    std::string text = fmt::format("#{}\n", magic);
    for (const auto& [key, value] : provenance.items())
        text += fmt::format("# {}: {}\n", key, value.dump(-1, ' ', false, ordered_json::error_handler_t::replace));
    return text;
}

/// One CSV line of names, quoted where necessary.
std::string csv_header(const std::vector<factor>& factors)
{
    std::string line;
    for (const factor& f : factors) {
        line += line.empty() ? "" : ",";
        const bool plain =
            f.name.find_first_of(",\";\t\r\n#") == std::string::npos && f.name.front() != ' ' && f.name.back() != ' ';
        if (plain) {
            line += f.name;
            continue;
        }
        line += '"';
        for (const char c : f.name)
            line += c == '"' ? std::string("\"\"") : std::string(1, c);
        line += '"';
    }
    return line + "\n";
}

/// One CSV line of numbers.
std::string csv_line(const table& values, std::size_t row)
{
    std::string line;
    for (std::size_t j = 0; j < values.columns; ++j)
        line += (j == 0 ? "" : ",") + number_text(values.at(row, j));
    return line + "\n";
}

/// The separator of the runs that a design was read with.
char separator_of(const std::string& row)
{
    return row.find(',') != std::string::npos ? ',' : row.find('\t') != std::string::npos ? '\t' : ';';
}

std::string csv_text_of(const design_file& d)
{
    std::string text = d.provenance->empty() ? "" : provenance_comments(*d.provenance);
    text += d.header_text.empty() ? csv_header(d.factors) : d.header_text;
    for (const std::string& row : d.row_texts)
        text += row.ends_with('\n') ? row : row + "\n";
    const bool dos = !d.row_texts.empty() && d.row_texts.front().ends_with("\r\n");
    const char separator = d.row_texts.empty() ? ',' : separator_of(d.row_texts.front());
    for (std::size_t i = d.row_texts.size(); i < d.values.rows; ++i) {
        std::string line = csv_line(d.values, i);
        std::replace(line.begin(), line.end(), ',', separator);
        text += dos ? line.substr(0, line.size() - 1) + "\r\n" : line;
    }
    return text;
}

std::string json_text_of(const design_file& d)
{
    ordered_json names = ordered_json::array();
    for (const factor& f : d.factors)
        names.push_back(f.name);
    const auto replace = ordered_json::error_handler_t::replace;
    std::string text = fmt::format("{{\n  \"provenance\": {},\n  \"factors\": {},\n  \"design\": [",
                                   d.provenance->dump(-1, ' ', false, replace), names.dump(-1, ' ', false, replace));
    for (std::size_t i = 0; i < d.values.rows; ++i) {
        std::string line = csv_line(d.values, i);
        line.pop_back();
        text += fmt::format("{}\n    [{}]", i == 0 ? "" : ",", line);
    }
    return text + "\n  ]\n}\n";
}

} // namespace

std::string design_text(const design_file& design, file_format format)
{
    return format == file_format::json ? json_text_of(design) : csv_text_of(design);
}

void describe_coding(ordered_json& provenance, const std::vector<factor>& factors, coding code, placement place,
                     const std::vector<std::size_t>& level_counts)
{
    provenance["coding"] = name_of(code);
    provenance["placement"] = name_of(place);
    ordered_json described = ordered_json::array();
    for (std::size_t j = 0; j < factors.size(); ++j) {
        ordered_json entry = {{"name", factors[j].name}, {"levels", level_counts[j]}};
        if (factors[j].range) {
            entry["low"] = factors[j].range->low;
            entry["high"] = factors[j].range->high;
        }
        if (!factors[j].unit.empty())
            entry["unit"] = factors[j].unit;
        described.push_back(std::move(entry));
    }
    provenance["factors"] = std::move(described);
}

} // namespace optdoe

#include "api/runs/history.h"

#include "api/text/csv_reader.h"
#include "api/text/errors.h"
#include "api/text/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace optdoe {

std::string history_text(const std::vector<search_trace>& traces)
{
    const bool one = traces.size() == 1;
    std::string text = one ? "round,seconds,objective\n" : "seed,round,seconds,objective\n";
    for (const search_trace& trace : traces)
        for (const history_point& point : trace.points)
            text += fmt::format("{}{},{:.3f},{}\n", one ? "" : fmt::format("{},", trace.seed), point.round,
                                point.seconds, number_text(point.objective));
    return text;
}

namespace {

/// Numbers of a row; throws at the place of what is none.
std::vector<double> numbers_of(const csv_row& row, const std::string& file)
{
    std::vector<double> values;
    for (const csv_field& field : row.fields) {
        const auto value = parse_number(field.text);
        if (!value)
            throw input_error(
                at_place(file, field.line, field.column, fmt::format("expected a number, found \"{}\"", field.text)));
        values.push_back(*value);
    }
    return values;
}

} // namespace

std::vector<search_trace> read_history(const std::string& file) { return parse_history(file, read_file(file)); }

std::vector<search_trace> parse_history(const std::string& name, const std::string& content)
{
    const csv_text text = read_csv(name, content);
    std::vector<search_trace> traces;
    std::size_t points = 0;
    const std::size_t columns = text.rows.empty() ? 0 : text.rows.front().fields.size();
    for (const csv_row& row : text.rows) {
        const csv_field& first = row.fields.front();
        if ((columns != 3 && columns != 4) || row.fields.size() != columns)
            throw input_error(at_place(name, first.line, first.column, "expected [seed,]round,seconds,objective"));
        if (&row == &text.rows.front() && (first.text == "round" || first.text == "seed"))
            continue;
        const std::vector<double> values = numbers_of(row, name);
        const std::uint32_t seed = columns == 4 ? static_cast<std::uint32_t>(values[0]) : 0;
        if (traces.empty() || traces.back().seed != seed)
            traces.push_back({seed, {}});
        traces.back().points.push_back(
            {static_cast<std::int64_t>(values[columns - 3]), values[columns - 2], values[columns - 1]});
        ++points;
    }
    if (points < 2)
        throw input_error(at_place(name, 1, 1, "holds no history; expected [seed,]round,seconds,objective"));
    return traces;
}

std::vector<history_point> best_course(const std::vector<search_trace>& traces)
{
    std::vector<history_point> all;
    for (const search_trace& trace : traces)
        all.insert(all.end(), trace.points.begin(), trace.points.end());
    std::stable_sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.seconds < b.seconds; });
    std::vector<history_point> course;
    for (const history_point& point : all)
        if (!std::isnan(point.objective) && (course.empty() || point.objective < course.back().objective))
            course.push_back(point);
    if (!course.empty())
        course.push_back({all.back().round, all.back().seconds, course.back().objective});
    return course;
}

} // namespace optdoe

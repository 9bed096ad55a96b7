#include "api/runs/history.h"

#include "api/text/csv_reader.h"
#include "api/text/errors.h"
#include "api/text/text.h"

#include <fmt/format.h>

namespace optdoe {

std::string history_text(const std::vector<history_point>& history)
{
    std::string text = "round,seconds,objective\n";
    for (const history_point& point : history)
        text += fmt::format("{},{:.3f},{}\n", point.round, point.seconds, number_text(point.objective));
    return text;
}

std::vector<history_point> read_history(const std::string& file)
{
    const csv_text text = read_csv(file, read_file(file));
    std::vector<history_point> history;
    for (const csv_row& row : text.rows) {
        if (row.fields.size() != 3)
            throw input_error(
                at_place(file, row.fields[0].line, row.fields[0].column, "expected round,seconds,objective"));
        if (&row == &text.rows.front() && row.fields[0].text == "round")
            continue;
        double values[3];
        for (std::size_t j = 0; j < 3; ++j) {
            const auto value = parse_number(row.fields[j].text);
            if (!value)
                throw input_error(at_place(file, row.fields[j].line, row.fields[j].column,
                                           fmt::format("expected a number, found \"{}\"", row.fields[j].text)));
            values[j] = *value;
        }
        history.push_back({static_cast<std::int32_t>(values[0]), values[1], values[2]});
    }
    if (history.size() < 2)
        throw input_error(at_place(file, 1, 1, "holds no history; expected round,seconds,objective"));
    return history;
}

} // namespace optdoe

#include "api/settings/setting_texts.h"

#include "api/settings/criteria.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <sstream>

namespace optdoe {

namespace {

/// The criteria that read a setting; all of them, where the facts of criteria do not tell them apart.
std::vector<std::string> readers_of(const setting& row)
{
    switch (row.id) {
    case setting_id::exponent: return criteria_where(&criterion_facts::reads_exponent, true);
    case setting_id::distance: return criteria_where(&criterion_facts::reads_distance, true);
    case setting_id::theta: return criteria_where(&criterion_facts::reads_theta, true);
    case setting_id::negate_target: return criteria_where(&criterion_facts::target_is_not_negative, false);
    case setting_id::levels: return criteria_where(&criterion_facts::has_level_groups, true);
    default: return criterion_names();
    }
}

/// What single criteria have of their own: `; a2: from 0`.
std::string exceptions_text(const setting& row)
{
    std::string text;
    for (const std::string& name : criterion_names()) {
        const criterion_facts& facts = facts_of(name);
        if (row.id == setting_id::scaling && facts.scaling >= 0)
            text += fmt::format("; {}: {}", name, choices_of(row)[static_cast<std::size_t>(facts.scaling)]);
        if (row.id == setting_id::target && facts.target_is_not_negative)
            text += fmt::format("; {}: from 0", name);
    }
    return text;
}

} // namespace

std::string plain_number(double value)
{
    std::string text = fmt::format("{}", value);
    if (const std::size_t plus = text.find("e+"); plus != std::string::npos)
        text.erase(plus + 1, 1);
    return text;
}

std::string option_name(setting_id id) { return fmt::format("--{}", setting_of(id).name); }

namespace {

using choice_table = std::array<std::vector<std::string>, setting_count>;

choice_table all_choices()
{
    choice_table all;
    for (int i = 0; i < setting_count; ++i) {
        const setting& row = setting_of(static_cast<setting_id>(i));
        std::istringstream words(row.choices != nullptr ? row.choices : "");
        all[static_cast<std::size_t>(i)] =
            row.choices == nullptr ? criterion_names()
                                   : std::vector<std::string>{std::istream_iterator<std::string>(words), {}};
    }
    return all;
}

} // namespace

const std::vector<std::string>& choices_of(const setting& row)
{
    static const choice_table all = all_choices();
    return all[static_cast<std::size_t>(row.id)];
}

const std::string& default_choice(setting_id id)
{
    const setting& row = setting_of(id);
    const double position = row.choices == nullptr ? 0.0 : row.fallback - row.low;
    return choices_of(row)[static_cast<std::size_t>(position)];
}

int number_of_choice(setting_id id, std::string_view name)
{
    const setting& row = setting_of(id);
    if (row.choices == nullptr)
        return criterion_id(name);
    const std::vector<std::string>& names = choices_of(row);
    return static_cast<int>(row.low) + static_cast<int>(std::find(names.begin(), names.end(), name) - names.begin());
}

std::string range_text(const setting& row)
{
    if (row.kind == setting_kind::choice || row.kind == setting_kind::flag)
        return "";
    const std::string end = row.end == range_end::rows            ? "N"
                            : row.end == range_end::pairs_of_rows ? "N(N-1)/2"
                                                                  : plain_number(row.high);
    return fmt::format("{} .. {}", plain_number(row.low), end);
}

std::string default_text(const setting& row)
{
    return row.kind == setting_kind::choice ? default_choice(row.id)
           : row.default_words != nullptr   ? row.default_words
                                            : plain_number(row.fallback);
}

std::string readers_text(const setting& row)
{
    const std::vector<std::string> readers = readers_of(row);
    return readers.size() == criterion_names().size() ? ""
           : readers.size() == 1                      ? "--criterion " + readers.front()
                                                      : "the criteria " + enumerated(readers, "and");
}

std::string help_text(setting_id id)
{
    const setting& row = setting_of(id);
    std::string text = row.sentence;
    if (const std::vector<std::string> readers = readers_of(row); readers.size() < criterion_names().size())
        text += " (" + enumerated(readers, "and") + ")";
    if (row.kind == setting_kind::flag)
        return text;
    if (row.kind != setting_kind::choice)
        return fmt::format("{}: {} (default {}{})", text, range_text(row), default_text(row), exceptions_text(row));
    std::vector<std::string> names = choices_of(row);
    *std::find(names.begin(), names.end(), default_text(row)) += fmt::format(" (default{})", exceptions_text(row));
    return fmt::format("{}: {}", text, enumerated(names, "or"));
}

} // namespace optdoe

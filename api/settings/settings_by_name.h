/// Settings by the names and texts of their options: what the command line and other languages set them by.
#pragma once

#include "api/settings/settings.h"

#include <string>
#include <string_view>

namespace optdoe {

/// Sets a row of the table, the seed excepted, by the text of its option: a number, a list `1,0.5`, a name, `30s`,
/// and for a flag `true` or `false`. An empty text takes the setting back. Throws usage_error on a text of another
/// kind and on numbers outside of the row's range; what depends on the design is what settings::check looks at.
void set_by_name(settings& s, setting_id id, std::string_view text);

/// The text that sets the row to what it is; empty: it is unset.
std::string text_of(const settings& s, setting_id id);

/// The parts of set_by_name, for options that are no settings of the search; `option` is named in messages.
bool flag_of(std::string_view option, std::string_view text);
std::int64_t whole_number_of(std::string_view option, std::string_view text, double low, double high);

/// `1,0.5`: numbers as parse_list reads them.
std::string list_text(const std::vector<double>& list);

} // namespace optdoe

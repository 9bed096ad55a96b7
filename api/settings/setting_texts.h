/// The table of settings in words: what help and messages say of a setting.
#pragma once

#include "optdoe/run/settings_table.h"

#include <string>
#include <string_view>
#include <vector>

namespace optdoe {

/// The number as people write it: 1000000, 1e-40, 1e200.
std::string plain_number(double value);

/// The option of a setting: `--restarts`.
std::string option_name(setting_id id);

/// The names to choose from, in the order of their numbers; for the criterion, the default first.
const std::vector<std::string>& choices_of(const setting& row);

/// The name of the default of a choice.
const std::string& default_choice(setting_id id);

/// The number of a name of choices_of.
int number_of_choice(setting_id id, std::string_view name);

/// The range with N for the rows: `0 .. 500000`, `1 .. N(N-1)/2`; empty for a choice and a flag.
std::string range_text(const setting& row);

/// The default in words, or its number.
std::string default_text(const setting& row);

/// Who reads a parameter, as messages name them: `--criterion phip`, `the criteria phip and entropy`; empty when all
/// do.
std::string readers_text(const setting& row);

/// The line of the help: sentence, readers, range or names, default.
std::string help_text(setting_id id);

} // namespace optdoe

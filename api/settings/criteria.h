/// The criteria as people name them; the library's table of criteria says which there are and what each one reads.
#pragma once

#include "optdoe/criteria/criterion_facts.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace optdoe {

/// All names, the default first.
std::vector<std::string> criterion_names();

/// The id of a name; throws usage_error for a name that is not in criterion_names.
std::int8_t criterion_id(std::string_view name);

/// What is known about the criterion of a name; throws likewise.
const criterion_facts& facts_of(std::string_view name);

/// The names whose fact has the value, in the order of criterion_names.
std::vector<std::string> criteria_where(bool criterion_facts::*fact, bool value);

/// "phip", "phip and entropy", "phip, entropy and cd2"; the last two words are joined by `conjunction`.
std::string enumerated(const std::vector<std::string>& names, std::string_view conjunction);

} // namespace optdoe

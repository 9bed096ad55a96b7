#include "api/settings/criteria.h"

#include "api/text/errors.h"

#include "optdoe/run/settings_table.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace optdoe {

std::vector<std::string> criterion_names()
{
    const int usual = static_cast<int>(setting_of(setting_id::criterion).fallback);
    std::vector<std::string> names{criterion_name(usual)};
    for (std::int32_t id = 0; id < criterion_id_count; ++id)
        if (id != usual && criterion_name(id) != nullptr)
            names.emplace_back(criterion_name(id));
    return names;
}

std::int8_t criterion_id(std::string_view name)
{
    for (std::int32_t id = 0; id < criterion_id_count; ++id)
        if (criterion_name(id) != nullptr && criterion_name(id) == name)
            return static_cast<std::int8_t>(id);
    throw usage_error(fmt::format("--criterion: {} is not {}", name, enumerated(criterion_names(), "or")));
}

const criterion_facts& facts_of(std::string_view name) { return criterion_facts_of(criterion_id(name)); }

std::vector<std::string> criteria_where(bool criterion_facts::*fact, bool value)
{
    std::vector<std::string> names = criterion_names();
    std::erase_if(names, [&](const std::string& name) { return facts_of(name).*fact != value; });
    return names;
}

std::string enumerated(const std::vector<std::string>& names, std::string_view conjunction)
{
    if (names.size() < 2)
        return fmt::format("{}", fmt::join(names, ""));
    return fmt::format("{} {} {}", fmt::join(names.begin(), names.end() - 1, ", "), conjunction, names.back());
}

} // namespace optdoe

/// Reading of the numeric parameter lists, shared by the criteria that have some.
#pragma once

#include "optdoe/criteria/distance.h"
#include "optdoe/run/run_settings.h"
#include "optdoe/run/settings_table.h"
#include "optdoe/run/wrap32.h"

/// Number of values of a list: 0 for a null list, whatever its count says.
inline std::int32_t list_length(std::int32_t count, const double* list) { return list != nullptr ? count : 0; }

/// A whole number from the beginning of a list: as given where the setting allows it, else the setting's default.
inline std::int32_t whole_parameter(setting_id id, std::int32_t count, const double* list)
{
    const setting& row = setting_of(id);
    const auto fallback = static_cast<std::int32_t>(row.fallback);
    if (list_length(count, list) < 1)
        return fallback;
    return clamp_or_default_int(static_cast<std::int32_t>(row.low), static_cast<std::int32_t>(row.high), fallback,
                                trunc_i32(list[0] + 0.01));
}

/// The exponent of the distance criteria.
inline std::int32_t exponent_of(const criterion_params& params)
{
    return whole_parameter(setting_id::exponent, params.param_count_1, params.param_list_1);
}

/// The kind of distance: 1 is rectangular, 2 Euclidean.
inline distance_kind read_distance_kind(const criterion_params& params)
{
    const std::int32_t number = whole_parameter(setting_id::distance, params.param_count_2, params.param_list_2);
    return static_cast<distance_kind>(number - 1);
}

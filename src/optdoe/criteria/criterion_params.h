/// Reading of the numeric parameter lists, shared by the criteria that have some.
#pragma once

#include "optdoe/criteria/distance.h"
#include "optdoe/run/run_settings.h"
#include "optdoe/run/settings_table.h"
#include "optdoe/run/wrap32.h"

/// Number of values of a list: 0 for a null list, whatever its count says.
inline std::int32_t list_length(std::int32_t count, const double* list) { return list != nullptr ? count : 0; }

/// The distance kind of the second list: 1 rectangular, 2 Euclidean, anything else the default.
inline distance_kind read_distance_kind(const criterion_params& params)
{
    const setting& row = setting_of(setting_id::distance);
    const std::int32_t usual = static_cast<std::int32_t>(row.fallback);
    std::int32_t given = usual;
    if (list_length(params.param_count_2, params.param_list_2) > 0)
        given = clamp_or_default_int(static_cast<std::int32_t>(row.low), static_cast<std::int32_t>(row.high), usual,
                                     trunc_i32(params.param_list_2[0] + 0.01));
    return static_cast<distance_kind>(given - 1);
}

/// Reading of the numeric parameter lists, shared by the criteria that have some.
#pragma once

#include "optdoe/criteria/distance.h"
#include "optdoe/run/run_settings.h"
#include "optdoe/run/wrap32.h"

/// Number of values of a list: 0 for a null list, whatever its count says.
inline std::int32_t list_length(std::int32_t count, const double* list) { return list != nullptr ? count : 0; }

/// The distance kind of the second list: 1 rectangular, 2 Euclidean, anything else Euclidean.
inline distance_kind read_distance_kind(const criterion_params& params)
{
    if (list_length(params.param_count_2, params.param_list_2) < 1)
        return distance_kind::euclidean;
    const std::int32_t given = wrap_sub(trunc_i32(params.param_list_2[0] + 0.01), 1);
    return static_cast<distance_kind>(clamp_or_default_int(0, 1, 1, given));
}

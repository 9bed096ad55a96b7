/// What settings and front ends need to know about a criterion without running it. Each criterion states its own
/// facts in its table of operations (criterion_ops::facts); the table of criteria numbers them.
#pragma once

#include "optdoe/run/run_context.h"
#include "optdoe/run/run_settings.h"

#include <cstdint>

struct criterion_facts {
    bool reads_exponent = false; ///< parameter list 1 [0] is the exponent p
    bool reads_theta = false;    ///< parameter list 1 is theta: one value for all factors, or one each
    bool reads_distance = false; ///< parameter list 2 [0] is the kind of distance

    /// The criterion compares balanced designs: each level of a factor occurs equally often, and more than once. All
    /// Latin hypercubes have the same value.
    bool needs_balanced_columns = false;
    bool has_level_groups = true; ///< false: every factor is searched as one group, whatever the settings ask for

    /// true: a target below 0 becomes 0, there is no highest target, and the sign flag is not read.
    bool target_is_not_negative = false;
    std::int8_t scaling = -1; ///< default of the setting scaling; -1: that of the table of settings

    /// Optional: what keeps the criterion from judging this run, as a status line; null when nothing does. Called
    /// after the criterion's options have been brought into their ranges.
    const char* (*refusal)(const run_context*, const criterion_options&) = nullptr;
};

/// Criterion ids are 0 .. criterion_id_count - 1.
extern const std::int32_t criterion_id_count;

/// What is known about the criterion with this id, which is in range.
const criterion_facts& criterion_facts_of(std::int32_t id);

/// The name by which people ask for this id, which is in range; null for an id without a name.
const char* criterion_name(std::int32_t id);

/// Bytes that a criterion, or a whole run, holds at the same time: of what grows with the square of the rows or with
/// rows times factors.
struct memory_need {
    double least; ///< from the set-up on; never more than what is really allocated
    double peak;  ///< the most of a usual search, roughly: with snapshots and a re-arrangement that is tried
};

/// The maximin distance criterion: the negated least distance of two rows.
///
/// State     criterion_state::own_state. `distances` own points and lines, which are not held at 0 from below. The
///           nearest row of each row is derived from them: while nearest_as_of is their version, row_least[r] is the
///           least distance of row r and row_nearest[r] a row at that distance, unless it is -1, which is not known.
/// Pending   a re-arrangement that was tried stays made while trial_mark is set; every operation takes it back first,
///           but a commit of the same one. `value` is the one before it.
/// Source: Johnson, Moore and Ylvisaker, "Minimax and maximin distance designs", 1990.
#pragma once

#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/criteria/pair_distances.h"
#include "optdoe/criteria/rearrangement_list.h"
#include "optdoe/criteria/undo_log.h"

#include <cstdint>

/// Value, and the least distance of two fixed rows, at most 1e200.
struct maximin_value {
    double value;
    double least_fixed;
};

struct maximin_state {
    maximin_value now;
    pair_distances distances;
    double* row_least;         ///< [rows]
    std::int32_t* row_nearest; ///< [rows]
    std::uint64_t nearest_as_of;
    rearrangement_list rearrangement;
    double value_after_trial; ///< while a re-arrangement is pending

    undo_log log;
    undo_mark column_mark;
    undo_mark trial_mark; ///< inside column_mark; unset but during a trial
    maximin_value saved_column;
    design_snapshot saved_design;
    maximin_value saved_design_value;

    double* line_a; ///< [stride] scratch
    double* line_b;
};

extern const criterion_ops maximin_ops;

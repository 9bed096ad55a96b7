/// The maximin distance criterion: the negated least distance of two rows.
///
/// State     criterion_state::own_state. `distances` own points and lines, which are not held at 0 from below. The
///           nearest rows are derived from the lines: row_least[r] is the least distance of row r and row_nearest[r]
///           a row at that distance, unless it is -1, when nothing is known of row r.
/// Pending   a re-arrangement that was tried stays made while `distances` are in a trial; every operation takes it
///           back first, but a commit of the same one. `value` is the one before it.
/// Source: Johnson, Moore and Ylvisaker, "Minimax and maximin distance designs", 1990.
#pragma once

#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/criteria/rearrangement_list.h"
#include "optdoe/criteria/undo_log.h"

#include <cstdint>

struct maximin_state {
    double value;
    undoable_distances distances;
    double* row_least;         ///< [rows]
    std::int32_t* row_nearest; ///< [rows]
    rearrangement_list rearrangement;
    double value_after_trial; ///< while a re-arrangement is pending
    double saved_column_value;
    double saved_design_value;
    double* line_a; ///< [2 stride] the block of two scratch lines
    double* line_b;
};

extern const criterion_ops maximin_ops;

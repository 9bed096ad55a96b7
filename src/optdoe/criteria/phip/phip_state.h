/// Slot 6: the state of the phi-p distance criterion.
///
/// phi_p = (sum over pairs of d^-p)^(1/p), p >= 1. Euclidean distances are kept squared, with half the exponent.
///
/// Who owns what   `distances` own points, lines, the list of changed rows and what undoes their changes. Totals and
///                 copies are derived from them and carry the version they were made from; bring_up_to_date is the
///                 one place that makes them anew.
/// Pending         at most one change is pending; every operation begins by finishing it or taking it back.
///                   exchange       committed, nothing of it is written: `exchange` has the new lines
///                   evaluation     committed, `totals` are those of fresh lines, `totals_before` those of the lines
///                   rearrangement  only tried, but written: the trial's mark undoes it, value and sum are those
///                                  before it
/// Source: Morris and Mitchell, "Exploratory designs for computational experiments", 1995 (phi-p); the update of two
/// rows per exchange: Jin, Chen and Sudjianto, "An efficient algorithm for constructing optimal design of computer
/// experiments", 2005.
#pragma once

#include "optdoe/criteria/phip/coarse_copies.h"
#include "optdoe/criteria/phip/term_totals.h"
#include "optdoe/criteria/rearrangement_list.h"
#include "optdoe/criteria/undo_log.h"

#include <cstdint>

enum class pending_change { none, exchange, evaluation, rearrangement };

/// An exchange whose lines are computed.
struct phip_exchange {
    std::uint64_t as_of; ///< version of the distances before it; 0: none is computed
    std::int32_t column, a, b;
    double* distance_a; ///< [stride] lines of rows a and b after the exchange
    double* distance_b;
    double* old_term_a; ///< [stride] their terms before and after it
    double* old_term_b;
    double* term_a;
    double* term_b;
    double old_sum; ///< terms taken out and put in, each in the order of the definition
    double new_sum;
};

/// What updates carry along.
struct running_sum {
    double value;
    double term_sum;           ///< at most the cap
    std::int32_t update_count; ///< committed updates since the last full sum, 0..5
};

/// Scratch of the best of several exchanges, in one block.
struct phip_candidates {
    std::int32_t capacity;
    double* lower;      ///< [capacity] lower bound of the total; the block
    float* new_terms;   ///< [capacity] of some new terms, over the term of the reference distance
    std::int32_t* left; ///< [capacity + 1] those that the first bound leaves
    std::int32_t left_count;
};

/// The scale of the bounds, see phip_bounds.h.
struct phip_bound_scale {
    double value;     ///< of the criterion when it was fitted
    double steps;     ///< of a distance
    float unit;       ///< a step over the reference distance; 0: there are no bounds
    double least_new; ///< the term of the reference distance, less the error of the bounds' sums
    double most_new;  ///< and more by it
};

/// The last sum that a value was computed of; not a number before the first.
struct phip_root {
    double sum;
    double value;
};

struct phip_state : running_sum {
    term_function terms;
    undoable_distances distances; ///< in a trial while a re-arrangement is pending, too
    term_totals totals;
    term_totals totals_before; ///< while an evaluation is pending
    coarse_copies coarse;
    phip_root last_root;

    pending_change pending;
    phip_exchange exchange;
    phip_exchange other_exchange; ///< room for another one beside it
    rearrangement_list rearrangement;
    running_sum after_trial; ///< while a re-arrangement is pending

    running_sum saved_column;
    running_sum saved_design_sum;

    phip_candidates candidates;
    phip_bound_scale bound_scale;

    double* vectors; ///< the block of the scratch lines below, [stride] each, and of the lines of both exchanges
    double* line;
    double* line_a;
    double* line_b;
    double* old_terms;
    double* new_terms;
};

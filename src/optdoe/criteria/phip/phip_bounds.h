/// Bounds of the totals that exchanges lead to, without computing these.
///
/// The total of an exchange is (new + T) - old, as its trial computes it: new the sum of the terms put in, old of
/// those taken out, T the present sum. The best of several exchanges is the one that comes first when the values of
/// all trials are sorted. What follows shows which candidates it cannot be.
///
///  1. Errors of sums. The sums of a trial have at most 2 n positive terms and are off by at most 2 n units in the
///     last place of all that is added up; so are the sums of bounds, and T. A slack of 8 n + 32 units (slack_unit
///     times what is added up) covers all of them.
///  2. Old terms from above. row_upper of both rows is at least their terms (term_totals.h). It has the pair's own
///     term twice, which stays: it may be taken off again (gain_of_pair).
///  3. New terms from below. A copied distance after an exchange is off by coarse_doubt at most (coarse_copies.h).
///     Counted as if they were larger by twice that, distances give terms that are no larger; what is too far to
///     count is less than far_term; sums in single precision are off by bound_error. Any part of the new terms is a
///     bound, too, as terms are positive.
///  4. So lower = new_low + T - old_high - slack is at most the total as the trial computes it.
///  5. New terms from above. With d the least copied distance, each distance is at least 1 - 2 doubt / d of what the
///     lower bound took it for, so each term at most that to the power of -p. Then old terms from below give an upper
///     bound of the total.
///  6. Dropping. Let best be a total of some candidate or an upper bound of one. A candidate with
///     lower > best (1 + 1e-9) has a value that is larger by 1e-11 of itself or more, as the value is a power with an
///     exponent of at least 1/100. That is far more than the error of pow: its value is strictly greater than the
///     least.
///  7. Those left are computed exactly. A unique least value comes first in every sort. Of two equal ones the order
///     depends on the sort's path through all values: then nothing is told.
///  8. Where any of this does not hold, nothing is told: T or best near the cap or the smallest numbers, infinite
///     bounds, totals below 1e-8 of the old terms, whose trials sum in full. The last cannot be among the dropped:
///     old is part of T, up to the factor 4 that is checked, and best is at least 1e-7 T. A bound that is not a
///     number drops nothing. Equal entries leave the sum T: their bounds say so.
#pragma once

#include "optdoe/criteria/phip/phip_state.h"

/// The candidates of one call and what all their bounds share.
struct bounded_candidates {
    std::int32_t column;
    std::int32_t count;
    const std::int32_t* rows_a;
    const std::int32_t* rows_b;
    double slack_unit; ///< step 1
    coarse_lines coarse;
    double far_term; ///< step 3
    bool has_equal;  ///< some entries of the column may be equal
};

/// Fits the scale of the bounds to the present sum and fills what the candidates share.
///   returns false when there are no bounds: step 8
bool prepare_bounds(phip_state& s, bounded_candidates& k);

/// True when a candidate exchanges equal entries.
bool exchanges_equal_entries(const phip_state& s, const bounded_candidates& k, std::int32_t c);

/// Lower bounds of all candidates, from some of their new terms, into s.candidates.lower.
///   returns the candidate with the least bound; -1 when no bound is a number, or step 8
std::int32_t bound_candidates(phip_state& s, const bounded_candidates& k);

/// Adds what the lower bound of a candidate gains by the pair's own term: step 2.
void add_pair_to_bound(phip_state& s, const bounded_candidates& k, std::int32_t c);

/// A closer lower bound, from all new terms, into s.candidates.lower.
///   returns an upper bound of the total; +inf when none is known or when the lower one is above the limit
double bracket_total(phip_state& s, const bounded_candidates& k, std::int32_t c, double limit);

/// A lower bound from distances in double precision, into s.candidates.lower.
void bound_closely(phip_state& s, const bounded_candidates& k, std::int32_t c);

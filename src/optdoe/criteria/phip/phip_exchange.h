/// Exchanges of the phi-p criterion for p > 0; the contracts are those of criterion.h.
#pragma once

#include "optdoe/criteria/phip/phip.h"

inline constexpr double phip_least_ratio = 1e-8; ///< below it an update is re-summed

/// Takes a pending trial back and brings the tables up to date with the points. What reads or changes them begins
/// with it; the callers of the exchanges below have done so.
void settle(run_context* ctx);

/// value of a sum of terms: its root, with the half of the Euclidean kind's squared distances. A commit asks for the
/// sum that its trial had: the last one is remembered.
double value_of_sum(phip_state& s, double sum);

/// What the kernels take of an exchange.
exchange_lines lines_of(const phip_tables& t, std::int32_t column, std::int32_t a, std::int32_t b);

bool entries_are_equal(const phip_state& s, std::int32_t column, std::int32_t a, std::int32_t b);

/// Computes lines and sums of an exchange of entries that differ, unless they are at hand.
const phip_exchange& computed_exchange(phip_state& s, std::int32_t column, std::int32_t a, std::int32_t b);

/// The sum of terms after an update: what was put in, plus the sum before, less what was taken out.
double updated_sum(const phip_state& s, double old_sum, double new_sum);

/// What a batch of updates took out of and put into the sum of terms.
struct replaced_terms {
    double old_sum;
    double new_sum;
    bool changed; ///< some update was more than an exchange of equal entries
};

/// Ends committed updates, which the tables know of unless an exchange is pending: the sum, re-summed when it is due
/// or when cancellation has eaten the digits.
///   returns the value
double commit_sum(phip_state& s, double old_sum, double new_sum);

double apply_swaps_terms(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                         const std::int32_t* rows_b);
double try_swaps_terms(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                       const std::int32_t* rows_b);
double try_swap_terms(run_context* ctx, std::int32_t column, std::int32_t a, std::int32_t b);

/// Frees the scratch of the best of several exchanges.
void release_candidates(run_context* ctx, phip_candidates& candidates);

/// crit_unique_best_swap for p > 0; the proof that it is the one that trying all would give stands there.
std::int32_t unique_best_swap_terms(run_context* ctx, std::int32_t column, std::int32_t count,
                                    const std::int32_t* rows_a, const std::int32_t* rows_b, double* best_value);

/// Exchanges of the phi-p criterion. Nothing is pending when they are called, and the two rows differ.
#pragma once

#include "optdoe/criteria/phip/phip_state.h"

inline constexpr double phip_least_ratio = 1e-8; ///< an update below this share of what it replaces is summed in full

/// The value of a sum of terms: its root. A commit asks for the sum that its trial had: the last one is remembered.
double value_of_sum(phip_state& s, double sum);

/// Takes a sum of all terms, and its value.
void set_sum(phip_state& s, double sum);

/// What the kernels take of an exchange.
exchange_lines lines_of(const phip_state& s, std::int32_t column, std::int32_t a, std::int32_t b);

/// Computes lines and sums of an exchange of entries that differ into s.exchange, unless it has them.
const phip_exchange& compute_exchange(phip_state& s, std::int32_t column, std::int32_t a, std::int32_t b);

/// Writes the lines of s.exchange and exchanges the entries, as at its version.
void write_exchange(run_context* ctx, phip_state& s);

/// The sum of terms after an update: what was put in, plus the sum before, less what was taken out.
double updated_sum(const phip_state& s, double old_sum, double new_sum);

/// What updates took out of and put into the sum of terms.
struct replaced_sums {
    double old_sum;
    double new_sum;
    bool changed; ///< some update was more than an exchange of equal entries
};

/// The sum and the value after committed updates. The sum is taken in full when that is due, or when cancellation has
/// eaten the digits.
///   replaced   in   [count] lines of the updates that are not written yet
void commit_sum(phip_state& s, const replaced_sums& sums, std::int32_t count = 0,
                const replaced_line* replaced = nullptr);

/// One exchange as crit_try_swap, and as a commit, which leaves it pending.
double try_exchange(phip_state& s, std::int32_t column, std::int32_t a, std::int32_t b);
double commit_exchange(run_context* ctx, phip_state& s, std::int32_t column, std::int32_t a, std::int32_t b);

/// Makes the exchanges of a batch one after the other, written at once.
///   returns the value after it
double exchange_batch(run_context* ctx, phip_state& s, std::int32_t column, std::int32_t count,
                      const std::int32_t* rows_a, const std::int32_t* rows_b);

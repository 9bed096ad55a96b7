/// Changes of the distances together with what is derived from them: totals of terms and coarse copies.
///
/// What is in step with the distances before a change follows it. What is not stays behind; bring_up_to_date makes it
/// anew when it is asked for.
#pragma once

#include "optdoe/criteria/phip/phip_state.h"

/// Which of the derived tables are in step with the distances.
struct derived_in_step {
    bool rows;
    bool triangle;
    bool copies;
};
derived_in_step in_step(const phip_state& s);

/// Gives what was in step, and has followed a change, the present version.
void keep_in_step(phip_state& s, const derived_in_step& was);

/// Brings row totals and copies up to date. Nothing is pending.
void bring_up_to_date(phip_state& s);

/// Sum of all terms, bit for bit that of adding them one by one, row by row left of the diagonal.
///   replaced   in   [count] lines that are replaced for this sum only
double sum_of_terms(phip_state& s, std::int32_t count = 0, const replaced_line* replaced = nullptr);

/// The same of the terms that the points give from scratch. The triangle is that of the fresh lines afterwards.
double sum_of_fresh_terms(phip_state& s);

/// Gives row r a new line.
///   terms   of the present line and of the new one
void replace_line(run_context* ctx, phip_state& s, std::int32_t r, const double* distances,
                  const replaced_line& terms);

/// The same with the terms computed here, where they are needed.
void replace_line(run_context* ctx, phip_state& s, std::int32_t r, const double* distances);

/// Writes an entry, or exchanges two.
void replace_entry(phip_state& s, std::int32_t r, std::int32_t column, double x);
void exchange_entries(phip_state& s, std::int32_t a, std::int32_t b, std::int32_t column);

/// Exchanges two equal entries. The lines keep their distances, which then differ from fresh ones in the last bits,
/// unless the entries are the same to the bit.
void exchange_equal_entries(run_context* ctx, phip_state& s, std::int32_t a, std::int32_t b, std::int32_t column);

/// Brings points, lines and what is in step back to a mark.
void undo_changes(run_context* ctx, phip_state& s, undo_mark& mark);

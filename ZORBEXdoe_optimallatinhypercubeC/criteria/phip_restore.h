/// How the column snapshot of the phi-p criterion survives changes of the tables.
///
/// A snapshot copies a column, a value and a sum, nothing that grows with the square of the rows. What a change is
/// about to overwrite is kept then: the lines of the rows it replaces, or, where these are many, a capture.
#pragma once

#include "criteria/phip.h"

/// Doubles of one kept row: distances, then terms.
inline std::size_t line_pair(const phip_tables& t) { return 2 * static_cast<std::size_t>(t.stride); }

/// Copies the lines of a row out of the tables, [line_pair], and back into them.
void keep_lines(const phip_tables& t, std::int32_t r, double* to);
void put_lines_back(phip_tables& t, std::int32_t r, const double* from);

/// Entries of the free rows of a column, [free rows], and their way back; only entries that differ are written.
const double* free_entries(const phip_state& s, std::int32_t column);
void put_entries_back(phip_state& s, std::int32_t column, const double* entries);

/// Prepares the column snapshot for the replacement of `count` rows: by keeping their lines, as long as these stay
/// few, else by a capture. Points and tables agree when it is called. Nothing happens while no snapshot is taken.
void prepare_restore(run_context* ctx, std::int32_t count);

/// Keeps the lines of a row that is about to be replaced, where prepare_restore made room for them.
void keep_for_restore(phip_state& s, std::int32_t r);

/// Prepares the column snapshot for changes that are not listed row by row.
///   all_rows   rows that are not on the list of changed rows will be replaced
void capture_for_restore(run_context* ctx, bool all_rows);

/// Puts tables and points of the column snapshot back; the snapshot stays.
void restore_tables(run_context* ctx);

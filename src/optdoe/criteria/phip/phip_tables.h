/// The distances of all pairs of rows for the phi-p criterion, and sums of their terms.
///
/// Fresh      a pair is fresh when its distance has the bits that its two points give from scratch. An exchange
///            updates distances by differences, so its rows stop being fresh; they are on the list of changed rows
///            until the next evaluation. A pair of two unchanged rows is always fresh: evaluating from scratch and
///            taking back need only visit the changed rows.
/// Lines      of few rows, and for p = 0, all lines are stored: a symmetric table, in which a row that changes is
///            written along its column, too. Of many rows only those of changed rows are stored, each complete and up
///            to date. The line of another row is then computed from the points when it is asked for, and takes its
///            distances to changed rows from theirs: a few lines a move cost less than the traffic of a table that
///            has left the near caches.
/// Terms      are computed from the distances when they are asked for. A re-arrangement leaves terms without their
///            floor; the distance below it that such a term belongs to carries a minus sign.
/// Sum        the sum of all terms is defined as one chain of additions, row by row of the lower triangle.
/// sum_in_order
///            has its bits without walking it, see there.
#pragma once

#include "optdoe/criteria/distance.h"
#include "optdoe/criteria/phip/line_store.h"
#include "optdoe/criteria/phip/phip_coarse.h"
#include "optdoe/criteria/phip/phip_kernels.h"
#include "optdoe/run/run_context.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

inline constexpr double phip_cap = 1e200; ///< sums of terms, and single terms, end there

/// A sum of terms, at most the cap; the cap, too, for a sum that is not a number.
inline double capped(double sum) { return sum < phip_cap ? sum : phip_cap; }

/// True for the same number, the sign of zero included.
inline bool same_bits(double x, double y)
{
    return std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(y);
}

/// An evaluation from scratch whose lines are not stored yet: most of them are taken back with the move they end.
struct phip_refresh {
    bool pending;  ///< the sums are those of fresh lines, the stored lines are not
    double* sums;  ///< [5 x stride] the sums before it
    double* lines; ///< [changed rows x stride] where all lines are stored: the fresh ones
    std::int32_t capacity;
};

struct phip_tables {
    const phip_kernels* kernels;
    std::int32_t few_rows; ///< all lines of so many rows are stored: rows_with_tables, but for tests
    std::int32_t rows;
    std::int32_t stride; ///< rows rounded up to whole vectors
    std::int32_t factors;
    std::int32_t p; ///< exponent on the distances as kept; 0: no terms
    distance_kind kind;
    double distance_floor; ///< distances below it have the capped term 1e200

    double** points; ///< [rows x factors] working design, each factor times its weight when weights are in force
    double* columns; ///< [factors x stride] the same by columns, 0 behind the last row
    std::uint64_t entries_set; ///< number of set_point calls

    double* row_vectors; ///< the block that all vectors of [stride] below are in
    line_store lines;    ///< +inf at the row itself and behind the last row
    bool all_lines;      ///< every row has one; else the changed rows

    // For p > 0.
    phip_coarse coarse;
    double* row_sum;       ///< [stride] approximate sum of the row's terms
    double* row_upper;     ///< [stride] upper bound of it, off by as much as row_sum may be
    grid_cache grid;       ///< of each row's terms left of the diagonal
    grid_cache pending;    ///< scratch: the same with the lines of pending rows
    bool sums_are_stale;   ///< row sums are not in step with the distances; nobody asked yet
    bool copies_are_stale; ///< nor are the copies; the sums are stale then, too

    // For p = 0.
    double* row_least;         ///< [rows] least distance of the row
    std::int32_t* row_nearest; ///< [rows] the row at that distance, -1 when not known

    phip_refresh refresh; ///< p > 0

    std::int32_t* changed; ///< [rows] rows that are not fresh, in the order in which they changed
    std::int32_t changed_count;
    std::uint8_t* is_changed; ///< [rows]

    double* line_distances; ///< [stride] scratch
    double* line_a;         ///< [stride] scratch of lines_of, p > 0
    double* line_b;
    double* old_terms; ///< [stride] scratch, p > 0
    double* new_terms; ///< [stride] scratch, p > 0
};

/// A row whose line the table has not got yet: its terms in the table and its terms to be, [stride].
struct pending_row {
    std::int32_t row;
    const double* old_terms;
    const double* terms;
};
using pending_rows = std::array<pending_row, 2>; ///< of an exchange

/// Lines of the changed rows at one moment; with the points it gives the tables of that moment back.
struct phip_capture {
    bool taken;
    bool all_rows;          ///< rows beyond the captured ones were replaced since
    bool sums_were_stale;   ///< in the tables
    bool copies_were_stale; ///< in the tables
    std::int32_t count;
    std::int32_t* rows; ///< [count]
    double* lines;      ///< [count x stride] distances
    double* sums;       ///< [5 x stride] sums of rows and their places on the grid; null: to be computed anew
};

/// The stored line of row r.
inline double* stored_line(const phip_tables& t, std::int32_t r) { return t.lines.of_row[r]; }

inline double* column_line(const phip_tables& t, std::int32_t column)
{
    return t.columns + static_cast<std::ptrdiff_t>(column) * t.stride;
}

/// Allocates everything; rows, factors, p, kind and distance_floor are set before. Nothing is filled but padding.
void phip_tables_alloc(run_context* ctx, phip_tables& t);
void phip_tables_free(run_context* ctx, phip_tables& t);

/// Sets one entry of the points, in both layouts.
void set_point(phip_tables& t, std::int32_t r, std::int32_t column, double x);
void swap_points(phip_tables& t, std::int32_t a, std::int32_t b, std::int32_t column);

/// Line of row r: the stored one, or computed into `scratch`, [stride]. Not while a refresh is pending.
const double* line_of(const phip_tables& t, std::int32_t r, double* scratch);

/// Copies the line of row r, [stride].
void copy_line(const phip_tables& t, std::int32_t r, double* to);

/// Stores the line of row r, unless it is, and marks it as changed; a line must have been reserved.
void hold_line(phip_tables& t, std::int32_t r);

/// Term of one distance, its mark included.
double term_of(const phip_tables& t, double distance);

/// Terms of a line of distances of the table; 0 for those that are +inf.
///   out   [stride]
void terms_of_line(const phip_tables& t, const double* distances, double* out);

/// Sums the terms of row r anew.
void set_row_sum(phip_tables& t, std::int32_t r, const double* terms);

/// Computes the distances of all rows from the points; no row is changed then. The sums become stale. So must the
/// copies be made by the caller, unless they were in step with the distances of the same points.
void fill_tables(phip_tables& t);

/// Sums and copies are stale from now on, p > 0.
void forget_sums(phip_tables& t);

/// True when a refresh fills the tables: when many rows have changed, or there are no sums to bring in step.
inline bool refresh_fills(const phip_tables& t) { return t.sums_are_stale || t.changed_count > t.rows / 2; }

/// Makes the changed rows fresh again. Same cells as fill_tables. For p > 0 the refresh is then pending, unless the
/// tables were filled: only sum_in_order may follow, and one of the three below.
void refresh_tables(run_context* ctx, phip_tables& t);

/// Ends a pending refresh: stores the fresh lines.
void complete_refresh(phip_tables& t);

/// While a refresh is pending, the line of a changed row has the fresh distances to those that changed before it;
/// this puts the others back, which the lines of these have. complete_refresh may follow, drop_refresh does it.
void put_lines_before_refresh_back(phip_tables& t);

/// Takes a pending refresh back.
void drop_refresh(phip_tables& t);

/// Gives row r a new line, mirrored into the other rows, keeps the sums in step and marks the row as changed; a line
/// must have been reserved.
///   distances              [stride], not a line of the table; for p > 0 not t.line_distances, which is overwritten,
///                          as are t.old_terms and t.new_terms
///   old_terms, new_terms   [stride] of the line that is replaced and of the new one, where they are at hand and the
///                          sums are not stale
/// Points and lines agree while the sums are stale.
void replace_row(phip_tables& t, std::int32_t r, const double* distances);
void replace_row(phip_tables& t, std::int32_t r, const double* distances, const double* old_terms,
                 const double* new_terms);

/// The same for the distances alone. For p > 0 the caller says forget_sums before it asks for anything: after changes
/// of many rows, sums and copies are mostly replaced before anybody needs them.
void store_line(phip_tables& t, std::int32_t r, const double* distances);

/// Brings sums and copies in step when they are stale; what uses them begins with it. Points and lines must agree.
/// Overwrites t.line_distances and t.new_terms.
void renew_sums(phip_tables& t);

/// Puts a row that has a line on the list of changed rows.
void mark_changed(phip_tables& t, std::int32_t r);

/// Shortens the list of changed rows to its first count; the others lose their lines where not all are stored.
void forget_changes(phip_tables& t, std::int32_t count);

/// Sum of all terms, bit for bit that of adding them one by one, row by row left of the diagonal.
///
/// While a running sum S stays in one binade, with unit u in the last place, S is a multiple of u and S + x rounds to
/// S + rn(x), rn(x) the multiple of u nearest to x, unless x lies half way between two. So the whole row can be added
/// at once as the sum of its rn(x), which is exact in any order, whenever the row has no such tie and leaves S in its
/// binade; otherwise the row is added one by one. The sums of rounded terms are kept per row (grid), so that a sum
/// costs a step a row. Ties and binade ends fall on the short rows: a number of them that grows with the logarithm.
///   pending   rows whose lines the table has not got yet; null: none
double sum_in_order(phip_tables& t, const pending_rows* pending = nullptr);

/// Least distance of all pairs with a row from first_row on, p = 0; at most `least`.
double least_distance(phip_tables& t, std::int32_t first_row, double least);

/// Keeps the lines of the changed rows, without sums. Whoever replaces other rows afterwards sets all_rows.
void take_capture(run_context* ctx, const phip_tables& t, phip_capture& capture);

/// Keeps the sums as they are, as a refresh does, for capture_sums. They must not be stale.
void keep_sums(const phip_tables& t);

/// Adds the kept sums to a capture of the lines that they belong to: they make it cheap to put back while all_rows is
/// not set.
void capture_sums(run_context* ctx, const phip_tables& t, phip_capture& capture);

/// Puts the tables of the capture back; the points are those of that moment again. The capture stays.
void put_capture_back(run_context* ctx, phip_tables& t, const phip_capture& capture);

/// The same for lines that were replaced by store_line only, with all_rows set, p > 0: sums and copies of
/// distances are still those of the capture.
void put_lines_back(run_context* ctx, phip_tables& t, const phip_capture& capture);

/// Frees what the capture holds.
void drop_capture(run_context* ctx, phip_capture& capture);

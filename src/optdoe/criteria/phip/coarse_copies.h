/// Copies of the phi-p criterion's distances and entries as 16-bit integers, for bounds only.
///
/// A bound reads two lines of distances a candidate, most of what a move reads. A quarter of the bytes is a quarter
/// of the traffic, and a vector holds four times as many. What the steps of integers lose is bounded by
/// `coarse_doubt`.
///
/// Scale     distances in steps of 1 / scale, fine enough that those up to the mean distance and beyond count; what
///           is further away is coarse_none, as far as terms go, and remains it when a change is added. Entries from
///           the middle of their column in steps of their own.
/// Layout    lines of `stride` integers on a 64-byte boundary; behind the last row coarse_none in distances, 0 in
///           columns.
/// Version   as_of is the version of the distances that the copies belong to. Invariant: while that is the present
///           version and coarse_is_usable, a copied distance or entry is within 1/2 step of the present one, and
///           2^-7 more, as refreshed lines differ from those that were copied.
/// Catch up  of few rows, a line that changes is written along its column at once. Of many it is written along its
///           row, and its row is logged; another line reads the log before it is next used. Writing it at once would
///           touch a cache line a row, most of them far away, while a line that is used is read anyway.
#pragma once

#include "optdoe/criteria/pair_distances.h"
#include "optdoe/run/run_context.h"

#include <cstddef>
#include <cstdint>

inline constexpr std::int32_t coarse_step = 32;          ///< integers of the widest vector
inline constexpr std::uint16_t coarse_none = UINT16_MAX; ///< no distance, or too far to count

/// What the copies of one column are made with.
struct coarse_column {
    double lowest; ///< of all entries that the column held when copies were made, since the set-up
    double highest;
    double middle;      ///< between these
    double entry_scale; ///< steps of an entry
    double slope_scale; ///< steps, in 2^-16 of those of an entry, by which a distance changes for a slope of 1
    double far_term;    ///< upper bound of a term that is too far to count after an exchange in this column
    std::uint16_t bias; ///< added to every change of a distance: none is then below 0 or above twice as much
    bool has_equal;     ///< some of its entries may be equal (equal_entries)
};

struct coarse_copies {
    std::uint64_t as_of; ///< version of the distances
    std::int32_t rows;
    std::int32_t stride; ///< rows rounded up to whole vectors
    std::int32_t factors;
    distance_kind kind;
    std::int32_t p;           ///< exponent on the distances
    std::uint16_t* distances; ///< [rows x stride]
    std::int16_t* columns;    ///< [factors x stride]
    coarse_column* column;    ///< [factors]

    std::uint16_t* marks; ///< [2 stride] 0 but for coarse_none at `stride`: a window on it takes one row out

    std::int32_t* change_log; ///< [rows] changed rows, the latest last, one that changes again is logged again; null:
                              ///< lines are written along their columns at once
    std::int32_t logged_count;
    std::int32_t* log_read; ///< [rows] how many entries of the log each line has read

    bool has_nearly_equal; ///< somewhere equal entries are not the same to the bit: their exchange moves the points
    double reach;          ///< no distance of rows with such entries is larger
    double scale;          ///< steps of a distance
};

/// Allocates everything for distances whose terms have the exponent p. Nothing is filled but padding. Where not all
/// lines are stored, lines read changes of others from a log; else these are written along columns at once.
void coarse_alloc(run_context* ctx, coarse_copies& c, const pair_distances& d, std::int32_t p);
void coarse_free(run_context* ctx, coarse_copies& c);

/// Finds equal entries of a design that is loaded. A column that had some once counts as having some.
void coarse_find_equal(run_context* ctx, coarse_copies& c, const double* const* points);

/// Widens the ranges of the columns to all present entries and copies the entries anew. All lines must be copied anew
/// afterwards.
void coarse_fit(coarse_copies& c, const double* const* points);

/// False when an entry is not finite or the distances leave the range of the scale: there are no bounds then.
bool coarse_is_usable(const coarse_copies& c);

/// Copies one entry. This and the functions below do nothing while the copies are not usable.
void coarse_set_entry(coarse_copies& c, std::int32_t r, std::int32_t column, double x);

/// Copies the lines of all rows, one after the other from row 0.
///   distances   [rows] of row r
void coarse_set_line(coarse_copies& c, std::int32_t r, const double* distances);

/// Copies the line of a row that has changed.
void coarse_change_line(coarse_copies& c, std::int32_t r, const double* distances);

/// Reads what has been logged since the line of row r was last used; to be called before it is.
void coarse_read_log(coarse_copies& c, std::int32_t r);
inline void coarse_catch_up(coarse_copies& c, std::int32_t r)
{
    if (c.change_log != nullptr && c.log_read[r] != c.logged_count)
        coarse_read_log(c, r);
}

inline std::uint16_t* coarse_line(const coarse_copies& c, std::int32_t r)
{
    return c.distances + static_cast<std::ptrdiff_t>(r) * c.stride;
}

/// How far, in steps, a distance after an exchange that is computed from the copies can lie from the one in double
/// precision.
///
/// A copied distance is off by 1/2. Its change is, for the Euclidean kind, s y + t with s = 2 (xa - xb): s and y are
/// off by 1/2 each, which counts 1/4 each as the other is at most 2^15 and the product is taken in 2^-16; leaving out
/// its fraction and adding 1/2 is off by 1/2: 3/2 in all. For the rectangular kind it is |y - yb| - |y - ya|, four
/// entries that are off by 1/2: 5/2 in all. The rest is for single precision and what double precision itself loses.
inline double coarse_doubt(const coarse_copies& c)
{
    return (c.kind == distance_kind::euclidean ? 1.5 : 2.5) + 0x1p-5;
}

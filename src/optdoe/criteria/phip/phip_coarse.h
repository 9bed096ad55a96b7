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
/// In step   of few rows, a row that changes is written into all lines. Of many it writes its own line and a note
///           of it, and another line takes over the distances to changed rows when it is next read: writing them at
///           once would touch a cache line a row, most of them far away, while a line that is read comes near anyway.
#pragma once

#include "optdoe/criteria/distance.h"
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
    double slope_scale; ///< steps, in 2^-16 of those of an entry, by which a distance changes for a slope of 1, see
                        ///< coarse_doubt
    double far_term;    ///< upper bound of a term that is too far to count after an exchange in this column
    std::uint16_t bias; ///< added to every change of a distance: none is then below 0 or above twice as much
    bool has_equal;     ///< some of its entries may be equal (equal_entries)
};

struct phip_coarse {
    std::int32_t rows;
    std::int32_t stride; ///< rows rounded up to whole vectors
    std::int32_t factors;
    distance_kind kind;
    std::int32_t p;           ///< exponent on the distances
    std::uint16_t* distances; ///< [rows x stride]
    std::int16_t* columns;    ///< [factors x stride]
    coarse_column* column;    ///< [factors]

    std::uint16_t* marks; ///< [2 stride] 0 but for coarse_none at `stride`: a window on it takes one row out

    bool near;           ///< every line is written at once
    std::int32_t* notes; ///< [rows] rows in the order in which they changed, one that changes again is noted again
    std::int32_t note_count;
    std::int32_t* seen; ///< [rows] how many of the notes each line has taken over

    bool has_nearly_equal; ///< somewhere equal entries are not the same to the bit: their exchange moves the points
    double reach;          ///< no distance of rows with such entries is larger
    double scale;          ///< steps of a distance
};

/// Allocates everything; rows, factors, kind, p and near are set before. Nothing is filled but padding.
void coarse_alloc(run_context* ctx, phip_coarse& c);
void coarse_free(run_context* ctx, phip_coarse& c);

/// Takes note of equal entries of a design that was loaded; what was noted stays.
void coarse_note_equal(run_context* ctx, phip_coarse& c, const double* const* points);

/// Widens the ranges of the columns to all present entries and copies the entries anew. All lines must be copied anew
/// afterwards.
void coarse_fit(phip_coarse& c, const double* const* points);

/// False when an entry is not finite or the distances leave the range of the scale: there are no bounds then.
bool coarse_is_usable(const phip_coarse& c);

/// Copies one entry. Nothing where copies are of no use, as below.
void coarse_set_entry(phip_coarse& c, std::int32_t r, std::int32_t column, double x);

/// The copies of two entries change places, as the entries do.
void coarse_swap_entries(phip_coarse& c, std::int32_t a, std::int32_t b, std::int32_t column);

/// Copies the lines of all rows, one after the other from row 0.
///   distances   [rows] of row r
void coarse_set_line(phip_coarse& c, std::int32_t r, const double* distances);

/// Copies the line of a row that has changed.
void coarse_change_line(phip_coarse& c, std::int32_t r, const double* distances);

/// Brings the line of row r in step.
void coarse_take_over_notes(phip_coarse& c, std::int32_t r);
inline void coarse_take_over(phip_coarse& c, std::int32_t r)
{
    if (c.seen[r] != c.note_count)
        coarse_take_over_notes(c, r);
}

inline std::uint16_t* coarse_line(const phip_coarse& c, std::int32_t r)
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
inline double coarse_doubt(const phip_coarse& c) { return (c.kind == distance_kind::euclidean ? 1.5 : 2.5) + 0x1p-5; }

/// Single-precision copies of the phi-p criterion's distances and entries, for bounds only.
///
/// A bound reads two lines of distances a candidate, most of what a move reads. Half the bytes are half the traffic,
/// and a vector holds twice as many. What single precision loses is bounded by `doubt`, see there.
///
/// Scale    distances times a power of two that brings the largest possible one near 1; entries measured from the
///          middle of their column, times what makes their distances come out in that scale.
/// Layout   lines of `stride` floats on a 64-byte boundary; behind the last row +inf in distances, 0 in columns.
#pragma once

#include "criteria/distance.h"
#include "entry/run_context.h"

#include <cstdint>

inline constexpr std::int32_t coarse_step = 16; ///< floats of the widest vector

/// Entries from one line of a table to the next, for lines of `stride` entries: an odd number of vectors of `step`.
/// Each fills a cache line, and the cells of a column then fall on different sets of the caches. Tables that fit the
/// nearest cache are better kept small.
inline std::int32_t spread_pitch(std::int32_t stride, std::int32_t step)
{
    return stride < 16 * step ? stride : (stride / step | 1) * step;
}

struct phip_coarse {
    std::int32_t rows;
    std::int32_t stride; ///< rows rounded up to whole vectors
    std::int32_t pitch;  ///< of spread_pitch
    std::int32_t factors;
    distance_kind kind;
    float* distances; ///< [rows x pitch], +inf on the diagonal
    float* columns;   ///< [factors x stride]

    double* lowest;          ///< [factors] of all entries that the column has held since the set-up
    double* highest;         ///< [factors]
    std::uint8_t* has_equal; ///< [factors] 1: some of its entries may be equal (equal_entries)
    bool has_nearly_equal;   ///< somewhere equal entries are not the same to the bit: their exchange moves the points
    double reach;            ///< no distance of rows with such entries is larger
    double scale;            ///< of distances
    double entry_scale;
};

/// Allocates everything; rows, factors and kind are set before. Nothing is filled but padding.
void coarse_alloc(run_context* ctx, phip_coarse& c);
void coarse_free(run_context* ctx, phip_coarse& c);

/// Takes note of equal entries of a design that was loaded; what was noted stays.
void coarse_note_equal(run_context* ctx, phip_coarse& c, const double* const* points);

/// Widens the ranges of the columns to all present entries and copies the entries anew. Distances must be copied anew
/// afterwards.
void coarse_fit(phip_coarse& c, const double* const* points);

/// False when an entry is not finite or the distances leave the range of the scale: there are no bounds then.
bool coarse_is_usable(const phip_coarse& c);

/// Copies one entry, or a whole line of distances: into row r, or into row and column r. Nothing where they are of no
/// use.
void coarse_set_entry(phip_coarse& c, std::int32_t r, std::int32_t column, double x);
void coarse_set_row(phip_coarse& c, std::int32_t r, const double* distances);
void coarse_set_row_and_column(phip_coarse& c, std::int32_t r, const double* distances);

inline float* coarse_distance_line(const phip_coarse& c, std::int32_t r)
{
    return c.distances + static_cast<std::ptrdiff_t>(r) * c.pitch;
}

inline float* coarse_column_line(const phip_coarse& c, std::int32_t column)
{
    return c.columns + static_cast<std::ptrdiff_t>(column) * c.stride;
}

/// How far a distance after an exchange, computed from the copies in single precision, can lie from the one computed
/// in double precision, in the unit of distances.
///
/// With D the reach and R at most D the share of one column, all times 2^-24: a copied distance is off by D; the
/// change of a distance, for the Euclidean kind c y + c' with c = 2 (ya - yb) and c' = yb^2 - ya^2, by less than 6 R,
/// since |c y| is at most R and |c'| at most R / 4 when y is measured from the column's middle, and likewise for the
/// rectangular kind; the sums by 2 D + 2 R. 16 D leaves room for what is of second order and for double precision, so
/// that a distance plus its doubt is never below 0.
inline double coarse_doubt(const phip_coarse& c) { return c.reach * 0x1p-20; }

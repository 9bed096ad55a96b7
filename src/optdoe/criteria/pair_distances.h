/// The points of a design and the distances of all pairs of rows, for the criteria that are made of distances.
///
/// Fresh     a distance is fresh when it has the bits that its two points give from scratch. Exchanges update
///           distances by differences, so their rows stop being fresh.
/// Changed   a row is changed from the first write to its line until it is refreshed. Invariant: the distance of two
///           rows that are not changed is fresh. So evaluating from scratch and undoing visit changed rows only.
/// Lines     the line of a row holds its distances to all rows. Of few rows every row has a stored line; of many only
///           a changed row has one, and the line of any other is computed from the points when it is asked for.
///           Invariant: lines are symmetric; a pair has the same bits in both lines.
/// Version   every write to points or lines gives a version that was never used before. What is derived from points
///           and lines keeps the version it was made from. Undoing to a state gives that state's version back.
/// Sign      a minus sign on a stored distance belongs to whoever stored it; its size is the distance.
#pragma once

#include "optdoe/criteria/distance_kernels.h"
#include "optdoe/run/run_context.h"
#include "optdoe/run/run_settings.h"
#include "optdoe/vectors/line_sizes.h"
#include "optdoe/vectors/line_store.h"

#include <bit>
#include <cstddef>
#include <cstdint>

/// True for the same number, the sign of zero included.
inline bool same_bits(double x, double y)
{
    return std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(y);
}

struct pair_distances {
    const distance_kernels* kernels;
    std::int32_t most_rows_with_all_lines; ///< of so many rows all lines are stored
    distance_kind kind;
    std::int32_t fixed_rows;
    std::int32_t free_rows;
    std::int32_t rows;   ///< fixed and free
    std::int32_t stride; ///< rows rounded up to whole vectors
    std::int32_t factors;
    const double* weights; ///< [factors] not owned; null: all are 1

    double** points;  ///< [rows x factors] working design, each entry times its factor's weight
    double* columns;  ///< [factors x stride] the same by columns, 0 behind the last row
    line_store lines; ///< +inf at the row itself and behind the last row

    std::int32_t* changed; ///< [rows] the changed rows, in the order in which they changed
    std::int32_t changed_count;
    std::uint8_t* is_changed; ///< [rows]

    std::uint64_t version;
    std::uint64_t last_version; ///< the highest one ever given
    double* line;               ///< [stride] scratch of hold_line and refresh_lines
};

inline bool stores_all_lines(const pair_distances& d) { return d.rows <= d.most_rows_with_all_lines; }

inline bool few_rows_are_changed(const pair_distances& d) { return d.changed_count <= most_rows_one_by_one(d.rows); }

/// The stored line of row r, null: it has none.
inline double* stored_line(const pair_distances& d, std::int32_t r) { return d.lines.of_row[r]; }

inline double* column_line(const pair_distances& d, std::int32_t column)
{
    return d.columns + static_cast<std::ptrdiff_t>(column) * d.stride;
}

/// True when two entries of a column are equal_entries.
bool entries_are_equal(const pair_distances& d, std::int32_t column, std::int32_t a, std::int32_t b);

/// Allocates everything for a design of these sizes. kind and most_rows_with_all_lines are set before. Nothing is
/// filled but padding.
void distances_alloc(run_context* ctx, pair_distances& d, std::uint32_t free_rows, std::uint32_t fixed_rows,
                     std::int32_t factors, const double* weights);

/// Frees everything; most_rows_with_all_lines stays.
void distances_free(run_context* ctx, pair_distances& d);

/// An entry in the caller's units as the criterion has it, and back.
double weighted_entry(const pair_distances& d, double x, std::int32_t column);
double caller_entry(const pair_distances& d, double x, std::int32_t column);

/// crit_copy_design.
double** copy_points(const pair_distances& d, double** out);

/// Visits the distances of all pairs of rows, row by row left of the diagonal, as points give them from scratch.
///   design   in the caller's units; null: the points
///   visit    (distance)
template <class Visit>
void for_each_pair_of(const pair_distances& d, const double* const* design, Visit visit)
{
    const auto entry = [&](std::int32_t r, std::int32_t k) {
        return design != nullptr ? weighted_entry(d, design[r][k], k) : d.points[r][k];
    };
    for (std::int32_t j = 0; j < d.rows; ++j)
        for (std::int32_t i = 0; i < j; ++i) {
            double distance = 0.0;
            for (std::int32_t k = 0; k < d.factors; ++k)
                distance += distance_part(d.kind, entry(i, k) - entry(j, k));
            visit(distance);
        }
}

/// Writes one entry, or exchanges two. The lines stay as they are.
void set_point(pair_distances& d, std::int32_t r, std::int32_t column, double x);
void swap_points(pair_distances& d, std::int32_t a, std::int32_t b, std::int32_t column);

/// The first `count` distances of row r as its points give them from scratch.
///   out   [stride] +inf at r, and behind `count` up to a whole vector
void fresh_line(const pair_distances& d, std::int32_t r, std::int32_t count, double* out);

/// The first `count` distances of row r: the stored line, or one that is made in `scratch`, [stride].
const double* line_of(const pair_distances& d, std::int32_t r, std::int32_t count, double* scratch);
void copy_line(const pair_distances& d, std::int32_t r, double* to);

/// Gives row r a line, mirrored into the other lines; the row is changed.
///   distances   in   [stride] +inf at r and behind the last row; not a stored line
void store_line(run_context* ctx, pair_distances& d, std::int32_t r, const double* distances);

/// The row is changed, its line stays: before its points move by less than distances tell.
void hold_line(run_context* ctx, pair_distances& d, std::int32_t r);

/// Makes every row fresh: all lines anew, or, where that is less, those of the changed rows. Same bits.
void fill_lines(run_context* ctx, pair_distances& d);
void refresh_lines(run_context* ctx, pair_distances& d);

/// Shortens the list of changed rows to its first `count`. The others, whose distances are fresh, lose their lines
/// where not all are stored.
void forget_changes(pair_distances& d, std::int32_t count);

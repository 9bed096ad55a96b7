/// Totals of the terms of the phi-p criterion: one for each row, and the rows that the total of all is summed from.
///
/// Term     of a distance d: 1 / int_power(d, p), 1e200 below the floor. Terms are not stored. A re-arrangement makes
///          terms without their floor; the distance that such a term belongs to is stored with a minus sign.
/// Version  both kinds of totals carry the version of the distances that they were made from. Invariant: while that
///          is the present version, row_upper[r] is at least the sum of row r's terms, and row_total[r] is off by
///          row_upper[r] - row_total[r] at most; a row of the triangle that is known on the grid has the sum and the
///          ties that its terms give.
#pragma once

#include "optdoe/criteria/phip/phip_kernels.h"
#include "optdoe/numeric/ordered_sum.h"
#include "optdoe/run/run_context.h"

#include <cstdint>

inline constexpr double phip_cap = 1e200; ///< sums of terms, and single terms, end there

/// A sum of terms, at most the cap; the cap, too, for a sum that is not a number.
inline double capped(double sum) { return sum < phip_cap ? sum : phip_cap; }

struct term_function {
    const phip_kernels* kernels;
    std::int32_t p; ///< exponent on the distances as they are stored, at least 1
    double floor;   ///< distances below it have the capped term
};

/// The term of one distance.
double term_of(const term_function& f, double distance);

/// The terms of a line of distances, [stride]; 0 where they are +inf.
inline void terms_of_line(const term_function& f, std::int32_t stride, const double* distances, double* terms)
{
    f.kernels->terms(f.p, f.floor, stride, distances, terms);
}

struct term_totals {
    double* vectors;          ///< the block of all vectors
    double* row_total;        ///< [stride]
    double* row_upper;        ///< [stride]
    std::uint64_t rows_as_of; ///< version of row_total and row_upper
    triangle_sum triangle;    ///< the terms left of the diagonal
    std::uint64_t triangle_as_of;
};

void totals_alloc(run_context* ctx, term_totals& t, std::int32_t rows, std::int32_t stride);
void totals_free(run_context* ctx, term_totals& t);

/// Copies totals of the same size, versions included.
void copy_totals(const term_totals& from, term_totals& to);

/// Sets the total of row r from its terms.
void set_row_total(const term_function& f, term_totals& t, std::int32_t r, const double* terms);

/// Keeps the totals of rows in step when one line of terms is replaced.
void replace_in_row_totals(const term_function& f, term_totals& t, const replaced_line& line);

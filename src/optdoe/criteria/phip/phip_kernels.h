/// Kernels of the phi-p criterion: passes over the rows of one or two lines of distances or terms.
///
/// Lines   [stride] doubles on a 64-byte boundary, stride a multiple of line_step; entries behind the last row are
///         padding: +inf in distances, 0 in terms, anything finite in columns.
/// Marks   stored distances may carry a minus sign, see terms; what is computed from them does not.
/// Exact   every entry is computed by the same operations in the same order as in a plain loop, lanes run over rows.
///         Only where it says so is a sum taken in another order.
/// One plain source, compiled once per instruction set; all variants give the same bits, but for the bounds, the
/// estimates and the sums in any order: these only bound what is then computed exactly.
#pragma once

#include "optdoe/criteria/distance_kernels.h"
#include "optdoe/simd/kernel_variants.h"

#include <cstdint>

/// Relative error of the sums in the bounds: of the terms, and of adding up those of n rows in four lanes and more.
inline double bound_error(std::int32_t n) { return 0x1p-12 + n * 0x1p-26; }

/// Terms in the first of the bounds.
inline constexpr double most_bound_terms = 32.0;

/// What an exchange of rows a and b in one column is made of.
struct exchange_lines {
    const double* column;     ///< [stride] entries of the column
    double entry_a, entry_b;  ///< its entries in rows a and b, before the exchange
    const double* distance_a; ///< [stride] distances of row a; +inf at a
    const double* distance_b; ///< [stride] distances of row b; +inf at b
    std::int32_t a, b;
};

/// Lines of rows a and b after an exchange, and their terms before it: [stride] each.
struct exchange_results {
    double* distance_a;
    double* distance_b;
    double* old_term_a;
    double* old_term_b;
    double* term_a;
    double* term_b;
};

/// Terms that an exchange takes out and puts in, each sum over the other rows in ascending order, row a's term before
/// row b's.
struct exchange_sums {
    double old_sum;
    double new_sum;
};

/// What bounds are computed from, see coarse_copies.h.
struct coarse_lines {
    std::int32_t rows;
    std::int32_t stride;
    const std::uint16_t* distances; ///< [rows x stride]
    const std::int16_t* column;     ///< [stride] entries of the column, in steps
    const double* entries;          ///< [rows] the same as they are
    double middle;                  ///< of the column
    double scale;                   ///< steps of a distance
    double slope_scale;             ///< of coarse_column
    std::uint16_t bias;             ///< of coarse_column
    const std::uint16_t* marks;     ///< [2 stride] of coarse_copies
    double doubt;                   ///< of coarse_doubt
    float unit;                     ///< an upper bound of a step over the reference distance
};

/// The sum of new terms of an exchange, from below, and the least distance.
struct coarse_sum {
    float terms; ///< over the term of the reference distance
    float least; ///< steps, off by the doubt
};

struct phip_kernels {
    const char* name;
    double estimate_error; ///< of sum_after_exchange, relative, beside that of adding up

    /// Terms of distances: 1e200 below the floor, where the distance has no mark, else 1 / int_power(|distance|, p).
    void (*terms)(std::int32_t p, double floor, std::int32_t stride, const double* distance, double* out);

    /// Distances of rows a and b after an exchange, at least 0 and +inf at a and b, their terms, and the terms
    /// before; all terms are 0 at a and b.
    exchange_sums (*exchange)(distance_kind kind, std::int32_t p, double floor, std::int32_t rows,
                              std::int32_t stride, const exchange_lines& lines, const exchange_results& out);

    /// For each of `count` exchanges of one column a sum of some of the new terms of both rows, over the term of the
    /// reference distance: of the least distances of several groups of rows, most_bound_terms at most. With an error
    /// of bound_error it is a lower bound of the sum of all, but for those that are too far to count: they may be in
    /// it although there is no such row. It is +inf where single precision has no number for it.
    ///   bound   out   [count]
    void (*bound_exchanges)(distance_kind kind, std::int32_t p, const coarse_lines& lines, std::int32_t count,
                            const std::int32_t* rows_a, const std::int32_t* rows_b, float* bound);

    /// The same for one exchange and of all new terms: a closer bound, in the same units and with the same error.
    coarse_sum (*close_bound)(distance_kind kind, std::int32_t p, const coarse_lines& lines, std::int32_t a,
                              std::int32_t b);

    /// Estimate of the sum of the new terms of both rows, from the distances themselves.
    double (*sum_after_exchange)(distance_kind kind, std::int32_t p, double floor, std::int32_t stride,
                                 const exchange_lines& lines);

    /// Distances of one row after its entry of a column went from entry_old to entry_new, at least 0.
    void (*move)(distance_kind kind, std::int32_t stride, const double* column, double entry_old, double entry_new,
                 const double* distance, double* out);

    /// Sum of a line, in any order.
    double (*sum)(std::int32_t stride, const double* line);

    /// Brings sums of rows up to date when a line of terms is replaced.
    ///   row_sum, row_upper   in/out   [stride] sum of each row's terms and an upper bound of it
    void (*replace_terms)(std::int32_t stride, const double* old_terms, const double* new_terms, double* row_sum,
                          double* row_upper);
};

extern const phip_kernels phip_kernels_baseline, phip_kernels_avx2, phip_kernels_avx512;

/// What this build has.
extern const kernel_variants<phip_kernels> phip_kernel_variants;

/// One scalar loop each, as the contract above reads: the measure of all variants. Tests and benchmarks link it from
/// optdoe_plain_kernels, the library does not.
extern const phip_kernels phip_kernels_plain;

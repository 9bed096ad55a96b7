/// Kernels of the distances between rows.
///
/// Lines   [stride] doubles on a 64-byte boundary, stride a multiple of line_step; entries behind the last row are
///         padding: +inf in distances, anything finite in columns.
/// One plain source, compiled once per instruction set; all variants give the same bits.
#pragma once

#include "optdoe/criteria/distance.h"
#include "optdoe/simd/kernel_variants.h"

#include <cstdint>

inline constexpr std::int32_t line_step = 8; ///< doubles of the widest vector

struct distance_kernels {
    const char* name;

    /// Distances of a point to the first `count` rows: sum over the factors in ascending order.
    ///   columns   [factors x stride]
    ///   point     [factors]
    ///   out       [count rounded up to line_step]; what is behind `count` becomes +inf
    void (*distances)(distance_kind kind, std::int32_t count, std::int32_t stride, std::int32_t factors,
                      const double* columns, const double* point, double* out);
};

extern const distance_kernels distance_kernels_baseline, distance_kernels_avx2, distance_kernels_avx512;

/// What this build has.
extern const kernel_variants<distance_kernels> distance_kernel_variants;

/// A scalar loop, as the contract above reads: the measure of all variants. Tests and benchmarks link it from
/// optdoe_plain_kernels, the library does not.
extern const distance_kernels distance_kernels_plain;

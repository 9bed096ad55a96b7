/// Vectors of the annealing kernels, and sums of 16 lanes. Included by kernel files only, after the definition of
/// LANES.
#pragma once

#include "optdoe/simd/lanes.h"

#include <cstddef>

namespace optdoe {
namespace {

typedef float float_lanes __attribute__((vector_size(8 * LANES), may_alias));

constexpr std::size_t block = 16; // lanes of a sum
constexpr std::size_t vectors = block / FLOATS;

inline float_lanes all(float x) { return x - float_lanes{}; }
inline float_lanes load_floats(const float* p) { return *reinterpret_cast<const float_lanes*>(p); }
inline void store_floats(float* p, float_lanes x) { *reinterpret_cast<float_lanes*>(p) = x; }
inline float_lanes least_of(float_lanes x, float_lanes y) { return x < y ? x : y; }
inline float_lanes most_of(float_lanes x, float_lanes y) { return x > y ? x : y; }
inline float_lanes size_of(float_lanes x)
{
    typedef int bits __attribute__((vector_size(8 * LANES)));
    return (float_lanes)((bits)x & 0x7fffffff);
}

/// The sum of 16 lanes, halves upon halves.
inline float folded(const float_lanes* sum)
{
    float part[block];
    for (std::size_t v = 0; v < vectors; ++v)
        __builtin_memcpy(part + v * FLOATS, &sum[v], sizeof sum[v]);
    for (std::size_t half = block / 2; half > 0; half /= 2)
        for (std::size_t i = 0; i < half; ++i)
            part[i] += part[i + half];
    return part[0];
}

} // namespace
} // namespace optdoe

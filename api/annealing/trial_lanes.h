/// Vectors of the annealing kernels, and sums of 16 lanes. Included by kernel files only, after the definition of
/// LANES.
#pragma once

#include "optdoe/simd/lanes.h"

#include <cstddef>

namespace optdoe {
namespace {

typedef float float_lanes __attribute__((vector_size(8 * LANES), may_alias));
typedef int int_lanes __attribute__((vector_size(8 * LANES)));

constexpr std::size_t block = 16; // lanes of a sum
constexpr std::size_t vectors = block / FLOATS;
static_assert(vectors == 1 || vectors == 2 || vectors == 4);

inline float_lanes all(float x) { return x - float_lanes{}; }
inline float_lanes load_floats(const float* p) { return *reinterpret_cast<const float_lanes*>(p); }
inline void store_floats(float* p, float_lanes x) { *reinterpret_cast<float_lanes*>(p) = x; }
inline float_lanes least_of(float_lanes x, float_lanes y) { return x < y ? x : y; }
inline float_lanes most_of(float_lanes x, float_lanes y) { return x > y ? x : y; }
inline float_lanes size_of(float_lanes x) { return (float_lanes)((int_lanes)x & 0x7fffffff); }

/// Finds two rows among the lanes of a line.
class row_finder {
public:
    row_finder(std::size_t a, std::size_t b) : a_(row(a)), b_(row(b))
    {
        for (int i = 0; i < FLOATS; ++i)
            lane_[i] = i;
    }
    /// All bits of a lane: from the place `at` on, it is one of the two rows.
    int_lanes at(std::size_t at) const
    {
        const int_lanes here = lane_ + row(at);
        return (here == a_) | (here == b_);
    }

private:
    static int_lanes row(std::size_t r) { return static_cast<int>(r) - int_lanes{}; }
    int_lanes a_, b_, lane_;
};

/// The sum of 16 lanes, halves upon halves.
inline float folded(const float_lanes* sum)
{
    float_lanes half = sum[0];
    if constexpr (vectors == 2)
        half = sum[0] + sum[1];
    if constexpr (vectors == 4)
        half = (sum[0] + sum[2]) + (sum[1] + sum[3]);
    return sum_of_lanes((float_vec)half);
}

} // namespace
} // namespace optdoe

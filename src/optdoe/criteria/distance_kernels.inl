// The kernels in vector form. NAME, LANES and KERNELS are set by the file that includes this one.

#include "optdoe/criteria/distance_kernels.h"
#include "optdoe/simd/lanes.h"

#include <cstddef>

namespace {

using lanes = vec;

inline lanes all(double x) { return x - lanes{}; }

template <distance_kind kind>
inline lanes part(lanes u)
{
    if constexpr (kind == distance_kind::euclidean)
        return u * u;
    else
        return magnitude(u);
}

constexpr int blocks_at_once = 4; // whose sums run side by side

/// Distances of some blocks of rows.
template <distance_kind kind, int blocks>
[[gnu::always_inline]] inline void distance_blocks(std::int32_t stride, std::int32_t factors, const double* columns,
                                                   const double* point, double* out)
{
    lanes sum[std::size_t{blocks}] = {};
    for (std::int32_t k = 0; k < factors; ++k, columns += stride) {
        const lanes x = all(point[k]);
#pragma GCC unroll 4
        for (int i = 0; i < blocks; ++i)
            sum[i] = sum[i] + part<kind>(load(columns + i * LANES) - x);
    }
#pragma GCC unroll 4
    for (int i = 0; i < blocks; ++i)
        store(out + i * LANES, sum[i]);
}

template <distance_kind kind>
void distances_of(std::int32_t count, std::int32_t stride, std::int32_t factors, const double* columns,
                  const double* point, double* out)
{
    const std::int32_t length = (count + line_step - 1) / line_step * line_step;
    std::int32_t r = 0;
    for (; r + blocks_at_once * LANES <= length; r += blocks_at_once * LANES)
        distance_blocks<kind, blocks_at_once>(stride, factors, columns + r, point, out + r);
    for (; r < length; r += LANES)
        distance_blocks<kind, 1>(stride, factors, columns + r, point, out + r);
    for (r = count; r < length; ++r)
        out[r] = __builtin_inf();
}

void distances(distance_kind kind, std::int32_t count, std::int32_t stride, std::int32_t factors,
               const double* columns, const double* point, double* out)
{
    if (kind == distance_kind::euclidean)
        distances_of<distance_kind::euclidean>(count, stride, factors, columns, point, out);
    else
        distances_of<distance_kind::rectangular>(count, stride, factors, columns, point, out);
}

} // namespace

constexpr distance_kernels KERNELS{NAME, distances};

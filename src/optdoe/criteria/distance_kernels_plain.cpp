// The loop as its contract reads. For tests and benchmarks; no part of the library.
#include "optdoe/criteria/distance_kernels.h"

static void distances(distance_kind kind, std::int32_t count, std::int32_t stride, std::int32_t factors,
                      const double* columns, const double* point, double* out)
{
    for (std::int32_t r = 0; r < count; ++r) {
        out[r] = 0.0;
        for (std::int32_t k = 0; k < factors; ++k)
            out[r] += distance_part(kind, columns[k * stride + r] - point[k]);
    }
    for (std::int32_t r = count; r % line_step != 0; ++r)
        out[r] = __builtin_inf();
}

constexpr distance_kernels distance_kernels_plain{"plain", distances};

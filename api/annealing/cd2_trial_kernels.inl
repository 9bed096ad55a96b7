// The kernels in vector form. NAME, LANES and KERNELS are set by the file that includes this one.

#include "api/annealing/cd2_trial_kernels.h"
#include "api/annealing/trial_lanes.h"

namespace optdoe {
namespace {

inline float_lanes factor(const float* side, float_lanes size) { return 1.0f + least_of(load_floats(side), size); }

float change(std::size_t stride, cd2_entry a, cd2_entry b, const float* line_a, const float* line_b)
{
    const float_lanes size_a = all(a.size);
    const float_lanes size_b = all(b.size);
    float_lanes sum[vectors] = {};
    for (std::size_t r = 0; r < stride; r += block)
#pragma GCC unroll 4
        for (std::size_t v = 0; v < vectors; ++v) {
            const std::size_t at = r + v * FLOATS;
            const float_lanes f_a = factor(a.side + at, size_a);
            const float_lanes f_b = factor(b.side + at, size_b);
            // A (f_b / f_a - 1) + B (f_a / f_b - 1) with one division.
            sum[v] += (f_b - f_a) * (load_floats(line_a + at) * f_b - load_floats(line_b + at) * f_a) / (f_a * f_b);
        }
    return folded(sum);
}

void commit(std::size_t stride, cd2_entry a, cd2_entry b, float* line_a, float* line_b)
{
    const float_lanes size_a = all(a.size);
    const float_lanes size_b = all(b.size);
    for (std::size_t r = 0; r < stride; r += FLOATS) {
        const float_lanes f_a = factor(a.side + r, size_a);
        const float_lanes f_b = factor(b.side + r, size_b);
        store_floats(line_a + r, load_floats(line_a + r) * (f_b / f_a));
        store_floats(line_b + r, load_floats(line_b + r) * (f_a / f_b));
    }
}

void multiply(std::size_t stride, cd2_entry entry, float* line)
{
    const float_lanes size = all(entry.size);
    for (std::size_t r = 0; r < stride; r += FLOATS)
        store_floats(line + r, load_floats(line + r) * factor(entry.side + r, size));
}

} // namespace

constexpr cd2_trial_kernels KERNELS{NAME, change, commit, multiply};

} // namespace optdoe

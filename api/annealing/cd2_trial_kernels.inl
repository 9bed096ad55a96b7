// The kernels in vector form. NAME, LANES and KERNELS are set by the file that includes this one.

#include "api/annealing/cd2_trial_kernels.h"
#include "api/annealing/trial_lanes.h"

namespace optdoe {
namespace {

inline float_lanes factor(const float* side, float_lanes size) { return 1.0f + least_of(load_floats(side), size); }

/// The factors of two rows that exchange their entries; the same ones where the two meet.
class exchanged_factors {
public:
    exchanged_factors(const cd2_entry& a, const cd2_entry& b)
        : side_a_(a.side), side_b_(b.side), size_a_(all(a.size)), size_b_(all(b.size)), pair_(a.row, b.row)
    {
    }
    float_lanes of_a(std::size_t at) const { return factor(side_a_ + at, size_a_); }
    float_lanes of_b(std::size_t at, float_lanes of_a) const
    {
        return pair_.at(at) ? of_a : factor(side_b_ + at, size_b_);
    }

private:
    const float* side_a_;
    const float* side_b_;
    float_lanes size_a_, size_b_;
    row_finder pair_;
};

float change(std::size_t stride, const cd2_entry& a, const cd2_entry& b, const float* line_a, const float* line_b)
{
    const exchanged_factors factors(a, b);
    float_lanes sum[vectors] = {};
    for (std::size_t r = 0; r < stride; r += block)
#pragma GCC unroll 4
        for (std::size_t v = 0; v < vectors; ++v) {
            const std::size_t at = r + v * FLOATS;
            const float_lanes f_a = factors.of_a(at);
            const float_lanes f_b = factors.of_b(at, f_a);
            // A (f_b / f_a - 1) + B (f_a / f_b - 1) with one division.
            sum[v] += (f_b - f_a) * (load_floats(line_a + at) * f_b - load_floats(line_b + at) * f_a) / (f_a * f_b);
        }
    return folded(sum);
}

void commit(std::size_t stride, const cd2_entry& a, const cd2_entry& b, float* line_a, float* line_b)
{
    const exchanged_factors factors(a, b);
    for (std::size_t r = 0; r < stride; r += FLOATS) {
        const float_lanes f_a = factors.of_a(r);
        const float_lanes f_b = factors.of_b(r, f_a);
        store_floats(line_a + r, load_floats(line_a + r) * (f_b / f_a));
        store_floats(line_b + r, load_floats(line_b + r) * (f_a / f_b));
    }
}

void multiply(std::size_t stride, const cd2_entry& entry, float* line)
{
    const float_lanes size = all(entry.size);
    for (std::size_t r = 0; r < stride; r += FLOATS)
        store_floats(line + r, load_floats(line + r) * factor(entry.side + r, size));
}

} // namespace

constexpr cd2_trial_kernels KERNELS{NAME, change, commit, multiply};

} // namespace optdoe

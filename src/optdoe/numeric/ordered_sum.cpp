#include "optdoe/numeric/ordered_sum.h"

#include <algorithm>

constexpr kernel_variants<ordered_sum_kernels> ordered_sum_kernel_variants
{
    &ordered_sum_kernels_baseline,
#if defined(__x86_64__)
        &ordered_sum_kernels_avx2, &ordered_sum_kernels_avx512,
#endif
};

const ordered_sum_kernels* best_ordered_sum_kernels() { return best_variant(ordered_sum_kernel_variants); }

/// Steps 2 to 4: adds the summands at once where the proof holds.
///   returns false when it does not; the total is then as before
static bool add_on_grid(const ordered_sum_kernels& kernels, double& total, std::int32_t count, const double* x)
{
    const double limit = grid_limit(total);
    if (limit == 0.0)
        return false;
    const grid_sum sum = kernels.sum_on_grid(count, x, limit);
    const double most = total + sum.above;
    const double least = total + sum.below;
    const bool stays =
        total > 0.0 ? most < 4.0 * limit && least > 2.0 * limit : least > -4.0 * limit && most < -2.0 * limit;
    if (!stays || sum.ties != 0.0)
        return false;
    total += sum.above + sum.below;
    return true;
}

double add_in_order(const ordered_sum_kernels& kernels, double total, std::int32_t count, const double* x)
{
    constexpr std::int32_t part = 64;
    if (count > part && add_on_grid(kernels, total, count, x))
        return total;
    for (std::int32_t first = 0; first < count; first += part) {
        const std::int32_t length = std::min(part, count - first);
        if (length == part && add_on_grid(kernels, total, length, x + first))
            continue;
        for (std::int32_t i = first; i < first + length; ++i)
            total += x[i];
    }
    return total;
}

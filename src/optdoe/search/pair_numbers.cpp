#include "optdoe/search/pair_numbers.h"

#include "optdoe/run/wrap32.h"

#include <cmath>

constexpr std::int32_t most_items_of_doubles = 30000; ///< no number of their pairs comes near the end of 32 bits
constexpr std::int32_t most_items_of_floats = 2000;   ///< numbers and products are exact in single precision

/// Number of the first pair (a, a + 1) of m items.
static std::int32_t pair_offset(std::int32_t a, std::int32_t m) { return wrap_mul(a, wrap_mul(2, m) - a - 1) / 2; }

item_pair pair_of_number(std::int32_t p, std::int32_t m)
{
    std::int32_t a = 0;
    if (m <= most_items_of_doubles) {
        // The smaller root of a (2m - a - 1) / 2 = p, then the integer next to it.
        const double half = m - 0.5;
        a = static_cast<std::int32_t>(half - std::sqrt(half * half - 2.0 * p));
        a = a > m - 2 ? m - 2 : a;
        a -= p < pair_offset(a, m);
        a += p >= pair_offset(a + 1, m);
    } else {
        std::int32_t lo = 0;
        std::int32_t hi = m - 1;
        while (hi - lo > 1) {
            const std::int32_t mid = (lo + hi) / 2;
            if (p > pair_offset(mid, m))
                lo = mid;
            else
                hi = mid;
        }
        a = p < pair_offset(hi, m) ? lo : hi;
    }
    return {a, wrap_add(a + 1, wrap_sub(p, pair_offset(a, m)))};
}

/// As pair_of_number, for up to most_items_of_floats items, in a loop that compilers turn into vectors. The root in
/// single precision is off by less than 0.36: less 0.4 and truncated, it gives the item or the one before it.
static void pairs_in_single_precision(std::int32_t count, const std::int32_t* __restrict numbers, std::int32_t m,
                                      std::int32_t* __restrict first, std::int32_t* __restrict second)
{
    const auto items = static_cast<float>(m);
    const float half = items - 0.5f;
    for (std::int32_t c = 0; c < count; ++c) {
        const std::int32_t p = numbers[c];
        const float root = std::sqrt(half * half - 2.0f * static_cast<float>(p));
        const auto near = static_cast<std::int32_t>(half - 0.4f - root);
        // Exact from here on: integers below 2^24.
        const auto a = static_cast<float>(near);
        const float offset = a * (2.0f * items - 1.0f - a) * 0.5f;
        const float next = offset + (items - 1.0f - a);
        const bool beyond = static_cast<float>(p) >= next;
        const std::int32_t found = near + beyond;
        first[c] = found;
        second[c] = found + 1 + p - static_cast<std::int32_t>(beyond ? next : offset);
    }
}

void pairs_of_numbers(std::int32_t count, const std::int32_t* numbers, std::int32_t m, std::int32_t* first,
                      std::int32_t* second)
{
    if (m <= most_items_of_floats)
        return pairs_in_single_precision(count, numbers, m, first, second);
    for (std::int32_t c = 0; c < count; ++c) {
        const item_pair pair = pair_of_number(numbers[c], m);
        first[c] = pair.first;
        second[c] = pair.second;
    }
}

#include "optdoe/search/pair_numbers.h"

#include "optdoe/run/wrap32.h"

#include <cmath>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// Number of the first pair (a, a + 1) of m items.
static std::int32_t pair_offset(std::int32_t a, std::int32_t m) { return wrap_mul(a, wrap_mul(2, m) - a - 1) / 2; }

item_pair pair_of_number(std::int32_t p, std::int32_t m)
{
    constexpr std::int32_t most_items = 30000; // no number of a pair of so many items comes near the end of 32 bits
    std::int32_t a = 0;
    if (m <= most_items) {
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

#ifdef __SSE2__

typedef float four_floats __attribute__((vector_size(16)));
typedef std::int32_t four_ints __attribute__((vector_size(16)));

constexpr std::int32_t most_items_of_four = 2000; // their numbers and products are exact in single precision

/// Four numbers as in pair_of_number. The root in single precision is off by less than 0.36; less 0.4, what is cut
/// off is the item or the one before it.
static void four_pairs(const std::int32_t* numbers, std::int32_t m, std::int32_t* first, std::int32_t* second)
{
    const auto items = static_cast<float>(m);
    const float half = items - 0.5f;
    four_ints p;
    std::memcpy(&p, numbers, sizeof p);
    const four_floats number = __builtin_convertvector(p, four_floats);
    const four_floats square = half * half - 2.0f * number;
    const four_floats root = reinterpret_cast<four_floats>(_mm_sqrt_ps(reinterpret_cast<__m128>(square)));
    const four_ints near = __builtin_convertvector(half - 0.4f - root, four_ints);
    // All exact from here on: integers below 2^24.
    const four_floats a = __builtin_convertvector(near, four_floats);
    const four_floats offset = a * (2.0f * items - 1.0f - a) * 0.5f;
    const four_floats next = offset + (items - 1.0f - a);
    const four_ints beyond = number >= next; // -1 where true
    const four_ints found = near - beyond;
    const four_ints behind = found + 1 + p - __builtin_convertvector(beyond ? next : offset, four_ints);
    std::memcpy(first, &found, sizeof found);
    std::memcpy(second, &behind, sizeof behind);
}

#endif

void pairs_of_numbers(std::int32_t count, const std::int32_t* numbers, std::int32_t m, std::int32_t* first,
                      std::int32_t* second)
{
    std::int32_t i = 0;
#ifdef __SSE2__
    if (m <= most_items_of_four)
        for (; i + 4 <= count; i += 4)
            four_pairs(numbers + i, m, first + i, second + i);
#endif
    for (; i < count; ++i) {
        const item_pair pair = pair_of_number(numbers[i], m);
        first[i] = pair.first;
        second[i] = pair.second;
    }
}

/// Comparisons of 32 integers at once, a bit each, for scans that look for the few places where something is true.
///
/// Words   any address; at least 32 can be read. Bit i of a result tells about words[i].
/// Forms   each comparison has a plain form; where the processor has SSE2 a faster one gives the same bits.
#pragma once

#include "optdoe/run/wrap32.h"

#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

inline constexpr std::int32_t words_per_block = 32;

/// Bit i: test(i) is true.
template <class Test>
std::uint32_t bits_of_block_where(Test test)
{
    std::uint32_t bits = 0;
    for (std::int32_t i = 0; i < words_per_block; ++i)
        bits |= (test(i) ? 1u : 0u) << i;
    return bits;
}

inline std::uint32_t words_below_plain(const std::int32_t* words, std::int32_t bound)
{
    return bits_of_block_where([=](std::int32_t i) { return words[i] < bound; });
}

inline std::uint32_t words_above_plain(const std::int32_t* words, std::int32_t bound)
{
    return bits_of_block_where([=](std::int32_t i) { return words[i] > bound; });
}

inline std::uint32_t odd_words_plain(const std::int32_t* words)
{
    return bits_of_block_where([=](std::int32_t i) { return (words[i] & 1) != 0; });
}

#ifdef __SSE2__

/// Bit i: lane i of a block is negative. Inlined whatever the compiler's estimate says: 0.5 % of a run of 20 x 5.
///   lanes_at   (i) -> the four lanes from i on
template <class Lanes>
[[gnu::always_inline]] inline std::uint32_t signs_of_block(Lanes lanes_at)
{
    const auto half = [=](int i) {
        return bits_u32(_mm_movemask_epi8(_mm_packs_epi16(_mm_packs_epi32(lanes_at(i), lanes_at(i + 4)),
                                                          _mm_packs_epi32(lanes_at(i + 8), lanes_at(i + 12)))));
    };
    return half(0) | half(16) << 16;
}

inline __m128i four_words(const std::int32_t* words)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(words));
}

/// Bit i: words[i] < bound.
inline std::uint32_t words_below(const std::int32_t* words, std::int32_t bound)
{
    const __m128i bounds = _mm_set1_epi32(bound);
    return signs_of_block([=](int i) { return _mm_cmplt_epi32(four_words(words + i), bounds); });
}

/// Bit i: words[i] > bound.
inline std::uint32_t words_above(const std::int32_t* words, std::int32_t bound)
{
    const __m128i bounds = _mm_set1_epi32(bound);
    return signs_of_block([=](int i) { return _mm_cmpgt_epi32(four_words(words + i), bounds); });
}

/// Bit i: words[i] is odd.
inline std::uint32_t odd_words(const std::int32_t* words)
{
    return signs_of_block([=](int i) { return _mm_slli_epi32(four_words(words + i), 31); });
}

#else

inline std::uint32_t words_below(const std::int32_t* words, std::int32_t bound)
{
    return words_below_plain(words, bound);
}

inline std::uint32_t words_above(const std::int32_t* words, std::int32_t bound)
{
    return words_above_plain(words, bound);
}

inline std::uint32_t odd_words(const std::int32_t* words) { return odd_words_plain(words); }

#endif

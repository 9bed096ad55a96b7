/// Vectors of as many doubles as one register holds. Included by kernel files only, after the definition of LANES.
#pragma once

#include <cstdint>

#ifdef __SSE2__
#include <immintrin.h>
#endif

typedef double vec __attribute__((vector_size(8 * LANES), may_alias));
typedef long long vec_bits __attribute__((vector_size(8 * LANES), may_alias));

/// The vector at an address that is a multiple of its size.
static inline vec load(const double* p) { return *reinterpret_cast<const vec*>(p); }
static inline void store(double* p, vec x) { *reinterpret_cast<vec*>(p) = x; }

static inline vec smaller(vec x, vec y) { return x < y ? x : y; }

/// |x| in every lane.
static inline vec magnitude(vec x) { return (vec)((vec_bits)x & 0x7fffffffffffffffLL); }

typedef double vec_2 __attribute__((vector_size(16)));
typedef double vec_4 __attribute__((vector_size(32)));
typedef double vec_8 __attribute__((vector_size(64)));

/// Sum of the lanes, halves upon halves: for estimates only.
static inline double sum_of_lanes(vec_2 x) { return x[0] + x[1]; }
#if LANES >= 4
static inline double sum_of_lanes(vec_4 x)
{
    return sum_of_lanes(__builtin_shufflevector(x, x, 0, 1) + __builtin_shufflevector(x, x, 2, 3));
}
#endif
#if LANES >= 8
static inline double sum_of_lanes(vec_8 x)
{
    return sum_of_lanes(__builtin_shufflevector(x, x, 0, 1, 2, 3) + __builtin_shufflevector(x, x, 4, 5, 6, 7));
}
#endif

// Single precision: twice as many lanes.

constexpr int FLOATS = 2 * LANES;
typedef float float_vec __attribute__((vector_size(8 * LANES)));

static inline float_vec smaller(float_vec x, float_vec y) { return x < y ? x : y; }

typedef float float_vec_4 __attribute__((vector_size(16)));
typedef float float_vec_8 __attribute__((vector_size(32)));
typedef float float_vec_16 __attribute__((vector_size(64)));

static inline float sum_of_lanes(float_vec_4 x)
{
    x += __builtin_shufflevector(x, x, 2, 3, 0, 1);
    return x[0] + x[1];
}
static inline float least_of_lanes(float_vec_4 x)
{
    const float_vec_4 y = __builtin_shufflevector(x, x, 2, 3, 0, 1);
    x = x < y ? x : y;
    return x[0] < x[1] ? x[0] : x[1];
}
#if LANES >= 4
static inline float sum_of_lanes(float_vec_8 x)
{
    return sum_of_lanes(__builtin_shufflevector(x, x, 0, 1, 2, 3) + __builtin_shufflevector(x, x, 4, 5, 6, 7));
}
static inline float least_of_lanes(float_vec_8 x)
{
    const float_vec_4 low = __builtin_shufflevector(x, x, 0, 1, 2, 3);
    const float_vec_4 high = __builtin_shufflevector(x, x, 4, 5, 6, 7);
    return least_of_lanes(low < high ? low : high);
}
#endif
#if LANES >= 8
static inline float sum_of_lanes(float_vec_16 x)
{
    return sum_of_lanes(__builtin_shufflevector(x, x, 0, 1, 2, 3, 4, 5, 6, 7) +
                        __builtin_shufflevector(x, x, 8, 9, 10, 11, 12, 13, 14, 15));
}
static inline float least_of_lanes(float_vec_16 x)
{
    const float_vec_8 low = __builtin_shufflevector(x, x, 0, 1, 2, 3, 4, 5, 6, 7);
    const float_vec_8 high = __builtin_shufflevector(x, x, 8, 9, 10, 11, 12, 13, 14, 15);
    return least_of_lanes(low < high ? low : high);
}
#endif

// 16-bit integers: twice as many again. Half a vector of them makes one in single precision.

constexpr int SHORTS = 4 * LANES;
typedef short short_vec __attribute__((vector_size(8 * LANES)));
typedef unsigned short count_vec __attribute__((vector_size(8 * LANES)));
typedef short half_short_vec __attribute__((vector_size(4 * LANES)));
typedef unsigned short half_count_vec __attribute__((vector_size(4 * LANES)));

/// The vector at any address.
template <class Vector, class Element>
static inline Vector load_as(const Element* p)
{
    Vector x;
    __builtin_memcpy(&x, p, sizeof x);
    return x;
}

static inline count_vec smaller(count_vec x, count_vec y) { return x < y ? x : y; }

/// The lower (0) or the upper (1) half of a vector.
template <int which>
static inline half_count_vec half(count_vec x)
{
#if LANES == 8
    return (half_count_vec)__builtin_shufflevector((vec)x, (vec)x, 4 * which, 4 * which + 1, 4 * which + 2,
                                                   4 * which + 3);
#elif LANES == 4
    return (half_count_vec)__builtin_shufflevector((vec)x, (vec)x, 2 * which, 2 * which + 1);
#else
    return (half_count_vec)((vec_bits)x)[which];
#endif
}

static inline half_count_vec smaller(half_count_vec x, half_count_vec y) { return x < y ? x : y; }

static inline float_vec to_floats(half_count_vec x)
{
#if LANES == 8
    // Masks of all lanes: without them the compiler takes the registers for uninitialised.
    return (float_vec)_mm512_maskz_cvtepi32_ps(0xFFFF, _mm512_maskz_cvtepu16_epi32(0xFFFF, (__m256i)x));
#elif LANES == 4
    return (float_vec)_mm256_cvtepi32_ps(_mm256_cvtepu16_epi32((__m128i)x));
#else
    return __builtin_convertvector(x, float_vec);
#endif
}

/// The product over 2^16, its fraction left out, and the sum, which ends at 2^16 - 1; of whole vectors and, where
/// there are registers of that size, of halves.
#ifdef __SSE2__
typedef short short_vec_8 __attribute__((vector_size(16)));
typedef unsigned short count_vec_8 __attribute__((vector_size(16)));
static inline short_vec_8 high_product(short_vec_8 x, short_vec_8 y)
{
    return (short_vec_8)_mm_mulhi_epi16((__m128i)x, (__m128i)y);
}
static inline count_vec_8 saturated_sum(count_vec_8 x, count_vec_8 y)
{
    return (count_vec_8)_mm_adds_epu16((__m128i)x, (__m128i)y);
}
#else
static inline short_vec high_product(short_vec x, short_vec y)
{
    short_vec product{};
    for (int i = 0; i < SHORTS; ++i)
        product[i] = static_cast<short>((x[i] * y[i]) >> 16);
    return product;
}
static inline count_vec saturated_sum(count_vec x, count_vec y)
{
    const count_vec sum = x + y;
    return sum < x ? x | 0xFFFF : sum;
}
#endif
#if LANES >= 4
typedef short short_vec_16 __attribute__((vector_size(32)));
typedef unsigned short count_vec_16 __attribute__((vector_size(32)));
static inline short_vec_16 high_product(short_vec_16 x, short_vec_16 y)
{
    return (short_vec_16)_mm256_mulhi_epi16((__m256i)x, (__m256i)y);
}
static inline count_vec_16 saturated_sum(count_vec_16 x, count_vec_16 y)
{
    return (count_vec_16)_mm256_adds_epu16((__m256i)x, (__m256i)y);
}
#endif
#if LANES >= 8
static inline short_vec high_product(short_vec x, short_vec y)
{
    return (short_vec)_mm512_mulhi_epi16((__m512i)x, (__m512i)y);
}
static inline count_vec saturated_sum(count_vec x, count_vec y)
{
    return (count_vec)_mm512_adds_epu16((__m512i)x, (__m512i)y);
}
#endif

/// Vectors of as many doubles as one register holds. Included by kernel files only, after the definition of LANES.
#pragma once

typedef double vec __attribute__((vector_size(8 * LANES), may_alias));
typedef long long vec_bits __attribute__((vector_size(8 * LANES), may_alias));

/// The vector at an address that is a multiple of its size.
static inline vec load(const double* p) { return *reinterpret_cast<const vec*>(p); }
static inline void store(double* p, vec x) { *reinterpret_cast<vec*>(p) = x; }

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
typedef float float_vec __attribute__((vector_size(8 * LANES), may_alias));
typedef int float_vec_bits __attribute__((vector_size(8 * LANES), may_alias));

static inline float_vec load(const float* p) { return *reinterpret_cast<const float_vec*>(p); }
static inline float_vec magnitude(float_vec x) { return (float_vec)((float_vec_bits)x & 0x7fffffff); }

typedef float float_vec_4 __attribute__((vector_size(16)));
typedef float float_vec_8 __attribute__((vector_size(32)));
typedef float float_vec_16 __attribute__((vector_size(64)));

static inline float sum_of_lanes(float_vec_4 x)
{
    x += __builtin_shufflevector(x, x, 2, 3, 0, 1);
    return x[0] + x[1];
}
#if LANES >= 4
static inline float sum_of_lanes(float_vec_8 x)
{
    return sum_of_lanes(__builtin_shufflevector(x, x, 0, 1, 2, 3) + __builtin_shufflevector(x, x, 4, 5, 6, 7));
}
#endif
#if LANES >= 8
static inline float sum_of_lanes(float_vec_16 x)
{
    return sum_of_lanes(__builtin_shufflevector(x, x, 0, 1, 2, 3, 4, 5, 6, 7) +
                        __builtin_shufflevector(x, x, 8, 9, 10, 11, 12, 13, 14, 15));
}
#endif

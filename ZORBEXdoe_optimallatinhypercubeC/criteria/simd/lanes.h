/// Vectors of as many doubles as one register holds. Included by kernel files only, after the definition of LANES.
#pragma once

typedef double vec __attribute__((vector_size(8 * LANES), may_alias));
typedef long long vec_bits __attribute__((vector_size(8 * LANES), may_alias));

/// The vector at an address that is a multiple of its size.
static inline vec load(const double* p) { return *reinterpret_cast<const vec*>(p); }
static inline void store(double* p, vec x) { *reinterpret_cast<vec*>(p) = x; }

/// |x| in every lane.
static inline vec magnitude(vec x) { return (vec)((vec_bits)x & 0x7fffffffffffffffLL); }

/// Sum of the lanes, in whatever order: for estimates only.
static inline double sum_of_lanes(vec x)
{
    double lane[LANES];
    __builtin_memcpy(lane, &x, sizeof lane);
    for (int half = LANES / 2; half > 0; half /= 2)
        for (int i = 0; i < half; ++i)
            lane[i] += lane[i + half];
    return lane[0];
}

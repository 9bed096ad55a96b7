/// Distances between rows and the power of them that the criteria use.
#pragma once

#include <cmath>
#include <cstdint>

/// Kinds of distance; the numbers are those of the records.
enum class distance_kind : std::int32_t {
    rectangular = 0, ///< sum of |u|
    euclidean = 1,   ///< sum of u^2; the root is folded into the exponent
};

/// Contribution of one factor's difference u to the distance.
inline double distance_part(distance_kind kind, double u)
{
    return kind == distance_kind::euclidean ? u * u : std::fabs(u);
}

/// Distance of two rows, factors in ascending order.
inline double distance_of(distance_kind kind, const double* x, const double* y, std::int32_t factors)
{
    double sum = 0.0;
    for (std::int32_t k = 0; k < factors; ++k)
        sum += distance_part(kind, x[k] - y[k]);
    return sum;
}

/// The integer power of the phi-p terms: multiplications in a fixed order.
///
/// The bits of n are consumed from the low end, so the exponent applied is the binary number made of the top bit of n
/// followed by its lower bits in reverse: 20 applies 18, 10 applies 10. This is the criterion's definition, not a
/// slip: changing it changes every design.
inline double int_power(double x, std::uint32_t n)
{
    if (n <= 1)
        return x;
    double r = x;
    do {
        r = r * r;
        if ((n & 1u) != 0)
            r = r * x;
        n >>= 1;
    } while (n > 1);
    return r;
}

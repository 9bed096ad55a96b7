/// Logarithm and exponential from the four operations: the same bits on every machine, within 1e-15 relative of the
/// true value for the sizes that a search meets.
#pragma once

#include <cmath>

namespace optdoe {

/// ln x, x > 0: the series of the inverse hyperbolic tangent on the fraction between sqrt(1/2) and sqrt(2).
inline double plain_log(double x)
{
    int exponent = 0;
    double fraction = std::frexp(x, &exponent);
    if (fraction < 0.70710678118654752) {
        fraction *= 2.0;
        --exponent;
    }
    const double t = (fraction - 1.0) / (fraction + 1.0);
    double sum = 0.0;
    for (int i = 25; i > 0; i -= 2)
        sum = sum * t * t + 1.0 / i;
    return 2.0 * t * sum + 0.69314718055994531 * exponent;
}

/// e^x, |x| below 700: Taylor's series on x less a multiple of ln 2.
inline double plain_exp(double x)
{
    const double whole = std::floor(x / 0.69314718055994531 + 0.5);
    const double rest = x - whole * 0.69314718055994531;
    double sum = 1.0;
    for (int i = 18; i > 0; --i)
        sum = 1.0 + sum * rest / i;
    return std::ldexp(sum, static_cast<int>(whole));
}

} // namespace optdoe

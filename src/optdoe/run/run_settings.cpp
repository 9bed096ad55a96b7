#include "optdoe/run/run_settings.h"

#include <cmath>

std::int32_t clamp_or_default_int(std::int32_t lo, std::int32_t hi, std::int32_t fallback, std::int32_t value)
{
    if (lo <= value && value <= hi)
        return value;
    return fallback > hi ? hi : fallback < lo ? lo : fallback;
}

int clamp_or_default_byte(int lo, int hi, int fallback, int value)
{
    return clamp_or_default_int(lo, hi, fallback, value);
}

double clamp_or_default_double(double lo, double hi, double fallback, double value)
{
    if (std::fabs(value - lo) <= 1e-15)
        return lo;
    if (std::fabs(value - hi) <= 1e-15)
        return hi;
    if (lo <= value && value <= hi)
        return value;
    return fallback > hi ? hi : fallback < lo ? lo : fallback;
}

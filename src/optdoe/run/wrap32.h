/// 32-bit two's-complement arithmetic, defined for every operand, and the conversions that go with it.
/// For places where wrapping around is part of the behaviour; elsewhere an overflowing int is a bug.
#pragma once

#include <cstdint>

constexpr std::int32_t wrap_i32(std::uint32_t bits) { return static_cast<std::int32_t>(bits); }
constexpr std::uint32_t bits_u32(std::int32_t value) { return static_cast<std::uint32_t>(value); }
constexpr std::int32_t wrap_add(std::int32_t a, std::int32_t b) { return wrap_i32(bits_u32(a) + bits_u32(b)); }
constexpr std::int32_t wrap_sub(std::int32_t a, std::int32_t b) { return wrap_i32(bits_u32(a) - bits_u32(b)); }
constexpr std::int32_t wrap_mul(std::int32_t a, std::int32_t b) { return wrap_i32(bits_u32(a) * bits_u32(b)); }

static_assert(wrap_add(INT32_MAX, 1) == INT32_MIN);
static_assert(wrap_mul(65536, 65536) == 0);

/// x truncated toward zero; INT32_MIN when that is outside the range of int, and for NaN.
constexpr std::int32_t trunc_i32(double x)
{
    return x > -2147483649.0 && x < 2147483648.0 ? static_cast<std::int32_t>(x) : INT32_MIN;
}

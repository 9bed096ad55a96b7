#include "numeric/random_numbers.h"

#include "entry/plain_record.h"
#include "numeric/wrap32.h"

#include <ctime>
#include <utility>

constexpr std::uint64_t multiplier = 0x5DEECE66Du;
constexpr std::uint64_t increment = 0xBu;
constexpr std::uint64_t state_mask = 0xFFFFFFFFFFFFu;

void rng_open(run_context* ctx)
{
    open_plain_record(ctx->rng);
    if (ctx->rng != nullptr)
        *ctx->rng = {0x330E, 0xB2D8, 0xFFFF};
}

void rng_close(run_context* ctx) { close_plain_record(ctx->rng); }

void rng_seed(run_context* ctx, std::uint32_t seed)
{
    *ctx->rng = {0x330E, static_cast<std::uint16_t>(seed & 0xFFFFu), static_cast<std::uint16_t>(seed >> 16)};
}

void rng_seed_or_clock(run_context* ctx, std::uint32_t seed)
{
    rng_seed(ctx, seed == clock_seed ? static_cast<std::uint32_t>(std::time(nullptr)) : seed);
}

static std::uint64_t state_bits(const rng_state& state)
{
    return state.x0 | static_cast<std::uint64_t>(state.x1) << 16 | static_cast<std::uint64_t>(state.x2) << 32;
}

static void set_state(rng_state& state, std::uint64_t x)
{
    state = {static_cast<std::uint16_t>(x & 0xFFFFu), static_cast<std::uint16_t>(x >> 16 & 0xFFFFu),
             static_cast<std::uint16_t>(x >> 32)};
}

static std::uint64_t next_state(std::uint64_t x) { return (multiplier * x + increment) & state_mask; }

/// Value of a state: its top 32 bits as a fraction.
static double uniform_of(std::uint64_t x)
{
    return static_cast<double>(static_cast<std::int64_t>(x >> 16)) * 2.3283064365386963e-10;
}

double rng_uniform(run_context* ctx)
{
    const std::uint64_t x = next_state(state_bits(*ctx->rng));
    set_state(*ctx->rng, x);
    return uniform_of(x);
}

void rng_below(run_context* ctx, std::int32_t bound, std::int32_t count, std::int32_t* out)
{
    std::uint64_t x = state_bits(*ctx->rng);
    for (std::int32_t i = 0; i < count; ++i) {
        x = next_state(x);
        out[i] = static_cast<std::int32_t>(uniform_of(x) * bound);
    }
    set_state(*ctx->rng, x);
}

std::int32_t rng_int31(run_context* ctx) { return trunc_i32(rng_uniform(ctx) * 2147483648.0); }

void random_latin_hypercube(run_context* ctx, std::int32_t n, std::int32_t k, double** design, std::uint32_t seed)
{
    rng_seed_or_clock(ctx, seed);
    for (std::int32_t j = 0; j < k; ++j) {
        for (std::int32_t i = 0; i < n; ++i)
            design[i][j] = i + 1;
        for (std::int32_t p = 0; p < n; ++p) {
            const std::int32_t q = p + rng_int31(ctx) % (n - p);
            std::swap(design[p][j], design[q][j]);
        }
    }
}

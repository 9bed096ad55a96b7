#include "optdoe/numeric/random_numbers.h"

#include "optdoe/numeric/index_sort.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"

#include <cstring>
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
    constexpr std::int32_t exact_bound = 1 << 21; // up to it u * bound has no rounding, and trunc is a shift
    constexpr std::int32_t steps = 4;             // states that are worked on side by side
    std::uint64_t x = state_bits(*ctx->rng);
    std::int32_t i = 0;
    if (bound <= exact_bound && count >= steps) {
        const auto scaled = [=](std::uint64_t state) {
            return static_cast<std::int32_t>((state >> 16 & 0xFFFFFFFFu) * bits_u32(bound) >> 32);
        };
        // Four steps at once: X -> m^4 X + (m^3 + m^2 + m + 1) c, modulo 2^64 and so modulo 2^48.
        constexpr std::uint64_t multiplier_2 = multiplier * multiplier;
        constexpr std::uint64_t multiplier_4 = multiplier_2 * multiplier_2;
        constexpr std::uint64_t increment_4 = (multiplier_2 + 1) * (multiplier + 1) * increment;
        std::uint64_t w = next_state(x);
        x = next_state(w);
        std::uint64_t y = next_state(x);
        std::uint64_t z = next_state(y);
        std::uint64_t last = z;
        for (; i + steps <= count; i += steps) {
            out[i] = scaled(w);
            out[i + 1] = scaled(x);
            out[i + 2] = scaled(y);
            out[i + 3] = scaled(z);
            last = z;
            w = multiplier_4 * w + increment_4;
            x = multiplier_4 * x + increment_4;
            y = multiplier_4 * y + increment_4;
            z = multiplier_4 * z + increment_4;
        }
        x = last & state_mask;
    }
    for (; i < count; ++i) {
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

void shuffle(run_context* ctx, std::int32_t* values, std::int32_t m)
{
    if (m < 1 || values == nullptr)
        return;
    double* keys = double_vector_alloc(ctx, m);
    std::int32_t* order = int_vector_alloc(ctx, m);
    std::int32_t* before = int_vector_alloc(ctx, m);
    for (std::int32_t i = 0; i < m; ++i)
        keys[i] = rng_uniform(ctx);
    indexx_double(ctx, bits_u32(m), keys, order);
    std::memcpy(before, values, bits_u32(m) * sizeof(std::int32_t));
    for (std::int32_t i = 0; i < m; ++i)
        values[i] = before[order[i]];
    vector_free(ctx, before);
    vector_free(ctx, order);
    vector_free(ctx, keys);
}

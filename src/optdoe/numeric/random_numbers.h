/// Uniform random numbers of one run, and the random orders made from them.
///
/// State   one rng_state per run (slot 7); runs share nothing.
/// Draws   each function says how many draws it makes, in which order: the sequence is behaviour, an extra draw
///         changes every later design.
/// Exact   48-bit integer arithmetic and one multiplication: the same bits on every machine.
/// Source  the linear congruential generator of the drand48 family (IEEE Std 1003.1, drand48), with that family's
///         multiplier, increment and srand48 seeding; a value is made of the top 32 state bits.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstdint>

/// Generator state X = x0 + x1 2^16 + x2 2^32.
struct rng_state {
    std::uint16_t x0, x1, x2;
};

/// The seed that asks for a seed from the calendar clock.
inline constexpr std::uint32_t clock_seed = 0xFFFFFFFFu;

/// Seeds the generator: X = seed 2^16 + 0x330E.
void rng_seed(run_context* ctx, std::uint32_t seed);

/// As rng_seed, but clock_seed is replaced by the calendar time in seconds, read anew.
void rng_seed_or_clock(run_context* ctx, std::uint32_t seed);

/// One draw: a value in [0, 1), a multiple of 2^-32.
double rng_uniform(run_context* ctx);

/// One draw: an integer in [0, 2^31 - 1].
std::int32_t rng_int31(run_context* ctx);

/// count draws, each an integer in [0, bound): out[i] = trunc(u * bound), as from rng_uniform.
///   bound   at least 1
void rng_below(run_context* ctx, std::int32_t bound, std::int32_t count, std::int32_t* out);

/// Fills the design with a random Latin hypercube: each column a random permutation of 1..n (Fisher and Yates).
///   design   out   [n x k] row pointers, whole levels held as doubles
///   seed     seeds the generator first (clock_seed: from the clock)
///   draws    n per column, columns from left to right
void random_latin_hypercube(run_context* ctx, std::int32_t n, std::int32_t k, double** design, std::uint32_t seed);

/// A random reordering of m integers by sorting m random keys; position i receives the value at the i-th smallest.
///   draws    m, in order of position
/// m < 1 or a null vector: nothing, no draw.
void shuffle(run_context* ctx, std::int32_t* values, std::int32_t m);

/// Opens slot 7 with plain storage (state 0xFFFFB2D8330E); leaves it null on failure. Closes it, null included.
void rng_open(run_context* ctx);
void rng_close(run_context* ctx);

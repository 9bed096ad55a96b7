/// Random numbers of a search: the same on every machine.
#pragma once

#include <cstdint>

namespace optdoe {

/// xoshiro256++, seeded by SplitMix64.
/// Source: Blackman and Vigna, "Scrambled linear pseudorandom number generators", 2021; Steele, Lea and Flood, "Fast
/// splittable pseudorandom number generators", 2014.
class trial_random {
public:
    explicit trial_random(std::uint64_t seed)
    {
        for (std::uint64_t& word : state_) {
            seed += 0x9E3779B97F4A7C15u;
            std::uint64_t z = seed;
            z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
            z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
            word = z ^ (z >> 31);
        }
    }

    std::uint64_t next()
    {
        const std::uint64_t result = rotated(state_[0] + state_[3], 23) + state_[0];
        const std::uint64_t t = state_[1] << 17;
        state_[2] ^= state_[0];
        state_[3] ^= state_[1];
        state_[1] ^= state_[2];
        state_[0] ^= state_[3];
        state_[2] ^= t;
        state_[3] = rotated(state_[3], 45);
        return result;
    }

    /// In 0 .. bound-1, from 32 random bits: no number is favoured by more than bound / 2^32.
    static std::uint32_t below(std::uint32_t bits, std::uint32_t bound)
    {
        return static_cast<std::uint32_t>((std::uint64_t{bits} * bound) >> 32);
    }
    std::uint32_t below(std::uint32_t bound) { return below(static_cast<std::uint32_t>(next() >> 32), bound); }

private:
    static std::uint64_t rotated(std::uint64_t x, int by) { return (x << by) | (x >> (64 - by)); }
    std::uint64_t state_[4];
};

} // namespace optdoe

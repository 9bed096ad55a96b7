#include "optdoe/numeric/repeated_keys.h"

#include "optdoe/numeric/partition.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/simd/word_blocks.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

// The word at a place is 2 key + (1 when the key has copies), with the highest bit inverted: words as signed numbers
// have the order of the keys, and equal keys have equal words. Partitions compare the words of 32 places at once and
// then visit only the places that they exchange.

constexpr std::uint32_t keys_per_word = 32;     ///< of the set: two bits a key
constexpr std::int32_t block = words_per_block; ///< places that are compared at once

void repeated_keys_release(run_context* ctx, repeated_keys_scratch& s)
{
    for (std::int32_t** v : {&s.words, &s.indices}) {
        if (*v != nullptr)
            vector_free(ctx, *v);
        *v = nullptr;
    }
    aligned_free_doubles(ctx, reinterpret_cast<double*>(s.set));
    aligned_free_doubles(ctx, reinterpret_cast<double*>(s.last));
    s = {};
}

static void reserve(run_context* ctx, repeated_keys_scratch& s, std::int32_t count, std::int32_t bound)
{
    if (count <= s.capacity && bound <= s.bound)
        return;
    const std::int32_t capacity = std::max((count / block + 1) * block, s.capacity);
    const std::int32_t keys = std::max(bound, s.bound);
    repeated_keys_release(ctx, s);
    s.words = int_vector_alloc(ctx, capacity);
    s.indices = int_vector_alloc(ctx, capacity);
    std::fill_n(s.words, capacity, 0);
    const std::size_t words = bits_u32(keys) / keys_per_word + 1;
    s.set = reinterpret_cast<std::uint64_t*>(aligned_alloc_doubles(ctx, words));
    std::memset(s.set, 0, words * sizeof(std::uint64_t));
    s.capacity = capacity;
    s.bound = keys;
}

static std::uint64_t& word_of(const repeated_keys_scratch& s, std::int32_t key)
{
    return s.set[bits_u32(key) / keys_per_word];
}

/// The bit that says that a key is among the keys; the next bit says that it has copies.
static std::uint32_t bit_of(std::int32_t key) { return 2 * (bits_u32(key) % keys_per_word); }

/// Writes the keys to the places in the given order, and to the set.
///   returns the number of places whose key has copies
static std::int32_t place_keys(const repeated_keys_scratch& s, std::int32_t count, const std::int32_t* keys)
{
    std::uint64_t repeats = 0;
    for (std::int32_t i = 0; i < count; ++i) {
        std::uint64_t& word = word_of(s, keys[i]);
        const std::uint64_t seen = word >> bit_of(keys[i]) & 1u;
        word |= (seen << 1 | 1u) << bit_of(keys[i]);
        repeats |= seen;
    }
    if (repeats == 0)
        return 0;
    std::uint32_t copies = 0;
    for (std::int32_t i = 0; i < count; ++i) {
        const std::uint32_t has_copies = word_of(s, keys[i]) >> (bit_of(keys[i]) + 1) & 1u;
        s.words[i] = wrap_i32((bits_u32(keys[i]) << 1 | has_copies) ^ 0x80000000u);
        s.indices[i] = i;
        copies += has_copies;
    }
    return wrap_i32(copies);
}

static std::int32_t key_of(std::int32_t word) { return wrap_i32((bits_u32(word) ^ 0x80000000u) >> 1); }

/// The bits of a block from place `from` on, and up to place `to`.
static std::uint32_t bits_from(std::int32_t from) { return ~0u << (from % block); }
static std::uint32_t bits_up_to(std::int32_t to) { return ~0u >> (block - 1 - to % block); }

/// Calls visit(first place of the block, bits of the places lo .. hi with copies) for every block of them.
template <class Visit>
static void for_blocks_with_copies(const std::int32_t* words, std::int32_t lo, std::int32_t hi, Visit visit)
{
    for (std::int32_t base = lo / block * block; base <= hi; base += block) {
        std::uint32_t bits = odd_words(words + base);
        if (base < lo)
            bits &= bits_from(lo);
        if (hi - base < block - 1)
            bits &= bits_up_to(hi);
        visit(base, bits);
    }
}

static std::int32_t count_copies(const std::int32_t* words, std::int32_t lo, std::int32_t hi)
{
    std::int32_t copies = 0;
    for_blocks_with_copies(words, lo, hi, [&](std::int32_t, std::uint32_t bits) {
        for (; bits != 0; bits &= bits - 1) // few of them; not every processor can count bits
            ++copies;
    });
    return copies;
}

static void swap_places(const repeated_keys_scratch& s, std::int32_t i, std::int32_t j)
{
    std::swap(s.words[i], s.words[j]);
    std::swap(s.indices[i], s.indices[j]);
}

namespace {

/// The two scans of a partition. Each compares a block when it gets there and remembers its bits. Exchanges change
/// words whose bits are remembered, but only words at or behind the last exchange of the other scan, and `last` is
/// the place of that exchange.
class block_scans {
public:
    block_scans(const std::int32_t* words, std::int32_t lo, std::int32_t hi)
        : words_(words), pivot_(words[lo]), right_base_((lo + 2) / block * block),
          left_base_((hi - 1) / block * block),
          right_bits_(~words_below(words + right_base_, pivot_) & bits_from(lo + 2)),
          left_bits_(~words_above(words + left_base_, pivot_) & bits_up_to(hi - 1))
    {
    }
    std::int32_t next_right(std::int32_t, std::int32_t last)
    {
        while (right_bits_ == 0) {
            right_base_ += block;
            right_bits_ = ~words_below(words_ + right_base_, pivot_);
        }
        const std::int32_t place = right_base_ + std::countr_zero(right_bits_);
        right_bits_ &= right_bits_ - 1;
        return std::min(place, last);
    }
    std::int32_t next_left(std::int32_t, std::int32_t last)
    {
        while (left_bits_ == 0) {
            left_base_ -= block;
            left_bits_ = ~words_above(words_ + left_base_, pivot_);
        }
        const std::int32_t bit = block - 1 - std::countl_zero(left_bits_);
        left_bits_ ^= 1u << bit;
        return std::max(left_base_ + bit, last);
    }

private:
    const std::int32_t* words_;
    std::int32_t pivot_;
    std::int32_t right_base_; ///< first place of the block that the scan to the right is in
    std::int32_t left_base_;
    std::uint32_t right_bits_; ///< its places that the scan has still to stop at
    std::uint32_t left_bits_;
};

/// The places as the partition sees them.
struct word_places {
    const repeated_keys_scratch& scratch;

    bool greater(std::int32_t i, std::int32_t j) const { return scratch.words[i] > scratch.words[j]; }
    void exchange(std::int32_t i, std::int32_t j) const { swap_places(scratch, i, j); }
    block_scans scans_about(std::int32_t lo, std::int32_t hi) const { return {scratch.words, lo, hi}; }
};

} // namespace

/// Follows the sort of places lo .. hi as long as copies of one key can lie apart.
///   copies   places among them whose key has copies, at most
static void follow_sort(const repeated_keys_scratch& s, std::int32_t lo, std::int32_t hi, std::int32_t copies)
{
    const word_places places{s};
    while (hi - lo >= insertion_span && copies > 1) {
        const auto [left_end, right_begin] = partition(places, lo, hi);
        // The shorter part is counted, and followed by recursion, so that the depth stays logarithmic.
        if (left_end - lo < hi - right_begin) {
            const std::int32_t shorter = count_copies(s.words, lo, left_end);
            follow_sort(s, lo, left_end, shorter);
            lo = right_begin;
            copies -= shorter;
        } else {
            const std::int32_t shorter = count_copies(s.words, right_begin, hi);
            follow_sort(s, right_begin, hi, shorter);
            hi = left_end;
            copies -= shorter;
        }
    }
}

void mark_repeated_keys(run_context* ctx, repeated_keys_scratch& scratch, std::int32_t count, std::int32_t bound,
                        const std::int32_t* keys, std::uint8_t* repeated)
{
    reserve(ctx, scratch, count, bound);
    std::memset(repeated, 0, bits_u32(count));
    const std::int32_t copies = place_keys(scratch, count, keys);
    if (copies > 0) {
        follow_sort(scratch, 0, count - 1, copies);
        // In the order of the places: the first copy takes its key out of the set, later ones miss it.
        for_blocks_with_copies(scratch.words, 0, count - 1, [&](std::int32_t base, std::uint32_t bits) {
            for (; bits != 0; bits &= bits - 1) {
                const std::int32_t place = base + std::countr_zero(bits);
                const std::int32_t key = key_of(scratch.words[place]);
                std::uint64_t& word = word_of(scratch, key);
                repeated[scratch.indices[place]] = (word >> bit_of(key) & 1u) == 0;
                word &= ~(std::uint64_t{1} << bit_of(key));
            }
        });
    }
    for (std::int32_t i = 0; i < count; ++i)
        word_of(scratch, keys[i]) = 0;
}

std::int32_t list_possible_keys(run_context* ctx, repeated_keys_scratch& scratch, std::int32_t count,
                                const std::int32_t* keys, std::int32_t wanted, std::int32_t* possible,
                                std::uint8_t* certain)
{
    constexpr std::size_t bytes = undecided_key_bound * sizeof(std::uint16_t);
    if (scratch.last == nullptr || scratch.stamp > UINT16_MAX - most_undecided_keys) {
        if (scratch.last == nullptr)
            scratch.last = reinterpret_cast<std::uint16_t*>(aligned_alloc_doubles(ctx, bytes / sizeof(double)));
        std::memset(scratch.last, 0, bytes);
        scratch.stamp = 0;
    }
    // The stamp of index i is before + 1 + i: a key that has none of this call is new.
    std::uint16_t* last = scratch.last;
    const std::int32_t before = scratch.stamp;
    bool is_first[most_undecided_keys];
    for (std::int32_t i = 0; i < count; ++i) {
        is_first[i] = last[keys[i]] <= before;
        last[keys[i]] = static_cast<std::uint16_t>(before + 1 + i);
    }
    scratch.stamp = static_cast<std::uint16_t>(before + count);

    // Among the first i keys, those whose last copy was seen have an unmarked copy, and only those of which any was
    // seen can have one.
    std::int32_t last_of[most_undecided_keys];
    std::int32_t seen = 0;
    std::int32_t complete = 0;
    std::int32_t safe = 0; // the last index up to which no more keys than wanted were seen
    for (std::int32_t i = 0; i < count && complete < wanted; ++i) {
        const std::int32_t last_index = last[keys[i]] - before - 1;
        possible[seen] = keys[i];
        last_of[seen] = last_index;
        seen += is_first[i];
        complete += last_index == i;
        safe = seen <= wanted ? i : safe;
    }
    for (std::int32_t t = 0; t < seen; ++t)
        certain[t] = last_of[t] <= safe;
    return seen;
}

#include "numeric/repeated_keys.h"

#include "numeric/wrap32.h"
#include "storage/vectors.h"

#include <algorithm>
#include <cstring>
#include <utility>

constexpr std::int32_t insertion_span = 7;  ///< of the index sort
constexpr std::uint32_t keys_per_word = 32; ///< of the set: two bits a key

void repeated_keys_release(run_context* ctx, repeated_keys_scratch& s)
{
    for (std::int32_t** v : {&s.keys, &s.indices, &s.from_left, &s.from_right}) {
        if (*v != nullptr)
            vector_free(ctx, *v);
        *v = nullptr;
    }
    aligned_free_doubles(ctx, reinterpret_cast<double*>(s.set));
    s = {};
}

static void reserve(run_context* ctx, repeated_keys_scratch& s, std::int32_t count, std::int32_t bound)
{
    if (count <= s.capacity && bound <= s.bound)
        return;
    const std::int32_t capacity = std::max(count, s.capacity);
    const std::int32_t keys = std::max(bound, s.bound);
    repeated_keys_release(ctx, s);
    s.keys = int_vector_alloc(ctx, capacity);
    s.indices = int_vector_alloc(ctx, capacity);
    s.from_left = int_vector_alloc(ctx, capacity);
    s.from_right = int_vector_alloc(ctx, capacity);
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

/// The bit of a key that is there; the next one: it has copies.
static std::uint64_t bit_of(std::int32_t key) { return std::uint64_t{1} << (2 * (bits_u32(key) % keys_per_word)); }

/// Fills the places in the given order, the set with the keys, and complements the indices of keys with copies.
///   returns the number of places whose key has copies
static std::int32_t place_keys(const repeated_keys_scratch& s, std::int32_t count, const std::int32_t* keys)
{
    std::uint64_t repeats = 0;
    for (std::int32_t i = 0; i < count; ++i) {
        const std::int32_t key = keys[i];
        s.keys[i] = key;
        s.indices[i] = i;
        std::uint64_t& word = word_of(s, key);
        const std::uint64_t seen = word & bit_of(key);
        word |= bit_of(key) | seen << 1;
        repeats |= seen;
    }
    if (repeats == 0)
        return 0;
    std::int32_t copies = 0;
    for (std::int32_t i = 0; i < count; ++i) {
        if ((word_of(s, keys[i]) & bit_of(keys[i]) << 1) == 0)
            continue;
        s.indices[i] = ~i;
        copies += 1;
    }
    return copies;
}

/// Lists the places from .. to, ascending, whose key is not below a; returns their number.
static std::int32_t list_from_left(const std::int32_t* keys, std::int32_t from, std::int32_t to, std::int32_t a,
                                   std::int32_t* list)
{
    std::int32_t listed = 0;
    for (std::int32_t i = from; i <= to; ++i) {
        list[listed] = i;
        listed += keys[i] >= a;
    }
    return listed;
}

/// Lists the places from .. to, descending, whose key is not above a; returns their number.
static std::int32_t list_from_right(const std::int32_t* keys, std::int32_t from, std::int32_t to, std::int32_t a,
                                    std::int32_t* list)
{
    std::int32_t listed = 0;
    for (std::int32_t j = to; j >= from; --j) {
        list[listed] = j;
        listed += keys[j] <= a;
    }
    return listed;
}

static void swap_places(const repeated_keys_scratch& s, std::int32_t i, std::int32_t j)
{
    std::swap(s.keys[i], s.keys[j]);
    std::swap(s.indices[i], s.indices[j]);
}

namespace {

/// Bounds of the two parts that a partition leaves: left lo .. left_end, right right_begin .. hi.
struct parts {
    std::int32_t left_end;
    std::int32_t right_begin;
};

} // namespace

/// The index sort's partition of places lo .. hi. Its two scans stop at listed places, taken pair by pair until they
/// meet; listing them first costs no branch per key.
static parts partition(const repeated_keys_scratch& s, std::int32_t lo, std::int32_t hi)
{
    const std::int32_t* keys = s.keys;
    swap_places(s, (lo + hi) >> 1, lo + 1);
    if (keys[lo + 1] > keys[hi])
        swap_places(s, lo + 1, hi);
    if (keys[lo] > keys[hi])
        swap_places(s, lo, hi);
    if (keys[lo + 1] > keys[lo])
        swap_places(s, lo + 1, lo);
    const std::int32_t a = keys[lo];

    const std::int32_t left = list_from_left(keys, lo + 2, hi, a, s.from_left);
    const std::int32_t right = list_from_right(keys, lo + 1, hi - 1, a, s.from_right);
    std::int32_t t = 0;
    for (; t < left && t < right && s.from_left[t] < s.from_right[t]; ++t)
        swap_places(s, s.from_left[t], s.from_right[t]);
    // Where the scans stop at last: beyond the last exchanged pair both run into what was exchanged.
    const std::int32_t behind_left = t > 0 ? s.from_left[t - 1] : lo + 1;
    const std::int32_t behind_right = t > 0 ? s.from_right[t - 1] : hi;
    std::int32_t i = t < left ? std::min(s.from_left[t], behind_right) : behind_right;
    std::int32_t j = t < right ? std::max(s.from_right[t], behind_left) : behind_left;
    if (i == j) { // an exchange with itself; on both sides of it the scans stop at once
        ++i;
        --j;
    }
    swap_places(s, lo, j);
    return {j - 1, i};
}

/// Follows the sort of places lo .. hi as long as copies of one key can lie apart.
///   copies   places among them whose key has copies
static void follow_sort(const repeated_keys_scratch& s, std::int32_t lo, std::int32_t hi, std::int32_t copies)
{
    while (hi - lo >= insertion_span && copies > 1) {
        const parts both = partition(s, lo, hi);
        std::int32_t copies_left = 0;
        for (std::int32_t i = lo; i <= both.left_end; ++i)
            copies_left += s.indices[i] < 0;
        // A part has at most as many copies as the whole; a key between the parts stays where it is.
        const std::int32_t copies_right = copies - copies_left;
        // The shorter part by recursion, so that the depth stays logarithmic.
        if (both.left_end - lo < hi - both.right_begin) {
            follow_sort(s, lo, both.left_end, copies_left);
            lo = both.right_begin;
            copies = copies_right;
        } else {
            follow_sort(s, both.right_begin, hi, copies_right);
            hi = both.left_end;
            copies = copies_left;
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
        for (std::int32_t i = 0; i < count; ++i) {
            if (scratch.indices[i] >= 0)
                continue;
            std::uint64_t& word = word_of(scratch, scratch.keys[i]);
            repeated[~scratch.indices[i]] = (word & bit_of(scratch.keys[i])) == 0;
            word &= ~bit_of(scratch.keys[i]);
        }
    }
    for (std::int32_t i = 0; i < count; ++i)
        word_of(scratch, keys[i]) = 0;
}

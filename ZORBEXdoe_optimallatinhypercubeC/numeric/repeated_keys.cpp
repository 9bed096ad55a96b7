#include "numeric/repeated_keys.h"

#include "numeric/wrap32.h"
#include "storage/vectors.h"

#include <algorithm>
#include <cstring>
#include <utility>

constexpr std::int32_t insertion_span = 7; ///< of the index sort

// A place holds a key, whether it has copies, and its index: comparing places compares keys first.
constexpr std::int64_t copies_flag = std::int64_t{1} << 31;

static std::int32_t key_of(std::int64_t place) { return static_cast<std::int32_t>(place >> 32); }

static std::int32_t index_of(std::int64_t place) { return static_cast<std::int32_t>(place & 0x7FFFFFFF); }

static std::int32_t has_copies(std::int64_t place) { return static_cast<std::int32_t>(place >> 31 & 1); }

static void release_scratch(run_context* ctx, repeated_keys_scratch& s)
{
    for (std::int32_t** v : {&s.from_left, &s.from_right, &s.table}) {
        if (*v != nullptr)
            vector_free(ctx, *v);
        *v = nullptr;
    }
    aligned_free_doubles(ctx, reinterpret_cast<double*>(s.places));
    s = {};
}

void repeated_keys_release(run_context* ctx, repeated_keys_scratch& scratch) { release_scratch(ctx, scratch); }

static void reserve(run_context* ctx, repeated_keys_scratch& s, std::int32_t count)
{
    if (count <= s.capacity)
        return;
    release_scratch(ctx, s);
    s.places = reinterpret_cast<std::int64_t*>(aligned_alloc_doubles(ctx, bits_u32(count)));
    s.from_left = int_vector_alloc(ctx, count);
    s.from_right = int_vector_alloc(ctx, count);
    s.table_size = 64;
    while (s.table_size / 4 < count && s.table_size < (1 << 30))
        s.table_size *= 2;
    s.table = int_vector_alloc(ctx, s.table_size);
    s.base = 1;
    s.capacity = count;
}

/// Slot of a key: where its first copy is noted in this call, or a free one.
static std::int32_t& slot_of(const repeated_keys_scratch& s, std::int32_t key)
{
    const auto mask = bits_u32(s.table_size - 1);
    std::uint32_t slot = (bits_u32(key) * 0x9E3779B1u) >> 7 & mask;
    while (s.table[slot] >= s.base && key_of(s.places[s.table[slot] - s.base]) != key)
        slot = (slot + 1) & mask;
    return s.table[slot];
}

/// Fills the places in the given order and flags the keys that occur more than once.
///   returns whether there are any
static bool place_keys(repeated_keys_scratch& s, std::int32_t count, const std::int32_t* keys)
{
    std::int64_t any_copy = 0;
    for (std::int32_t i = 0; i < count; ++i) {
        s.places[i] = static_cast<std::int64_t>(keys[i]) << 32 | i;
        std::int32_t& first = slot_of(s, keys[i]);
        if (first < s.base) {
            first = s.base + i;
            continue;
        }
        s.places[first - s.base] |= copies_flag;
        s.places[i] |= copies_flag;
        any_copy = 1;
    }
    return any_copy != 0;
}

/// Numbers of the next call's keys lie above those of the present one.
static void end_call(repeated_keys_scratch& s, std::int32_t count)
{
    if (s.base < INT32_MAX - 2 * s.capacity) {
        s.base += count;
        return;
    }
    std::memset(s.table, 0, bits_u32(s.table_size) * sizeof(std::int32_t));
    s.base = 1;
}

namespace {

/// Bounds of the two parts that a partition leaves: left lo .. left_end, right right_begin .. hi.
struct parts {
    std::int32_t left_end;
    std::int32_t right_begin;
};

} // namespace

/// The index sort's partition of places lo .. hi. Its two scans stop at the places listed in from_left and from_right,
/// taken pair by pair until they meet; listing them first costs no branch per key.
static parts partition(const repeated_keys_scratch& s, std::int32_t lo, std::int32_t hi)
{
    std::int64_t* p = s.places;
    const auto key = [p](std::int32_t place) { return p[place] >> 32; };
    std::swap(p[(lo + hi) >> 1], p[lo + 1]);
    if (key(lo + 1) > key(hi))
        std::swap(p[lo + 1], p[hi]);
    if (key(lo) > key(hi))
        std::swap(p[lo], p[hi]);
    if (key(lo + 1) > key(lo))
        std::swap(p[lo + 1], p[lo]);
    const std::int64_t pivot = p[lo];
    const std::int64_t least_equal = pivot & ~std::int64_t{0xFFFFFFFF};
    const std::int64_t most_equal = least_equal + 0xFFFFFFFF;

    std::int32_t* const from_left = s.from_left;
    std::int32_t* const from_right = s.from_right;
    std::int32_t left = 0;
    std::int32_t right = 0;
    for (std::int32_t i = lo + 2; i <= hi; ++i) {
        from_left[left] = i;
        left += p[i] >= least_equal;
    }
    for (std::int32_t j = hi - 1; j > lo; --j) {
        from_right[right] = j;
        right += p[j] <= most_equal;
    }
    // Beyond the last exchanged pair both scans run into what was exchanged.
    std::int32_t t = 0;
    std::int32_t i = 0;
    std::int32_t j = 0;
    for (;; ++t) {
        const std::int32_t behind_left = t > 0 ? from_left[t - 1] : lo + 1;
        const std::int32_t behind_right = t > 0 ? from_right[t - 1] : hi;
        i = t < left ? std::min(from_left[t], behind_right) : behind_right;
        j = t < right ? std::max(from_right[t], behind_left) : behind_left;
        if (j < i)
            break;
        if (j == i) { // an exchange with itself; on both sides of it the scans stop at once
            ++i;
            --j;
            break;
        }
        std::swap(p[i], p[j]);
    }
    p[lo] = p[j];
    p[j] = pivot;
    return {j - 1, i};
}

/// Follows the sort below places lo .. hi as long as copies of one key can lie apart.
static void follow_sort(const repeated_keys_scratch& s, std::int32_t lo, std::int32_t hi)
{
    while (hi - lo >= insertion_span) {
        std::int32_t copies = 0;
        for (std::int32_t i = lo; i <= hi; ++i)
            copies += has_copies(s.places[i]);
        if (copies < 2)
            return;
        const parts both = partition(s, lo, hi);
        // The shorter part by recursion, so that the depth stays logarithmic.
        if (both.left_end - lo < hi - both.right_begin) {
            follow_sort(s, lo, both.left_end);
            lo = both.right_begin;
        } else {
            follow_sort(s, both.right_begin, hi);
            hi = both.left_end;
        }
    }
}

void mark_repeated_keys(run_context* ctx, repeated_keys_scratch& scratch, std::int32_t count,
                        const std::int32_t* keys, std::uint8_t* repeated)
{
    reserve(ctx, scratch, count);
    std::memset(repeated, 0, bits_u32(count));
    if (place_keys(scratch, count, keys)) {
        follow_sort(scratch, 0, count - 1);
        end_call(scratch, count); // the table notes first copies anew, now in the order of the places
        for (std::int32_t i = 0; i < count; ++i) {
            const std::int64_t place = scratch.places[i];
            if (has_copies(place) == 0)
                continue;
            std::int32_t& first = slot_of(scratch, key_of(place));
            if (first < scratch.base)
                first = scratch.base + i;
            else
                repeated[index_of(place)] = 1;
        }
    }
    end_call(scratch, count);
}

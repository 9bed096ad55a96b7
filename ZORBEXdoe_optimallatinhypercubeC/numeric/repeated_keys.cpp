#include "numeric/repeated_keys.h"

#include "numeric/wrap32.h"
#include "storage/vectors.h"

#include <algorithm>
#include <cstring>
#include <utility>

constexpr std::int32_t insertion_span = 7; ///< of the index sort

/// A place holds a key, whether it has copies, and its index: comparing places' upper halves compares keys.
static std::int64_t place_of(std::int32_t key, bool has_copies, std::int32_t index)
{
    return static_cast<std::int64_t>(key) << 32 | static_cast<std::int64_t>(has_copies) << 31 | index;
}

static std::int32_t has_copies(std::int64_t place) { return static_cast<std::int32_t>(place >> 31 & 1); }

static std::int32_t index_at(std::int64_t place) { return static_cast<std::int32_t>(place & 0x7FFFFFFF); }

static void release_scratch(run_context* ctx, repeated_keys_scratch& s)
{
    for (std::int32_t** v : {&s.from_left, &s.from_right, &s.group, &s.table}) {
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
    s.group = int_vector_alloc(ctx, count);
    s.table_size = 64;
    while (s.table_size / 4 < count && s.table_size < (1 << 30))
        s.table_size *= 2;
    s.table = int_vector_alloc(ctx, s.table_size);
    s.capacity = count;
}

/// Numbers the keys that occur more than once, from 1; their copies get that number as their group.
///   returns how many such keys there are
static std::int32_t number_repeats(const repeated_keys_scratch& s, std::int32_t count, const std::int32_t* keys)
{
    // A slot holds the index of a key's first copy, plus one.
    const auto mask = bits_u32(s.table_size - 1);
    std::memset(s.table, 0, bits_u32(s.table_size) * sizeof(std::int32_t));
    std::int32_t groups = 0;
    for (std::int32_t i = 0; i < count; ++i) {
        s.group[i] = 0;
        std::uint32_t slot = (bits_u32(keys[i]) * 0x9E3779B1u) >> 7 & mask;
        while (s.table[slot] != 0 && keys[s.table[slot] - 1] != keys[i])
            slot = (slot + 1) & mask;
        if (s.table[slot] == 0) {
            s.table[slot] = i + 1;
            continue;
        }
        std::int32_t& first = s.group[s.table[slot] - 1];
        if (first == 0)
            first = ++groups;
        s.group[i] = first;
    }
    return groups;
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
    const std::int32_t groups = number_repeats(scratch, count, keys);
    if (groups == 0)
        return;
    for (std::int32_t i = 0; i < count; ++i)
        scratch.places[i] = place_of(keys[i], scratch.group[i] != 0, i);
    follow_sort(scratch, 0, count - 1);

    std::int32_t* seen = scratch.from_left; // by group number
    std::memset(seen, 0, bits_u32(groups) * sizeof(std::int32_t));
    for (std::int32_t i = 0; i < count; ++i) {
        const std::int32_t index = index_at(scratch.places[i]);
        const std::int32_t group = scratch.group[index];
        if (group == 0)
            continue;
        repeated[index] = seen[group - 1] != 0;
        seen[group - 1] = 1;
    }
}

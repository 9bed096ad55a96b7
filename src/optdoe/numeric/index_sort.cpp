#include "optdoe/numeric/index_sort.h"

#include "optdoe/numeric/partition.h"
#include "optdoe/run/tracked_storage.h"

#include <utility>

constexpr std::uint32_t stack_capacity = 50; ///< two entries a partition that waits

/// Straight insertion of the places lo+1..hi. The scan may go below lo: the keys there are not greater.
template <class Key>
static void insert_in_order(std::uint32_t lo, std::uint32_t hi, const Key* keys, std::int32_t* index)
{
    for (std::uint32_t j = lo + 1; j <= hi; ++j) {
        const std::int32_t moved = index[j];
        const Key key = keys[moved];
        std::uint32_t i = j;
        for (; i > 0 && !(keys[index[i - 1]] <= key); --i)
            index[i] = index[i - 1];
        index[i] = moved;
    }
}

namespace {

/// The sort's places: each has the key of the index that lies there.
template <class Key>
struct indexed_keys {
    const Key* keys;
    std::int32_t* index;

    /// Scans one place at a time. A NaN stops them, so that they stay within the partition whatever the keys.
    struct scans {
        const Key* keys;
        const std::int32_t* index;
        Key pivot;

        std::uint32_t next_right(std::uint32_t i, std::uint32_t) const
        {
            do
                ++i;
            while (keys[index[i]] < pivot);
            return i;
        }
        std::uint32_t next_left(std::uint32_t j, std::uint32_t) const
        {
            do
                --j;
            while (keys[index[j]] > pivot);
            return j;
        }
    };

    bool greater(std::uint32_t i, std::uint32_t j) const { return keys[index[i]] > keys[index[j]]; }
    void exchange(std::uint32_t i, std::uint32_t j) const { std::swap(index[i], index[j]); }
    scans scans_about(std::uint32_t lo, std::uint32_t) const { return {keys, index, keys[index[lo]]}; }
};

} // namespace

template <class Key>
static void indexx(run_context* ctx, std::uint32_t n, const Key* keys, std::int32_t* index)
{
    std::int32_t* istack = index_vector_alloc(ctx, 1, static_cast<std::int32_t>(stack_capacity));
    std::uint32_t jstack = 0;
    std::uint32_t l = 0;
    std::uint32_t ir = n - 1;
    for (std::uint32_t j = 0; j < n; ++j)
        index[j] = static_cast<std::int32_t>(j);

    const indexed_keys<Key> places{keys, index};
    for (;;) {
        if (ir - l < insertion_span) {
            insert_in_order(l, ir, keys, index);
            if (jstack == 0)
                break;
            ir = static_cast<std::uint32_t>(istack[jstack]);
            l = static_cast<std::uint32_t>(istack[jstack - 1]);
            jstack -= 2;
            continue;
        }
        const auto [left_end, right_begin] = partition(places, l, ir);
        jstack += 2;
        if (jstack > stack_capacity)
            raise_runtime_error(ctx, "NSTACK too small in indexx.");
        // The longer part waits on the stack, so that the depth stays logarithmic.
        if (ir - right_begin >= left_end - l) {
            istack[jstack] = static_cast<std::int32_t>(ir);
            istack[jstack - 1] = static_cast<std::int32_t>(right_begin);
            ir = left_end;
        } else {
            istack[jstack] = static_cast<std::int32_t>(left_end);
            istack[jstack - 1] = static_cast<std::int32_t>(l);
            l = right_begin;
        }
    }
    index_vector_free(ctx, istack, 1);
}

void indexx_double(run_context* ctx, std::uint32_t n, const double* keys, std::int32_t* index)
{
    indexx(ctx, n, keys, index);
}

void indexx_int(run_context* ctx, std::uint32_t n, const std::int32_t* keys, std::int32_t* index)
{
    indexx(ctx, n, keys, index);
}

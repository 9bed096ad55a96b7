#include "optdoe/numeric/index_sort.h"

#include "optdoe/run/tracked_storage.h"

#include <utility>

constexpr std::uint32_t stack_capacity = 50; ///< two entries a pending partition
constexpr std::uint32_t insertion_span = 7;  ///< shorter partitions are sorted by insertion

/// Straight insertion of positions lo+1..hi. The scan may run below lo: what lies there is not greater.
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

/// The sequence of comparisons and swaps decides the order of equal keys. A NaN stops both scans, so that they stay
/// within the partition whatever the keys.
template <class Key>
static void indexx(run_context* ctx, std::uint32_t n, const Key* keys, std::int32_t* index)
{
    std::int32_t* istack = index_vector_alloc(ctx, 1, static_cast<std::int32_t>(stack_capacity));
    std::uint32_t jstack = 0;
    std::uint32_t l = 0;
    std::uint32_t ir = n - 1;
    for (std::uint32_t j = 0; j < n; ++j)
        index[j] = static_cast<std::int32_t>(j);

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
        // Median of the first, middle and last key to position l; l+1 and ir are the sentinels of the scans.
        std::swap(index[(l + ir) >> 1], index[l + 1]);
        if (keys[index[l + 1]] > keys[index[ir]])
            std::swap(index[l + 1], index[ir]);
        if (keys[index[l]] > keys[index[ir]])
            std::swap(index[l], index[ir]);
        if (keys[index[l + 1]] > keys[index[l]])
            std::swap(index[l + 1], index[l]);
        const std::int32_t pivot = index[l];
        const Key a = keys[pivot];
        std::uint32_t i = l + 1;
        std::uint32_t j = ir;
        for (;;) {
            do
                ++i;
            while (keys[index[i]] < a);
            do
                --j;
            while (keys[index[j]] > a);
            if (j < i)
                break;
            std::swap(index[i], index[j]);
        }
        index[l] = index[j];
        index[j] = pivot;

        jstack += 2;
        if (jstack > stack_capacity)
            raise_runtime_error(ctx, "NSTACK too small in indexx.");
        // The larger part waits on the stack, so that the depth stays logarithmic.
        if (ir - i + 1 >= j - l) {
            istack[jstack] = static_cast<std::int32_t>(ir);
            istack[jstack - 1] = static_cast<std::int32_t>(i);
            ir = j - 1;
        } else {
            istack[jstack] = static_cast<std::int32_t>(j - 1);
            istack[jstack - 1] = static_cast<std::int32_t>(l);
            l = i;
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

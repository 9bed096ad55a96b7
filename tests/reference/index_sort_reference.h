/// The index sort in plain form, for comparison.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

namespace reference {

/// Quicksort on std::vector<std::int32_t> written out plainly, after Sedgewick (1978) as commonly published for
/// positions from 1: the order of equal keys is that of its swaps. Recursion in place of the stack visits the parts
/// in the same order, except that the order of visits does not matter to the result.
template <class Key>
void sort_part(const std::vector<Key>& keys, std::vector<std::int32_t>& order, int low, int high)
{
    const auto at = [&](int position) -> std::int32_t& { return order[static_cast<std::size_t>(position)]; };
    const auto key = [&](int position) { return keys[static_cast<std::size_t>(at(position))]; };
    if (high - low < 7) {
        for (int j = low + 1; j <= high; ++j) {
            const std::int32_t moved = at(j);
            const Key value = keys[static_cast<std::size_t>(moved)];
            int i = j - 1;
            for (; i >= low && !(key(i) <= value); --i)
                at(i + 1) = at(i);
            at(i + 1) = moved;
        }
        return;
    }
    // Positions count from 0 here; the middle is taken between positions counted from 1.
    std::swap(at((low + high + 2) / 2 - 1), at(low + 1));
    if (key(low + 1) > key(high))
        std::swap(at(low + 1), at(high));
    if (key(low) > key(high))
        std::swap(at(low), at(high));
    if (key(low + 1) > key(low))
        std::swap(at(low + 1), at(low));
    const std::int32_t pivot = at(low);
    const Key value = keys[static_cast<std::size_t>(pivot)];
    int i = low + 1;
    int j = high;
    while (true) {
        do
            ++i;
        while (key(i) < value);
        do
            --j;
        while (key(j) > value);
        if (j < i)
            break;
        std::swap(at(i), at(j));
    }
    at(low) = at(j);
    at(j) = pivot;
    sort_part(keys, order, low, j - 1);
    sort_part(keys, order, i, high);
}

template <class Key>
std::vector<std::int32_t> plain_sort(const std::vector<Key>& keys)
{
    std::vector<std::int32_t> order;
    for (std::size_t i = 0; i < keys.size(); ++i)
        order.push_back(static_cast<std::int32_t>(i));
    sort_part(keys, order, 0, static_cast<int>(keys.size()) - 1);
    return order;
}

} // namespace reference

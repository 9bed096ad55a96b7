/// One step of the index sort: the partition about the median of three keys (Sedgewick, "Implementing quicksort
/// programs", 1978). The sort itself and repeated_keys, which follows its path, both take this one.
///
/// The order that the sort gives to equal keys is that of its exchanges. Which places are exchanged, in which order,
/// is therefore the contract; how a scan finds the next place is left to the caller's view of the keys.
#pragma once

/// Places lo .. hi with hi - lo below this are sorted by insertion instead.
inline constexpr int insertion_span = 7;

/// The two parts that a partition of places lo .. hi leaves: lo .. left_end, with no key above the pivot, and
/// right_begin .. hi, with none below it. Keys between them equal the pivot.
template <class Place>
struct partition_parts {
    Place left_end;
    Place right_begin;
};

/// Partitions places lo .. hi.
///   hi - lo   at least 2
///   view      the keys at their places:
///             greater(i, j)    the key at place i is greater than that at place j
///             exchange(i, j)   exchanges the keys of two places
///             scans_about(lo, hi), called once with the pivot at place lo, returns an object with
///                 next_right(i, last)   the first place behind i with a key not below the pivot, or last
///                 next_left(j, last)    the first place before j with a key not above the pivot, or last
///             The first scan to the right starts from lo + 1, that to the left from hi, each later one from the
///             place that the one before it returned. The place `last` lies ahead and ends the scan at the latest.
template <class Place, class View>
partition_parts<Place> partition(View& view, Place lo, Place hi)
{
    // The median of the first, middle and last key comes to lo; the least and the greatest end the scans.
    view.exchange((lo + hi) >> 1, lo + 1);
    if (view.greater(lo + 1, hi))
        view.exchange(lo + 1, hi);
    if (view.greater(lo, hi))
        view.exchange(lo, hi);
    if (view.greater(lo + 1, lo))
        view.exchange(lo + 1, lo);

    auto scans = view.scans_about(lo, hi);
    Place i = lo + 1;
    Place j = hi;
    for (;;) {
        const Place last_left = i;
        const Place last_right = j;
        i = scans.next_right(i, last_right);
        j = scans.next_left(j, last_left);
        if (!(i < j))
            break;
        view.exchange(i, j);
    }
    if (i == j) { // the scans met at a key equal to the pivot, and would stop at once on both sides of it
        ++i;
        --j;
    }
    view.exchange(lo, j);
    return {j - 1, i};
}

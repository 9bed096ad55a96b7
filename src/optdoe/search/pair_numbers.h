/// Pairs of m items by number: (0, 1), (0, 2), ... (0, m-1), (1, 2), ... in lexicographic order.
#pragma once

#include <cstdint>

struct item_pair {
    std::int32_t first;
    std::int32_t second;
};

/// Pair number p. A number from a count of pairs that wrapped may be of no pair; then is_pair is false.
item_pair pair_of_number(std::int32_t p, std::int32_t m);

/// The pairs of `count` numbers, several at a time; same results as one by one.
///   numbers         in    [count]
///   first, second   out   [count]; they overlap neither each other nor the numbers
void pairs_of_numbers(std::int32_t count, const std::int32_t* numbers, std::int32_t m, std::int32_t* first,
                      std::int32_t* second);

inline bool is_pair(std::int32_t first, std::int32_t second, std::int32_t m) { return second > first && second < m; }

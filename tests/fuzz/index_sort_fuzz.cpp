// The index sorts against their plain form; with NaN among the keys the order is free, a permutation it still is.

#include "tests/fuzz/fuzz_input.h"

#include "optdoe/numeric/index_sort.h"
#include "tests/reference/index_sort_reference.h"
#include "tests/support/test_run.h"

#include <algorithm>
#include <cmath>
#include <vector>

static bool is_permutation_of_positions(std::vector<std::int32_t> index)
{
    std::sort(index.begin(), index.end());
    for (std::size_t i = 0; i < index.size(); ++i)
        if (index[i] != static_cast<std::int32_t>(i))
            return false;
    return true;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz_input input(data, size);
    const int kind = input.below(3);
    std::vector<double> keys;
    std::vector<std::int32_t> int_keys;
    while (!input.empty()) {
        keys.push_back(kind == 0 ? input.take<double>() : input.take<std::int8_t>());
        int_keys.push_back(kind == 2 ? input.take<std::int32_t>() : static_cast<std::int8_t>(input.below(256)));
    }
    if (keys.empty())
        return 0;
    test_run run;
    const auto count = static_cast<std::uint32_t>(keys.size());
    std::vector<std::int32_t> index(keys.size());
    indexx_double(run.ctx(), count, keys.data(), index.data());
    require(is_permutation_of_positions(index), "no permutation of the doubles");
    const bool ordered = std::none_of(keys.begin(), keys.end(), [](double key) { return std::isnan(key); });
    require(!ordered || index == reference::plain_sort(keys), "the doubles are in another order");
    indexx_int(run.ctx(), count, int_keys.data(), index.data());
    require(index == reference::plain_sort(int_keys), "the ints are in another order");
    return 0;
}

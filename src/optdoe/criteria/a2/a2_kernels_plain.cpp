// The loops as their contract reads. For tests and benchmarks; no part of the library.
#include "optdoe/criteria/a2/a2_kernels.h"
#include "optdoe/criteria/criterion.h"
#include "optdoe/run/wrap32.h"

static void count_changes(int n, const double* column, double from, double to, std::int32_t weight,
                          std::int32_t* change)
{
    for (int r = 0; r < n; ++r) {
        change[r] = 0;
        if (equal_entries(column[r], to))
            change[r] = wrap_add(change[r], weight);
        if (equal_entries(column[r], from))
            change[r] = wrap_sub(change[r], weight);
    }
}

static std::int64_t square_changes(int n, const std::int32_t* counts_a, const std::int32_t* counts_b,
                                   const std::int32_t* change)
{
    const auto square = [](std::int32_t count) { return wrap_mul(count, count); };
    std::int64_t sum = 0;
    for (int r = 0; r < n; ++r) {
        sum += wrap_sub(square(wrap_add(counts_a[r], change[r])), square(counts_a[r]));
        sum += wrap_sub(square(wrap_sub(counts_b[r], change[r])), square(counts_b[r]));
    }
    return sum;
}

static void add_coincidences(int n, const double* column, double entry, std::int32_t weight, std::int32_t* counts)
{
    for (int r = 0; r < n; ++r)
        if (equal_entries(column[r], entry))
            counts[r] = wrap_add(counts[r], weight);
}

constexpr a2_kernels a2_kernels_plain{"plain", count_changes, square_changes, add_coincidences};

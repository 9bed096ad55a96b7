// Plain loops over the rows that the compiler turns into vectors. Sums of integers have the same bits in every order.
#include "optdoe/criteria/a2/a2_kernels.h"

static inline bool equal(double x, double y) { return __builtin_fabs(x - y) < 1e-15; }

static inline std::int32_t wrapped(std::uint32_t bits) { return static_cast<std::int32_t>(bits); }

static inline std::uint32_t bits(std::int32_t value) { return static_cast<std::uint32_t>(value); }

static void count_changes(int n, const double* __restrict column, double from, double to, std::int32_t weight,
                          std::int32_t* __restrict change)
{
    for (int r = 0; r < n; ++r) {
        const std::int32_t before = equal(column[r], from) ? weight : 0;
        const std::int32_t after = equal(column[r], to) ? weight : 0;
        change[r] = wrapped(bits(after) - bits(before));
    }
}

/// (c + d)^2 - c^2 = d (2 c + d), which holds for integers that wrap.
static std::int64_t square_changes(int n, const std::int32_t* __restrict counts_a,
                                   const std::int32_t* __restrict counts_b, const std::int32_t* __restrict change)
{
    std::int64_t sum = 0;
    for (int r = 0; r < n; ++r) {
        const std::uint32_t d = bits(change[r]);
        const std::uint32_t a = bits(counts_a[r]);
        const std::uint32_t b = bits(counts_b[r]);
        sum += wrapped(d * (2u * a + d));
        sum += wrapped(d * (d - 2u * b));
    }
    return sum;
}

static void add_coincidences(int n, const double* __restrict column, double entry, std::int32_t weight,
                             std::int32_t* __restrict counts)
{
    for (int r = 0; r < n; ++r)
        counts[r] = wrapped(bits(counts[r]) + (equal(column[r], entry) ? bits(weight) : 0u));
}

constexpr a2_kernels KERNELS{NAME, count_changes, square_changes, add_coincidences};

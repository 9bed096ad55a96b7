// The loops as their contract reads. For tests and benchmarks; no part of the library.
#include "optdoe/criteria/cd2/cd2_kernels.h"

#include <cmath>

/// Twice the factor of a pair of entries: 2 (1 + a_i/2 + a_j/2 - |z_i - z_j|/2), the first row named first.
static double twice_factor(cd2_entry first, cd2_entry second)
{
    return first.a + 2.0 + second.a - std::fabs(first.z - second.z);
}

/// Ratio of the new to the old factor of a row's pair when the entry of the other row changes.
static double ratio(cd2_entry from, cd2_entry to, cd2_entry row)
{
    return twice_factor(to, row) / twice_factor(from, row);
}

static double exchange(const cd2_exchange& x, double* new_a, double* new_b, double delta)
{
    const cd2_entry ea{x.z[x.row_a], x.a[x.row_a]};
    const cd2_entry eb{x.z[x.row_b], x.a[x.row_b]};
    for (int r = 0; r < x.n; ++r) {
        if (r == x.row_a || r == x.row_b)
            continue;
        const double q = ratio(ea, eb, {x.z[r], x.a[r]});
        new_a[r] = x.terms_a[r] * q;
        new_b[r] = x.terms_b[r] / q;
        delta += new_a[r] - x.terms_a[r];
        delta += new_b[r] - x.terms_b[r];
    }
    return delta;
}

static double estimate(const cd2_exchange& x, const double* counted)
{
    const cd2_entry ea{x.z[x.row_a], x.a[x.row_a]};
    const cd2_entry eb{x.z[x.row_b], x.a[x.row_b]};
    double sum = 0.0;
    for (int r = 0; r < x.n; ++r) {
        const double q = ratio(ea, eb, {x.z[r], x.a[r]});
        sum += counted[r] * ((x.terms_a[r] * q - x.terms_a[r]) + (x.terms_b[r] / q - x.terms_b[r]));
    }
    return sum;
}

static void pair_terms(int n, int factors, int i, const double* const* z, const double* const* a, double scale,
                       double* terms)
{
    for (int j = i + 1; j < n; ++j) {
        double product = 1.0;
        for (int k = 0; k < factors; ++k)
            product *= twice_factor({z[k][i], a[k][i]}, {z[k][j], a[k][j]}) * 0.5;
        terms[j] = scale * product;
    }
}

static void pair_terms_before(int, int factors, int i, const double* const* z, const double* const* a, double scale,
                              double* terms)
{
    for (int j = 0; j < i; ++j) {
        double product = 1.0;
        for (int k = 0; k < factors; ++k)
            product *= twice_factor({z[k][j], a[k][j]}, {z[k][i], a[k][i]}) * 0.5;
        terms[j] = scale * product;
    }
}

static void pair_ratios(int n, cd2_entry from, cd2_entry to, const double* z, const double* a, double* ratios)
{
    for (int r = 0; r < n; ++r)
        ratios[r] = ratio(from, to, {z[r], a[r]});
}

constexpr cd2_kernels cd2_kernels_plain{"plain", exchange, estimate, pair_terms, pair_terms_before, pair_ratios};

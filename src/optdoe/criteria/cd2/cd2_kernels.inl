// Lanes run over rows. What is added up in a defined order is added outside the lanes.
#include "optdoe/criteria/cd2/cd2_kernels.h"
#include "optdoe/simd/lanes.h"

/// Twice the factor of the pairs of an entry with LANES rows; the order of the operations is that of the definition.
static inline vec twice_factors(cd2_entry e, vec z, vec a) { return e.a + 2.0 + a - magnitude(e.z - z); }

static double exchange(const cd2_exchange& x, double* new_a, double* new_b, double delta)
{
    constexpr int block = 64; // rows whose changes wait for their turn
    const cd2_entry ea{x.z[x.row_a], x.a[x.row_a]};
    const cd2_entry eb{x.z[x.row_b], x.a[x.row_b]};
    alignas(64) double change_a[block];
    alignas(64) double change_b[block];
    for (int begin = 0; begin < x.n; begin += block) {
        const int end = begin + block < x.n ? begin + block : x.n;
        for (int r = begin; r < end; r += LANES) {
            const vec z = load(x.z + r);
            const vec a = load(x.a + r);
            const vec q = twice_factors(eb, z, a) / twice_factors(ea, z, a);
            const vec old_a = load(x.terms_a + r);
            const vec old_b = load(x.terms_b + r);
            const vec term_a = old_a * q;
            const vec term_b = old_b / q;
            store(new_a + r, term_a);
            store(new_b + r, term_b);
            store(change_a + (r - begin), term_a - old_a);
            store(change_b + (r - begin), term_b - old_b);
        }
        for (int r = begin; r < end; ++r) {
            if (r == x.row_a || r == x.row_b)
                continue;
            delta += change_a[r - begin];
            delta += change_b[r - begin];
        }
    }
    return delta;
}

namespace {

/// A fraction in every lane.
struct fractions {
    vec above;
    vec below;
};

} // namespace

/// With F and G the factors of a row's pairs with the two exchanged rows, t and s the terms:
/// t (G/F - 1) + s (F/G - 1) = (G - F) (t G - s F) / (F G).
static inline fractions row_changes(const cd2_exchange& x, cd2_entry ea, cd2_entry eb, const double* counted, int r)
{
    const vec z = load(x.z + r);
    const vec a = load(x.a + r);
    const vec f = twice_factors(ea, z, a);
    const vec g = twice_factors(eb, z, a);
    const vec t = load(x.terms_a + r);
    const vec s = load(x.terms_b + r);
    return {(g - f) * load(counted + r) * (t * g - s * f), f * g};
}

static inline fractions operator+(const fractions& x, const fractions& y)
{
    return {x.above * y.below + y.above * x.below, x.below * y.below};
}

/// Four rows share a division, which costs more than to bring them to one denominator.
static double estimate(const cd2_exchange& x, const double* counted)
{
    const cd2_entry ea{x.z[x.row_a], x.a[x.row_a]};
    const cd2_entry eb{x.z[x.row_b], x.a[x.row_b]};
    vec change{};
    const auto rows = [&](int r) { return row_changes(x, ea, eb, counted, r); };
    int r = 0;
    for (; r + 3 * LANES < x.n; r += 4 * LANES) {
        const fractions sum = (rows(r) + rows(r + LANES)) + (rows(r + 2 * LANES) + rows(r + 3 * LANES));
        change += sum.above / sum.below;
    }
    if (r < x.n) {
        fractions sum = rows(r);
        for (r += LANES; r < x.n; r += LANES)
            sum = sum + rows(r);
        change += sum.above / sum.below;
    }
    return sum_of_lanes(change);
}

/// Twice the factors of row i, whose entry is e, with LANES rows before it: the definition names the first row first.
static inline vec twice_factors_before(cd2_entry e, vec z, vec a) { return a + 2.0 + e.a - magnitude(z - e.z); }

/// Pair terms of row i with rows `begin` to `end`, multiples of LANES.
template <bool before>
static inline void pair_terms_of(int begin, int end, int factors, int i, const double* const* z,
                                 const double* const* a, double scale, double* terms)
{
    const auto factor = [](cd2_entry e, vec rows_z, vec rows_a) {
        return (before ? twice_factors_before(e, rows_z, rows_a) : twice_factors(e, rows_z, rows_a)) * 0.5;
    };
    constexpr int chains = 4; // products under way: a multiplication takes longer than its turn
    constexpr int step = chains * LANES;
    int j = begin;
    for (; j + step <= end; j += step) {
        vec product[chains];
        for (vec& p : product)
            p = vec{} + 1.0;
        for (int k = 0; k < factors; ++k)
            for (int c = 0; c < chains; ++c)
                product[c] *= factor({z[k][i], a[k][i]}, load(z[k] + j + c * LANES), load(a[k] + j + c * LANES));
        for (int c = 0; c < chains; ++c)
            store(terms + j + c * LANES, scale * product[c]);
    }
    for (; j < end; j += LANES) {
        vec product = vec{} + 1.0;
        for (int k = 0; k < factors; ++k)
            product *= factor({z[k][i], a[k][i]}, load(z[k] + j), load(a[k] + j));
        store(terms + j, scale * product);
    }
}

static int up_to_whole_vectors(int n) { return (n + LANES - 1) / LANES * LANES; }

static void pair_terms(int n, int factors, int i, const double* const* z, const double* const* a, double scale,
                       double* terms)
{
    pair_terms_of<false>((i + 1) / LANES * LANES, up_to_whole_vectors(n), factors, i, z, a, scale, terms);
}

static void pair_terms_before(int, int factors, int i, const double* const* z, const double* const* a, double scale,
                              double* terms)
{
    pair_terms_of<true>(0, up_to_whole_vectors(i), factors, i, z, a, scale, terms);
}

static void pair_ratios(int n, cd2_entry from, cd2_entry to, const double* z, const double* a, double* ratios)
{
    for (int r = 0; r < n; r += LANES)
        store(ratios + r,
              twice_factors(to, load(z + r), load(a + r)) / twice_factors(from, load(z + r), load(a + r)));
}

constexpr cd2_kernels KERNELS{NAME, exchange, estimate, pair_terms, pair_terms_before, pair_ratios};

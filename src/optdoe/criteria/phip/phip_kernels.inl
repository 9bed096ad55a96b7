// The kernels in vector form. NAME, LANES and KERNELS are set by the file that includes this one. Vectors are the
// compiler's own; each operation on them is one IEEE operation a lane, and nothing is fused (-ffp-contract=off).

#include "optdoe/criteria/phip/phip_kernels.h"
#include "optdoe/simd/lanes.h"

namespace {

using lanes = vec;
using mask = vec_bits;

inline lanes all(double x) { return x - lanes{}; }

/// max(0, x) of the library's definition: 0 unless x is greater.
inline lanes at_least_zero(lanes x) { return x > lanes{} ? x : lanes{}; }

template <distance_kind kind>
inline lanes part(lanes u)
{
    if constexpr (kind == distance_kind::euclidean)
        return u * u;
    else
        return magnitude(u);
}

/// int_power of distance.h, lane by lane.
inline lanes power(lanes x, std::uint32_t n)
{
    if (n <= 1)
        return x;
    lanes r = x;
    do {
        r = r * r;
        if ((n & 1u) != 0)
            r = r * x;
        n >>= 1;
    } while (n > 1);
    return r;
}

/// Term of a distance, its mark included.
inline lanes term(lanes distance, std::uint32_t p, lanes floor)
{
    const lanes d = magnitude(distance);
    const lanes term = 1.0 / power(d, p);
    return ((d < floor) & ((mask)distance >= 0)) ? all(1e200) : term;
}

/// 1 / x within estimate_error of itself.
#ifdef __AVX512F__
inline lanes reciprocal_estimate(lanes x) { return (lanes)_mm512_maskz_rcp14_pd(0xFF, (__m512d)x); }
constexpr double estimate_error = 0x1p-13; // the instruction's is 2^-14
#else
inline lanes reciprocal_estimate(lanes x) { return 1.0 / x; }
constexpr double estimate_error = 0.0;
#endif

inline lanes term_estimate(lanes distance, std::uint32_t p, lanes floor)
{
    return distance < floor ? all(1e200) : reciprocal_estimate(power(distance, p));
}

inline mask row_numbers()
{
    mask m{};
    for (int i = 0; i < LANES; ++i)
        m[i] = i;
    return m;
}

const double infinity = __builtin_inf();

void terms(std::int32_t p, double floor, std::int32_t stride, const double* distance, double* out)
{
    const lanes least = all(floor);
    for (std::int32_t r = 0; r < stride; r += LANES)
        store(out + r, term(load(distance + r), static_cast<std::uint32_t>(p), least));
}

/// Distances of rows a and b to one block of rows after an exchange, not yet held at 0 from below.
///   own   the lanes of rows a and b
template <distance_kind kind>
inline void exchanged_block(const exchange_lines& l, std::int32_t r, mask own, lanes& new_a, lanes& new_b)
{
    const lanes x = load(l.column + r);
    const lanes delta = part<kind>(x - l.entry_b) - part<kind>(x - l.entry_a);
    new_a = magnitude(load(l.distance_a + r)) + delta;
    new_b = magnitude(load(l.distance_b + r)) - delta;
    new_a = own ? all(infinity) : new_a;
    new_b = own ? all(infinity) : new_b;
}

/// Goes on with both sums from row `first` to the one before `end`.
inline void add_exchanged(const exchange_results& e, std::int32_t first, std::int32_t end, exchange_sums& sums)
{
    for (std::int32_t r = first; r < end; ++r) {
        sums.old_sum += e.old_term_a[r];
        sums.old_sum += e.old_term_b[r];
        sums.new_sum += e.term_a[r];
        sums.new_sum += e.term_b[r];
    }
}

template <distance_kind kind>
[[gnu::always_inline]] inline exchange_sums exchange_of(std::int32_t p, double floor, std::int32_t rows,
                                                        std::int32_t stride, const exchange_lines& l,
                                                        const exchange_results& given)
{
    const exchange_results out = given;
    const auto n = static_cast<std::uint32_t>(p);
    const lanes least = all(floor);
    const std::int32_t last = (rows - 1) / LANES * LANES; // block of the last row
    exchange_sums sums{0.0, 0.0};
    mask row = row_numbers();
    for (std::int32_t r = 0; r < stride; r += LANES, row += LANES) {
        const mask own = (row == l.a) | (row == l.b);
        lanes new_a;
        lanes new_b;
        exchanged_block<kind>(l, r, own, new_a, new_b);
        new_a = at_least_zero(new_a);
        new_b = at_least_zero(new_b);
        store(out.distance_a + r, new_a);
        store(out.distance_b + r, new_b);
        store(out.old_term_a + r, own ? lanes{} : term(load(l.distance_a + r), n, least));
        store(out.old_term_b + r, own ? lanes{} : term(load(l.distance_b + r), n, least));
        store(out.term_a + r, term(new_a, n, least));
        store(out.term_b + r, term(new_b, n, least));
        // One block behind: the chains of additions then run beside the divisions.
        if (r > 0 && r <= last)
            add_exchanged(out, r - LANES, r, sums);
    }
    add_exchanged(out, last, rows, sums);
    return sums;
}

constexpr std::int32_t usual_p = 10; // of the default exponent; told, the loops over its bits are unrolled

exchange_sums exchange(distance_kind kind, std::int32_t p, double floor, std::int32_t rows, std::int32_t stride,
                       const exchange_lines& l, const exchange_results& out)
{
    if (kind == distance_kind::euclidean && p == usual_p)
        return exchange_of<distance_kind::euclidean>(usual_p, floor, rows, stride, l, out);
    return kind == distance_kind::euclidean ? exchange_of<distance_kind::euclidean>(p, floor, rows, stride, l, out)
                                            : exchange_of<distance_kind::rectangular>(p, floor, rows, stride, l, out);
}

// Bounds: distances in 16-bit integers, their terms in single precision.

using floats = float_vec;
using shorts = short_vec;
using counts = count_vec;

constexpr std::uint16_t none = 65535; // as coarse_none
static_assert(2 * FLOATS <= static_cast<int>(most_bound_terms));

template <class Vector, class Element>
inline Vector all_of(Element x)
{
    return x - Vector{};
}
inline counts all_counts(std::uint16_t x) { return all_of<counts>(x); }
inline floats all_floats(float x) { return x - floats{}; }

/// 1 / x within 2^-14 of itself.
inline floats reciprocal(floats x)
{
#ifdef __AVX512F__
    return reinterpret_cast<floats>(_mm512_maskz_rcp14_ps(0xFFFF, reinterpret_cast<__m512>(x)));
#else
    return 1.0f / x;
#endif
}

/// x y + z, rounded once or twice: what is computed of it is only a bound.
inline floats multiply_add(floats x, floats y, floats z)
{
#ifdef __AVX512F__
    return (floats)_mm512_fmadd_ps((__m512)x, (__m512)y, (__m512)z);
#else
    return x * y + z;
#endif
}

/// The terms of two vectors of distances over the reference distance, lane by lane. The powers go side by side; where
/// one leaves the range its term is 0 or +inf.
inline floats sum_of_terms(floats x, floats y, std::uint32_t p)
{
    floats px = x;
    floats py = y;
    for (std::uint32_t n = p; n > 1; n >>= 1) {
        px = px * px;
        py = py * py;
        if ((n & 1u) != 0) {
            px = px * x;
            py = py * y;
        }
    }
    return reciprocal(px) + reciprocal(py);
}

/// How the distances of rows a and b to a third one change by an exchange, in steps: by what coarse_rows computes,
/// which takes in a bias, and a constant. For the Euclidean kind they change linearly with the third row's entry.
struct coarse_change {
    std::int16_t slope;
    float offset_a, offset_b; ///< the constant, less the bias, and the doubt
};

template <distance_kind kind>
inline coarse_change change_of(const coarse_lines& l, std::int32_t a, std::int32_t b)
{
    const float least = static_cast<float>(l.doubt) - static_cast<float>(l.bias);
    if constexpr (kind == distance_kind::rectangular)
        return {0, least, least};
    const double xa = l.entries[a];
    const double xb = l.entries[b];
    constexpr double upwards = 32768.5; // so that leaving out the fraction rounds
    const int slope = static_cast<int>((xa - xb) * l.slope_scale + upwards) - 32768;
    const auto constant = static_cast<float>(l.scale * (xb - xa) * ((xb - l.middle) + (xa - l.middle)) + 0.5);
    return {static_cast<std::int16_t>(slope), least + constant, least - constant};
}

/// The rows of an exchange beside the others, by whole vectors or by halves. Changes are counted from the bias on, so
/// that what is too far to count stays so.
template <distance_kind kind, class Shorts = shorts, class Counts = counts>
struct coarse_rows {
    const std::uint16_t* line_a;
    const std::uint16_t* line_b;
    const std::uint16_t* mark_a;
    const std::uint16_t* mark_b;
    const std::int16_t* column;
    Shorts slope;
    short ya, yb;
    Counts bias;

    coarse_rows(const coarse_lines& l, std::int32_t a, std::int32_t b, const coarse_change& change)
        : line_a(l.distances + static_cast<std::int64_t>(a) * l.stride),
          line_b(l.distances + static_cast<std::int64_t>(b) * l.stride), mark_a(l.marks + l.stride - a),
          mark_b(l.marks + l.stride - b), column(l.column), slope(all_of<Shorts>(change.slope)), ya(l.column[a]),
          yb(l.column[b]), bias(all_of<Counts>(l.bias))
    {
    }

    /// For the rows from r on.
    void steps(std::int32_t r, Counts& steps_a, Counts& steps_b) const
    {
        const auto y = load_as<Shorts>(column + r);
        Counts by;
        if constexpr (kind == distance_kind::euclidean) {
            by = (Counts)high_product(slope, y);
        } else {
            const Shorts to_b = y - yb;
            const Shorts to_a = y - ya;
            by = (Counts)((to_b < 0 ? -to_b : to_b) - (to_a < 0 ? -to_a : to_a));
        }
        // The pair itself keeps its distance.
        steps_a = saturated_sum(load_as<Counts>(line_a + r), bias + by) | load_as<Counts>(mark_b + r);
        steps_b = saturated_sum(load_as<Counts>(line_b + r), bias - by) | load_as<Counts>(mark_a + r);
    }
};

/// Terms of two halves of what `steps` gives, distances being larger than they are by at most twice the doubt.
inline floats terms_of_steps(half_count_vec steps_a, half_count_vec steps_b, const coarse_change& change, float unit,
                             std::uint32_t p)
{
    const floats units = all_floats(unit);
    return sum_of_terms(multiply_add(to_floats(steps_a), units, all_floats(change.offset_a * unit)),
                        multiply_add(to_floats(steps_b), units, all_floats(change.offset_b * unit)), p);
}

/// The least new distances of rows a and b, lane by lane: as many different terms of the new sum, which cannot be
/// less than these.
template <distance_kind kind>
[[gnu::always_inline]] inline floats bound_of(std::int32_t p, const coarse_lines& l, std::int32_t a, std::int32_t b,
                                              const coarse_change& change)
{
    const coarse_rows<kind> rows(l, a, b, change);
    counts least_a;
    counts least_b;
    rows.steps(0, least_a, least_b);
    for (std::int32_t r = SHORTS; r < l.stride; r += SHORTS) {
        counts steps_a;
        counts steps_b;
        rows.steps(r, steps_a, steps_b);
        least_a = smaller(steps_a, least_a);
        least_b = smaller(steps_b, least_b);
    }
    return terms_of_steps(smaller(half<0>(least_a), half<1>(least_a)), smaller(half<0>(least_b), half<1>(least_b)),
                          change, l.unit, static_cast<std::uint32_t>(p));
}

/// The same of so few rows that half a vector holds them: each is a group of its own.
template <distance_kind kind>
[[gnu::always_inline]] inline floats bound_of_few(std::int32_t p, const coarse_lines& l, std::int32_t a,
                                                  std::int32_t b, const coarse_change& change)
{
    const coarse_rows<kind, half_short_vec, half_count_vec> rows(l, a, b, change);
    half_count_vec steps_a;
    half_count_vec steps_b;
    rows.steps(0, steps_a, steps_b);
    return terms_of_steps(steps_a, steps_b, change, l.unit, static_cast<std::uint32_t>(p));
}

template <distance_kind kind>
[[gnu::always_inline]] inline void bounds_of(std::int32_t p, const coarse_lines& given, std::int32_t count,
                                             const std::int32_t* rows_a, const std::int32_t* rows_b, float* bound)
{
    const coarse_lines lines = given; // which nothing that is written here can change
    constexpr std::int32_t portion = 64;
    coarse_change changes[portion];
    for (std::int32_t first = 0; first < count; first += portion) {
        const std::int32_t end = first + portion < count ? first + portion : count;
        for (std::int32_t c = first; c < end; ++c)
            changes[c - first] = change_of<kind>(lines, rows_a[c], rows_b[c]);
        if constexpr (LANES >= 4) {
            if (lines.rows <= SHORTS / 2) {
                for (std::int32_t c = first; c < end; ++c)
                    bound[c] = sum_of_lanes(bound_of_few<kind>(p, lines, rows_a[c], rows_b[c], changes[c - first]));
                continue;
            }
        }
        for (std::int32_t c = first; c < end; ++c)
            bound[c] = sum_of_lanes(bound_of<kind>(p, lines, rows_a[c], rows_b[c], changes[c - first]));
    }
}

void bound_exchanges(distance_kind kind, std::int32_t p, const coarse_lines& lines, std::int32_t count,
                     const std::int32_t* rows_a, const std::int32_t* rows_b, float* bound)
{
    if (kind == distance_kind::euclidean && p == usual_p)
        bounds_of<distance_kind::euclidean>(usual_p, lines, count, rows_a, rows_b, bound);
    else if (kind == distance_kind::euclidean)
        bounds_of<distance_kind::euclidean>(p, lines, count, rows_a, rows_b, bound);
    else
        bounds_of<distance_kind::rectangular>(p, lines, count, rows_a, rows_b, bound);
}

template <distance_kind kind>
[[gnu::always_inline]] inline coarse_sum close_bound_of(std::int32_t p, const coarse_lines& l, std::int32_t a,
                                                        std::int32_t b)
{
    const coarse_change change = change_of<kind>(l, a, b);
    const coarse_rows<kind> rows(l, a, b, change);
    counts least_a = all_counts(none);
    counts least_b = all_counts(none);
    floats total{};
    for (std::int32_t r = 0; r < l.stride; r += SHORTS) {
        counts steps_a;
        counts steps_b;
        rows.steps(r, steps_a, steps_b);
        least_a = smaller(steps_a, least_a);
        least_b = smaller(steps_b, least_b);
        total += terms_of_steps(half<0>(steps_a), half<0>(steps_b), change, l.unit, static_cast<std::uint32_t>(p));
        total += terms_of_steps(half<1>(steps_a), half<1>(steps_b), change, l.unit, static_cast<std::uint32_t>(p));
    }
    const floats least = smaller(to_floats(smaller(half<0>(least_a), half<1>(least_a))) + change.offset_a,
                                 to_floats(smaller(half<0>(least_b), half<1>(least_b))) + change.offset_b);
    return {sum_of_lanes(total), least_of_lanes(least) - static_cast<float>(l.doubt)};
}

coarse_sum close_bound(distance_kind kind, std::int32_t p, const coarse_lines& lines, std::int32_t a, std::int32_t b)
{
    if (kind == distance_kind::euclidean && p == usual_p)
        return close_bound_of<distance_kind::euclidean>(usual_p, lines, a, b);
    return kind == distance_kind::euclidean ? close_bound_of<distance_kind::euclidean>(p, lines, a, b)
                                            : close_bound_of<distance_kind::rectangular>(p, lines, a, b);
}

template <distance_kind kind>
[[gnu::always_inline]] inline double sum_of(std::int32_t p, double floor, std::int32_t stride,
                                            const exchange_lines& l)
{
    const auto n = static_cast<std::uint32_t>(p);
    lanes sum_a{};
    lanes sum_b{};
    mask row = row_numbers();
    for (std::int32_t r = 0; r < stride; r += LANES, row += LANES) {
        lanes new_a;
        lanes new_b;
        exchanged_block<kind>(l, r, (row == l.a) | (row == l.b), new_a, new_b);
        sum_a += term_estimate(at_least_zero(new_a), n, all(floor));
        sum_b += term_estimate(at_least_zero(new_b), n, all(floor));
    }
    return sum_of_lanes(sum_a + sum_b);
}

double sum_after_exchange(distance_kind kind, std::int32_t p, double floor, std::int32_t stride,
                          const exchange_lines& l)
{
    if (kind == distance_kind::euclidean && p == usual_p)
        return sum_of<distance_kind::euclidean>(usual_p, floor, stride, l);
    return kind == distance_kind::euclidean ? sum_of<distance_kind::euclidean>(p, floor, stride, l)
                                            : sum_of<distance_kind::rectangular>(p, floor, stride, l);
}

template <distance_kind kind>
void move_of(std::int32_t stride, const double* column, double entry_old, double entry_new, const double* distance,
             double* out)
{
    for (std::int32_t r = 0; r < stride; r += LANES) {
        const lanes x = load(column + r);
        const lanes delta = part<kind>(x - entry_new) - part<kind>(x - entry_old);
        store(out + r, at_least_zero(magnitude(load(distance + r)) + delta));
    }
}

void move(distance_kind kind, std::int32_t stride, const double* column, double entry_old, double entry_new,
          const double* distance, double* out)
{
    if (kind == distance_kind::euclidean)
        move_of<distance_kind::euclidean>(stride, column, entry_old, entry_new, distance, out);
    else
        move_of<distance_kind::rectangular>(stride, column, entry_old, entry_new, distance, out);
}

double sum(std::int32_t stride, const double* line)
{
    lanes total{};
    for (std::int32_t r = 0; r < stride; r += LANES)
        total += load(line + r);
    return sum_of_lanes(total);
}

/// New sums of one block of rows when a term of each is replaced.
inline void replace_in_sums(std::int32_t r, lanes before, lanes after, double* row_sum, double* row_upper)
{
    const lanes sum = load(row_sum + r);
    const lanes total = (sum - before) + after;
    const lanes doubt = load(row_upper + r) - sum;
    store(row_upper + r, total + doubt + 8e-16 * (magnitude(total) + magnitude(sum) + before + after + doubt));
    store(row_sum + r, total);
}

void replace_terms(std::int32_t stride, const double* old_terms, const double* new_terms, double* row_sum,
                   double* row_upper)
{
    for (std::int32_t r = 0; r < stride; r += LANES)
        replace_in_sums(r, load(old_terms + r), load(new_terms + r), row_sum, row_upper);
}

} // namespace

constexpr phip_kernels KERNELS{
    NAME,        estimate_error,     terms, exchange, bound_exchanges,
    close_bound, sum_after_exchange, move,  sum,      replace_terms,
};

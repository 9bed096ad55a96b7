// The kernels in vector form. NAME, LANES and KERNELS are set by the file that includes this one. Vectors are the
// compiler's own; each operation on them is one IEEE operation a lane, and nothing is fused (-ffp-contract=off).

#include "criteria/simd/lanes.h"
#include "criteria/simd/phip_kernels.h"

#include <cstring>

#ifdef __AVX512F__
#include <immintrin.h>
#endif

namespace {

using lanes = vec;
using mask = vec_bits;

inline lanes all(double x) { return x - lanes{}; }

inline lanes smaller(lanes x, lanes y) { return x < y ? x : y; }

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

/// 1 / x within estimate_error of itself, for bounds.
#ifdef __AVX512F__
inline lanes reciprocal_estimate(lanes x)
{
    return reinterpret_cast<lanes>(_mm512_maskz_rcp14_pd(0xFF, reinterpret_cast<__m512d>(x)));
}
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

template <distance_kind kind>
void distances_of(std::int32_t rows, std::int32_t stride, std::int32_t factors, const double* columns,
                  const double* point, double* out)
{
    for (std::int32_t r = 0; r < stride; r += LANES) {
        lanes sum{};
        for (std::int32_t k = 0; k < factors; ++k)
            sum = sum + part<kind>(load(columns + static_cast<std::int64_t>(k) * stride + r) - point[k]);
        store(out + r, sum);
    }
    for (std::int32_t r = rows; r < stride; ++r)
        out[r] = infinity;
}

void distances(distance_kind kind, std::int32_t rows, std::int32_t stride, std::int32_t factors,
               const double* columns, const double* point, double* out)
{
    if (kind == distance_kind::euclidean)
        distances_of<distance_kind::euclidean>(rows, stride, factors, columns, point, out);
    else
        distances_of<distance_kind::rectangular>(rows, stride, factors, columns, point, out);
}

void terms(std::int32_t p, double floor, std::int32_t stride, const double* distance, double* out)
{
    const lanes least = all(floor);
    for (std::int32_t r = 0; r < stride; r += LANES)
        store(out + r, term(load(distance + r), static_cast<std::uint32_t>(p), least));
}

/// Distances of rows a and b to one block of rows after an exchange, not yet held at 0 from below.
template <distance_kind kind>
inline void exchanged_block(const exchange_lines& l, std::int32_t r, mask row, lanes& new_a, lanes& new_b)
{
    const lanes x = load(l.column + r);
    const lanes delta = part<kind>(x - l.entry_b) - part<kind>(x - l.entry_a);
    new_a = magnitude(load(l.distance_a + r)) + delta;
    new_b = magnitude(load(l.distance_b + r)) - delta;
    new_a = row == l.b ? all(infinity) : new_a;
    new_b = row == l.a ? all(infinity) : new_b;
}

template <distance_kind kind>
inline void exchange_of(std::int32_t p, double floor, std::int32_t stride, const exchange_lines& l,
                        const exchange_results& out)
{
    const auto n = static_cast<std::uint32_t>(p);
    const lanes least = all(floor);
    mask row = row_numbers();
    for (std::int32_t r = 0; r < stride; r += LANES, row += LANES) {
        lanes new_a;
        lanes new_b;
        exchanged_block<kind>(l, r, row, new_a, new_b);
        new_a = at_least_zero(new_a);
        new_b = at_least_zero(new_b);
        store(out.distance_a + r, new_a);
        store(out.distance_b + r, new_b);
        store(out.old_term_a + r, term(load(l.distance_a + r), n, least));
        store(out.old_term_b + r, term(load(l.distance_b + r), n, least));
        store(out.term_a + r, term(new_a, n, least));
        store(out.term_b + r, term(new_b, n, least));
    }
}

constexpr std::int32_t usual_p = 10; // of the default exponent; told, the loops over its bits are unrolled

void exchange(distance_kind kind, std::int32_t p, double floor, std::int32_t stride, const exchange_lines& l,
              const exchange_results& out)
{
    if (kind == distance_kind::euclidean && p == usual_p)
        exchange_of<distance_kind::euclidean>(usual_p, floor, stride, l, out);
    else if (kind == distance_kind::euclidean)
        exchange_of<distance_kind::euclidean>(p, floor, stride, l, out);
    else
        exchange_of<distance_kind::rectangular>(p, floor, stride, l, out);
}

// Bounds, in single precision: twice as many lanes.

using floats = float_vec;
using float_mask = float_vec_bits;

inline floats smaller(floats x, floats y) { return x < y ? x : y; }

/// 1 / x within 2^-14 of itself.
inline floats reciprocal(floats x)
{
#ifdef __AVX512F__
    return reinterpret_cast<floats>(_mm512_maskz_rcp14_ps(0xFFFF, reinterpret_cast<__m512>(x)));
#else
    return 1.0f / x;
#endif
}

inline float_mask float_row_numbers()
{
    float_mask m{};
    for (int i = 0; i < FLOATS; ++i)
        m[i] = i;
    return m;
}

/// The terms of two vectors of distances, lane by lane; distances are upper bounds over the reference distance, each
/// term counts as 1e9 at most. The powers go side by side; where one leaves the range its term is 0 or the most.
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
    const floats most = 1e9f - floats{};
    return smaller(reciprocal(px), most) + smaller(reciprocal(py), most);
}

/// How the distances of rows a and b change by an exchange: by change(r) + constant, and by the opposite. For the
/// Euclidean kind that is linear in the entry.
template <distance_kind kind>
struct coarse_change {
    float ya, yb, slope, constant;

    coarse_change(const coarse_lines& l, std::int32_t a, std::int32_t b)
        : ya(l.column[a]), yb(l.column[b]), slope(2.0f * (ya - yb)),
          constant(kind == distance_kind::euclidean ? (yb - ya) * (yb + ya) : 0.0f)
    {
    }
    floats of(floats y) const
    {
        if constexpr (kind == distance_kind::euclidean)
            return slope * y;
        else
            return magnitude(y - yb) - magnitude(y - ya);
    }
};

/// The least new distances of rows a and b, lane by lane: as many different terms of the new sum, which cannot be
/// less than these.
template <distance_kind kind>
[[gnu::always_inline]] inline floats bound_of(std::int32_t p, const coarse_lines& l, std::int32_t a, std::int32_t b)
{
    const float* line_a = l.distances + static_cast<std::int64_t>(a) * l.pitch;
    const float* line_b = l.distances + static_cast<std::int64_t>(b) * l.pitch;
    const coarse_change<kind> change(l, a, b);
    const floats none = __builtin_inff() - floats{};
    floats least_a = none;
    floats least_b = none;
    float_mask row = float_row_numbers();
    for (std::int32_t r = 0; r < l.stride; r += FLOATS, row += FLOATS) {
        const floats by = change.of(load(l.column + r));
        // The pair itself keeps its distance.
        least_a = smaller(row == b ? none : load(line_a + r) + by, least_a);
        least_b = smaller(row == a ? none : load(line_b + r) - by, least_b);
    }
    return sum_of_terms((least_a + change.constant) * l.unit + l.doubt,
                        (least_b - change.constant) * l.unit + l.doubt, static_cast<std::uint32_t>(p));
}

template <distance_kind kind>
[[gnu::always_inline]] inline void bounds_of(std::int32_t p, const coarse_lines& lines, std::int32_t count,
                                             const std::int32_t* rows_a, const std::int32_t* rows_b, float* bound)
{
    for (std::int32_t c = 0; c < count; ++c)
        bound[c] = sum_of_lanes(bound_of<kind>(p, lines, rows_a[c], rows_b[c]));
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
inline float close_bound_of(std::int32_t p, const coarse_lines& l, std::int32_t a, std::int32_t b)
{
    const float* line_a = l.distances + static_cast<std::int64_t>(a) * l.pitch;
    const float* line_b = l.distances + static_cast<std::int64_t>(b) * l.pitch;
    const coarse_change<kind> change(l, a, b);
    const floats none = __builtin_inff() - floats{};
    floats total{};
    float_mask row = float_row_numbers();
    for (std::int32_t r = 0; r < l.stride; r += FLOATS, row += FLOATS) {
        const floats by = change.of(load(l.column + r)) + change.constant;
        const floats new_a = row == b ? none : load(line_a + r) + by;
        const floats new_b = row == a ? none : load(line_b + r) - by;
        total += sum_of_terms(new_a * l.unit + l.doubt, new_b * l.unit + l.doubt, static_cast<std::uint32_t>(p));
    }
    return sum_of_lanes(total);
}

float close_bound(distance_kind kind, std::int32_t p, const coarse_lines& lines, std::int32_t a, std::int32_t b)
{
    if (kind == distance_kind::euclidean && p == usual_p)
        return close_bound_of<distance_kind::euclidean>(usual_p, lines, a, b);
    return kind == distance_kind::euclidean ? close_bound_of<distance_kind::euclidean>(p, lines, a, b)
                                            : close_bound_of<distance_kind::rectangular>(p, lines, a, b);
}

template <distance_kind kind>
double sum_of(std::int32_t p, double floor, std::int32_t stride, const exchange_lines& l)
{
    const auto n = static_cast<std::uint32_t>(p);
    lanes sum_a{};
    lanes sum_b{};
    mask row = row_numbers();
    for (std::int32_t r = 0; r < stride; r += LANES, row += LANES) {
        lanes new_a;
        lanes new_b;
        exchanged_block<kind>(l, r, row, new_a, new_b);
        sum_a += term_estimate(at_least_zero(new_a), n, all(floor));
        sum_b += term_estimate(at_least_zero(new_b), n, all(floor));
    }
    return sum_of_lanes(sum_a + sum_b);
}

double sum_after_exchange(distance_kind kind, std::int32_t p, double floor, std::int32_t stride,
                          const exchange_lines& l)
{
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

/// x rounded to the grid, for 0 <= x < limit: adding 3 limit brings the last bit of the sum to the grid's step.
inline lanes to_grid(lanes x, lanes limit)
{
    const lanes shift = 3.0 * limit;
    return (x + shift) - shift;
}

/// 1 where x lies half way between two grid points.
inline lanes tie(lanes x, lanes rounded, lanes limit)
{
    return magnitude(x - rounded) == limit * 0x1p-52 ? all(1.0) : lanes{};
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

void replace_terms(std::int32_t stride, std::int32_t line, const double* old_terms, const double* new_terms,
                   double* row_sum, double* row_upper, const grid_cache& grid)
{
    const std::int32_t first = line / LANES * LANES; // block of the first row that may be behind the line
    for (std::int32_t r = 0; r < first; r += LANES)
        replace_in_sums(r, load(old_terms + r), load(new_terms + r), row_sum, row_upper);
    mask row = row_numbers() + first;
    for (std::int32_t r = first; r < stride; r += LANES, row += LANES) {
        const lanes before = load(old_terms + r);
        const lanes after = load(new_terms + r);
        replace_in_sums(r, before, after, row_sum, row_upper);

        const lanes limit = load(grid.limit + r);
        const lanes rounded_before = to_grid(before, limit);
        const lanes rounded_after = to_grid(after, limit);
        const lanes grid_total = (load(grid.sum + r) - rounded_before) + rounded_after;
        lanes ties = load(grid.ties + r) - tie(before, rounded_before, limit) + tie(after, rounded_after, limit);
        // Beyond the binade neither the rounding nor the sum is exact any more.
        ties = ((after < limit) & (grid_total < 4.0 * limit)) ? ties : all(infinity);
        const mask behind = row > line;
        store(grid.sum + r, behind ? grid_total : load(grid.sum + r));
        store(grid.ties + r, behind ? ties : load(grid.ties + r));
    }
}

void grid_sum(std::int32_t count, const double* terms, double limit, double* sum, double* ties)
{
    const lanes limits = all(limit);
    lanes total{};
    lanes tie_count{};
    lanes largest{};
    std::int32_t i = 0;
    for (; i + LANES <= count; i += LANES) {
        const lanes t = load(terms + i);
        const lanes rounded = to_grid(t, limits);
        total += rounded;
        tie_count += tie(t, rounded, limits);
        largest = t < largest ? largest : t;
    }
    if (i < count) {
        alignas(sizeof(lanes)) double rest[LANES] = {};
        std::memcpy(rest, terms + i, static_cast<std::size_t>(count - i) * sizeof(double));
        const lanes t = load(rest);
        const lanes rounded = to_grid(t, limits);
        total += rounded;
        tie_count += tie(t, rounded, limits);
        largest = t < largest ? largest : t;
    }
    bool fits = true;
    for (int lane = 0; lane < LANES; ++lane)
        fits = fits && largest[lane] < limit;
    *sum = sum_of_lanes(total);
    *ties = fits && *sum < 4.0 * limit ? sum_of_lanes(tie_count) : infinity;
}

} // namespace

constexpr phip_kernels KERNELS{
    NAME,        estimate_error,     distances, terms, exchange,      bound_exchanges,
    close_bound, sum_after_exchange, move,      sum,   replace_terms, grid_sum,
};

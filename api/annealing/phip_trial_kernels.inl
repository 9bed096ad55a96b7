// The kernels in vector form. NAME, LANES and KERNELS are set by the file that includes this one.

#include "api/annealing/phip_trial_kernels.h"
#include "api/annealing/trial_lanes.h"

namespace optdoe {
namespace {

constexpr std::size_t blocks_between_looks = 8;

template <int fixed_power>
inline float_lanes powered(float_lanes y, int power)
{
    if constexpr (fixed_power == 10) {
        const float_lanes square = y * y;
        const float_lanes fourth = square * square;
        return fourth * fourth * square;
    } else {
        float_lanes result = all(1.0f);
        for (int bits = power; bits > 0; bits >>= 1, y *= y)
            if ((bits & 1) != 0)
                result *= y;
        return result;
    }
}

/// How much farther row a gets from the rows, and row b nearer; the two keep their distance.
template <bool euclidean>
class distance_change {
public:
    explicit distance_change(const phip_exchange_lines& lines)
        : x_(lines.x), x_a_(all(lines.x[lines.a])), x_b_(all(lines.x[lines.b])), pair_(lines.a, lines.b)
    {
    }
    float_lanes at(std::size_t place) const
    {
        const float_lanes x = load_floats(x_ + place);
        const float_lanes change =
            euclidean ? (x_a_ - x_b_) * ((x - x_a_) + (x - x_b_)) : size_of(x - x_b_) - size_of(x - x_a_);
        return pair_.at(place) ? float_lanes{} : change;
    }

private:
    const float* x_;
    float_lanes x_a_, x_b_;
    row_finder pair_;
};

struct term_lanes {
    explicit term_lanes(const phip_shape& shape)
        : unit(all(shape.unit)), nearest(all(shape.nearest)), farthest(all(shape.farthest)), power(shape.power)
    {
    }
    float_lanes bounded(float_lanes d) const { return least_of(most_of(d, nearest), farthest); }

    float_lanes unit, nearest, farthest;
    int power;
};

template <bool euclidean, int fixed_power>
float new_terms_of(const phip_shape& shape, const phip_exchange_lines& lines, float limit)
{
    const term_lanes terms(shape);
    const distance_change<euclidean> changes(lines);
    float_lanes sum[vectors] = {};
    const std::size_t step = block * blocks_between_looks;
    for (std::size_t start = 0; start < lines.stride; start += step) {
        const std::size_t end = start + step < lines.stride ? start + step : lines.stride;
        for (std::size_t r = start; r < end; r += block)
#pragma GCC unroll 4
            for (std::size_t v = 0; v < vectors; ++v) {
                const std::size_t at = r + v * FLOATS;
                const float_lanes change = changes.at(at);
                const float_lanes a = terms.bounded(load_floats(lines.line_a + at) + change);
                const float_lanes b = terms.bounded(load_floats(lines.line_b + at) - change);
                // One division serves both: unit/a = (unit / (a b)) b.
                const float_lanes both = terms.unit / (a * b);
                sum[v] += powered<fixed_power>(both * b, terms.power) + powered<fixed_power>(both * a, terms.power);
            }
        const float so_far = folded(sum);
        if (so_far > limit || end == lines.stride)
            return so_far;
    }
    return 0.0f;
}

template <bool euclidean, int fixed_power>
void commit_of(const phip_shape& shape, const phip_exchange_lines& lines, float* new_a, float* new_b, double* sums,
               double* change_a, double* change_b)
{
    const term_lanes terms(shape);
    const distance_change<euclidean> changes(lines);
    double sum_a[block] = {};
    double sum_b[block] = {};
    for (std::size_t r = 0; r < lines.stride; r += block) {
        alignas(64) float before_a[block];
        alignas(64) float before_b[block];
        alignas(64) float after_a[block];
        alignas(64) float after_b[block];
        for (std::size_t v = 0; v < vectors; ++v) {
            const std::size_t at = r + v * FLOATS;
            const float_lanes change = changes.at(at);
            const float_lanes old_a = load_floats(lines.line_a + at);
            const float_lanes old_b = load_floats(lines.line_b + at);
            const auto term = [&](float_lanes d) {
                return powered<fixed_power>(terms.unit / terms.bounded(d), terms.power);
            };
            store_floats(before_a + v * FLOATS, term(old_a));
            store_floats(before_b + v * FLOATS, term(old_b));
            store_floats(after_a + v * FLOATS, term(old_a + change));
            store_floats(after_b + v * FLOATS, term(old_b - change));
            store_floats(new_a + at, old_a + change);
            store_floats(new_b + at, old_b - change);
        }
        for (std::size_t i = 0; i < block; ++i) {
            const double a = static_cast<double>(after_a[i]) - static_cast<double>(before_a[i]);
            const double b = static_cast<double>(after_b[i]) - static_cast<double>(before_b[i]);
            sum_a[i] += a;
            sum_b[i] += b;
            sums[r + i] += a + b;
        }
    }
    *change_a = 0.0;
    *change_b = 0.0;
    for (std::size_t i = 0; i < block; ++i) {
        *change_a += sum_a[i];
        *change_b += sum_b[i];
    }
}

float new_terms(const phip_shape& shape, const phip_exchange_lines& lines, float limit)
{
    if (!shape.euclidean)
        return new_terms_of<false, 0>(shape, lines, limit);
    return shape.power == 10 ? new_terms_of<true, 10>(shape, lines, limit)
                             : new_terms_of<true, 0>(shape, lines, limit);
}

void commit(const phip_shape& shape, const phip_exchange_lines& lines, float* new_a, float* new_b, double* sums,
            double* change_a, double* change_b)
{
    if (!shape.euclidean)
        commit_of<false, 0>(shape, lines, new_a, new_b, sums, change_a, change_b);
    else if (shape.power == 10)
        commit_of<true, 10>(shape, lines, new_a, new_b, sums, change_a, change_b);
    else
        commit_of<true, 0>(shape, lines, new_a, new_b, sums, change_a, change_b);
}

double line_terms(const phip_shape& shape, std::size_t stride, const float* line)
{
    const term_lanes terms(shape);
    double sum = 0.0;
    for (std::size_t r = 0; r < stride; r += FLOATS) {
        float part[FLOATS];
        const float_lanes term = powered<0>(terms.unit / terms.bounded(load_floats(line + r)), terms.power);
        __builtin_memcpy(part, &term, sizeof term);
        for (int i = 0; i < FLOATS; ++i)
            sum += static_cast<double>(part[i]);
    }
    return sum;
}

void add_column(const phip_shape& shape, std::size_t stride, const float* x, float x_row, float* line)
{
    const float_lanes at_row = all(x_row);
    for (std::size_t r = 0; r < stride; r += FLOATS) {
        const float_lanes u = load_floats(x + r) - at_row;
        store_floats(line + r, load_floats(line + r) + (shape.euclidean ? u * u : size_of(u)));
    }
}

float least(std::size_t stride, const float* line)
{
    float_lanes lowest = load_floats(line);
    for (std::size_t r = FLOATS; r < stride; r += FLOATS)
        lowest = least_of(lowest, load_floats(line + r));
    float part[FLOATS];
    __builtin_memcpy(part, &lowest, sizeof lowest);
    for (int i = 1; i < FLOATS; ++i)
        part[0] = part[i] < part[0] ? part[i] : part[0];
    return part[0];
}

} // namespace

constexpr phip_trial_kernels KERNELS{NAME, new_terms, commit, line_terms, add_column, least};

} // namespace optdoe

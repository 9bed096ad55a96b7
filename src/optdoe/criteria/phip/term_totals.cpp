#include "optdoe/criteria/phip/term_totals.h"

#include "optdoe/criteria/distance.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/aligned_tables.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <array>
#include <cmath>

constexpr double infinity = __builtin_inf();

double term_of(const term_function& f, double distance)
{
    const bool has_floor = !std::signbit(distance);
    const double d = std::fabs(distance);
    return has_floor && d < f.floor ? phip_cap : 1.0 / int_power(d, bits_u32(f.p));
}

void totals_alloc(run_context* ctx, term_totals& t, std::int32_t rows, std::int32_t stride)
{
    parallel_vectors vectors(ctx, t.vectors, 7, stride);
    t.row_total = vectors.next(0.0);
    t.row_upper = vectors.next(0.0);
    const rows_on_grid kept{vectors.next(0.0), vectors.next(0.0), vectors.next(infinity)};
    t.triangle = {
        best_ordered_sum_kernels(), rows, stride, kept, {kept.limit, vectors.next(0.0), vectors.next(infinity)}};
}

void totals_free(run_context* ctx, term_totals& t)
{
    aligned_free_doubles(ctx, t.vectors);
    t = {};
}

void copy_totals(const term_totals& from, term_totals& to)
{
    const auto vectors = [](const term_totals& t) {
        const rows_on_grid& kept = t.triangle.kept;
        return std::array{t.row_total, t.row_upper, kept.limit, kept.sum, kept.ties};
    };
    for (std::size_t i = 0; i < vectors(from).size(); ++i)
        std::copy_n(vectors(from)[i], from.triangle.stride, vectors(to)[i]);
    to.rows_as_of = from.rows_as_of;
    to.triangle_as_of = from.triangle_as_of;
}

void set_row_total(const term_function& f, term_totals& t, std::int32_t r, const double* terms)
{
    t.row_total[r] = f.kernels->sum(t.triangle.stride, terms);
    t.row_upper[r] = t.row_total[r] * (1.0 + 4e-16 * t.triangle.rows);
}

void replace_in_row_totals(const term_function& f, term_totals& t, const replaced_line& line)
{
    f.kernels->replace_terms(t.triangle.stride, line.before, line.after, t.row_total, t.row_upper);
    set_row_total(f, t, line.line, line.after);
}

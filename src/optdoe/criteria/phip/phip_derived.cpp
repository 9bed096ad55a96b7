#include "optdoe/criteria/phip/phip_derived.h"

#include "optdoe/criteria/phip/phip_sizes.h"
#include "optdoe/vectors/aligned_tables.h"

derived_in_step in_step(const phip_state& s)
{
    const std::uint64_t version = s.distances.version;
    return {s.totals.rows_as_of == version, s.totals.triangle_as_of == version, s.coarse.as_of == version};
}

void keep_in_step(phip_state& s, const derived_in_step& was)
{
    const std::uint64_t version = s.distances.version;
    if (was.rows)
        s.totals.rows_as_of = version;
    if (was.triangle)
        s.totals.triangle_as_of = version;
    if (was.copies)
        s.coarse.as_of = version;
}

void bring_up_to_date(phip_state& s)
{
    const derived_in_step now = in_step(s);
    if (now.rows && now.copies)
        return;
    const pair_distances& d = s.distances;
    if (!now.copies)
        coarse_fit(s.coarse, d.points);
    for (std::int32_t r = 0; r < d.rows; ++r) {
        const double* line = line_of(d, r, d.rows, s.line);
        if (!now.copies)
            coarse_set_line(s.coarse, r, line);
        if (now.rows)
            continue;
        terms_of_line(s.terms, d.stride, line, s.new_terms);
        set_row_total(s.terms, s.totals, r, s.new_terms);
    }
    keep_in_step(s, {true, now.triangle, true});
}

/// Adds up a triangle of few rows, or takes it row by row on the grid.
///   fresh   take the terms that points give from scratch, not those of the lines
static double sum_lines(phip_state& s, bool fresh, std::int32_t count, const replaced_line* replaced)
{
    const auto row_of = [&s, fresh](std::int32_t j) {
        if (fresh)
            fresh_line(s.distances, j, j, s.line);
        terms_of_line(s.terms, padded_length(j), fresh ? s.line : line_of(s.distances, j, j, s.line), s.old_terms);
        return s.old_terms;
    };
    if (s.distances.rows > few_rows)
        return sum_in_order(s.totals.triangle, count, replaced, row_of);
    double total = 0.0;
    for (std::int32_t j = 1; j < s.distances.rows; ++j) {
        const double* row = row_with_replaced(j, row_of(j), count, replaced);
        for (std::int32_t i = 0; i < j; ++i)
            total += row[i];
    }
    return total;
}

double sum_of_terms(phip_state& s, std::int32_t count, const replaced_line* replaced)
{
    if (!in_step(s).triangle)
        forget_rows(s.totals.triangle);
    s.totals.triangle_as_of = s.distances.version;
    return sum_lines(s, false, count, replaced);
}

double sum_of_fresh_terms(phip_state& s) { return sum_lines(s, true, 0, nullptr); }

void replace_line(run_context* ctx, phip_state& s, std::int32_t r, const double* distances,
                  const replaced_line& terms)
{
    const derived_in_step was = in_step(s);
    if (was.rows)
        replace_in_row_totals(s.terms, s.totals, terms);
    if (was.triangle)
        replace_line_on_grid(s.totals.triangle, terms);
    if (was.copies)
        coarse_change_line(s.coarse, r, distances);
    store_line(ctx, s.distances, r, distances);
    keep_in_step(s, was);
}

void replace_line(run_context* ctx, phip_state& s, std::int32_t r, const double* distances)
{
    const derived_in_step was = in_step(s);
    if (was.rows || was.triangle) {
        terms_of_line(s.terms, s.distances.stride, line_of(s.distances, r, s.distances.rows, s.line), s.old_terms);
        terms_of_line(s.terms, s.distances.stride, distances, s.new_terms);
    }
    replace_line(ctx, s, r, distances, {r, s.old_terms, s.new_terms});
}

void replace_entry(phip_state& s, std::int32_t r, std::int32_t column, double x)
{
    const derived_in_step was = in_step(s);
    set_point(s.distances, r, column, x);
    if (was.copies)
        coarse_set_entry(s.coarse, r, column, x);
    keep_in_step(s, was);
}

void exchange_entries(phip_state& s, std::int32_t a, std::int32_t b, std::int32_t column)
{
    const double x = s.distances.points[a][column];
    replace_entry(s, a, column, s.distances.points[b][column]);
    replace_entry(s, b, column, x);
}

void exchange_equal_entries(run_context* ctx, phip_state& s, std::int32_t a, std::int32_t b, std::int32_t column)
{
    const double* x = column_line(s.distances, column);
    if (same_bits(x[a], x[b]))
        return;
    const derived_in_step was = in_step(s);
    hold_line(ctx, s.distances, a);
    hold_line(ctx, s.distances, b);
    keep_in_step(s, was);
    exchange_entries(s, a, b, column);
}

void undo_changes(run_context* ctx, phip_state& s, undo_mark& mark)
{
    undo_to(
        ctx, s.distances, mark, [&s, &mark](std::int32_t r, double x) { replace_entry(s, r, mark.column, x); },
        [&](std::int32_t r, const double* line) { replace_line(ctx, s, r, line); });
    const derived_in_step followed = in_step(s);
    s.distances.version = mark.version;
    keep_in_step(s, followed);
}

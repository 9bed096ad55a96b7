#include "optdoe/criteria/maximin/maximin.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/phip/phip_exchange.h"
#include "optdoe/criteria/phip/phip_restore.h"
#include "optdoe/run/wrap32.h"

#include <algorithm>

double maximin_value(phip_state& s)
{
    return s.free_rows < 1 ? s.term_sum : -least_distance(s.tables, s.fixed_rows, -s.term_sum);
}

/// Lines of rows a and b after their entries of a column are exchanged.
static void exchange_distances(const phip_tables& t, std::int32_t column, std::int32_t a, std::int32_t b,
                               double* line_a, double* line_b)
{
    const double* x = column_line(t, column);
    const double* old_a = stored_line(t, a);
    const double* old_b = stored_line(t, b);
    for (std::int32_t r = 0; r < t.rows; ++r) {
        const double delta = distance_part(t.kind, x[r] - x[b]) - distance_part(t.kind, x[r] - x[a]);
        line_a[r] = old_a[r] + delta;
        line_b[r] = old_b[r] - delta;
    }
    line_a[a] = old_a[a];
    line_a[b] = old_a[b];
    line_b[a] = old_b[a];
    line_b[b] = old_b[b];
}

/// Performs the exchanges one after the other; false when all were of equal entries.
static bool exchange_all(phip_state& s, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                         const std::int32_t* rows_b)
{
    phip_tables& t = s.tables;
    bool changed = false;
    for (std::int32_t i = 0; i < count; ++i) {
        const std::int32_t a = rows_a[i];
        const std::int32_t b = rows_b[i];
        if (!entries_are_equal(s, column, a, b)) {
            changed = true;
            exchange_distances(t, column, a, b, s.exchange.distance_a, s.exchange.distance_b);
            keep_for_restore(s, a);
            keep_for_restore(s, b);
            replace_row(t, a, s.exchange.distance_a);
            replace_row(t, b, s.exchange.distance_b);
        }
        swap_points(t, a, b, column);
        mark_changed(t, a);
        mark_changed(t, b);
    }
    return changed;
}

double maximin_apply_swaps(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                           const std::int32_t* rows_b)
{
    phip_state& s = *ctx->phip;
    prepare_restore(ctx, wrap_mul(2, std::max(count, 0)));
    if (exchange_all(s, column, count, rows_a, rows_b))
        s.value = maximin_value(s);
    return s.value;
}

double maximin_try_swaps(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                         const std::int32_t* rows_b)
{
    phip_state& s = *ctx->phip;
    return undone_trial(ctx, column, count, rows_a, rows_b,
                        [&] { return exchange_all(s, column, count, rows_a, rows_b) ? maximin_value(s) : s.value; });
}

double maximin_try_swap(run_context* ctx, std::int32_t column, std::int32_t a, std::int32_t b)
{
    phip_state& s = *ctx->phip;
    phip_tables& t = s.tables;
    if (entries_are_equal(s, column, a, b))
        return s.value;
    exchange_distances(t, column, a, b, s.exchange.distance_a, s.exchange.distance_b);
    double least = std::min(-s.term_sum, stored_line(t, a)[b]);
    least_distance(t, s.fixed_rows, least); // brings every row's nearest up to date
    for (std::int32_t r = 0; r < t.rows; ++r) {
        if (r == a || r == b)
            continue;
        least = std::min({least, s.exchange.distance_a[r], s.exchange.distance_b[r]});
        if (r < s.fixed_rows)
            continue;
        if (t.row_nearest[r] != a && t.row_nearest[r] != b) {
            least = std::min(least, t.row_least[r]);
            continue;
        }
        const double* line = stored_line(t, r);
        for (std::int32_t j = 0; j < t.rows; ++j)
            if (j != a && j != b)
                least = std::min(least, line[j]);
    }
    return -least;
}

void maximin_rearrange(phip_state& s, const phip_rearrangement& list)
{
    phip_tables& t = s.tables;
    bool changed = false;
    for (std::int32_t i = 0; i < list.count; ++i) {
        const std::int32_t d = list.rows_dst[i];
        const double before = t.points[d][list.column];
        const double after = list.taken[i];
        if (!equal_entries(before, after)) {
            changed = true;
            const double* x = column_line(t, list.column);
            const double* old = stored_line(t, d);
            for (std::int32_t r = 0; r < t.rows; ++r)
                t.line_distances[r] =
                    old[r] + (distance_part(t.kind, x[r] - after) - distance_part(t.kind, x[r] - before));
            t.line_distances[d] = old[d];
            replace_row(t, d, t.line_distances);
        }
        set_point(t, d, list.column, after);
        mark_changed(t, d);
    }
    if (changed)
        s.value = maximin_value(s);
}

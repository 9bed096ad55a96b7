#include "optdoe/criteria/phip/phip_rearrangement.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/phip/phip_derived.h"
#include "optdoe/criteria/phip/phip_exchange.h"

static void mark_terms_without_floor(std::int32_t rows, double floor, double* __restrict distances)
{
    for (std::int32_t r = 0; r < rows; ++r)
        distances[r] = distances[r] < floor ? -distances[r] : distances[r];
}

/// Gives row r the line that it has after its entry went from `before` to `after`. The terms have no floor here: a
/// distance of zero gives an infinite one. Distances below the floor are stored with a minus sign.
static void move_row(run_context* ctx, phip_state& s, std::int32_t column, std::int32_t row, double before,
                     double after, replaced_sums& sums)
{
    pair_distances& d = s.distances;
    const double* line = line_of(d, row, d.rows, s.line_a);
    s.terms.kernels->move(d.kind, d.stride, column_line(d, column), before, after, line, s.line);
    s.line[row] = __builtin_inf();
    s.terms.kernels->terms(s.terms.p, 0.0, d.stride, s.line, s.new_terms);
    terms_of_line(s.terms, d.stride, line, s.old_terms);
    // The row's own term is 0.
    sums.old_sum = add_in_order(*s.totals.triangle.kernels, sums.old_sum, d.rows, s.old_terms);
    sums.new_sum = add_in_order(*s.totals.triangle.kernels, sums.new_sum, d.rows, s.new_terms);
    mark_terms_without_floor(d.rows, s.terms.floor, s.line);
    store_line(ctx, d, row, s.line);
}

void rearrange(run_context* ctx, phip_state& s)
{
    const rearrangement_list& list = s.rearrangement;
    log_changed_lines(ctx, s.distances);
    replaced_sums sums{0.0, 0.0, false};
    for (std::int32_t i = 0; i < list.count; ++i) {
        const std::int32_t row = list.rows_dst[i];
        const double before = s.distances.points[row][list.column];
        const double after = list.taken[i];
        if (!equal_entries(before, after)) {
            sums.changed = true;
            move_row(ctx, s, list.column, row, before, after, sums);
        }
        if (!same_bits(before, after)) {
            hold_line(ctx, s.distances, row);
            set_point(s.distances, row, list.column, after);
        }
    }
    if (sums.changed)
        commit_sum(s, sums);
}

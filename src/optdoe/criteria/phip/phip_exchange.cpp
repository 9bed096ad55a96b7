#include "optdoe/criteria/phip/phip_exchange.h"

#include "optdoe/criteria/phip/phip_derived.h"

#include <array>
#include <cmath>

constexpr std::int32_t updates_between_sums = 5;

double value_of_sum(phip_state& s, double sum)
{
    const double half = s.distances.kind == distance_kind::euclidean ? 0.5 : 1.0; // squared distances are kept
    if (!same_bits(sum, s.last_root.sum))
        s.last_root = {sum, std::pow(sum, half / s.terms.p)};
    return s.last_root.value;
}

void set_sum(phip_state& s, double sum)
{
    s.update_count = 0;
    s.term_sum = capped(sum);
    s.value = value_of_sum(s, s.term_sum);
}

exchange_lines lines_of(const phip_state& s, std::int32_t column, std::int32_t a, std::int32_t b)
{
    const pair_distances& d = s.distances;
    const double* x = column_line(d, column);
    return {x, x[a], x[b], line_of(d, a, d.rows, s.line_a), line_of(d, b, d.rows, s.line_b), a, b};
}

const phip_exchange& compute_exchange(phip_state& s, std::int32_t column, std::int32_t a, std::int32_t b)
{
    phip_exchange& e = s.exchange;
    const pair_distances& d = s.distances;
    if (e.as_of == d.version && e.column == column && e.a == a && e.b == b)
        return e;
    e.as_of = d.version;
    e.column = column;
    e.a = a;
    e.b = b;
    const exchange_lines lines = lines_of(s, column, a, b);
    const exchange_sums sums =
        s.terms.kernels->exchange(d.kind, s.terms.p, s.terms.floor, d.rows, d.stride, lines,
                                  {e.distance_a, e.distance_b, e.old_term_a, e.old_term_b, e.term_a, e.term_b});
    e.old_sum = sums.old_sum;
    e.new_sum = sums.new_sum;
    // The pair itself keeps its distance.
    e.distance_a[b] = e.distance_b[a] = lines.distance_a[b];
    e.term_a[b] = e.term_b[a] = e.old_term_a[b] = e.old_term_b[a] = term_of(s.terms, lines.distance_a[b]);
    return e;
}

static std::array<replaced_line, 2> replaced_lines(const phip_exchange& e)
{
    return {{{e.a, e.old_term_a, e.term_a}, {e.b, e.old_term_b, e.term_b}}};
}

void write_exchange(run_context* ctx, phip_state& s)
{
    const phip_exchange& e = s.exchange;
    for (const std::int32_t r : {e.a, e.b})
        log_line(ctx, s.distances, r);
    const auto terms = replaced_lines(e);
    replace_line(ctx, s, e.a, e.distance_a, terms[0]);
    replace_line(ctx, s, e.b, e.distance_b, terms[1]);
    exchange_entries(s, e.a, e.b, e.column);
}

double updated_sum(const phip_state& s, double old_sum, double new_sum)
{
    return capped(new_sum) + s.term_sum - capped(old_sum);
}

void commit_sum(phip_state& s, const replaced_sums& sums, std::int32_t count, const replaced_line* replaced)
{
    const double total = updated_sum(s, sums.old_sum, sums.new_sum);
    if (s.update_count == updates_between_sums || !(total / capped(sums.old_sum) >= phip_least_ratio))
        return set_sum(s, sum_of_terms(s, count, replaced));
    const std::int32_t updates = s.update_count + 1;
    set_sum(s, total);
    s.update_count = updates;
}

double try_exchange(phip_state& s, std::int32_t column, std::int32_t a, std::int32_t b)
{
    if (entries_are_equal(s.distances, column, a, b))
        return s.value;
    const phip_exchange& e = compute_exchange(s, column, a, b);
    double total = updated_sum(s, e.old_sum, e.new_sum);
    if (total / capped(e.old_sum) < phip_least_ratio)
        total = sum_of_terms(s, 2, replaced_lines(e).data());
    return value_of_sum(s, capped(total));
}

double commit_exchange(run_context* ctx, phip_state& s, std::int32_t column, std::int32_t a, std::int32_t b)
{
    if (entries_are_equal(s.distances, column, a, b)) {
        exchange_equal_entries(ctx, s, a, b, column);
        return s.value;
    }
    const phip_exchange& e = compute_exchange(s, column, a, b);
    commit_sum(s, {e.old_sum, e.new_sum, true}, 2, replaced_lines(e).data());
    s.pending = pending_change::exchange;
    return s.value;
}

/// Adds the terms of one exchange to the running sums of a batch.
static void add_to_batch(const phip_exchange& e, std::int32_t rows, replaced_sums& batch)
{
    for (std::int32_t r = 0; r < rows; ++r) {
        if (r == e.a || r == e.b)
            continue;
        batch.old_sum += e.old_term_a[r];
        batch.old_sum += e.old_term_b[r];
        batch.new_sum += e.term_a[r];
        batch.new_sum += e.term_b[r];
    }
}

double exchange_batch(run_context* ctx, phip_state& s, std::int32_t column, std::int32_t count,
                      const std::int32_t* rows_a, const std::int32_t* rows_b)
{
    replaced_sums batch{0.0, 0.0, false};
    for (std::int32_t t = 0; t < count; ++t) {
        if (entries_are_equal(s.distances, column, rows_a[t], rows_b[t])) {
            exchange_equal_entries(ctx, s, rows_a[t], rows_b[t], column);
            continue;
        }
        batch.changed = true;
        add_to_batch(compute_exchange(s, column, rows_a[t], rows_b[t]), s.distances.rows, batch);
        write_exchange(ctx, s);
    }
    if (batch.changed)
        commit_sum(s, batch);
    return s.value;
}

#include "optdoe/criteria/phip/phip_exchange.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/phip/phip_rearrangement.h"
#include "optdoe/criteria/phip/phip_restore.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cmath>
#include <utility>

constexpr std::int32_t updates_between_sums = 5;

double value_of_sum(phip_state& s, double sum)
{
    if (!same_bits(sum, s.last_root.sum))
        s.last_root = {sum, std::pow(sum, (s.tables.kind == distance_kind::euclidean ? 0.5 : 1.0) / s.tables.p)};
    return s.last_root.value;
}

exchange_lines lines_of(const phip_tables& t, std::int32_t column, std::int32_t a, std::int32_t b)
{
    const double* x = column_line(t, column);
    return {x, x[a], x[b], line_of(t, a, t.line_a), line_of(t, b, t.line_b), a, b};
}

const phip_exchange& computed_exchange(phip_state& s, std::int32_t column, std::int32_t a, std::int32_t b)
{
    phip_exchange& e = s.exchange;
    if (e.computed && e.column == column && e.a == a && e.b == b)
        return e;
    const phip_tables& t = s.tables;
    e.column = column;
    e.a = a;
    e.b = b;
    const exchange_lines lines = lines_of(t, column, a, b);
    const exchange_sums sums =
        t.kernels->exchange(t.kind, t.p, t.distance_floor, t.rows, t.stride, lines,
                            {e.distance_a, e.distance_b, e.old_term_a, e.old_term_b, e.term_a, e.term_b});
    e.old_sum = sums.old_sum;
    e.new_sum = sums.new_sum;
    // The pair itself keeps its distance.
    e.distance_a[b] = e.distance_b[a] = lines.distance_a[b];
    e.term_a[b] = e.term_b[a] = e.old_term_a[b] = e.old_term_b[a] = term_of(t, lines.distance_a[b]);
    e.computed = true;
    return e;
}

/// Replaces the rows of the exchange at hand in the tables.
static void write_exchange(phip_state& s)
{
    const phip_exchange& e = s.exchange;
    replace_row(s.tables, e.a, e.distance_a, e.old_term_a, e.term_a);
    replace_row(s.tables, e.b, e.distance_b, e.old_term_b, e.term_b);
    s.exchange.computed = false;
}

void settle(run_context* ctx)
{
    phip_state& s = *ctx->phip;
    const phip_exchange& e = s.exchange;
    if (s.trial.pending)
        take_trial_back(ctx);
    if (s.tables.refresh.pending) { // no exchange is pending then
        capture_evaluation(ctx);
        complete_refresh(s.tables);
    }
    if (!e.pending)
        return;
    s.exchange.pending = false;
    if (s.column_snapshot.armed) { // lines of before, of the points of before
        swap_points(s.tables, e.a, e.b, e.column);
        keep_for_restore(s, e.a);
        keep_for_restore(s, e.b);
        swap_points(s.tables, e.a, e.b, e.column);
    }
    write_exchange(s);
}

double updated_sum(const phip_state& s, double old_sum, double new_sum)
{
    return capped(new_sum) + s.term_sum - capped(old_sum);
}

/// The sum of all terms, in order, with the exchange at hand done, which the table need not know of.
static double sum_with_exchange(phip_state& s)
{
    const phip_exchange& e = s.exchange;
    const pending_rows pending{{{e.a, e.old_term_a, e.term_a}, {e.b, e.old_term_b, e.term_b}}};
    return sum_in_order(s.tables, &pending);
}

double commit_sum(phip_state& s, double old_sum, double new_sum)
{
    double total = updated_sum(s, old_sum, new_sum);
    if (s.update_count != updates_between_sums && total / capped(old_sum) >= phip_least_ratio) {
        s.update_count += 1;
    } else {
        s.update_count = 0;
        total = s.exchange.pending ? sum_with_exchange(s) : sum_in_order(s.tables);
    }
    s.term_sum = capped(total);
    s.value = value_of_sum(s, s.term_sum);
    return s.value;
}

/// Exchanges two equal entries. The tables keep their cells, which then differ from those of a fresh evaluation in
/// the last bits, unless the entries are the same to the bit.
static void exchange_equal_entries(run_context* ctx, std::int32_t column, std::int32_t a, std::int32_t b)
{
    phip_tables& t = ctx->phip->tables;
    const double* x = column_line(t, column);
    if (same_bits(x[a], x[b]))
        return;
    reserve_lines(ctx, t.lines, 2);
    hold_line(t, a);
    hold_line(t, b);
    swap_points(t, a, b, column);
    ctx->phip->exchange.computed = false;
}

bool entries_are_equal(const phip_state& s, std::int32_t column, std::int32_t a, std::int32_t b)
{
    const double* x = column_line(s.tables, column);
    return equal_entries(x[a], x[b]);
}

/// Adds the lines of one exchange to the running sums of a batch.
static void add_to_batch(const phip_state& s, replaced_terms& batch)
{
    const phip_exchange& e = s.exchange;
    for (std::int32_t r = 0; r < s.tables.rows; ++r) {
        if (r == e.a || r == e.b)
            continue;
        batch.old_sum += e.old_term_a[r];
        batch.old_sum += e.old_term_b[r];
        batch.new_sum += e.term_a[r];
        batch.new_sum += e.term_b[r];
    }
}

/// Performs the exchanges of a batch one after the other, tables and points.
static replaced_terms exchange_batch(run_context* ctx, std::int32_t column, std::int32_t count,
                                     const std::int32_t* rows_a, const std::int32_t* rows_b)
{
    phip_state& s = *ctx->phip;
    replaced_terms batch{0.0, 0.0, false};
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t a = rows_a[t];
        const std::int32_t b = rows_b[t];
        if (entries_are_equal(s, column, a, b)) {
            exchange_equal_entries(ctx, column, a, b);
            continue;
        }
        batch.changed = true;
        computed_exchange(s, column, a, b);
        add_to_batch(s, batch);
        keep_for_restore(s, a);
        keep_for_restore(s, b);
        reserve_lines(ctx, s.tables.lines, 2);
        write_exchange(s);
        swap_points(s.tables, a, b, column);
    }
    return batch;
}

/// One exchange: the points change at once, the tables when somebody asks for them.
static double apply_swap(run_context* ctx, std::int32_t column, std::int32_t a, std::int32_t b)
{
    phip_state& s = *ctx->phip;
    if (entries_are_equal(s, column, a, b)) {
        exchange_equal_entries(ctx, column, a, b);
        return s.value;
    }
    renew_sums(s.tables); // while points and lines agree
    const phip_exchange& e = computed_exchange(s, column, a, b);
    prepare_restore(ctx, 2);
    reserve_lines(ctx, s.tables.lines, 2);
    s.exchange.computed = false;
    s.exchange.pending = true;
    const double value = commit_sum(s, e.old_sum, e.new_sum);
    swap_points(s.tables, a, b, column);
    return value;
}

double apply_swaps_terms(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                         const std::int32_t* rows_b)
{
    phip_state& s = *ctx->phip;
    if (count == 1)
        return apply_swap(ctx, column, rows_a[0], rows_b[0]);
    prepare_restore(ctx, wrap_mul(2, std::max(count, 0)));
    const replaced_terms batch = exchange_batch(ctx, column, count, rows_a, rows_b);
    return batch.changed ? commit_sum(s, batch.old_sum, batch.new_sum) : s.value;
}

double try_swaps_terms(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                       const std::int32_t* rows_b)
{
    phip_state& s = *ctx->phip;
    return undone_trial(ctx, column, count, rows_a, rows_b, [&] {
        const replaced_terms batch = exchange_batch(ctx, column, count, rows_a, rows_b);
        return batch.changed ? commit_sum(s, batch.old_sum, batch.new_sum) : s.value;
    });
}

/// Value after one exchange. Other than a commit, it is re-summed only after cancellation.
double try_swap_terms(run_context* ctx, std::int32_t column, std::int32_t a, std::int32_t b)
{
    phip_state& s = *ctx->phip;
    if (entries_are_equal(s, column, a, b))
        return s.value;
    const phip_exchange& e = computed_exchange(s, column, a, b);
    double total = updated_sum(s, e.old_sum, e.new_sum);
    if (total / capped(e.old_sum) < phip_least_ratio)
        total = sum_with_exchange(s);
    return value_of_sum(s, capped(total));
}

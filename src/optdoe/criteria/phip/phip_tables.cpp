#include "optdoe/criteria/phip/phip_tables.h"

#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/aligned_tables.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

constexpr double infinity = __builtin_inf();

/// The sums of rows and their places on the grid.
static std::array<double*, 5> kept_sums(const phip_tables& t)
{
    return {t.row_sum, t.row_upper, t.grid.limit, t.grid.sum, t.grid.ties};
}

/// A line for every row; their padding is set.
static void take_all_lines(run_context* ctx, phip_tables& t)
{
    reserve_lines(ctx, t.lines, t.rows);
    for (std::int32_t r = 0; r < t.rows; ++r) {
        double* line = take_line(t.lines, r);
        std::fill(line + t.rows, line + t.stride, infinity);
    }
}

void phip_tables_alloc(run_context* ctx, phip_tables& t)
{
    t.stride = (t.rows + line_step - 1) / line_step * line_step;
    t.points = double_matrix_alloc(ctx, t.rows, t.factors);
    t.columns = aligned_alloc_doubles(ctx, static_cast<std::size_t>(t.factors) * bits_u32(t.stride));
    std::fill_n(t.columns, static_cast<std::ptrdiff_t>(t.factors) * t.stride, 0.0);
    line_store_alloc(ctx, t.lines, t.rows, t.stride);
    t.all_lines = t.p == 0 || t.rows <= t.few_rows;
    if (t.all_lines)
        take_all_lines(ctx, t);
    if (t.p > 0) {
        t.coarse.rows = t.rows;
        t.coarse.factors = t.factors;
        t.coarse.kind = t.kind;
        t.coarse.p = t.p;
        t.coarse.near = t.all_lines;
        coarse_alloc(ctx, t.coarse);
        parallel_vectors vectors(ctx, t.row_vectors, 12, t.stride);
        t.row_sum = vectors.next(0.0);
        t.row_upper = vectors.next(0.0);
        t.grid = {vectors.next(0.0), vectors.next(0.0), vectors.next(infinity)};
        t.pending = {t.grid.limit, vectors.next(0.0), vectors.next(infinity)};
        t.old_terms = vectors.next(0.0);
        t.new_terms = vectors.next(0.0);
        t.line_distances = vectors.next(infinity);
        t.line_a = vectors.next(infinity);
        t.line_b = vectors.next(infinity);
        t.refresh.sums = aligned_alloc_doubles(ctx, kept_sums(t).size() * bits_u32(t.stride));
    } else {
        parallel_vectors vectors(ctx, t.row_vectors, 2, t.stride);
        t.row_least = vectors.next(0.0);
        t.line_distances = vectors.next(infinity);
        t.row_nearest = int_vector_alloc(ctx, t.rows);
    }
    t.changed = int_vector_alloc(ctx, t.rows);
    t.is_changed = byte_vector_alloc(ctx, t.rows);
}

void phip_tables_free(run_context* ctx, phip_tables& t)
{
    matrix_free(ctx, t.points);
    line_store_free(ctx, t.lines);
    coarse_free(ctx, t.coarse);
    for (double* v : {t.columns, t.row_vectors, t.refresh.sums, t.refresh.lines})
        aligned_free_doubles(ctx, v);
    for (void* v :
         {static_cast<void*>(t.row_nearest), static_cast<void*>(t.changed), static_cast<void*>(t.is_changed)})
        if (v != nullptr)
            vector_free(ctx, v);
}

void set_point(phip_tables& t, std::int32_t r, std::int32_t column, double x)
{
    t.entries_set += 1;
    t.points[r][column] = x;
    column_line(t, column)[r] = x;
    if (t.p > 0)
        coarse_set_entry(t.coarse, r, column, x);
}

void swap_points(phip_tables& t, std::int32_t a, std::int32_t b, std::int32_t column)
{
    double* x = column_line(t, column);
    std::swap(t.points[a][column], t.points[b][column]);
    std::swap(x[a], x[b]);
    t.entries_set += 2;
    if (t.p > 0)
        coarse_swap_entries(t.coarse, a, b, column);
}

double term_of(const phip_tables& t, double distance)
{
    const bool has_floor = !std::signbit(distance);
    const double d = std::fabs(distance);
    return has_floor && d < t.distance_floor ? phip_cap : 1.0 / int_power(d, bits_u32(t.p));
}

void terms_of_line(const phip_tables& t, const double* distances, double* out)
{
    t.kernels->terms(t.p, t.distance_floor, t.stride, distances, out);
}

void mark_changed(phip_tables& t, std::int32_t r)
{
    if (t.is_changed[r] != 0)
        return;
    t.is_changed[r] = 1;
    t.changed[t.changed_count] = r;
    t.changed_count += 1;
}

void forget_changes(phip_tables& t, std::int32_t count)
{
    while (t.changed_count > count) {
        t.changed_count -= 1;
        const std::int32_t r = t.changed[t.changed_count];
        t.is_changed[r] = 0;
        if (!t.all_lines)
            release_line(t.lines, r);
    }
}

/// The first `count` distances of row r from the points; behind them +inf up to a whole vector.
static void compute_line(const phip_tables& t, std::int32_t r, std::int32_t count, double* distances)
{
    t.kernels->distances(t.kind, count, t.stride, t.factors, t.columns, t.points[r], distances);
    if (r < count)
        distances[r] = infinity;
}

/// The same with the distances to changed rows, or more of the line where it is stored.
static const double* start_of_line(const phip_tables& t, std::int32_t r, std::int32_t count, double* scratch)
{
    if (const double* stored = stored_line(t, r))
        return stored;
    compute_line(t, r, count, scratch);
    for (std::int32_t i = 0; i < t.changed_count; ++i)
        if (const std::int32_t c = t.changed[i]; c < count)
            scratch[c] = stored_line(t, c)[r];
    return scratch;
}

const double* line_of(const phip_tables& t, std::int32_t r, double* scratch)
{
    return start_of_line(t, r, t.rows, scratch);
}

/// The line of row r left of the diagonal, for sums: while a refresh is pending they are those of fresh lines.
static const double* left_of_diagonal(const phip_tables& t, std::int32_t r, double* scratch)
{
    if (!t.refresh.pending)
        return start_of_line(t, r, r, scratch);
    compute_line(t, r, r, scratch);
    return scratch;
}

void copy_line(const phip_tables& t, std::int32_t r, double* to)
{
    const double* line = line_of(t, r, to);
    if (line != to)
        std::memcpy(to, line, bits_u32(t.stride) * sizeof(double));
}

void store_line(phip_tables& t, std::int32_t r, const double* distances)
{
    std::memcpy(take_line(t.lines, r), distances, bits_u32(t.stride) * sizeof(double));
    mark_changed(t, r);
    if (t.all_lines) {
        double* cell = t.lines.slabs[0] + r; // they follow one another
        for (std::int32_t j = 0; j < t.rows; ++j, cell += t.lines.stride)
            *cell = distances[j];
        return;
    }
    for (std::int32_t i = 0; i < t.changed_count; ++i) {
        const std::int32_t c = t.changed[i];
        stored_line(t, c)[r] = distances[c];
    }
}

void hold_line(phip_tables& t, std::int32_t r)
{
    if (stored_line(t, r) != nullptr)
        mark_changed(t, r);
    else
        store_line(t, r, line_of(t, r, t.line_distances));
}

void set_row_sum(phip_tables& t, std::int32_t r, const double* terms)
{
    t.row_sum[r] = t.kernels->sum(t.stride, terms);
    t.row_upper[r] = t.row_sum[r] * (1.0 + 4e-16 * t.rows);
}

/// Sums of rows are stale, and no place on the grid is known.
static void empty_sums(phip_tables& t)
{
    std::fill_n(t.grid.ties, t.rows, infinity);
    t.sums_are_stale = true;
}

void fill_tables(phip_tables& t)
{
    forget_changes(t, 0);
    if (t.all_lines)
        for (std::int32_t r = 0; r < t.rows; ++r)
            compute_line(t, r, t.rows, stored_line(t, r));
    if (t.p == 0) {
        std::fill_n(t.row_nearest, t.rows, -1);
        return;
    }
    empty_sums(t);
}

void forget_sums(phip_tables& t)
{
    empty_sums(t);
    t.copies_are_stale = true;
}

/// Keeps the nearest rows in step with a new line of row r.
static void update_nearest(phip_tables& t, std::int32_t r, const double* distances)
{
    for (std::int32_t j = 0; j < t.rows; ++j) {
        if (distances[j] < t.row_least[j]) {
            t.row_least[j] = distances[j];
            if (t.row_nearest[j] >= 0)
                t.row_nearest[j] = r;
        } else if (t.row_nearest[j] == r) {
            t.row_nearest[j] = -1;
        }
    }
}

/// Short rows are sooner walked than kept on a grid.
static bool has_grid(const phip_tables& t) { return t.rows > 16; }

/// Gives row r new terms in the sums.
static void replace_in_sums(phip_tables& t, std::int32_t r, const double* old_terms, const double* new_terms)
{
    const std::int32_t last_off_grid = has_grid(t) ? r : t.stride;
    t.kernels->replace_terms(t.stride, last_off_grid, old_terms, new_terms, t.row_sum, t.row_upper, t.grid);
    set_row_sum(t, r, new_terms);
    t.grid.limit[r] = 0.0; // looked for when it is next asked for
    t.grid.ties[r] = infinity;
}

void renew_sums(phip_tables& t)
{
    if (!t.sums_are_stale)
        return;
    if (t.copies_are_stale)
        coarse_fit(t.coarse, t.points);
    for (std::int32_t r = 0; r < t.rows; ++r) {
        const double* line = line_of(t, r, t.line_distances);
        if (t.copies_are_stale)
            coarse_set_line(t.coarse, r, line);
        terms_of_line(t, line, t.new_terms);
        set_row_sum(t, r, t.new_terms);
    }
    t.sums_are_stale = t.copies_are_stale = false;
}

void replace_row(phip_tables& t, std::int32_t r, const double* distances)
{
    if (t.p > 0) {
        renew_sums(t);
        terms_of_line(t, line_of(t, r, t.line_distances), t.old_terms);
        terms_of_line(t, distances, t.new_terms);
        return replace_row(t, r, distances, t.old_terms, t.new_terms);
    }
    update_nearest(t, r, distances);
    store_line(t, r, distances);
    t.row_nearest[r] = -1;
}

void replace_row(phip_tables& t, std::int32_t r, const double* distances, const double* old_terms,
                 const double* new_terms)
{
    renew_sums(t);
    replace_in_sums(t, r, old_terms, new_terms);
    store_line(t, r, distances);
    coarse_change_line(t.coarse, r, distances);
}

static void copy_sums_from(phip_tables& t, const double* from)
{
    for (double* sums : kept_sums(t)) {
        std::memcpy(sums, from, bits_u32(t.stride) * sizeof(double));
        from += t.stride;
    }
    t.sums_are_stale = t.copies_are_stale;
}

void keep_sums(const phip_tables& t)
{
    double* kept = t.refresh.sums;
    for (const double* sums : kept_sums(t)) {
        std::memcpy(kept, sums, bits_u32(t.stride) * sizeof(double));
        kept += t.stride;
    }
}

/// Room for the fresh lines of the changed rows, where all lines are stored.
static void reserve_fresh_lines(run_context* ctx, phip_tables& t)
{
    if (!t.all_lines || t.changed_count <= t.refresh.capacity)
        return;
    aligned_free_doubles(ctx, t.refresh.lines);
    t.refresh.lines = nullptr;
    t.refresh.capacity = t.changed_count;
    t.refresh.lines = aligned_alloc_doubles(ctx, std::size_t{bits_u32(t.changed_count)} * bits_u32(t.stride));
}

/// Where the fresh line of the i-th changed row is kept; of many rows it is not, but computed again.
static double* fresh_line(const phip_tables& t, std::int32_t i)
{
    return t.all_lines ? t.refresh.lines + static_cast<std::ptrdiff_t>(i) * t.stride : t.line_distances;
}

/// Sums of fresh lines; the stored ones stay.
static void refresh_sums(run_context* ctx, phip_tables& t)
{
    keep_sums(t);
    reserve_fresh_lines(ctx, t);
    for (std::int32_t i = 0; i < t.changed_count; ++i) {
        const std::int32_t r = t.changed[i];
        double* line = fresh_line(t, i);
        compute_line(t, r, t.rows, line);
        terms_of_line(t, stored_line(t, r), t.old_terms);
        terms_of_line(t, line, t.new_terms);
        replace_in_sums(t, r, t.old_terms, t.new_terms);
        for (std::int32_t later = i + 1; later < t.changed_count; ++later) // the pair is fresh then
            stored_line(t, t.changed[later])[r] = line[t.changed[later]];
    }
    t.refresh.pending = true;
}

/// True when the copies must follow a refresh: what rounding changes is within their doubt, what nearly equal entries
/// change may not be.
static bool copies_follow_refresh(const phip_tables& t) { return t.coarse.has_nearly_equal; }

void refresh_tables(run_context* ctx, phip_tables& t)
{
    if (refresh_fills(t)) {
        t.copies_are_stale = t.copies_are_stale || copies_follow_refresh(t);
        return fill_tables(t);
    }
    if (t.p > 0)
        return refresh_sums(ctx, t);
    for (std::int32_t i = 0; i < t.changed_count; ++i) {
        compute_line(t, t.changed[i], t.rows, t.line_distances);
        replace_row(t, t.changed[i], t.line_distances);
    }
    forget_changes(t, 0);
}

void complete_refresh(phip_tables& t)
{
    t.refresh.pending = false;
    const bool copies_follow = copies_follow_refresh(t);
    for (std::int32_t i = 0; i < t.changed_count && (t.all_lines || copies_follow); ++i) {
        const std::int32_t r = t.changed[i];
        double* line = fresh_line(t, i);
        if (t.all_lines)
            store_line(t, r, line);
        else
            compute_line(t, r, t.rows, line);
        if (copies_follow)
            coarse_change_line(t.coarse, r, line);
    }
    forget_changes(t, 0);
}

void put_lines_before_refresh_back(phip_tables& t)
{
    for (std::int32_t later = 1; later < t.changed_count; ++later)
        for (std::int32_t i = 0; i < later; ++i)
            stored_line(t, t.changed[later])[t.changed[i]] = stored_line(t, t.changed[i])[t.changed[later]];
}

void drop_refresh(phip_tables& t)
{
    if (!t.refresh.pending)
        return;
    t.refresh.pending = false;
    put_lines_before_refresh_back(t);
    copy_sums_from(t, t.refresh.sums);
}

namespace {

/// Sum of a row's terms on the grid of a binade and the number of ties; +inf ties: the grid does not hold for it.
struct row_on_grid {
    double sum;
    double ties;
};

/// The terms of row j left of the diagonal, computed when they are asked for; t.old_terms holds them.
class terms_of_row {
public:
    terms_of_row(const phip_tables& t, std::int32_t j) : t_(t), j_(j) {}
    double* get()
    {
        if (!known_)
            t_.kernels->terms(t_.p, t_.distance_floor, (j_ + line_step - 1) / line_step * line_step,
                              left_of_diagonal(t_, j_, t_.line_distances), t_.old_terms);
        known_ = true;
        return t_.old_terms;
    }

private:
    const phip_tables& t_;
    std::int32_t j_;
    bool known_ = false;
};

} // namespace

/// As the kernels have it.
static double to_grid(double x, double limit)
{
    const double shift = 3.0 * limit;
    return (x + shift) - shift;
}

static double tie(double x, double rounded, double limit) { return std::fabs(x - rounded) == limit * 0x1p-52; }

/// The row with one of its terms replaced.
static void replace_on_grid(row_on_grid& row, double limit, double before, double after)
{
    const double rounded_before = to_grid(before, limit);
    const double rounded_after = to_grid(after, limit);
    row.sum = (row.sum - rounded_before) + rounded_after;
    row.ties += tie(after, rounded_after, limit) - tie(before, rounded_before, limit);
    if (!(after < limit && row.sum < 4.0 * limit))
        row.ties = infinity;
}

/// Row j of the table on the grid; remembered for the next time.
static row_on_grid grid_of_row(phip_tables& t, std::int32_t j, double limit, terms_of_row& terms)
{
    if (t.grid.limit[j] != limit || t.grid.ties[j] == infinity) {
        t.grid.limit[j] = limit;
        t.kernels->grid_sum(j, terms.get(), limit, &t.grid.sum[j], &t.grid.ties[j]);
    }
    return {t.grid.sum[j], t.grid.ties[j]};
}

/// The same with the pending rows in place of what the table has.
static row_on_grid grid_of_pending_row(phip_tables& t, const pending_rows& pending, std::int32_t j, double limit,
                                       terms_of_row& terms)
{
    row_on_grid row{};
    for (const pending_row& p : pending) {
        if (p.row != j)
            continue;
        t.kernels->grid_sum(j, p.terms, limit, &row.sum, &row.ties);
        return row;
    }
    row = grid_of_row(t, j, limit, terms);
    for (const pending_row& p : pending)
        if (p.row < j)
            replace_on_grid(row, limit, p.old_terms[j], p.terms[j]);
    return row;
}

/// The terms of row j with the pending rows in place.
static const double* terms_of_pending_row(const pending_rows& pending, std::int32_t j, terms_of_row& terms)
{
    for (const pending_row& p : pending)
        if (p.row == j)
            return p.terms;
    double* line = terms.get();
    for (const pending_row& p : pending)
        if (p.row < j)
            line[p.row] = p.terms[j];
    return line;
}

/// Half the lower end of the binade of a sum, when sums are taken on its grid, else 0.
static double grid_limit(double total)
{
    constexpr double least_binade = 1e-290; // below it the steps of the grid would leave the range of doubles
    constexpr std::uint64_t exponent_bits = 0x7FF0000000000000u;
    if (!(total >= least_binade && total < infinity))
        return 0.0;
    return 0.5 * std::bit_cast<double>(std::bit_cast<std::uint64_t>(total) & exponent_bits);
}

/// The sum with the first `count` terms of a line added, in parts: a tie or a new binade is the matter of one of
/// them.
static double add_row(const phip_tables& t, const double* terms, std::int32_t count, double total)
{
    constexpr std::int32_t part = 8 * line_step;
    for (std::int32_t first = 0; first < count; first += part) {
        const std::int32_t length = std::min(part, count - first);
        if (const double limit = grid_limit(total); limit > 0.0 && length == part) {
            row_on_grid row{};
            t.kernels->grid_sum(length, terms + first, limit, &row.sum, &row.ties);
            if (row.ties == 0.0 && total + row.sum < 4.0 * limit) {
                total += row.sum;
                continue;
            }
        }
        for (std::int32_t i = first; i < first + length; ++i)
            total += terms[i];
    }
    return total;
}

/// The grid sums that are at hand, with the pending rows in place, in t.pending.
static void put_pending_on_grid(const phip_tables& t, const pending_rows& pending)
{
    std::memcpy(t.pending.sum, t.grid.sum, bits_u32(t.stride) * sizeof(double));
    std::memcpy(t.pending.ties, t.grid.ties, bits_u32(t.stride) * sizeof(double));
    for (const pending_row& p : pending) {
        t.kernels->replace_on_grid(t.stride, p.row, p.old_terms, p.terms, t.pending);
        t.pending.ties[p.row] = infinity;
    }
}

double sum_in_order(phip_tables& t, const pending_rows* pending)
{
    const bool on_grid = has_grid(t);
    if (pending != nullptr && on_grid)
        put_pending_on_grid(t, *pending);
    const grid_cache& at_hand = pending == nullptr ? t.grid : t.pending;
    double total = 0.0;
    for (std::int32_t j = 1; j < t.rows; ++j) {
        const double limit = on_grid ? grid_limit(total) : 0.0;
        terms_of_row terms(t, j);
        if (limit > 0.0) {
            row_on_grid row{at_hand.sum[j], 0.0};
            if (at_hand.limit[j] != limit || at_hand.ties[j] != 0.0)
                row = pending == nullptr ? grid_of_row(t, j, limit, terms)
                                         : grid_of_pending_row(t, *pending, j, limit, terms);
            const double next = total + row.sum;
            if (row.ties == 0.0 && next < 4.0 * limit) {
                total = next;
                continue;
            }
        }
        total = add_row(t, pending == nullptr ? terms.get() : terms_of_pending_row(*pending, j, terms), j, total);
    }
    return total;
}

double least_distance(phip_tables& t, std::int32_t first_row, double least)
{
    for (std::int32_t j = first_row; j < t.rows; ++j) {
        if (t.row_nearest[j] < 0) {
            const double* line = stored_line(t, j);
            std::int32_t nearest = j; // a distance that is not a number is none
            for (std::int32_t i = 0; i < t.rows; ++i)
                nearest = line[i] < line[nearest] ? i : nearest;
            t.row_nearest[j] = nearest;
            t.row_least[j] = line[nearest];
        }
        least = std::min(least, t.row_least[j]);
    }
    return least;
}

void take_capture(run_context* ctx, const phip_tables& t, phip_capture& capture)
{
    drop_capture(ctx, capture);
    capture.taken = true;
    capture.sums_were_stale = t.sums_are_stale;
    capture.copies_were_stale = t.copies_are_stale;
    capture.count = t.changed_count;
    if (capture.count == 0)
        return;
    capture.rows = int_vector_alloc(ctx, capture.count);
    capture.lines = aligned_alloc_doubles(ctx, static_cast<std::size_t>(capture.count) * bits_u32(t.stride));
    double* to = capture.lines;
    for (std::int32_t i = 0; i < capture.count; ++i, to += t.stride) {
        capture.rows[i] = t.changed[i];
        copy_line(t, t.changed[i], to);
    }
}

void capture_sums(run_context* ctx, const phip_tables& t, phip_capture& capture)
{
    const std::size_t count = kept_sums(t).size() * bits_u32(t.stride);
    capture.sums = aligned_alloc_doubles(ctx, count);
    std::memcpy(capture.sums, t.refresh.sums, count * sizeof(double));
}

/// Row by row with what belongs to the lines.
///   replace   (row, line) gives the row its line
template <class Replace>
static void put_captured_lines(run_context* ctx, phip_tables& t, const phip_capture& capture, Replace replace)
{
    if (capture.all_rows)
        fill_tables(t);
    forget_changes(t, 0);
    reserve_lines(ctx, t.lines, capture.count);
    const double* line = capture.lines;
    for (std::int32_t i = 0; i < capture.count; ++i, line += t.stride)
        replace(capture.rows[i], line);
}

void put_lines_back(run_context* ctx, phip_tables& t, const phip_capture& capture)
{
    put_captured_lines(ctx, t, capture, [&](std::int32_t r, const double* line) { store_line(t, r, line); });
    t.sums_are_stale = capture.sums_were_stale;
    t.copies_are_stale = capture.copies_were_stale;
}

void put_capture_back(run_context* ctx, phip_tables& t, const phip_capture& capture)
{
    if (t.p == 0)
        return put_captured_lines(ctx, t, capture,
                                  [&](std::int32_t r, const double* line) { replace_row(t, r, line); });
    // When the same rows are changed again, the sums come back with their lines.
    const bool sums_come_back = capture.sums != nullptr && !capture.all_rows;
    const bool copies_follow = sums_come_back && copies_follow_refresh(t) && !t.copies_are_stale;
    put_captured_lines(ctx, t, capture, [&](std::int32_t r, const double* line) {
        store_line(t, r, line);
        if (copies_follow)
            coarse_change_line(t.coarse, r, line);
    });
    if (sums_come_back)
        copy_sums_from(t, capture.sums);
    else
        forget_sums(t);
}

void drop_capture(run_context* ctx, phip_capture& capture)
{
    if (capture.rows != nullptr)
        vector_free(ctx, capture.rows);
    aligned_free_doubles(ctx, capture.lines);
    aligned_free_doubles(ctx, capture.sums);
    capture = {};
}

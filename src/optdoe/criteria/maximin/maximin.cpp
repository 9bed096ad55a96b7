#include "optdoe/criteria/maximin/maximin.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/criterion_params.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>

constexpr double most_distance = 1e200; ///< the least distance is not above it

static maximin_state& state_of(run_context* ctx) { return *static_cast<maximin_state*>(ctx->criterion->own_state); }

/// Stores a line of row r; what is known of nearest rows follows.
static void replace_line(run_context* ctx, maximin_state& s, std::int32_t r, const double* distances)
{
    store_line(ctx, s.distances, r, distances);
    for (std::int32_t j = 0; j < s.distances.rows; ++j) {
        if (distances[j] < s.row_least[j]) {
            s.row_least[j] = distances[j];
            if (s.row_nearest[j] >= 0)
                s.row_nearest[j] = r;
        } else if (s.row_nearest[j] == r) {
            s.row_nearest[j] = -1;
        }
    }
    s.row_nearest[r] = -1;
}

/// To be called when lines change otherwise.
static void forget_nearest_rows(maximin_state& s) { std::fill_n(s.row_nearest, s.distances.rows, -1); }

static void find_nearest_rows(maximin_state& s)
{
    const pair_distances& d = s.distances;
    for (std::int32_t j = 0; j < d.rows; ++j) {
        if (s.row_nearest[j] >= 0)
            continue;
        const double* line = stored_line(d, j);
        std::int32_t nearest = j; // a distance that is not a number is none
        for (std::int32_t i = 0; i < d.rows; ++i)
            nearest = line[i] < line[nearest] ? i : nearest;
        s.row_nearest[j] = nearest;
        s.row_least[j] = line[nearest];
    }
}

static double value_from_lines(maximin_state& s)
{
    find_nearest_rows(s);
    double least = most_distance;
    for (std::int32_t j = 0; j < s.distances.rows; ++j)
        least = std::min(least, s.row_least[j]);
    return -least;
}

static void undo_changes(run_context* ctx, maximin_state& s, undo_mark& mark)
{
    pair_distances& d = s.distances;
    if (mark.by != undo_by::lines)
        forget_nearest_rows(s);
    undo_to(
        ctx, s.distances, mark, [&](std::int32_t r, double x) { set_point(d, r, mark.column, x); },
        [&](std::int32_t r, const double* line) { replace_line(ctx, s, r, line); });
    d.version = mark.version;
}

/// Takes a trial back; the value is still the one before it.
static void take_trial_back(run_context* ctx, maximin_state& s)
{
    if (!is_in_trial(s.distances))
        return;
    undo_changes(ctx, s, s.distances.trial_mark);
    s.distances.trial_mark.by = undo_by::unset;
}

/// The state with nothing pending: what every operation but a commit of a tried re-arrangement begins with.
static maximin_state& settled_state(run_context* ctx)
{
    maximin_state& s = state_of(ctx);
    take_trial_back(ctx, s);
    return s;
}

static double maximin_evaluate(run_context* ctx, const double* const* design)
{
    maximin_state& s = settled_state(ctx);
    undoable_distances& d = s.distances;
    if (design != nullptr) {
        load_points(ctx, d, design);
        forget_nearest_rows(s);
    } else {
        log_changed_lines(ctx, d);
        for (std::int32_t i = 0; i < d.changed_count; ++i) {
            fresh_line(d, d.changed[i], d.rows, s.line_a);
            replace_line(ctx, s, d.changed[i], s.line_a);
        }
        forget_changes(d, 0);
    }
    s.value = value_from_lines(s);
    return s.value;
}

static void maximin_setup(run_context* ctx, const double* const* design, std::uint32_t free_rows,
                          std::uint32_t fixed_rows, std::int32_t factors, const criterion_options& options,
                          const std::int32_t*)
{
    ctx->criterion->own_state = tracked_alloc(ctx, sizeof(maximin_state));
    maximin_state& s = state_of(ctx);
    s = {};
    undoable_distances& d = s.distances;
    d.most_rows_with_all_lines = INT32_MAX;
    d.kind = read_distance_kind(options.params);
    undoable_alloc(ctx, d, free_rows, fixed_rows, factors, options.factor_weights);
    s.row_least = double_vector_alloc(ctx, d.rows);
    s.row_nearest = int_vector_alloc(ctx, d.rows);
    s.line_a = aligned_alloc_doubles(ctx, std::size_t{2} * bits_u32(d.stride));
    s.line_b = s.line_a + d.stride;
    std::fill_n(s.line_a, 2 * d.stride, __builtin_inf());
    maximin_evaluate(ctx, design);
}

static void maximin_release(run_context* ctx)
{
    if (ctx->criterion->own_state == nullptr)
        return;
    maximin_state& s = state_of(ctx);
    undoable_free(ctx, s.distances);
    rearrangement_free(ctx, s.rearrangement);
    vectors_free(ctx, {s.row_least, s.row_nearest});
    aligned_free_doubles(ctx, s.line_a);
    tracked_free(ctx, &s);
    ctx->criterion->own_state = nullptr;
}

static double maximin_value_now(run_context* ctx) { return state_of(ctx).value; }

static double** maximin_copy_design(run_context* ctx, double** out)
{
    return copy_points(settled_state(ctx).distances, out);
}

/// Lines of rows a and b after their entries of a column are exchanged.
static void exchanged_lines(const maximin_state& s, std::int32_t column, std::int32_t a, std::int32_t b)
{
    const pair_distances& d = s.distances;
    const double* x = column_line(d, column);
    const double* old_a = stored_line(d, a);
    const double* old_b = stored_line(d, b);
    for (std::int32_t r = 0; r < d.rows; ++r) {
        const double delta = distance_part(d.kind, x[r] - x[b]) - distance_part(d.kind, x[r] - x[a]);
        s.line_a[r] = old_a[r] + delta;
        s.line_b[r] = old_b[r] - delta;
    }
    s.line_a[a] = old_a[a];
    s.line_a[b] = old_a[b];
    s.line_b[a] = old_b[a];
    s.line_b[b] = old_b[b];
}

/// Makes exchanges one after the other.
///   returns the value after them
static double exchange_all(run_context* ctx, maximin_state& s, std::int32_t column, std::int32_t count,
                           const std::int32_t* rows_a, const std::int32_t* rows_b)
{
    bool changed = false;
    for (std::int32_t t = 0; t < count; ++t) {
        const std::int32_t a = rows_a[t];
        const std::int32_t b = rows_b[t];
        if (!entries_are_equal(s.distances, column, a, b)) {
            changed = true;
            exchanged_lines(s, column, a, b);
            log_line(ctx, s.distances, a);
            log_line(ctx, s.distances, b);
            replace_line(ctx, s, a, s.line_a);
            replace_line(ctx, s, b, s.line_b);
        }
        hold_line(ctx, s.distances, a);
        hold_line(ctx, s.distances, b);
        swap_points(s.distances, a, b, column);
    }
    return changed ? value_from_lines(s) : s.value;
}

static double maximin_apply_swaps(run_context* ctx, std::int32_t column, std::int32_t count,
                                  const std::int32_t* rows_a, const std::int32_t* rows_b)
{
    maximin_state& s = settled_state(ctx);
    if (count > 0)
        log_column(s.distances, column);
    s.value = exchange_all(ctx, s, column, count, rows_a, rows_b);
    return s.value;
}

static double maximin_try_swaps(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                                const std::int32_t* rows_b)
{
    maximin_state& s = settled_state(ctx);
    begin_trial(s.distances, column);
    const double value = exchange_all(ctx, s, column, count, rows_a, rows_b);
    take_trial_back(ctx, s);
    return value;
}

/// The least distance of row r to the rows other than a and b.
static double least_beside(const pair_distances& d, std::int32_t r, std::int32_t a, std::int32_t b)
{
    const double* line = stored_line(d, r);
    double least = most_distance;
    for (std::int32_t j = 0; j < d.rows; ++j)
        if (j != a && j != b)
            least = std::min(least, line[j]);
    return least;
}

static double maximin_try_swap(run_context* ctx, std::int32_t column, std::int32_t a, std::int32_t b)
{
    maximin_state& s = settled_state(ctx);
    const pair_distances& d = s.distances;
    if (entries_are_equal(d, column, a, b))
        return s.value;
    exchanged_lines(s, column, a, b);
    find_nearest_rows(s);
    double least = std::min(most_distance, stored_line(d, a)[b]);
    for (std::int32_t r = 0; r < d.rows; ++r) {
        if (r == a || r == b)
            continue;
        const bool loses_nearest = s.row_nearest[r] == a || s.row_nearest[r] == b;
        least =
            std::min({least, s.line_a[r], s.line_b[r], loses_nearest ? least_beside(d, r, a, b) : s.row_least[r]});
    }
    return -least;
}

/// Makes the listed re-arrangement, row by row.
///   returns the value after it
static double rearrange(run_context* ctx, maximin_state& s)
{
    const rearrangement_list& list = s.rearrangement;
    const pair_distances& d = s.distances;
    log_changed_lines(ctx, s.distances);
    bool changed = false;
    for (std::int32_t i = 0; i < list.count; ++i) {
        const std::int32_t row = list.rows_dst[i];
        const double before = d.points[row][list.column];
        const double after = list.taken[i];
        if (!equal_entries(before, after)) {
            changed = true;
            const double* x = column_line(d, list.column);
            const double* old = stored_line(d, row);
            for (std::int32_t r = 0; r < d.rows; ++r)
                s.line_a[r] = old[r] + (distance_part(d.kind, x[r] - after) - distance_part(d.kind, x[r] - before));
            s.line_a[row] = old[row];
            replace_line(ctx, s, row, s.line_a);
        }
        hold_line(ctx, s.distances, row);
        set_point(s.distances, row, list.column, after);
    }
    return changed ? value_from_lines(s) : s.value;
}

static double maximin_try_moves(run_context* ctx, std::int32_t column, std::int32_t count,
                                const std::int32_t* rows_dst, const std::int32_t* rows_src)
{
    if (count < 1)
        return state_of(ctx).value;
    maximin_state& s = settled_state(ctx);
    list_rearrangement(ctx, s.rearrangement, column, column_line(s.distances, column), count, rows_dst, rows_src);
    begin_trial(s.distances, column);
    s.value_after_trial = rearrange(ctx, s);
    return s.value_after_trial;
}

static double maximin_apply_moves(run_context* ctx, std::int32_t column, std::int32_t count,
                                  const std::int32_t* rows_dst, const std::int32_t* rows_src)
{
    maximin_state& s = state_of(ctx);
    if (count < 1)
        return s.value;
    if (!is_in_trial(s.distances) || !is_listed(s.rearrangement, column, count, rows_dst, rows_src))
        maximin_try_moves(ctx, column, count, rows_dst, rows_src);
    log_column(s.distances, column);
    keep_trial(s.distances);
    s.value = s.value_after_trial;
    return s.value;
}

static void maximin_save_column(run_context* ctx, std::int32_t column)
{
    maximin_state& s = settled_state(ctx);
    mark_column(ctx, s.distances, column);
    s.saved_column_value = s.value;
}

static void maximin_restore_column(run_context* ctx, std::int32_t)
{
    maximin_state& s = settled_state(ctx);
    if (s.distances.version != s.distances.column_mark.version)
        undo_changes(ctx, s, s.distances.column_mark);
    s.value = s.saved_column_value;
}

static void maximin_save_design(run_context* ctx)
{
    maximin_state& s = settled_state(ctx);
    save_points_and_lines(ctx, s.distances);
    s.saved_design_value = s.value;
}

static void maximin_restore_design(run_context* ctx)
{
    maximin_state& s = settled_state(ctx);
    restore_points_and_lines(ctx, s.distances);
    forget_nearest_rows(s);
    s.value = s.saved_design_value;
}

static double maximin_value_of(run_context* ctx, const double* const* design)
{
    maximin_state& s = settled_state(ctx);
    double least = most_distance;
    for_each_pair_of(s.distances, design, [&](double distance) { least = std::min(least, distance); });
    return -least;
}

static void maximin_copy_saved_design(run_context* ctx, double** out)
{
    copy_saved_points(state_of(ctx).distances, out);
}

static memory_need maximin_memory(double free_rows, double fixed_rows, double factors, const criterion_options*)
{
    const double rows = free_rows + fixed_rows;
    const double bytes = entries_bytes(free_rows, rows, factors) + 8.0 * rows * rows;
    return {bytes, bytes};
}

constexpr criterion_ops maximin_ops{
    .name = "maximin",
    .setup = maximin_setup,
    .release = maximin_release,
    .memory = maximin_memory,
    .value = maximin_value_now,
    .copy_design = maximin_copy_design,
    .evaluate = maximin_evaluate,
    .apply_swaps = maximin_apply_swaps,
    .try_swaps = maximin_try_swaps,
    .try_swap = maximin_try_swap,
    .try_moves = maximin_try_moves,
    .apply_moves = maximin_apply_moves,
    .save_column = maximin_save_column,
    .restore_column = maximin_restore_column,
    .save_design = maximin_save_design,
    .restore_design = maximin_restore_design,
    .value_of = maximin_value_of,
    .copy_saved_design = maximin_copy_saved_design,
};

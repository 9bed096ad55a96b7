#include "optdoe/criteria/maximin/maximin.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/criterion_params.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <utility>

constexpr double most_distance = 1e200; ///< the least distance is not above it

static maximin_state& state_of(run_context* ctx) { return *static_cast<maximin_state*>(ctx->criterion->own_state); }

/// The mark that changes are logged for: the innermost one.
static undo_mark& innermost_mark(maximin_state& s)
{
    return s.trial_mark.by != undo_by::unset ? s.trial_mark : s.column_mark;
}

/// Stores a line of row r; the nearest rows follow where they are in step.
static void replace_line(run_context* ctx, maximin_state& s, std::int32_t r, const double* distances)
{
    const bool nearest_follows = s.nearest_as_of == s.distances.version;
    store_line(ctx, s.distances, r, distances);
    if (!nearest_follows)
        return;
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
    s.nearest_as_of = s.distances.version;
}

/// Writes points; the nearest rows do not depend on them.
template <class Write>
static void write_points(maximin_state& s, Write write)
{
    const bool in_step = s.nearest_as_of == s.distances.version;
    write();
    if (in_step)
        s.nearest_as_of = s.distances.version;
}

/// Finds the nearest row of every free row.
static void find_nearest_rows(maximin_state& s)
{
    const pair_distances& d = s.distances;
    if (s.nearest_as_of != d.version)
        std::fill_n(s.row_nearest, d.rows, -1);
    s.nearest_as_of = d.version;
    for (std::int32_t j = d.fixed_rows; j < d.rows; ++j) {
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
    double least = s.now.least_fixed;
    for (std::int32_t j = s.distances.fixed_rows; j < s.distances.rows; ++j)
        least = std::min(least, s.row_least[j]);
    return -least;
}

static void undo_changes(run_context* ctx, maximin_state& s, undo_mark& mark)
{
    undo_to(
        ctx, s.log, mark, s.distances,
        [&](std::int32_t r, double x) { write_points(s, [&] { set_point(s.distances, r, mark.column, x); }); },
        [&](std::int32_t r, const double* line) { replace_line(ctx, s, r, line); });
    const bool nearest_followed = s.nearest_as_of == s.distances.version;
    s.distances.version = mark.version;
    if (nearest_followed)
        s.nearest_as_of = mark.version;
}

/// Takes a trial back; the value is still the one before it.
static void take_trial_back(run_context* ctx, maximin_state& s)
{
    if (s.trial_mark.by == undo_by::unset)
        return;
    undo_changes(ctx, s, s.trial_mark);
    s.trial_mark.by = undo_by::unset;
}

static double maximin_evaluate(run_context* ctx, const double* const* design)
{
    maximin_state& s = state_of(ctx);
    pair_distances& d = s.distances;
    take_trial_back(ctx, s);
    if (design != nullptr) {
        load_points(ctx, s.log, s.column_mark, d, design);
        fill_lines(ctx, d);
    } else {
        log_changed_lines(ctx, s.log, s.column_mark, d);
        for (std::int32_t i = 0; i < d.changed_count; ++i) {
            fresh_line(d, d.changed[i], d.rows, s.line_a);
            replace_line(ctx, s, d.changed[i], s.line_a);
        }
        forget_changes(d, 0);
    }
    s.now.least_fixed = most_distance;
    for (std::int32_t i = 0; i < d.fixed_rows; ++i)
        for (std::int32_t j = i + 1; j < d.fixed_rows; ++j)
            s.now.least_fixed = std::min(s.now.least_fixed, stored_line(d, i)[j]);
    s.now.value = value_from_lines(s);
    return s.now.value;
}

static void maximin_setup(run_context* ctx, const double* const* design, std::uint32_t free_rows,
                          std::uint32_t fixed_rows, std::int32_t factors, const criterion_options& options,
                          const std::int32_t*)
{
    ctx->criterion->own_state = tracked_alloc(ctx, sizeof(maximin_state));
    maximin_state& s = state_of(ctx);
    s = {};
    pair_distances& d = s.distances;
    d.kernels = best_variant(distance_kernel_variants);
    d.most_rows_with_all_lines = INT32_MAX;
    d.kind = read_distance_kind(options.params);
    distances_alloc(ctx, d, free_rows, fixed_rows, factors, options.factor_weights);
    s.row_least = double_vector_alloc(ctx, d.rows);
    s.row_nearest = int_vector_alloc(ctx, d.rows);
    for (double** line : {&s.line_a, &s.line_b}) {
        *line = aligned_alloc_doubles(ctx, static_cast<std::size_t>(d.stride));
        std::fill_n(*line, d.stride, __builtin_inf());
    }
    for (undo_mark* mark : {&s.column_mark, &s.trial_mark})
        mark->entries = double_vector_alloc(ctx, d.free_rows);
    s.saved_design.points = double_matrix_alloc(ctx, d.free_rows, factors);
    maximin_evaluate(ctx, design);
}

static void maximin_release(run_context* ctx)
{
    if (ctx->criterion->own_state == nullptr)
        return;
    maximin_state& s = state_of(ctx);
    distances_free(ctx, s.distances);
    rearrangement_free(ctx, s.rearrangement);
    undo_log_free(ctx, s.log);
    undo_log_free(ctx, s.saved_design.log);
    matrix_free(ctx, s.saved_design.points);
    for (double* v : {s.line_a, s.line_b})
        aligned_free_doubles(ctx, v);
    for (void* v : {static_cast<void*>(s.row_least), static_cast<void*>(s.row_nearest),
                    static_cast<void*>(s.column_mark.entries), static_cast<void*>(s.trial_mark.entries)})
        if (v != nullptr)
            vector_free(ctx, v);
    tracked_free(ctx, &s);
    ctx->criterion->own_state = nullptr;
}

static double maximin_value_now(run_context* ctx) { return state_of(ctx).now.value; }

static double** maximin_copy_design(run_context* ctx, double** out)
{
    maximin_state& s = state_of(ctx);
    take_trial_back(ctx, s);
    return copy_points(s.distances, out);
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
            log_line(ctx, s.log, innermost_mark(s), s.distances, a);
            log_line(ctx, s.log, innermost_mark(s), s.distances, b);
            replace_line(ctx, s, a, s.line_a);
            replace_line(ctx, s, b, s.line_b);
        }
        write_points(s, [&] {
            hold_line(ctx, s.distances, a);
            hold_line(ctx, s.distances, b);
            swap_points(s.distances, a, b, column);
        });
    }
    return changed ? value_from_lines(s) : s.now.value;
}

static double maximin_apply_swaps(run_context* ctx, std::int32_t column, std::int32_t count,
                                  const std::int32_t* rows_a, const std::int32_t* rows_b)
{
    maximin_state& s = state_of(ctx);
    take_trial_back(ctx, s);
    if (count > 0)
        log_column(s.column_mark, column);
    s.now.value = exchange_all(ctx, s, column, count, rows_a, rows_b);
    return s.now.value;
}

static double maximin_try_swaps(run_context* ctx, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                                const std::int32_t* rows_b)
{
    maximin_state& s = state_of(ctx);
    take_trial_back(ctx, s);
    set_mark(s.trial_mark, s.distances, column, s.log);
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
    maximin_state& s = state_of(ctx);
    const pair_distances& d = s.distances;
    take_trial_back(ctx, s);
    if (entries_are_equal(d, column, a, b))
        return s.now.value;
    exchanged_lines(s, column, a, b);
    find_nearest_rows(s);
    double least = std::min(s.now.least_fixed, stored_line(d, a)[b]);
    for (std::int32_t r = 0; r < d.rows; ++r) {
        if (r == a || r == b)
            continue;
        least = std::min({least, s.line_a[r], s.line_b[r]});
        if (r >= d.fixed_rows)
            least = std::min(least, s.row_nearest[r] == a || s.row_nearest[r] == b ? least_beside(d, r, a, b)
                                                                                   : s.row_least[r]);
    }
    return -least;
}

/// Makes the listed re-arrangement, row by row.
///   returns the value after it
static double rearrange(run_context* ctx, maximin_state& s)
{
    const rearrangement_list& list = s.rearrangement;
    const pair_distances& d = s.distances;
    log_changed_lines(ctx, s.log, innermost_mark(s), d);
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
        write_points(s, [&] {
            hold_line(ctx, s.distances, row);
            set_point(s.distances, row, list.column, after);
        });
    }
    return changed ? value_from_lines(s) : s.now.value;
}

static double maximin_try_moves(run_context* ctx, std::int32_t column, std::int32_t count,
                                const std::int32_t* rows_dst, const std::int32_t* rows_src)
{
    maximin_state& s = state_of(ctx);
    if (count < 1)
        return s.now.value;
    take_trial_back(ctx, s);
    list_rearrangement(ctx, s.rearrangement, column, column_line(s.distances, column), count, rows_dst, rows_src);
    set_mark(s.trial_mark, s.distances, column, s.log);
    s.value_after_trial = rearrange(ctx, s);
    return s.value_after_trial;
}

static double maximin_apply_moves(run_context* ctx, std::int32_t column, std::int32_t count,
                                  const std::int32_t* rows_dst, const std::int32_t* rows_src)
{
    maximin_state& s = state_of(ctx);
    if (count < 1)
        return s.now.value;
    log_column(s.column_mark, column);
    if (s.trial_mark.by != undo_by::unset && is_listed(s.rearrangement, column, count, rows_dst, rows_src)) {
        keep_trial(s.log, s.column_mark, s.trial_mark);
        s.now.value = s.value_after_trial;
        return s.now.value;
    }
    take_trial_back(ctx, s);
    list_rearrangement(ctx, s.rearrangement, column, column_line(s.distances, column), count, rows_dst, rows_src);
    s.now.value = rearrange(ctx, s);
    return s.now.value;
}

static void maximin_save_column(run_context* ctx, std::int32_t column)
{
    maximin_state& s = state_of(ctx);
    take_trial_back(ctx, s);
    undo_log_clear(ctx, s.log);
    set_mark(s.column_mark, s.distances, column, s.log);
    s.saved_column = s.now;
}

static void maximin_restore_column(run_context* ctx, std::int32_t)
{
    maximin_state& s = state_of(ctx);
    take_trial_back(ctx, s);
    if (s.distances.version != s.column_mark.version)
        undo_changes(ctx, s, s.column_mark);
    s.now = s.saved_column;
}

static void maximin_save_design(run_context* ctx)
{
    maximin_state& s = state_of(ctx);
    take_trial_back(ctx, s);
    save_points_and_lines(ctx, s.saved_design, s.distances);
    s.saved_design_value = s.now;
}

static void maximin_restore_design(run_context* ctx)
{
    maximin_state& s = state_of(ctx);
    take_trial_back(ctx, s);
    restore_points_and_lines(ctx, s.saved_design, s.log, s.column_mark, s.distances);
    s.now = s.saved_design_value;
}

static double maximin_value_of(run_context* ctx, const double* const* design)
{
    maximin_state& s = state_of(ctx);
    take_trial_back(ctx, s);
    double least = most_distance;
    for_each_pair_of(s.distances, design, [&](double distance) { least = std::min(least, distance); });
    return -least;
}

static void maximin_copy_saved_design(run_context* ctx, double** out)
{
    copy_saved_points(state_of(ctx).saved_design, state_of(ctx).distances, out);
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

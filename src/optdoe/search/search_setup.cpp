#include "optdoe/search/search_setup.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/numeric/random_numbers.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/settings_table.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/search/candidate_sampling.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/search_state.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>

void search_open(run_context* ctx) { open_plain_record(ctx->search); }

void search_close(run_context* ctx) { close_plain_record(ctx->search); }

/// Active factors and their cumulative selection probabilities. The last one lies above 1, so that every uniform
/// draw finds a factor.
static void set_factor_weights(run_context* ctx, const double* shares)
{
    search_state& s = *ctx->search;
    s.active_factors = int_vector_alloc(ctx, ctx->rows->k);
    s.factor_cumulative_weight = double_vector_alloc(ctx, ctx->rows->k);
    s.active_count = 0;
    double sum = share_floor;
    for (std::int32_t j = 0; j < ctx->rows->k; ++j)
        if (shares[j] > share_floor)
            sum += shares[j];
    double cumulative = 0.0;
    for (std::int32_t j = 0; j < ctx->rows->k; ++j) {
        if (!(shares[j] > share_floor))
            continue;
        cumulative += shares[j] / sum;
        s.active_factors[s.active_count] = j;
        s.factor_cumulative_weight[s.active_count] = cumulative;
        ++s.active_count;
    }
    if (s.active_count > 0)
        s.factor_cumulative_weight[s.active_count - 1] = 0x1.000000006df38p+0; // 1.0000000001
}

namespace {

/// Sizes of the two exchange neighbourhoods of a factor: pairs of groups, and pairs of rows of one group with
/// different levels. 32-bit arithmetic that may wrap; a count below 1 means that there are no candidates.
struct neighbourhood {
    std::int32_t group_pairs;
    std::int32_t element_pairs;
};

} // namespace

static neighbourhood neighbourhood_of(const run_context* ctx, std::int32_t j)
{
    const std::int32_t groups = ctx->groups->group_count[j];
    const std::int32_t rows = ctx->groups->rows_per_group[j];
    const std::int32_t repeats = ctx->levels->balanced[j] != 0 ? ctx->rows->n / ctx->levels->level_count[j] : 1;
    return {wrap_mul(groups, groups - 1) / 2, wrap_mul(wrap_mul(rows - repeats, groups), rows) / 2};
}

static void set_candidate_counts(run_context* ctx, std::int32_t cap)
{
    search_state& s = *ctx->search;
    s.group_pair_candidates = int_vector_alloc(ctx, ctx->rows->k);
    s.element_pair_candidates = int_vector_alloc(ctx, ctx->rows->k);
    s.max_candidates = 0;
    for (std::int32_t j = 0; j < ctx->rows->k; ++j) {
        const auto [p, e] = neighbourhood_of(ctx, j);
        std::int32_t group_candidates = p;
        std::int32_t element_candidates = e;
        if (s.reduced_neighbourhoods != 0 && ctx->groups->group_count[j] > 1) {
            group_candidates = std::min(wrap_add(p, 1) / 2, cap);
            element_candidates = std::min(wrap_add(e, 1) / 2, cap);
        } else if (s.reduced_neighbourhoods != 0) {
            group_candidates = 0;
            element_candidates = std::min(e > 20 ? wrap_add(e, 1) / 5 : 1, cap);
        }
        s.group_pair_candidates[j] = group_candidates;
        s.element_pair_candidates[j] = element_candidates;
        s.max_candidates = std::max({s.max_candidates, group_candidates, element_candidates});
    }
    s.candidate_first = int_vector_alloc(ctx, s.max_candidates);
    s.candidate_second = int_vector_alloc(ctx, s.max_candidates);
}

/// Column moves a round: enough to sample each neighbourhood about twice per active factor, within 10..100.
static std::int32_t default_inner_moves(const run_context* ctx)
{
    const search_state& s = *ctx->search;
    const double twice_active = 2.0 * s.active_count;
    std::int32_t moves = 0;
    for (std::int32_t j = 0; j < ctx->rows->k; ++j) {
        const auto [p, e] = neighbourhood_of(ctx, j);
        const double group_candidates = s.group_pair_candidates[j];
        const double element_candidates = s.element_pair_candidates[j];
        double m = 0.0;
        if (s.group_pair_candidates[j] != 0 && s.element_pair_candidates[j] != 0)
            m = std::max(p / group_candidates, e / element_candidates) * twice_active;
        else if (s.group_pair_candidates[j] != 0)
            m = twice_active * p / group_candidates;
        else
            m = twice_active * e / element_candidates;
        moves = std::max(moves, trunc_i32(m));
    }
    return std::clamp(moves, 10, 100);
}

static std::int32_t settled_count(setting_id id, std::int32_t fallback, std::int32_t value)
{
    const setting& row = setting_of(id);
    return clamp_or_default_int(static_cast<std::int32_t>(row.low), static_cast<std::int32_t>(row.high), fallback,
                                value);
}

void setup_search(run_context* ctx, std::int32_t n, std::int32_t first_row, std::int32_t k,
                  const run_settings& settings, std::uint32_t seed, run_outcome* outcome)
{
    rng_seed_or_clock(ctx, seed);

    search_state& s = *ctx->search;
    s.factors = k;
    s.total_rows = wrap_add(n, first_row);
    s.rows = n;
    s.first_row = first_row;
    s.time_budget_ms = settings.time_limit * 1000.0;
    s.search_mode = settings.search_mode;
    s.auxiliary_mode = settings.auxiliary_mode;
    s.weighted_factor_choice = settings.weighted_factor_choice;
    s.reduced_neighbourhoods = settings.reduced_neighbourhoods;
    s.pre_improvement = settings.pre_improvement;
    s.max_restarts = settings.restart_limit;
    s.tolerance_setting = settings.tolerance_setting;
    s.threshold_setting = settings.threshold_setting;
    s.threshold_factor_setting = settings.threshold_factor_setting;
    s.symmetric_design = settings.symmetric_design != 0 && is_symmetric_design(ctx);
    s.outcome = outcome;

    group_levels(ctx, settings.factor_counts);
    set_factor_weights(ctx, settings.factor_shares);
    set_candidate_counts(ctx, settings.exchange_pairs);
    const std::int32_t most_pairs = std::max({n, s.max_candidates, most_undecided_keys});
    s.rows_a = int_vector_alloc(ctx, most_pairs);
    s.rows_b = int_vector_alloc(ctx, most_pairs);
    s.rearrangement_rows = int_matrix_alloc(ctx, rearrangement_lists, n);
    s.inner_moves = settled_count(setting_id::moves, default_inner_moves(ctx), settings.moves_per_iteration);
    const std::int32_t sweeps = wrap_mul(wrap_mul(2, n), s.active_count);
    s.max_iterations = settled_count(setting_id::iterations, std::max(100, sweeps), settings.iteration_budget);
    s.target_value = crit_target(ctx);
}

void search_release(run_context* ctx)
{
    search_state& s = *ctx->search;
    if (s.rearrangement_rows != nullptr)
        matrix_free(ctx, s.rearrangement_rows);
    s.rearrangement_rows = nullptr;
    for (std::int32_t** v : {&s.rows_a, &s.rows_b, &s.candidate_first, &s.candidate_second, &s.active_factors,
                             &s.group_pair_candidates, &s.element_pair_candidates}) {
        if (*v != nullptr)
            vector_free(ctx, *v);
        *v = nullptr;
    }
    sampling_release(ctx);
    if (s.factor_cumulative_weight != nullptr)
        vector_free(ctx, s.factor_cumulative_weight);
    s.factor_cumulative_weight = nullptr;
}

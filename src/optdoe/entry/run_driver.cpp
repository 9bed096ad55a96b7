#include "optdoe/entry/run_driver.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/entry/memory_need.h"
#include "optdoe/entry/settings.h"
#include "optdoe/numeric/random_numbers.h"
#include "optdoe/run/messages.h"
#include "optdoe/run/run_globals.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/run/wrap32.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/search_driver.h"
#include "optdoe/search/search_setup.h"
#include "optdoe/search/unit_scaling.h"
#include "optdoe/vectors/vectors.h"

namespace {

/// Sizes of a run: the free rows are placed, the fixed rows before them are kept.
struct run_sizes {
    std::int32_t free_rows;
    std::int32_t fixed_rows;
    std::int32_t factors;

    std::int32_t rows() const { return free_rows + fixed_rows; }
};

} // namespace

/// Sends the line for unusable arguments; false then.
static bool arguments_are_usable(run_context* ctx, std::int32_t nsamples, std::int32_t nfactors,
                                 double max_time_minutes)
{
    const char* complaint = nullptr;
    if (nfactors < 1)
        complaint = "Must have at least 1 factor.\n";
    else if (nsamples < 2)
        complaint = "Must have at least 2 sample points.\n";
    else if (0.0 > max_time_minutes)
        complaint = "Maxtime must be a positive number.\n";
    if (complaint != nullptr)
        status_message(ctx, complaint);
    return complaint == nullptr;
}

static void send_time_limit(run_context* ctx, double max_time_minutes)
{
    char line[message_capacity];
    format_text(line, sizeof line, "Maximum time to optimize matrix      = %s minutes",
                fixed_text(max_time_minutes, 2).text);
    status_message(ctx, line);
}

/// Makes the starting design: the caller's, or a random Latin hypercube.
static void make_starting_design(run_context* ctx, run_sizes sizes, std::uint32_t seed, const starting_design* start)
{
    // A design that does not fit the host's array could never be returned: refuse it before it takes hours.
    const std::int64_t elements =
        (static_cast<std::int64_t>(sizes.free_rows) + sizes.fixed_rows) * std::int64_t{sizes.factors};
    if (elements > INT32_MAX)
        raise_out_of_memory(ctx);
    refuse_beyond_memory(ctx, memory_of_run(sizes.free_rows, sizes.fixed_rows, sizes.factors, nullptr).least);

    double** design = double_matrix_alloc(ctx, sizes.rows(), sizes.factors);
    ctx->globals->design = design;
    if (start == nullptr) {
        random_latin_hypercube(ctx, sizes.free_rows, sizes.factors, design, seed);
        return;
    }
    const double* level = start->levels;
    for (std::int32_t i = 0; i < sizes.rows(); ++i)
        for (std::int32_t j = 0; j < sizes.factors; ++j)
            design[i][j] = *level++;
}

/// Resets, sets and checks the settings; false after a status line when the run cannot go on.
static bool prepare_settings(run_context* ctx, run_sizes sizes, double max_time_minutes, const run_extras& extras)
{
    run_settings& settings = ctx->globals->settings;
    settings.factor_counts = int_vector_alloc(ctx, sizes.factors);
    settings.factor_shares = double_vector_alloc(ctx, sizes.factors);
    settings.criterion.factor_weights = double_vector_alloc(ctx, sizes.factors);
    settings_reset(ctx, sizes.factors);

    for (std::int32_t j = 0; j < sizes.factors; ++j) {
        if (ctx->levels->level_count[j] == 1) {
            status_message(ctx, "\nSome factors have only 1 level!\n");
            return false;
        }
    }
    if (max_time_minutes != 0.0)
        settings.time_limit = max_time_minutes * 60.0;
    if (extras.edit_settings != nullptr)
        extras.edit_settings(&settings, sizes.factors, extras.user);
    if (settings_validate(ctx, sizes.factors, sizes.free_rows) != 0) {
        status_message(ctx, "Error in inputs.\n");
        return false;
    }
    return true;
}

/// Sets criterion and search up and runs the search, on the scaled design where scaling is asked for.
static void search_design(run_context* ctx, run_sizes sizes, std::uint32_t seed, run_outcome& outcome)
{
    const run_settings& settings = ctx->globals->settings;
    refuse_beyond_memory(ctx,
                         memory_of_run(sizes.free_rows, sizes.fixed_rows, sizes.factors, &settings.criterion).least);
    double** design = ctx->globals->design;
    double** ranges = nullptr;
    if (settings.scaling_mode != 0)
        ranges = scale_to_unit(ctx, settings.scaling_mode, design, sizes.rows(), sizes.factors);

    crit_setup(ctx, design, bits_u32(sizes.free_rows), bits_u32(sizes.fixed_rows), sizes.factors, settings.criterion);
    outcome.initial_objective = crit_value(ctx);
    setup_search(ctx, sizes.free_rows, sizes.fixed_rows, sizes.factors, settings, seed, &outcome);
    outcome.best_objective = run_search(ctx, design);
    outcome.effort = search_effort(ctx);

    if (ranges != nullptr) {
        scale_from_unit(design, ranges, sizes.rows(), sizes.factors);
        matrix_free(ctx, ranges);
    }
}

static void release_search(run_context* ctx)
{
    run_settings& settings = ctx->globals->settings;
    level_structure_release(ctx);
    crit_release(ctx);
    search_release(ctx);
    vector_free(ctx, settings.criterion.factor_weights);
    vector_free(ctx, settings.factor_counts);
    vector_free(ctx, settings.factor_shares);
}

/// A new host array of the design, truncated toward zero. Leaves through the error exit, with what is pending in the
/// host, when the host has no array to give. Nothing between taking and releasing the elements can leave.
static jni::Object host_array_of(run_context* ctx, run_sizes sizes)
{
    jni::Env* env = ctx->globals->env;
    double** design = ctx->globals->design;
    const jni::Object array = env->functions->NewIntArray(env, sizes.rows() * sizes.factors);
    if (array == nullptr)
        error_exit(ctx);
    jni::Int* elements = env->functions->GetIntArrayElements(env, array, nullptr);
    if (elements == nullptr)
        error_exit(ctx);
    jni::Int* element = elements;
    for (std::int32_t i = 0; i < sizes.rows(); ++i)
        for (std::int32_t j = 0; j < sizes.factors; ++j)
            *element++ = trunc_i32(design[i][j]);
    env->functions->ReleaseIntArrayElements(env, array, elements, 0);
    return array;
}

static void copy_design_to(double* out, const double* const* design, run_sizes sizes)
{
    if (out == nullptr)
        return;
    for (std::int32_t i = 0; i < sizes.rows(); ++i)
        for (std::int32_t j = 0; j < sizes.factors; ++j)
            *out++ = design[i][j];
}

jni::Object run_driver(run_context* ctx, std::int32_t nsamples, std::int32_t nfactors, double max_time_minutes,
                       std::uint32_t seed32)
{
    const run_extras& extras = *ctx->globals->extras;
    run_outcome unasked{};
    run_outcome& outcome = extras.outcome != nullptr ? *extras.outcome : unasked;
    outcome.iterations = 0;

    if (!arguments_are_usable(ctx, nsamples, nfactors, max_time_minutes))
        return nullptr;
    send_time_limit(ctx, max_time_minutes);

    const run_sizes sizes{nsamples, extras.start != nullptr ? extras.start->fixed_rows : 0, nfactors};
    make_starting_design(ctx, sizes, seed32, extras.start);
    if (nfactors >= 2) {
        describe_levels(ctx, ctx->globals->design, nsamples, sizes.fixed_rows, nfactors);
        if (!prepare_settings(ctx, sizes, max_time_minutes, extras))
            return nullptr;
        search_design(ctx, sizes, seed32, outcome);
    } else {
        outcome.reason = end_reason::not_searched;
    }
    const jni::Object array = host_array_of(ctx, sizes);
    copy_design_to(outcome.design, ctx->globals->design, sizes);
    matrix_free(ctx, ctx->globals->design);
    ctx->globals->design = nullptr;
    if (nfactors >= 2)
        release_search(ctx);
    return array;
}

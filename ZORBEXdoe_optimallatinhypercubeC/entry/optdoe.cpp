#include "entry/optdoe.h"

#include "criteria/criterion.h"
#include "criteria/criterion_records.h"
#include "entry/messages.h"
#include "entry/plain_record.h"
#include "entry/run_driver.h"
#include "entry/run_globals.h"
#include "entry/tracked_storage.h"
#include "numeric/random_numbers.h"
#include "search/level_structure.h"
#include "search/search_setup.h"

constexpr const char* exhausted_on_entry = "Storage exhausted on entry in Optimal Latin Hypercube plugin.";

/// Throws without a run context, for a call that could not even make its records.
static void throw_exhausted_on_entry(jni::Env* env)
{
    run_globals host_only{};
    host_only.env = env;
    throw_in_host(&host_only, "java/lang/OutOfMemoryError", exhausted_on_entry);
}

/// Opens every slot in order. A record that cannot be had leaves its slot null.
static void open_slots(run_context* ctx, jni::Env* env, jni::Object self)
{
    open_plain_record(ctx->globals);
    if (ctx->globals == nullptr)
        return;
    ctx->globals->env = env;
    ctx->globals->self = self;
    ctx->globals->start_ticks = current_ticks();
    ctx->globals->within_budget = 1;

    a2_open(ctx);
    criterion_open(ctx);
    cd2_open(ctx);
    ctx->storage_status = static_cast<std::int32_t*>(tracked_try_alloc(ctx->globals, sizeof(std::int32_t)));
    if (ctx->storage_status != nullptr)
        *ctx->storage_status = 0;
    entropy_open(ctx);
    phip_open(ctx);
    rng_open(ctx);
    search_open(ctx);
    level_structure_open(ctx);
}

static bool all_slots_open(const run_context* ctx)
{
    return ctx->globals != nullptr && ctx->a2 != nullptr && ctx->criterion != nullptr && ctx->cd2 != nullptr &&
           ctx->storage_status != nullptr && ctx->entropy != nullptr && ctx->phip != nullptr &&
           ctx->rng != nullptr && ctx->search != nullptr && ctx->levels != nullptr && ctx->groups != nullptr &&
           ctx->rows != nullptr;
}

/// Closes the slots in the reverse order, then frees every block that is still tracked.
static void close_slots(run_context* ctx)
{
    level_structure_close(ctx);
    search_close(ctx);
    rng_close(ctx);
    phip_close(ctx);
    entropy_close(ctx);
    if (ctx->storage_status != nullptr) {
        tracked_try_free(ctx->globals, ctx->storage_status);
        ctx->storage_status = nullptr;
    }
    cd2_close(ctx);
    criterion_close(ctx);
    a2_close(ctx);
    if (ctx->globals != nullptr)
        tracked_release_all(ctx->globals);
    close_plain_record(ctx->globals);
}

/// The only setjmp, in a function with nothing else to do.
static jni::Object run_guarded(run_context* ctx, std::int32_t nsamples, std::int32_t nfactors,
                               double max_time_minutes, std::uint32_t seed32, const run_extras& extras)
{
    if (setjmp(ctx->globals->error_exit) != 0)
        return nullptr; // arrived from the error exit: no local of this frame is read
    return run_driver(ctx, nsamples, nfactors, max_time_minutes, seed32, extras);
}

jni::Object optdoe_run(jni::Env* env, jni::Object self, std::int32_t nsamples, std::int32_t nfactors,
                       double max_time_minutes, std::int64_t seed, const run_extras* extras)
{
    run_context* ctx = nullptr;
    open_plain_record(ctx);
    if (ctx == nullptr) {
        throw_exhausted_on_entry(env);
        return nullptr;
    }
    open_slots(ctx, env, self);
    const bool ready = all_slots_open(ctx);
    jni::Object result = nullptr;
    if (ready)
        result = run_guarded(ctx, nsamples, nfactors, max_time_minutes, static_cast<std::uint32_t>(seed),
                             extras != nullptr ? *extras : run_extras{});
    close_slots(ctx);
    close_plain_record(ctx);
    if (!ready)
        throw_exhausted_on_entry(env);
    return result;
}

jni::Object Java_com_morvantix_plugin_doe_optimallatinhypercube_OptimalLatinHypercube_optdoe(
    jni::Env* env, jni::Object self, jni::Int nsamples, jni::Int nfactors, jni::Double maxTimeMinutes, jni::Long seed)
{
    return optdoe_run(env, self, nsamples, nfactors, maxTimeMinutes, seed, nullptr);
}

std::int64_t TORVALEN_STRUKTOR_ZUL4_INTERNAL_ZORBEXdoe_optimallatinhypercubeC() { return 1; }

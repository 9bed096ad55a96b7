#include "optdoe/entry/optdoe.h"

#include "optdoe/entry/run_driver.h"
#include "optdoe/entry/run_slots.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/run_globals.h"
#include "optdoe/run/tracked_storage.h"

constexpr const char* exhausted_on_entry = "Storage exhausted on entry in Optimal Latin Hypercube plugin.";

/// Throws without a run context, for a call that could not even make its records.
static void throw_exhausted_on_entry(jni::Env* env)
{
    run_globals host_only{};
    host_only.env = env;
    throw_in_host(&host_only, "java/lang/OutOfMemoryError", exhausted_on_entry);
}

/// The only setjmp, in a function with nothing else to do.
static jni::Object run_guarded(run_context* ctx, std::int32_t nsamples, std::int32_t nfactors,
                               double max_time_minutes, std::uint32_t seed32)
{
    if (setjmp(ctx->globals->error_exit) != 0)
        return nullptr; // arrived from the error exit: no local of this frame is read
    return run_driver(ctx, nsamples, nfactors, max_time_minutes, seed32);
}

jni::Object optdoe_run(jni::Env* env, jni::Object self, std::int32_t nsamples, std::int32_t nfactors,
                       double max_time_minutes, std::int64_t seed, const run_extras* extras)
{
    const run_extras given = extras != nullptr ? *extras : run_extras{};
    if (given.outcome != nullptr)
        given.outcome->reason = end_reason::failed;

    run_context* ctx = nullptr;
    open_plain_record(ctx);
    if (ctx == nullptr) {
        throw_exhausted_on_entry(env);
        return nullptr;
    }
    const bool ready = run_slots_open(ctx, env, self);
    jni::Object result = nullptr;
    if (ready) {
        ctx->globals->extras = &given;
        result = run_guarded(ctx, nsamples, nfactors, max_time_minutes, static_cast<std::uint32_t>(seed));
    }
    // The search has told why it ended; the host may have thrown at one of the lines after that.
    if (result == nullptr && given.outcome != nullptr)
        given.outcome->reason = end_reason::failed;
    run_slots_close(ctx);
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

#include "optdoe/entry/run_slots.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/criterion_records.h"
#include "optdoe/numeric/random_numbers.h"
#include "optdoe/run/messages.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/run_globals.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/search_setup.h"

/// Whether every slot after the first is open.
static bool all_slots_open(const run_context* ctx)
{
    return ctx->a2 != nullptr && ctx->criterion != nullptr && ctx->cd2 != nullptr && ctx->storage_status != nullptr &&
           ctx->entropy != nullptr && ctx->phip != nullptr && ctx->rng != nullptr && ctx->search != nullptr &&
           ctx->levels != nullptr && ctx->groups != nullptr && ctx->rows != nullptr;
}

bool run_slots_open(run_context* ctx, jni::Env* env, jni::Object self)
{
    open_plain_record(ctx->globals);
    if (ctx->globals == nullptr)
        return false;
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
    return all_slots_open(ctx);
}

void run_slots_close(run_context* ctx)
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

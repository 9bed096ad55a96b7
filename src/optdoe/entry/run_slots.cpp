#include "optdoe/entry/run_slots.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/numeric/random_numbers.h"
#include "optdoe/run/messages.h"
#include "optdoe/run/plain_record.h"
#include "optdoe/run/run_globals.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/search_setup.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

constexpr run_extras no_extras{};
constexpr int slot_count = 12;
constexpr int last_step = 9; ///< opens slots 9, 10 and 11

} // namespace

static void open_storage_status(run_context* ctx)
{
    ctx->storage_status = static_cast<std::int32_t*>(tracked_try_alloc(ctx->globals, sizeof(std::int32_t)));
    if (ctx->storage_status != nullptr)
        *ctx->storage_status = 0;
}

static void close_storage_status(run_context* ctx)
{
    if (ctx->storage_status != nullptr)
        tracked_try_free(ctx->globals, ctx->storage_status);
    ctx->storage_status = nullptr;
}

static void open_slot(run_context* ctx, int slot)
{
    switch (slot) {
    case 2: return criterion_open(ctx);
    case 4: return open_storage_status(ctx);
    case 7: return rng_open(ctx);
    case 8: return search_open(ctx);
    case last_step: return level_structure_open(ctx);
    default: return criterion_record_open(ctx, slot);
    }
}

static void close_slot(run_context* ctx, int slot)
{
    switch (slot) {
    case 2: return criterion_close(ctx);
    case 4: return close_storage_status(ctx);
    case 7: return rng_close(ctx);
    case 8: return search_close(ctx);
    case last_step: return level_structure_close(ctx);
    default: return criterion_record_close(ctx, slot);
    }
}

static bool all_slots_open(const run_context* ctx)
{
    std::array<const void*, slot_count> slots;
    static_assert(sizeof slots == sizeof *ctx);
    std::memcpy(slots.data(), ctx, sizeof slots);
    return std::find(slots.begin(), slots.end(), nullptr) == slots.end();
}

bool run_slots_open(run_context* ctx, jni::Env* env, jni::Object self)
{
    open_plain_record(ctx->globals);
    if (ctx->globals == nullptr)
        return false;
    ctx->globals->extras = &no_extras;
    ctx->globals->env = env;
    ctx->globals->self = self;
    ctx->globals->start_ticks = current_ticks();
    ctx->globals->within_budget = 1;
    for (int slot = 1; slot <= last_step; ++slot)
        open_slot(ctx, slot);
    return all_slots_open(ctx);
}

void run_slots_close(run_context* ctx)
{
    for (int slot = last_step; slot >= 1; --slot)
        close_slot(ctx, slot);
    if (ctx->globals != nullptr)
        tracked_release_all(ctx->globals);
    close_plain_record(ctx->globals);
}

#include "support/test_run.h"

#include "criteria/criterion.h"
#include "criteria/criterion_records.h"
#include "entry/messages.h"
#include "entry/tracked_storage.h"
#include "numeric/random_numbers.h"
#include "search/level_structure.h"
#include "search/search_setup.h"
#include "storage/vectors.h"


test_run::test_run()
{
    host.on_status_line = [this](std::string_view line) { lines.emplace_back(line); };
    context_.globals = &globals_;
    globals_.env = host.env();
    globals_.self = host.self();
    globals_.start_ticks = current_ticks();
    globals_.within_budget = 1;

    run_context* ctx = &context_;
    a2_open(ctx);
    criterion_open(ctx);
    cd2_open(ctx);
    ctx->storage_status = static_cast<std::int32_t*>(tracked_try_alloc(&globals_, sizeof(std::int32_t)));
    *ctx->storage_status = 0;
    entropy_open(ctx);
    phip_open(ctx);
    rng_open(ctx);
    search_open(ctx);
    level_structure_open(ctx);
}

test_run::~test_run()
{
    run_context* ctx = &context_;
    level_structure_close(ctx);
    search_close(ctx);
    rng_close(ctx);
    phip_close(ctx);
    entropy_close(ctx);
    cd2_close(ctx);
    criterion_close(ctx);
    a2_close(ctx);
    tracked_release_all(&globals_);
}

void test_run::reset_settings(int nfactors)
{
    run_settings& s = globals_.settings;
    s.factor_counts = int_vector_alloc(&context_, nfactors);
    s.factor_shares = double_vector_alloc(&context_, nfactors);
    s.criterion.factor_weights = double_vector_alloc(&context_, nfactors);
    settings_reset(&context_, nfactors);
}

int test_run::live_blocks() const
{
    int blocks = -1; // the status word
    for (const allocation_chunk* chunk = globals_.chunks; chunk != nullptr; chunk = chunk->next)
        blocks += chunk->count;
    return blocks;
}

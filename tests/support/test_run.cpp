#include "tests/support/test_run.h"

#include "optdoe/entry/run_slots.h"
#include "optdoe/entry/settings.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/vectors/vectors.h"

test_run::test_run()
{
    host.on_status_line = [this](std::string_view line) { lines.emplace_back(line); };
    run_slots_open(&context_, host.env(), host.self());
}

test_run::~test_run() { run_slots_close(&context_); }

void test_run::reset_settings(int nfactors)
{
    run_settings& s = context_.globals->settings;
    s.factor_counts = int_vector_alloc(&context_, nfactors);
    s.factor_shares = double_vector_alloc(&context_, nfactors);
    s.criterion.factor_weights = double_vector_alloc(&context_, nfactors);
    settings_reset(&context_, nfactors);
}

int test_run::live_blocks() const
{
    int blocks = -1; // the status word
    for (const allocation_chunk* chunk = context_.globals->chunks; chunk != nullptr; chunk = chunk->next)
        blocks += chunk->count;
    return blocks;
}

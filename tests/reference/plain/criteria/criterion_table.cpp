/// The criteria in plain form.
#include "optdoe/criteria/criterion_ops.h"
#include "tests/reference/plain/criteria/a2.h"
#include "tests/reference/plain/criteria/cd2.h"
#include "tests/reference/plain/criteria/entropy.h"
#include "tests/reference/plain/criteria/phip.h"

static const criterion_ops* const by_id[]{&entropy_ops, &phip_ops, &cd2_ops, &a2_ops, &cd2_ops};

static const char* missing_function(const run_context*, const criterion_options& options)
{
    return options.criterion_function == unset_byte ? "The function name of the given criterion is needed!" : nullptr;
}

constexpr criterion_facts function_facts{.refusal = missing_function};

const std::int32_t criterion_id_count = 5;

const criterion_ops& criterion_for(const criterion_options& options)
{
    return options.criterion_id >= 0 && options.criterion_id <= 4 ? *by_id[options.criterion_id] : cd2_ops;
}

const criterion_facts& criterion_facts_of(std::int32_t id) { return id == 4 ? function_facts : by_id[id]->facts; }

const char* criterion_name(std::int32_t id) { return id == 4 ? nullptr : by_id[id]->name; }

void criterion_record_open(run_context* ctx, int slot)
{
    switch (slot) {
    case 1: return a2_open(ctx);
    case 3: return cd2_open(ctx);
    case 5: return entropy_open(ctx);
    case 6: return phip_open(ctx);
    default: return;
    }
}

void criterion_record_close(run_context* ctx, int slot)
{
    switch (slot) {
    case 1: return a2_close(ctx);
    case 3: return cd2_close(ctx);
    case 5: return entropy_close(ctx);
    case 6: return phip_close(ctx);
    default: return;
    }
}

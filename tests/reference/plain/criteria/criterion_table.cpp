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

namespace {

/// A record that the run context has a slot for.
struct slotted_record {
    int slot;
    void (*open)(run_context*);
    void (*close)(run_context*);
};

constexpr slotted_record records[]{
    {1, a2_open, a2_close},
    {3, cd2_open, cd2_close},
    {5, entropy_open, entropy_close},
    {6, phip_open, phip_close},
};

} // namespace

void criterion_record_open(run_context* ctx, int slot)
{
    for (const slotted_record& record : records)
        if (record.slot == slot)
            record.open(ctx);
}

void criterion_record_close(run_context* ctx, int slot)
{
    for (const slotted_record& record : records)
        if (record.slot == slot)
            record.close(ctx);
}

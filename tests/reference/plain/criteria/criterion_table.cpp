/// The criteria in plain form.
#include "optdoe/criteria/criterion_ops.h"
#include "tests/reference/plain/criteria/a2.h"
#include "tests/reference/plain/criteria/cd2.h"
#include "tests/reference/plain/criteria/entropy.h"
#include "tests/reference/plain/criteria/phip.h"

const criterion_ops& criterion_for(const criterion_options& options)
{
    switch (options.criterion_id) {
    case 0: return entropy_ops;
    case 1: return phip_ops;
    case 3: return a2_ops;
    default: return cd2_ops;
    }
}

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

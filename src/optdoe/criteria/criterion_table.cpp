/// The criteria there are. Adding one takes a folder of its own, an include here and a line in criterion_for; its
/// state is criterion_state::own_state.
#include "optdoe/criteria/a2/a2.h"
#include "optdoe/criteria/cd2/cd2.h"
#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/criteria/entropy/entropy.h"
#include "optdoe/criteria/phip/phip.h"

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

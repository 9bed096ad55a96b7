/// The criteria there are. Adding one takes a folder of its own, an include here and a line in by_id; its state is
/// criterion_state::own_state.
#include "optdoe/criteria/a2/a2.h"
#include "optdoe/criteria/cd2/cd2.h"
#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/criteria/criterion_params.h"
#include "optdoe/criteria/entropy/entropy.h"
#include "optdoe/criteria/maximin/maximin.h"
#include "optdoe/criteria/phip/phip.h"

#include <iterator>

static const char* missing_function(const run_context*, const criterion_options& options)
{
    return options.criterion_function == unset_byte ? "The function name of the given criterion is needed!" : nullptr;
}

/// Id 4 stands for a function that the settings name. There are none: with a name it has the operations of cd2, and
/// the usual scaling.
constexpr criterion_facts function_facts{.refusal = missing_function};

namespace {

/// The facts are those of the operations, but for id 4.
struct numbered_criterion {
    const criterion_ops& ops;
    const criterion_facts* other_facts = nullptr;
};

constexpr numbered_criterion by_id[]{{entropy_ops}, {phip_ops}, {cd2_ops}, {a2_ops}, {cd2_ops, &function_facts}};

} // namespace

const std::int32_t criterion_id_count = std::size(by_id);

/// An id that no criterion has, which settings_validate never leaves, is served like the last one.
static const numbered_criterion& numbered(std::int32_t id)
{
    return by_id[id >= 0 && id < criterion_id_count ? id : criterion_id_count - 1];
}

/// Phi-p with p = 0 is a criterion of its own.
const criterion_ops& criterion_for(const criterion_options& options)
{
    const criterion_ops& ops = numbered(options.criterion_id).ops;
    return &ops == &phip_ops && exponent_of(options.params) == 0 ? maximin_ops : ops;
}

const criterion_facts& criterion_facts_of(std::int32_t id)
{
    const numbered_criterion& criterion = numbered(id);
    return criterion.other_facts != nullptr ? *criterion.other_facts : criterion.ops.facts;
}

const char* criterion_name(std::int32_t id)
{
    const numbered_criterion& criterion = numbered(id);
    return criterion.other_facts != nullptr ? nullptr : criterion.ops.name;
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

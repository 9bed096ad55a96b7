#include "optdoe/entry/settings.h"

#include "optdoe/criteria/criterion_facts.h"
#include "optdoe/run/messages.h"
#include "optdoe/run/run_globals.h"
#include "optdoe/run/run_settings.h"
#include "optdoe/run/settings_table.h"
#include "optdoe/run/wrap32.h"

#include <initializer_list>

void settings_reset(run_context* ctx, std::int32_t nfactors)
{
    run_settings& s = ctx->globals->settings;
    s.search_mode = unset_byte;
    s.auxiliary_mode = unset_byte;
    s.scaling_mode = -1;
    s.symmetric_design = unset_byte;
    s.weighted_factor_choice = unset_byte;
    s.reduced_neighbourhoods = unset_byte;
    s.pre_improvement = unset_byte;
    s.iteration_budget = -1;
    s.moves_per_iteration = -1;
    s.exchange_pairs = -1;
    s.restart_limit = -1;
    s.time_limit = -1.0;
    s.tolerance_setting = -1.0;
    s.threshold_setting = -1.0;
    s.threshold_factor_setting = -1.0;

    criterion_options& c = s.criterion;
    c.criterion_id = -1;
    c.criterion_negate = unset_byte;
    c.criterion_threshold = -1e50;
    c.params = {-1, -1, -1, nullptr, nullptr, nullptr};
    c.criterion_function = unset_byte;

    for (std::int32_t j = 0; j < nfactors; ++j) {
        s.factor_counts[j] = -1;
        s.factor_shares[j] = -1.0;
        c.factor_weights[j] = -1.0;
    }
}

/// The value when it is in the range of its row, else the default brought into the range.
static std::int32_t settled_int(setting_id id, std::int32_t value, std::int32_t nsamples = 0)
{
    const setting& row = setting_of(id);
    return clamp_or_default_int(static_cast<std::int32_t>(row.low),
                                static_cast<std::int32_t>(highest_value(row, nsamples)),
                                static_cast<std::int32_t>(row.fallback), value);
}

static std::uint8_t settled_byte(setting_id id, std::uint8_t value)
{
    return static_cast<std::uint8_t>(settled_int(id, value));
}

static double settled_double(setting_id id, double value)
{
    const setting& row = setting_of(id);
    return clamp_or_default_double(row.low, row.high, row.fallback, value);
}

static std::int8_t settled_scaling(const criterion_facts& facts, std::int8_t value)
{
    const setting& row = setting_of(setting_id::scaling);
    const int fallback = facts.scaling >= 0 ? facts.scaling : static_cast<int>(row.fallback);
    return static_cast<std::int8_t>(
        clamp_or_default_byte(static_cast<int>(row.low), static_cast<int>(row.high), fallback, value));
}

/// Settles the criterion's options, its id first.
///   returns what is known about the criterion
static const criterion_facts& validate_criterion(criterion_options& c, std::int32_t nfactors)
{
    const int usual_id = static_cast<int>(setting_of(setting_id::criterion).fallback);
    c.criterion_id =
        static_cast<std::int8_t>(clamp_or_default_byte(0, criterion_id_count - 1, usual_id, c.criterion_id));
    const criterion_facts& facts = criterion_facts_of(c.criterion_id);
    c.criterion_negate = settled_byte(setting_id::negate_target, c.criterion_negate);
    for (std::int32_t* count : {&c.params.param_count_1, &c.params.param_count_2, &c.params.param_count_3})
        *count = clamp_or_default_int(0, most_list_values, 0, *count);

    if (!facts.target_is_not_negative) {
        const double given = c.criterion_negate != 0 ? -c.criterion_threshold : c.criterion_threshold;
        c.criterion_threshold = settled_double(setting_id::target, given);
    } else {
        c.criterion_threshold = c.criterion_threshold > 0.0 ? c.criterion_threshold : 0.0;
    }
    for (std::int32_t j = 0; j < nfactors; ++j)
        c.factor_weights[j] = settled_double(setting_id::weights, c.factor_weights[j]);
    return facts;
}

std::int32_t settings_validate(run_context* ctx, std::int32_t nfactors, std::int32_t nsamples)
{
    run_settings& s = ctx->globals->settings;
    criterion_options& c = s.criterion;
    const criterion_facts& facts = validate_criterion(c, nfactors);
    if (const char* refusal = facts.refusal != nullptr ? facts.refusal(ctx, c) : nullptr) {
        status_message(ctx, refusal);
        return -1;
    }

    s.search_mode = settled_byte(setting_id::method, s.search_mode);
    s.time_limit = settled_double(setting_id::time, s.time_limit);
    s.exchange_pairs = settled_int(setting_id::pairs, s.exchange_pairs, nsamples);
    s.auxiliary_mode = settled_byte(setting_id::auxiliary, s.auxiliary_mode);
    s.scaling_mode = settled_scaling(facts, s.scaling_mode);
    s.symmetric_design = settled_byte(setting_id::symmetric, s.symmetric_design);
    s.weighted_factor_choice = settled_byte(setting_id::weighted_choice, s.weighted_factor_choice);
    s.reduced_neighbourhoods = settled_byte(setting_id::all_pairs, s.reduced_neighbourhoods);
    s.pre_improvement = settled_byte(setting_id::no_pre_improvement, s.pre_improvement);
    s.restart_limit = settled_int(setting_id::restarts, s.restart_limit);

    const bool one_group_each = s.symmetric_design != 0 || !facts.has_level_groups;
    for (std::int32_t j = 0; j < nfactors; ++j) {
        s.factor_shares[j] = settled_double(setting_id::shares, s.factor_shares[j]);
        if (active_weight_floor > c.factor_weights[j])
            s.factor_shares[j] = 0.0;
        s.factor_counts[j] = one_group_each ? 1 : settled_int(setting_id::levels, s.factor_counts[j], nsamples);
    }

    if (s.search_mode == 1) {
        s.moves_per_iteration = nfactors;
        s.reduced_neighbourhoods = 0;
    } else if (s.search_mode == 2) {
        s.exchange_pairs = 1;
        s.weighted_factor_choice = 1;
        s.moves_per_iteration = wrap_mul(wrap_mul(wrap_mul(wrap_sub(nsamples, 1), nfactors), nsamples), 5);
    }
    return 0;
}

#include "optdoe/entry/settings.h"

#include "optdoe/criteria/criterion_facts.h"
#include "optdoe/run/messages.h"
#include "optdoe/run/run_globals.h"
#include "optdoe/run/run_settings.h"
#include "optdoe/run/wrap32.h"

constexpr double active_weight_floor = 1e-15;

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

static std::uint8_t byte_setting(int hi, int fallback, std::uint8_t value)
{
    return static_cast<std::uint8_t>(clamp_or_default_byte(0, hi, fallback, value));
}

/// Settles the criterion's options, its id first.
///   returns what is known about the criterion
static const criterion_facts& validate_criterion(criterion_options& c, std::int32_t nfactors)
{
    c.criterion_id = static_cast<std::int8_t>(clamp_or_default_byte(0, criterion_id_count - 1, 1, c.criterion_id));
    const criterion_facts& facts = criterion_facts_of(c.criterion_id);
    c.criterion_negate = byte_setting(1, 0, c.criterion_negate);
    c.params.param_count_1 = clamp_or_default_int(0, 200, 0, c.params.param_count_1);
    c.params.param_count_2 = clamp_or_default_int(0, 200, 0, c.params.param_count_2);
    c.params.param_count_3 = clamp_or_default_int(0, 200, 0, c.params.param_count_3);

    if (!facts.target_is_not_negative) {
        const double given = c.criterion_negate != 0 ? -c.criterion_threshold : c.criterion_threshold;
        c.criterion_threshold = clamp_or_default_double(-1e20, 1e20, -1e20, given);
    } else {
        c.criterion_threshold = c.criterion_threshold > 0.0 ? c.criterion_threshold : 0.0;
    }
    for (std::int32_t j = 0; j < nfactors; ++j)
        c.factor_weights[j] = clamp_or_default_double(1e-40, 1.0, 1.0, c.factor_weights[j]);
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

    s.search_mode = byte_setting(2, 0, s.search_mode);
    s.time_limit = clamp_or_default_double(0.0001, 1e6, 10000.0, s.time_limit);
    const std::int32_t pairs = wrap_mul(wrap_sub(nsamples, 1), nsamples) / 2;
    s.exchange_pairs = clamp_or_default_int(1, pairs, 50, s.exchange_pairs);
    s.auxiliary_mode = byte_setting(2, 0, s.auxiliary_mode);
    s.scaling_mode =
        static_cast<std::int8_t>(clamp_or_default_byte(0, 2, facts.scaling < 0 ? 1 : facts.scaling, s.scaling_mode));
    s.symmetric_design = byte_setting(1, 0, s.symmetric_design);
    s.weighted_factor_choice = byte_setting(1, 0, s.weighted_factor_choice);
    s.reduced_neighbourhoods = byte_setting(1, 1, s.reduced_neighbourhoods);
    s.pre_improvement = byte_setting(1, 1, s.pre_improvement);
    s.restart_limit = clamp_or_default_int(0, 500000, 30, s.restart_limit);

    const bool one_group_each = s.symmetric_design != 0 || !facts.has_level_groups;
    for (std::int32_t j = 0; j < nfactors; ++j) {
        s.factor_shares[j] = clamp_or_default_double(0.0, 1.0, 1.0, s.factor_shares[j]);
        if (active_weight_floor > c.factor_weights[j])
            s.factor_shares[j] = 0.0;
        s.factor_counts[j] = one_group_each ? 1 : clamp_or_default_int(1, nsamples, 1, s.factor_counts[j]);
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

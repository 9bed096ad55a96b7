/// A run's settings before it begins: marked as unset, then settled and checked.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstdint>

/// Marks every setting as unset, the elements of the three per-factor vectors included.
///   nfactors   length of the vectors, which the caller has allocated
void settings_reset(run_context* ctx, std::int32_t nfactors);

/// Replaces each unset or unusable setting by its default and checks what the criterion needs.
///   returns 0 when the settings are usable, -1 after a status line to the host otherwise
std::int32_t settings_validate(run_context* ctx, std::int32_t nfactors, std::int32_t nsamples);

/// Run settings: every option of criteria and search, its unset marker, its range and its default.
///
/// A setting is used as given when it lies in its range; anything else, the unset marker included, falls back to the
/// default brought into the range (not to the nearer bound). The JVM entry sets only the time limit; other callers
/// edit the settings between settings_reset and settings_validate.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstdint>

/// Numeric parameter lists of a criterion. A list with count 0 or a null pointer is empty.
///   phi-p     list 1 [0]: exponent p, 0..100, default 20 (0: maximin); list 2 [0]: 1 rectangular, 2 Euclidean
///   entropy   list 1: theta per factor (one value: for all), in [1e-40, 1000]; list 2 [0]: as for phi-p
///   others    none
struct criterion_params {
    std::int32_t param_count_1; ///< 0..200, default 0
    std::int32_t param_count_2; ///< 0..200, default 0
    std::int32_t param_count_3; ///< 0..200, default 0
    const double* param_list_1; ///< not owned
    const double* param_list_2; ///< not owned
    const double* param_list_3; ///< not owned; no criterion reads it
};

/// What the criterion set-up receives.
struct criterion_options {
    std::int8_t criterion_id;      ///< 0 entropy, 1 phi-p (default), 2 and 4 centered L2 discrepancy, 3 A2
    std::uint8_t criterion_negate; ///< 0 (default) or 1: negate criterion_threshold
    double* factor_weights;        ///< [nfactors] in [1e-40, 1], default 1; above 1e-15 the factor is active
    double criterion_threshold;    ///< target value; -1e20..1e20, default -1e20; at least 0 for criterion 3
    criterion_params params;
    std::uint8_t criterion_function; ///< must be set (below 255) when criterion_id is 4
};

inline constexpr std::uint8_t unset_byte = 0xFF; ///< marks a byte setting that nobody has set

struct run_settings {
    std::uint8_t search_mode;            ///< 0 threshold accepting (default), 1 greedy, 2 annealing
    std::uint8_t auxiliary_mode;         ///< 0..2, default 0; kept, steers nothing
    std::int8_t scaling_mode;            ///< 0 none, 1 range, 2 cell centres; default 2 for criterion 2, else 1
    std::uint8_t symmetric_design;       ///< 0 (default) or 1: keep a symmetric starting design symmetric
    std::uint8_t weighted_factor_choice; ///< 0 (default): factors in turn; 1: by random draw with factor_shares
    std::uint8_t reduced_neighbourhoods; ///< 1 (default): sample at most exchange_pairs candidates a move; 0: all
    std::uint8_t pre_improvement;        ///< 1 (default): random re-arrangements before the search
    std::int32_t iteration_budget;       ///< rounds (methods 0, 1) or moves (2): 1..1e8, default max(100, 2 n A)
    std::int32_t moves_per_iteration;    ///< 1..1e8, default 10..100 from the neighbourhood sizes
    std::int32_t exchange_pairs;         ///< candidates a move: 1..n(n-1)/2, default 50
    std::int32_t restart_limit;          ///< restarts of method 1: 0..500000, default 30
    double time_limit;                   ///< seconds: 0.0001..1e6, default 10000
    double tolerance_setting;            ///< least improvement that counts: 1e-15..0.1, default from the objective
    double threshold_setting;            ///< starting threshold or temperature: 0..1e200, default from the objective
    double threshold_factor_setting;     ///< cooling factor of method 2: 0.5..0.999; method 0: 0.3..0.999
    std::int32_t* factor_counts;         ///< [nfactors] requested level groups: 1..n, default 1
    double* factor_shares;               ///< [nfactors] relative frequency of moves: 0..1, default 1
    criterion_options criterion;
};

/// value when lo <= value <= hi, else fallback brought into [lo, hi].
std::int32_t clamp_or_default_int(std::int32_t lo, std::int32_t hi, std::int32_t fallback, std::int32_t value);

/// The same rule for byte settings; the value may be signed or unsigned.
int clamp_or_default_byte(int lo, int hi, int fallback, int value);

/// The same rule for doubles; a value within 1e-15 of an end becomes that end, NaN falls back.
double clamp_or_default_double(double lo, double hi, double fallback, double value);

/// Run settings: the block of options that criteria and search read. Ranges and defaults stand in settings_table.h.
///
/// A setting is used as given when it lies in its range; anything else, the unset marker included, falls back to the
/// default brought into the range (not to the nearer bound). The JVM entry sets only the time limit; other callers
/// edit the settings between settings_reset and settings_validate.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstdint>

/// Numeric parameter lists of a criterion. A list with count 0 or a null pointer is empty. Which criterion reads what
/// stands in criteria/criterion_facts.h.
///   list 1   the exponent p (row exponent), or theta (row theta): one value for all factors, or one each
///   list 2   [0]: the kind of distance, 1 rectangular, 2 Euclidean (row distance)
///   list 3   no criterion reads it
struct criterion_params {
    std::int32_t param_count_1; ///< 0..most_list_values, default 0
    std::int32_t param_count_2; ///< likewise
    std::int32_t param_count_3; ///< likewise
    const double* param_list_1; ///< not owned
    const double* param_list_2; ///< not owned
    const double* param_list_3; ///< not owned
};

/// What the criterion set-up receives.
struct criterion_options {
    std::int8_t criterion_id;      ///< row criterion; numbers as in the table of criteria
    std::uint8_t criterion_negate; ///< row negate_target: negate criterion_threshold
    double* factor_weights;        ///< [nfactors] row weights; above 1e-15 the factor is active
    double criterion_threshold;    ///< row target
    criterion_params params;
    std::uint8_t criterion_function; ///< must be set (below 255) when criterion_id is 4
};

inline constexpr std::uint8_t unset_byte = 0xFF; ///< marks a byte setting that nobody has set

/// Each field with the row that has its range and default. Where the default is derived from the starting design, the
/// search checks the field, not settings_validate.
struct run_settings {
    std::uint8_t search_mode;            ///< row method: 0 threshold accepting, 1 greedy, 2 annealing
    std::uint8_t auxiliary_mode;         ///< row auxiliary; kept, steers nothing
    std::int8_t scaling_mode;            ///< row scaling: 0 none, 1 range, 2 cell centres
    std::uint8_t symmetric_design;       ///< row symmetric; 1: keep a symmetric starting design symmetric
    std::uint8_t weighted_factor_choice; ///< row weighted_choice; 0: factors in turn, 1: by draw with factor_shares
    std::uint8_t
        reduced_neighbourhoods;       ///< row all_pairs; 1: sample at most exchange_pairs candidates a move, 0: all
    std::uint8_t pre_improvement;     ///< row no_pre_improvement; 1: random re-arrangements before the search
    std::int32_t iteration_budget;    ///< row iterations: rounds (methods 0, 1) or moves (2); the search checks it
    std::int32_t moves_per_iteration; ///< row moves; the search checks it
    std::int32_t exchange_pairs;      ///< row pairs: candidates a move
    std::int32_t restart_limit;       ///< row restarts, of method 1
    double time_limit;                ///< row time: seconds
    double tolerance_setting;         ///< row tolerance: least improvement that counts; the search checks it
    double threshold_setting;         ///< row threshold: threshold or temperature; the search checks it
    double threshold_factor_setting;  ///< row cooling, of method 2; method 0 takes 0.3..0.999; the search checks it
    std::int32_t* factor_counts;      ///< [nfactors] row levels: requested level groups
    double* factor_shares;            ///< [nfactors] row shares: relative frequency of moves
    criterion_options criterion;
};

/// value when lo <= value <= hi, else fallback brought into [lo, hi].
std::int32_t clamp_or_default_int(std::int32_t lo, std::int32_t hi, std::int32_t fallback, std::int32_t value);

/// The same rule for byte settings; the value may be signed or unsigned.
int clamp_or_default_byte(int lo, int hi, int fallback, int value);

/// The same rule for doubles; a value within 1e-15 of an end becomes that end, NaN falls back.
double clamp_or_default_double(double lo, double hi, double fallback, double value);

/// The settings of a run as people know them: one row each, with name, range, default and a sentence.
///
/// Everybody who states or checks a range or a default reads it here: the library's own check (entry/settings.h), and
/// the options, help, messages and --print-config of the program. Tests hold the manual to the rows.
///
/// What depends on the criterion stands with the criterion (criteria/criterion_facts.h): whether it reads a setting,
/// a default scaling of its own, and targets that are not negative. The names of criteria stand there, too.
#pragma once

#include <cstdint>

/// In the order of the rows, which is that of the help.
enum class setting_id {
    symmetric,
    criterion,
    exponent,
    distance,
    theta,
    weights,
    scaling,
    target,
    negate_target,
    method,
    time,
    iterations,
    moves,
    pairs,
    all_pairs,
    restarts,
    threshold,
    cooling,
    tolerance,
    shares,
    weighted_choice,
    levels,
    no_pre_improvement,
    auxiliary,
    seed,
};
inline constexpr int setting_count = static_cast<int>(setting_id::seed) + 1;

enum class setting_kind {
    choice,  ///< one of some names; the number is the name's position, plus `low`
    whole,   ///< a whole number
    number,  ///< any number
    wholes,  ///< whole numbers: one for all factors, or one each
    numbers, ///< numbers: one for all factors, or one each
    flag,    ///< given or not; when given, the number is the one of 0 and 1 that is not the default
};

/// Where a range ends.
enum class range_end {
    fixed,        ///< at `high`
    rows,         ///< at n, the number of rows that are placed
    pairs_of_rows ///< at n(n-1)/2, the number of pairs of those rows
};

struct setting {
    setting_id id;
    setting_kind kind;
    const char* name;     ///< of the program's option, without its dashes
    double low;           ///< least value
    double high;          ///< highest value; NaN where it depends on the rows, or on which criteria there are
    double fallback;      ///< default; NaN when the run derives it
    const char* sentence; ///< what it is; no full stop
    const char* default_words = nullptr; ///< the default in words; null: the number says all
    const char* choices = nullptr;       ///< kind choice: the names, separated by spaces; null: those of the criteria
    range_end end = range_end::fixed;
};

/// The row of a setting; lives as long as the program.
const setting& setting_of(setting_id id);

/// The highest value for n rows; NaN for the criterion. The number of pairs is computed in 32-bit arithmetic and
/// wraps beyond 46341 rows; then an empty range, or one that ends early, is part of the behaviour.
double highest_value(const setting& s, std::int32_t rows);

inline constexpr double share_floor = 1e-10;          ///< a factor with a share of at most this is never moved
inline constexpr double active_weight_floor = 1e-15;  ///< a factor with a weight below this is never moved
inline constexpr std::int32_t most_list_values = 200; ///< of one parameter list of a criterion

/// Default of theta with rectangular distances; the row has that of Euclidean ones.
inline constexpr double theta_for_rectangular_distances = 3.0;

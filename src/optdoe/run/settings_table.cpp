#include "optdoe/run/settings_table.h"

#include "optdoe/run/wrap32.h"

#include <iterator>
#include <limits>

static constexpr double varies = std::numeric_limits<double>::quiet_NaN(); ///< depends on the run

// id, kind, name, least, highest, default, sentence, default in words, choices, where the range ends
static constexpr setting rows_of_settings[]{
    {setting_id::symmetric, setting_kind::flag, "symmetric", 0, 1, 0,
     "keep the design symmetric: runs mirror each other in pairs"},
    {setting_id::criterion, setting_kind::choice, "criterion", 0, varies, 1, "what is minimised"},
    {setting_id::exponent, setting_kind::whole, "p", 0, 100, 20,
     "exponent of inverse distances, 0 for plain maximin"},
    {setting_id::distance, setting_kind::choice, "distance", 1, 2, 2, "distance between runs", nullptr,
     "rectangular euclidean"},
    {setting_id::theta, setting_kind::numbers, "theta", 1e-40, 1000, 5, "correlation parameters",
     "5, with rectangular distances 3"},
    {setting_id::weights, setting_kind::numbers, "weights", 1e-40, 1, 1, "factor weights"},
    {setting_id::scaling, setting_kind::choice, "scaling", 0, 2, 1, "columns during the search", nullptr,
     "none range centres"},
    {setting_id::target, setting_kind::number, "target", -1e20, 1e20, -1e20, "stop at this objective"},
    {setting_id::negate_target, setting_kind::flag, "negate-target", 0, 1, 0, "use the target with the other sign"},
    {setting_id::method, setting_kind::choice, "method", 0, 2, 0, "how the design is searched", nullptr,
     "threshold greedy annealing"},
    {setting_id::time, setting_kind::number, "time", 0.0001, 1e6, 10000,
     "time limit in seconds, or such as 30s, 2m, 1h"},
    {setting_id::iterations, setting_kind::whole, "iterations", 1, 1e8, varies, "rounds (annealing: moves)",
     "2 N K, at least 100"},
    {setting_id::moves, setting_kind::whole, "moves", 1, 1e8, varies, "moves a round of threshold",
     "10 to 100 by the size of the design"},
    {setting_id::pairs, setting_kind::whole, "pairs", 1, varies, 50, "candidate exchanges a move of threshold",
     nullptr, nullptr, range_end::pairs_of_rows},
    {setting_id::all_pairs, setting_kind::flag, "all-pairs", 0, 1, 1, "examine every candidate exchange"},
    {setting_id::restarts, setting_kind::whole, "restarts", 0, 500000, 30, "restarts of greedy"},
    {setting_id::threshold, setting_kind::number, "threshold", 0, 1e200, varies, "starting threshold or temperature",
     "from the objective of the start"},
    {setting_id::cooling, setting_kind::number, "cooling", 0.5, 0.999, varies, "cooling factor of annealing",
     "from the number of moves"},
    {setting_id::tolerance, setting_kind::number, "tolerance", 1e-15, 0.1, varies, "least improvement that counts",
     "from the objective of the start"},
    {setting_id::shares, setting_kind::numbers, "shares", 0, 1, 1, "how often factors are moved"},
    {setting_id::weighted_choice, setting_kind::flag, "weighted-choice", 0, 1, 0,
     "draw the factor by shares instead of in turn"},
    {setting_id::levels, setting_kind::wholes, "levels", 1, varies, 1,
     "level groups a factor, a divisor of N below N", nullptr, nullptr, range_end::rows},
    {setting_id::no_pre_improvement, setting_kind::flag, "no-pre-improvement", 0, 1, 1,
     "search from the start as it is"},
    {setting_id::auxiliary, setting_kind::whole, "auxiliary", 0, 2, 0, "kept with the settings, steers nothing"},
    // The highest 32-bit number asks the library for the clock, whose run could not be repeated.
    {setting_id::seed, setting_kind::whole, "seed", 0, 4294967294.0, varies,
     "seed of the random numbers, printed in any case", "from the clock"},
};

static constexpr bool rows_are_in_order()
{
    for (int i = 0; i < setting_count; ++i)
        if (rows_of_settings[i].id != static_cast<setting_id>(i))
            return false;
    return true;
}
static_assert(std::size(rows_of_settings) == setting_count && rows_are_in_order());

const setting& setting_of(setting_id id) { return rows_of_settings[static_cast<int>(id)]; }

double highest_value(const setting& s, std::int32_t rows)
{
    switch (s.end) {
    case range_end::rows: return rows;
    case range_end::pairs_of_rows: return wrap_mul(wrap_sub(rows, 1), rows) / 2;
    default: return s.high;
    }
}

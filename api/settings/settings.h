/// The settings of a run as a person gives them: names, ranges, what goes with what.
///
/// The library replaces an unusable setting by its default. Here it is refused, with the range, and so is a setting
/// that the chosen criterion or method would not read.
#pragma once

#include "api/settings/setting_texts.h"

#include "optdoe/run/run_settings.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace optdoe {

/// Each with the row of the table of settings that has its range, names and default. Unset means the default.
struct settings {
    std::string criterion = default_choice(setting_id::criterion);
    std::string method;   ///< empty: the default
    std::string distance; ///< empty: the default
    std::string scaling;  ///< empty: the default, which may be the criterion's own
    std::optional<int> p;
    std::vector<double> theta;        ///< one value or one per factor
    std::vector<double> weights;      ///< likewise
    std::vector<double> shares;       ///< likewise
    std::vector<double> level_groups; ///< likewise, whole numbers; row levels
    std::optional<double> target;
    bool negate_target = false;
    bool symmetric = false;
    bool weighted_choice = false;
    bool all_pairs = false;
    bool no_pre_improvement = false;
    std::optional<int> auxiliary;
    std::optional<std::int32_t> iterations, moves, pairs, restarts;
    std::optional<double> seconds, tolerance, threshold, cooling; ///< seconds: row time

    /// Throws usage_error on the first setting that cannot be used for n rows and k factors, or that nothing reads.
    void check(std::int64_t rows, std::int64_t factors) const;

    /// The exponent in force.
    int exponent() const;

    /// The kind of distance in force, by name, and the method.
    std::string distance_in_force() const;
    std::string method_in_force() const;

    /// 0 none, 1 range, 2 centres.
    std::size_t scaling_in_force() const;

    /// The objective at which a search ends.
    double target_in_force() const;

    /// Rounds (annealing: moves) of a run of n rows and k factors.
    std::int64_t rounds_in_force(std::int64_t rows, std::int64_t factors) const;

    /// True when something is set that steers a method of the search: then no other method may take its place.
    bool steers_the_method() const;

    /// Only what evaluating a design reads; throws usage_error.
    void check_criterion(std::int64_t factors) const;

    /// Writes the criterion and its parameters, without what is given for each factor.
    void apply_criterion(criterion_options* target) const;

    /// Writes everything that is set. The lists of this object must outlive the run.
    void apply(run_settings* target, std::int32_t factors) const;

    /// The settings in force, by option name. null: the run derives the value from the starting design.
    nlohmann::ordered_json effective(std::int64_t rows, std::int64_t factors) const;

    /// The settings that a search of effort reads: the criterion's, the structure of the design, shares.
    nlohmann::ordered_json effective_for_effort(std::int64_t rounds) const;

private:
    void check_lists(std::int64_t rows, std::int64_t factors) const;
    std::int64_t moving_factors(std::int64_t factors) const; ///< those that the search may move
    void add_criterion(nlohmann::ordered_json& s) const;
    void add_search(nlohmann::ordered_json& s, std::int64_t rows, std::int64_t factors) const;

    mutable double exponent_ = 0.0; ///< storage for the library's parameter lists
    mutable double distance_kind_ = 0.0;
};

/// The value for factor j of a list of one value or one per factor.
double list_value(const std::vector<double>& list, std::size_t j);

} // namespace optdoe

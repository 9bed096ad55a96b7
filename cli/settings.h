/// The settings of a run as a person gives them: names, ranges, what goes with what.
///
/// The library replaces an unusable setting by its default. Here it is refused, with the range, and so is a setting
/// that the chosen criterion or method would not read.
#pragma once

#include "optdoe/run/run_settings.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace cli {

/// Unset means the library's default.
struct settings {
    std::string criterion = "phip";   ///< phip, entropy, cd2, a2
    std::string method = "threshold"; ///< threshold, greedy, annealing
    std::string distance;             ///< euclidean, rectangular; empty: euclidean
    std::string scaling;              ///< none, range, centres; empty: centres for cd2, else range
    std::optional<int> p;             ///< 0 .. 100
    std::vector<double> theta;        ///< one value or one per factor
    std::vector<double> weights;      ///< likewise
    std::vector<double> shares;       ///< likewise
    std::vector<double> level_groups; ///< likewise, whole numbers
    std::optional<double> target;
    bool negate_target = false;
    bool symmetric = false;
    bool weighted_choice = false;
    bool all_pairs = false;
    bool no_pre_improvement = false;
    std::optional<int> auxiliary;
    std::optional<std::int32_t> iterations, moves, pairs, restarts;
    std::optional<double> seconds, tolerance, threshold, cooling;

    /// Throws usage_error on the first setting that cannot be used for n rows and k factors, or that nothing reads.
    void check(std::int64_t rows, std::int64_t factors) const;

    /// Only what evaluating a design reads; throws usage_error.
    void check_criterion(std::int64_t factors) const;

    /// Writes the criterion and its parameters, without what is given for each factor.
    void apply_criterion(criterion_options* target) const;

    /// Writes everything that is set. The lists of this object must outlive the run.
    void apply(run_settings* target, std::int32_t factors) const;

    /// The settings in force, by option name. null: the run derives the value from the starting design.
    nlohmann::ordered_json effective(std::int64_t rows, std::int64_t factors) const;

private:
    mutable double exponent_ = 0.0; ///< storage for the library's parameter lists
    mutable double distance_kind_ = 0.0;
};

/// The value for factor j of a list of one value or one per factor.
double list_value(const std::vector<double>& list, std::size_t j);

} // namespace cli

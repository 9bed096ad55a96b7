/// Scores of a design: the library's criteria and plain measures, each beside the mean of random Latin hypercubes.
#pragma once

#include "api/designs/design_file.h"
#include "api/settings/settings.h"

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace optdoe {

struct measure {
    std::string key;    ///< in JSON
    std::string label;  ///< for people
    double value;       ///< NaN: does not apply
    double random_mean; ///< NaN: does not apply, or not asked for
    std::string where;  ///< the pair of runs or factors; may be empty
};

struct evaluation {
    std::string file;
    std::size_t runs = 0;
    std::size_t factors = 0;
    std::vector<measure> measures;
    std::string recorded_criterion; ///< from the provenance; empty without one
    std::optional<double> recorded; ///< the objective that the provenance holds
};

/// What a person may override of the settings that the file records; the criterion is not read.
struct evaluation_options {
    settings overrides;
    std::size_t random_designs = 200;
};

evaluation evaluate(const design_file& file, const evaluation_options& options);

/// The criterion settings a file was made with, for one criterion, under the overrides.
settings settings_for(const design_file& file, const std::string& criterion, const evaluation_options& options);

/// The objective under these settings as `make` reports it; nothing where the criterion does not apply.
std::optional<double> objective_of(const design_file& file, const settings& options);

/// True when the recorded objective is not the one computed from the numbers (relative difference above 1e-9).
bool contradicts_record(const evaluation& e);

std::string evaluation_table(const std::vector<evaluation>& evaluations, std::size_t random_designs);
nlohmann::ordered_json evaluation_json(const std::vector<evaluation>& evaluations, std::size_t random_designs);

} // namespace optdoe

/// A request that is checked and ready to be searched for, and what becomes of the search's result.
#pragma once

#include "api/campaign/search_task.h"
#include "api/requests/design_request.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace optdoe {

class prepared_design {
public:
    explicit prepared_design(const design_request& request);
    virtual ~prepared_design() = default;
    prepared_design(const prepared_design&) = delete; // the problem's start refers to this object
    prepared_design& operator=(const prepared_design&) = delete;

    const search_problem& problem() const { return problem_; }
    std::uint32_t seed() const { return seed_; }

    /// What a person should know before the search and no error is.
    const std::vector<std::string>& remarks() const { return remarks_; }

    /// The design of a search of this problem, with its provenance: that of the command that repeats it.
    design_file design_of(const search_result& best) const;

    /// The settings in force, by option name.
    virtual nlohmann::ordered_json config() const = 0;

protected:
    /// Values, factors and coding of the design; the provenance is added by the caller.
    virtual design_file numbers_of(const search_result& best) const = 0;
    /// The rows that the settings are stated for.
    virtual std::int64_t rows_of_settings() const = 0;
    /// Entries of the provenance between settings and coding.
    virtual void describe_origin(nlohmann::ordered_json& provenance) const = 0;

    const design_request request_;
    search_problem problem_;
    std::vector<std::string> remarks_;

private:
    std::uint32_t seed_;
};

/// Checks the request and prepares its search: a design that is made, or runs that are added to one. Throws
/// usage_error for what the request asks for, input_error for what its files hold or the machine cannot give.
std::unique_ptr<prepared_design> prepare(const design_request& request);

/// prepare for the two kinds of requests.
std::unique_ptr<prepared_design> prepare_make(const design_request& request);
std::unique_ptr<prepared_design> prepare_augment(const design_request& request);

/// A request of results files' own words, with the best search of all of them: see merge_results.
struct merged_search {
    design_request request;
    search_result best;
    std::int64_t searches = 0;
};
merged_search merge(const std::vector<std::string>& files, bool incomplete);

} // namespace optdoe

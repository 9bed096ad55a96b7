#include "api/requests/prepared_design.h"

#include "api/campaign/results_file.h"
#include "api/campaign/search.h"
#include "api/requests/request_options.h"
#include "api/scores/evaluation.h"
#include "api/text/errors.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cmath>

#include <unistd.h>

namespace optdoe {

namespace {

/// Nine digits are enough to tell runs apart and short enough to be typed again.
std::uint32_t seed_of_clock()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto ticks = static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
    return static_cast<std::uint32_t>((ticks * 1000003U + static_cast<std::uint64_t>(getpid())) % 1000000000U);
}

/// The command that makes the design of a search again, on one core and without a clock.
std::string repeating_command(const design_request& request, const search_result& best)
{
    if (!request.typed_command.empty() && !request.is_campaign() && !best.cut)
        return request.seed ? request.typed_command
                            : fmt::format("{} --seed {}", request.typed_command, best.task.seed);
    std::vector<std::string> words = problem_words(request);
    if (best.task.effort > 0)
        words.push_back(fmt::format("--effort={}", best.task.effort));
    if (best.cut)
        words.push_back(fmt::format("--stop-after={}", best.task.stop_after));
    words.push_back(fmt::format("--seed={}", best.task.seed));
    words.insert(words.end(), request.output_words.begin(), request.output_words.end());
    return "optdoe " + shell_text(words);
}

/// The objective of the numbers as they are written: that of the search where these are its levels.
std::optional<double> objective_in(const design_file& design, const search_result& best, const settings& options)
{
    if (design.code != coding::levels || design.values.cells != best.levels.cells)
        return objective_of(design, options);
    return std::isnan(best.objective) ? std::nullopt : std::optional(best.objective);
}

} // namespace

prepared_design::prepared_design(const design_request& request)
    : request_(request), seed_(request.seed ? *request.seed : seed_of_clock())
{
    check_factors(request.factors);
    problem_.options = request.run;
}

design_file prepared_design::design_of(const search_result& best) const
{
    design_file design = numbers_of(best);
    auto provenance = std::make_shared<nlohmann::ordered_json>(nlohmann::ordered_json::object());
    nlohmann::ordered_json& p = *provenance;
    p["program"] = "optdoe";
    p["version"] = OPTDOE_VERSION;
    p["command"] = repeating_command(request_, best);
    p["runs"] = design.values.rows;
    p["seed"] = best.task.seed;
    p["end"] = end_text(best);
    p["rounds"] = best.rounds;
    p["settings"] =
        best.task.effort > 0
            ? problem_.options.effective_for_effort(best.task.effort)
            : problem_.options.effective(rows_of_settings(), static_cast<std::int64_t>(design.values.columns));
    describe_origin(p);
    describe_coding(p, design.factors, design.code, design.place, design.level_counts);
    design.provenance = provenance;
    if (const auto objective = objective_in(design, best, problem_.options))
        p["objective"] = *objective;
    return design;
}

std::unique_ptr<prepared_design> prepare(const design_request& request)
{
    return request.old.is_given() ? prepare_augment(request) : prepare_make(request);
}

merged_search merge(const std::vector<std::string>& files, bool incomplete)
{
    std::vector<recorded_campaign> recorded;
    for (const std::string& file : files)
        recorded.push_back(read_results(file));
    if (recorded.empty())
        throw usage_error("merge needs a results file");
    const recorded_campaign& first = recorded.front();
    merged_search merged;
    try {
        merged.request = request_of_words(first.identity.command);
    } catch (const usage_error& error) {
        throw input_error(fmt::format("{}:1:1: its command is none of this version: {}", first.file, error.what()));
    }
    merged.request.seed = first.identity.first_seed;
    merged.request.results = first.file; // the design is one of a campaign
    merged.best = merge_results(recorded, incomplete);
    for (const recorded_campaign& file : recorded)
        merged.searches += static_cast<std::int64_t>(file.seeds.size());
    return merged;
}

} // namespace optdoe

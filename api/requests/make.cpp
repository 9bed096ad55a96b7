#include "api/requests/prepared_design.h"

#include "api/designs/start_designs.h"
#include "api/runs/memory.h"
#include "api/settings/criteria.h"
#include "api/text/errors.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>

namespace optdoe {

namespace {

void agree(const std::optional<std::int64_t>& given, std::size_t found, const char* what, const std::string& source)
{
    if (given && *given != static_cast<std::int64_t>(found))
        throw usage_error(fmt::format("{} {} asked for, {} has {}", *given, what, source, found));
}

class made_design : public prepared_design {
public:
    explicit made_design(const design_request& request) : prepared_design(request)
    {
        if (request_.start.is_given())
            begin_with_start();
        else
            begin_with_sizes();
        request_.run.check(rows_, factors_);
        refuse_beyond_memory(request_.run, rows_, 0, factors_);
        if (start_)
            refuse_unless_symmetric();
        else
            describe_random_start();
        code_ = resolved_coding();
        place_ = request_.place.value_or(place_);
        remark_what_gains_nothing();
        problem_.rows = static_cast<std::int32_t>(rows_);
        problem_.factors = static_cast<std::int32_t>(factors_);
        problem_.options.seconds.reset();
        problem_.start = [this](std::uint32_t seed) { return start_of(seed); };
    }

    nlohmann::ordered_json config() const override;

protected:
    design_file numbers_of(const search_result& best) const override;
    std::int64_t rows_of_settings() const override { return rows_; }
    void describe_origin(nlohmann::ordered_json& provenance) const override;

private:
    void begin_with_start();
    void begin_with_sizes();
    void refuse_unless_symmetric() const;
    void describe_random_start();
    void remark_what_gains_nothing();
    std::optional<table> start_of(std::uint32_t seed) const;
    coding resolved_coding() const;

    std::int64_t rows_ = 0;
    std::int64_t factors_ = 0;
    std::vector<factor> described_;
    std::vector<std::size_t> level_counts_;
    std::optional<table> start_; ///< of the request; nothing: a random one
    bool raw_ = false;           ///< the start's own values, in no coding of ours
    coding code_ = coding::levels;
    placement place_ = placement::centres;
    std::optional<coding> code_of_start_;
};

void made_design::begin_with_start()
{
    if (!request_.balanced.empty())
        throw usage_error("--start and --balanced exclude each other");
    design_file file = request_.start.read();
    const std::string& source = request_.start.name;
    interpret(file, request_.factors, std::nullopt);
    agree(request_.rows, file.values.rows, "runs", source);
    agree(request_.factor_count, file.values.columns, "factors", source);
    rows_ = static_cast<std::int64_t>(file.values.rows);
    factors_ = static_cast<std::int64_t>(file.values.columns);
    if (rows_ < 2)
        throw input_error(fmt::format("{}:1:1: holds one run; a design has at least two", source));
    described_ = file.factors;
    raw_ = !file.whole_levels();
    start_ = raw_ ? file.values : file.levels();
    level_counts_ = distinct_counts(*start_);
    place_ = file.place;
    code_of_start_ = file.code;
    for (std::size_t j = 0; j < level_counts_.size(); ++j)
        if (level_counts_[j] < 2)
            throw refused_value(file, 0, j, "the factor has one level only");
}

void made_design::begin_with_sizes()
{
    if (!request_.rows)
        throw usage_error("N, the number of runs, is missing");
    if (!request_.factor_count && request_.factors.empty())
        throw usage_error("K, the number of factors, is missing; give it, or --factor or --bounds");
    const auto named = static_cast<std::int64_t>(request_.factors.size());
    rows_ = *request_.rows;
    factors_ = request_.factor_count.value_or(named);
    if (named > 0 && named != factors_)
        throw usage_error(fmt::format("{} factors where --bounds and --factor give {}", factors_, named));
    if (static_cast<double>(rows_) * static_cast<double>(factors_) > 2147483647.0)
        throw usage_error("N times K must stay below 2147483648");
}

void made_design::refuse_unless_symmetric() const
{
    if (request_.run.symmetric && !is_symmetric(*start_))
        throw input_error(fmt::format("{}:1:1: --symmetric: the design is not symmetric", request_.start.name));
}

void made_design::describe_random_start()
{
    const std::size_t rows = static_cast<std::size_t>(rows_);
    const std::size_t factors = static_cast<std::size_t>(factors_);
    const std::vector<double>& balanced = request_.balanced;
    described_ = request_.factors.empty() ? default_factors(factors) : request_.factors;
    level_counts_.assign(factors, rows);
    if (balanced.empty())
        return;
    if (request_.run.symmetric)
        throw usage_error("--balanced and --symmetric exclude each other");
    if (balanced.size() > 1 && balanced.size() != factors)
        throw usage_error(fmt::format("--balanced: {} values for {} factors (give one for all, or one each)",
                                      balanced.size(), factors));
    for (std::size_t j = 0; j < factors; ++j) {
        const double count = list_value(balanced, j);
        if (count != std::floor(count) || count < 2 || count > static_cast<double>(rows) ||
            std::fmod(static_cast<double>(rows), count) != 0.0)
            throw usage_error(fmt::format("--balanced: {} levels do not divide {} runs evenly", count, rows));
        level_counts_[j] = static_cast<std::size_t>(count);
    }
}

void made_design::remark_what_gains_nothing()
{
    const std::string& criterion = request_.run.criterion;
    if (facts_of(criterion).needs_balanced_columns && !start_ && request_.balanced.empty())
        remarks_.push_back(
            fmt::format("warning: every Latin hypercube has the same {0}, so there is nothing to improve;\n"
                        "{0} is meant for balanced designs: see --balanced and --start",
                        criterion));
}

/// The start of a seed: that of the request, else a random one; nothing where the library makes it.
std::optional<table> made_design::start_of(std::uint32_t seed) const
{
    std::mt19937_64 generator(seed);
    if (start_)
        return start_;
    if (!request_.balanced.empty())
        return random_balanced(generator, static_cast<std::size_t>(rows_), level_counts_);
    if (request_.run.symmetric)
        return random_symmetric(generator, static_cast<std::size_t>(rows_), static_cast<std::size_t>(factors_));
    return std::nullopt;
}

coding made_design::resolved_coding() const
{
    const bool ranges = !described_.empty() && described_.front().range.has_value();
    if (request_.entry_levels && request_.code && *request_.code != coding::levels)
        throw usage_error("--entry-levels writes levels; --coding cannot change that");
    if (raw_) {
        if (request_.code)
            throw usage_error(
                fmt::format("--coding: {} has no levels of ours; its own values are kept", request_.start.name));
        return coding::raw;
    }
    const bool given_ranges = !request_.factors.empty() && request_.factors.front().range.has_value();
    const coding usual = given_ranges ? coding::physical : code_of_start_.value_or(coding::levels);
    const coding code = request_.entry_levels ? coding::levels : request_.code.value_or(usual);
    if (code == coding::physical && !ranges)
        throw usage_error("--coding physical needs --bounds or --factor");
    return code;
}

design_file made_design::numbers_of(const search_result& best) const
{
    design_file design;
    design.values = best.levels;
    if (request_.entry_levels)
        design.values.cells.assign(best.entry_levels.begin(), best.entry_levels.end());
    for (std::size_t i = 0; i < design.values.rows; ++i)
        for (std::size_t j = 0; j < design.values.columns; ++j) {
            double& value = design.values.at(i, j);
            value = encode(value, level_counts_[j], described_[j], code_, place_);
        }
    design.factors = described_;
    design.code = code_;
    design.place = place_;
    design.level_counts = level_counts_;
    return design;
}

void made_design::describe_origin(nlohmann::ordered_json& provenance) const
{
    if (request_.start.is_given())
        provenance["start"] = request_.start.name;
    if (request_.entry_levels)
        provenance["entry_levels"] = true;
}

nlohmann::ordered_json made_design::config() const
{
    nlohmann::ordered_json config = request_.run.effective(rows_, factors_);
    if (!request_.run.seconds)
        config["time"] = nullptr; // a time that is given is used to its end
    config["seed"] = std::to_string(seed());
    if (!request_.balanced.empty())
        config["balanced"] = request_.balanced;
    if (request_.start.is_given())
        config["start"] = request_.start.name;
    for (const factor& f : described_)
        if (f.range)
            config["factor"].push_back(factor_text(f));
    if (code_ != coding::raw)
        config["coding"] = name_of(code_);
    config["placement"] = name_of(place_);
    if (request_.entry_levels)
        config["entry-levels"] = true;
    const std::pair<const char*, std::optional<std::int64_t>> counts[]{
        {"starts", request_.starts}, {"effort", request_.effort}, {"stop-after", request_.stop_after}};
    for (const auto& [name, count] : counts)
        if (count)
            config[name] = *count;
    return config;
}

} // namespace

std::unique_ptr<prepared_design> prepare_make(const design_request& request)
{
    return std::make_unique<made_design>(request);
}

} // namespace optdoe

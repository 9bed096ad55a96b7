#include "api/requests/prepared_design.h"

#include "api/designs/start_designs.h"
#include "api/designs/strata.h"
#include "api/runs/memory.h"
#include "api/settings/criteria.h"
#include "api/text/errors.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace optdoe {

namespace {

/// The old runs in 0..1.
table unit_runs(const design_file& old)
{
    table unit = old.levels();
    for (std::size_t i = 0; i < unit.rows; ++i) {
        for (std::size_t j = 0; j < unit.columns; ++j) {
            double& u = unit.at(i, j);
            u = level_to_unit(u, old.level_counts[j], old.place);
            if (u < -1e-9 || u > 1.0 + 1e-9)
                throw refused_value(old, i, j, "lies outside of the factor's range");
            u = std::clamp(u, 0.0, 1.0);
        }
    }
    return unit;
}

/// Old runs followed by new ones at the free strata's centres, each column in random order.
table with_added(const table& unit, std::size_t added, std::uint32_t seed)
{
    std::mt19937_64 generator(seed);
    table fresh(added, unit.columns);
    for (std::size_t j = 0; j < unit.columns; ++j) {
        const column_strata strata = free_strata(unit.column(j), added);
        for (std::size_t i = 0; i < added; ++i)
            fresh.at(i, j) = strata.centres[i];
    }
    shuffle_columns(generator, fresh);
    table whole = unit;
    whole.rows += added;
    whole.cells.insert(whole.cells.end(), fresh.cells.begin(), fresh.cells.end());
    return whole;
}

class augmented_design : public prepared_design {
public:
    explicit augmented_design(const design_request& request)
        : prepared_design(request), added_(static_cast<std::size_t>(request.added))
    {
        refuse_what_is_not_read();
        old_ = request_.old.read();
        interpret(old_, request_.factors, request_.code);
        if (old_.code == coding::raw)
            throw usage_error(fmt::format(
                "{}: the ranges of its factors are unknown; give --bounds, --factor or --coding unit", old_.name));
        unit_ = unit_runs(old_);
        const auto columns = static_cast<std::int64_t>(unit_.columns);
        if (static_cast<double>(rows()) * static_cast<double>(columns) > 2147483647.0)
            throw usage_error("runs times factors must stay below 2147483648");
        problem_.rows = static_cast<std::int32_t>(added_);
        problem_.factors = static_cast<std::int32_t>(columns);
        problem_.fixed_rows = static_cast<std::int32_t>(unit_.rows);
        problem_.options.scaling = "none";
        problem_.options.check(rows_of_settings(), columns);
        refuse_beyond_memory(problem_.options, request_.added, problem_.fixed_rows, columns);
        problem_.options.seconds.reset();
        problem_.start = [this](std::uint32_t seed) { return with_added(unit_, added_, seed); };
        remark_shared_strata();
    }

    nlohmann::ordered_json config() const override
    {
        return problem_.options.effective(rows_of_settings(), problem_.factors);
    }

protected:
    design_file numbers_of(const search_result& best) const override;
    std::int64_t rows_of_settings() const override { return std::max<std::int64_t>(request_.added, 2); }
    void describe_origin(nlohmann::ordered_json& provenance) const override;

private:
    void refuse_what_is_not_read() const;
    void remark_shared_strata();
    std::size_t rows() const { return unit_.rows + added_; }

    design_file old_;
    table unit_; ///< the old runs in 0..1
    std::size_t added_;
};

void augmented_design::refuse_what_is_not_read() const
{
    const design_request& r = request_;
    if (r.added < 1)
        throw usage_error("--add, the number of runs to add, is missing");
    const std::pair<const char*, bool> others[]{
        {"--runs", r.rows.has_value()},       {"--factors", r.factor_count.has_value()},
        {"--start", r.start.is_given()},      {"--balanced", !r.balanced.empty()},
        {"--placement", r.place.has_value()}, {"--entry-levels", r.entry_levels},
        {"--symmetric", r.run.symmetric},     {"--scaling", !r.run.scaling.empty()}};
    for (const auto& [name, given] : others)
        if (given)
            throw usage_error(fmt::format("{} does not go with runs that are added to a design", name));
    if (facts_of(r.run.criterion).needs_balanced_columns)
        throw usage_error(fmt::format(
            "--criterion {} counts equal levels, and added runs stand on levels of their own; use {}",
            r.run.criterion, enumerated(criteria_where(&criterion_facts::needs_balanced_columns, false), "or")));
}

void augmented_design::remark_shared_strata()
{
    for (std::size_t j = 0; j < unit_.columns; ++j)
        if (const std::size_t shared = free_strata(unit_.column(j), added_).shared; shared > 0)
            remarks_.push_back(fmt::format("factor {}: {} of the old runs share one of the {} strata with another; "
                                           "as many strata near them stay empty",
                                           old_.factors[j].name, shared, rows()));
}

design_file augmented_design::numbers_of(const search_result& best) const
{
    design_file design = old_;
    design.values.rows = rows();
    design.values.cells.resize(best.levels.cells.size());
    for (std::size_t i = unit_.rows; i < rows(); ++i)
        for (std::size_t j = 0; j < unit_.columns; ++j)
            design.values.at(i, j) = encode(unit_to_level(best.levels.at(i, j), old_.level_counts[j], old_.place),
                                            old_.level_counts[j], old_.factors[j], old_.code, old_.place);
    return design;
}

void augmented_design::describe_origin(nlohmann::ordered_json& provenance) const
{
    provenance["old_file"] = request_.old.name;
    provenance["old_runs"] = old_.values.rows;
}

} // namespace

std::unique_ptr<prepared_design> prepare_augment(const design_request& request)
{
    return std::make_unique<augmented_design>(request);
}

} // namespace optdoe

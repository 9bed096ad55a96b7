#include "c/handles.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

using namespace optdoe;

namespace {

constexpr std::size_t most_random_designs = 100000;

} // namespace

optdoe_status optdoe_scores_new(optdoe_scores** scores) { return made(scores); }

void optdoe_scores_free(optdoe_scores* scores) { delete scores; }

const char* optdoe_scores_message(const optdoe_scores* scores)
{
    return scores != nullptr ? scores->message.c_str() : "";
}

optdoe_status optdoe_scores_evaluate(optdoe_scores* scores, const optdoe_design* design,
                                     const optdoe_request* overrides, size_t random_designs)
{
    return guarded(scores, [&] {
        const design_file& content = given(design, "design")->content;
        if (content.values.rows < 2)
            throw usage_error(fmt::format("design: {} runs; measures need at least two", content.values.rows));
        if (random_designs > most_random_designs)
            throw usage_error(
                fmt::format("random_designs: {} is not in 0 .. {}", random_designs, most_random_designs));
        evaluation_options how;
        how.random_designs = random_designs;
        if (overrides != nullptr)
            how.overrides = overrides->what.run;
        how.overrides.check_criterion(static_cast<std::int64_t>(content.values.columns));
        scores->content = evaluate(content, how);
        scores->random_designs = random_designs;
    });
}

optdoe_status optdoe_scores_count(optdoe_scores* scores, size_t* count)
{
    return guarded(scores, [&] { *given(count, "count") = scores->content.measures.size(); });
}

optdoe_status optdoe_scores_measure(optdoe_scores* scores, size_t index, const char** key, const char** label,
                                    double* value, double* random_mean, const char** where)
{
    return guarded(scores, [&] {
        const std::vector<measure>& all = scores->content.measures;
        if (index >= all.size())
            throw usage_error(fmt::format("measure {}: there are {}, counted from 0", index, all.size()));
        const measure& m = all[index];
        for (const auto& [out, text] : {std::pair{key, &m.key}, {label, &m.label}, {where, &m.where}})
            if (out != nullptr)
                *out = text->c_str();
        if (value != nullptr)
            *value = m.value;
        if (random_mean != nullptr)
            *random_mean = m.random_mean;
    });
}

optdoe_status optdoe_scores_text(optdoe_scores* scores, const char* format, const char** text)
{
    return guarded(scores, [&] {
        given(text, "text");
        const std::string_view name = given(format, "format");
        if (name != "table" && name != "json")
            throw usage_error(fmt::format("format: \"{}\" is not one of table, json", name));
        const auto replace = nlohmann::ordered_json::error_handler_t::replace;
        scores->text = name == "table"
                           ? evaluation_table({scores->content}, scores->random_designs)
                           : evaluation_json({scores->content}, scores->random_designs).dump(2, ' ', false, replace);
        *text = scores->text.c_str();
    });
}

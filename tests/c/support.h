/// Handles that a test need not free, and short ways to say what it asks for.
#pragma once

#include <optdoe.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

struct free_request {
    void operator()(optdoe_request* request) const { optdoe_request_free(request); }
};
struct free_design {
    void operator()(optdoe_design* design) const { optdoe_design_free(design); }
};
struct free_scores {
    void operator()(optdoe_scores* scores) const { optdoe_scores_free(scores); }
};
using request_handle = std::unique_ptr<optdoe_request, free_request>;
using design_handle = std::unique_ptr<optdoe_design, free_design>;
using scores_handle = std::unique_ptr<optdoe_scores, free_scores>;

inline request_handle new_request(const std::vector<std::pair<std::string, std::string>>& settings = {})
{
    optdoe_request* request = nullptr;
    EXPECT_EQ(optdoe_request_new(&request), OPTDOE_OK);
    for (const auto& [name, text] : settings)
        EXPECT_EQ(optdoe_request_set(request, name.c_str(), text.c_str()), OPTDOE_OK)
            << optdoe_request_message(request);
    return request_handle(request);
}

inline design_handle new_design()
{
    optdoe_design* design = nullptr;
    EXPECT_EQ(optdoe_design_new(&design), OPTDOE_OK);
    return design_handle(design);
}

inline scores_handle new_scores()
{
    optdoe_scores* scores = nullptr;
    EXPECT_EQ(optdoe_scores_new(&scores), OPTDOE_OK);
    return scores_handle(scores);
}

inline design_handle run(const request_handle& request)
{
    design_handle design = new_design();
    EXPECT_EQ(optdoe_request_run(request.get(), design.get()), OPTDOE_OK) << optdoe_request_message(request.get());
    return design;
}

inline design_handle design_of(const std::vector<double>& values, std::size_t runs, std::size_t factors)
{
    design_handle design = new_design();
    EXPECT_EQ(optdoe_design_set(design.get(), values.data(), values.size(), runs, factors), OPTDOE_OK)
        << optdoe_design_message(design.get());
    return design;
}

inline std::vector<double> values_of(const design_handle& design, const char* coding)
{
    std::size_t runs = 0;
    std::size_t factors = 0;
    EXPECT_EQ(optdoe_design_size(design.get(), &runs, &factors), OPTDOE_OK);
    std::vector<double> values(runs * factors);
    EXPECT_EQ(optdoe_design_values(design.get(), coding, values.data(), values.size()), OPTDOE_OK)
        << optdoe_design_message(design.get());
    return values;
}

inline std::string text_of(const design_handle& design, const char* format = "csv")
{
    const char* text = "";
    EXPECT_EQ(optdoe_design_text(design.get(), format, &text), OPTDOE_OK) << optdoe_design_message(design.get());
    return text;
}

inline std::string provenance_of(const design_handle& design)
{
    const char* text = "";
    EXPECT_EQ(optdoe_design_provenance(design.get(), &text), OPTDOE_OK);
    return text;
}

inline optdoe_outcome outcome_of(const design_handle& design)
{
    optdoe_outcome outcome{};
    outcome.size = sizeof outcome;
    EXPECT_EQ(optdoe_design_outcome(design.get(), &outcome), OPTDOE_OK) << optdoe_design_message(design.get());
    return outcome;
}

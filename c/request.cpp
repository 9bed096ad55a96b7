#include "c/handles.h"

#include "api/requests/prepared_design.h"
#include "api/requests/request_options.h"
#include "api/settings/settings_by_name.h"
#include "api/text/text.h"

#include <fmt/format.h>

#include <cctype>
#include <cmath>

namespace optdoe {

std::string without_dashes(const std::string& text)
{
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool option = text.compare(i, 2, "--") == 0 && i + 2 < text.size() &&
                            std::islower(static_cast<unsigned char>(text[i + 2])) != 0 &&
                            (i == 0 || text[i - 1] == ' ' || text[i - 1] == '(');
        if (option)
            ++i;
        else
            plain += text[i];
    }
    return plain;
}

optdoe_status failed(std::string& message, optdoe_status status, const char* what) noexcept
{
    try {
        message = without_dashes(what);
        return status;
    } catch (...) {
        return OPTDOE_NO_MEMORY;
    }
}

namespace {

optdoe_progress progress_of(const campaign_status& status)
{
    return {sizeof(optdoe_progress), status.seconds, status.done,      status.running,     status.rounds,
            status.initial,          status.best,    status.best_seed, status.best_seconds};
}

optdoe_outcome outcome_of(const finished_campaign& finished, const design_file& design)
{
    return {sizeof(optdoe_outcome), recorded_objective(design), finished.best.initial,   finished.seconds,
            finished.searches,      finished.best.rounds,       finished.best.task.seed, finished.stopped};
}

void search(optdoe_request& request, optdoe_design& result)
{
    const std::unique_ptr<prepared_design> prepared = prepare(request.what);
    std::vector<std::string> remarks = prepared->remarks();
    conduct_orders orders;
    orders.remark = [&](const std::string& text) { remarks.push_back(text); };
    orders.watch = [&](const campaign_status& status) {
        const optdoe_progress progress = progress_of(status);
        return request.stop || (request.progress != nullptr && request.progress(&progress, request.user) != 0);
    };
    const finished_campaign finished = conduct(request.what, prepared->problem(), prepared->seed(), orders);
    design_file design = prepared->design_of(finished.best);
    design.name = std::string("-");
    if (finished.best.cut && finished.best.rounds == 0)
        remarks.push_back("no round was done: this is the start as it is");
    if (!finished.results_failure.empty())
        remarks.push_back(finished.results_failure + ": searches are missing in it");
    std::string text;
    for (const std::string& remark : remarks)
        text += without_dashes(remark) + "\n";
    request.remarks = std::move(text);
    result.outcome = outcome_of(finished, design);
    result.content = std::move(design);
    result.traces = finished.traces;
}

} // namespace

} // namespace optdoe

using namespace optdoe;

const char* optdoe_version(void) { return OPTDOE_VERSION; }

size_t optdoe_setting_count(void) { return request_options().size(); }

const char* optdoe_setting_name(size_t index)
{
    return index < request_options().size() ? request_options()[index].name.c_str() : nullptr;
}

const char* optdoe_setting_help(size_t index)
{
    return index < request_options().size() ? request_options()[index].help.c_str() : nullptr;
}

optdoe_status optdoe_setting_range(size_t index, double* low, double* high, double* fallback)
{
    if (index >= request_options().size())
        return OPTDOE_INVALID;
    const request_option& option = request_options()[index];
    for (const auto& [out, value] : {std::pair{low, option.low}, {high, option.high}, {fallback, option.fallback}})
        if (out != nullptr)
            *out = value;
    return OPTDOE_OK;
}

optdoe_status optdoe_request_new(optdoe_request** request) { return made(request); }

void optdoe_request_free(optdoe_request* request) { delete request; }

const char* optdoe_request_message(const optdoe_request* request)
{
    return request != nullptr ? request->message.c_str() : "";
}

optdoe_status optdoe_request_set(optdoe_request* request, const char* name, const char* text)
{
    return guarded(request, [&] { set_option(request->what, given(name, "name"), text != nullptr ? text : ""); });
}

optdoe_status optdoe_request_set_number(optdoe_request* request, const char* name, double value)
{
    return optdoe_request_set_numbers(request, name, &value, 1);
}

optdoe_status optdoe_request_set_numbers(optdoe_request* request, const char* name, const double* values,
                                         size_t count)
{
    return guarded(request, [&] {
        std::vector<double> list;
        if (count > 0)
            list.assign(given(values, "values"), values + count);
        for (const double value : list)
            if (!std::isfinite(value))
                throw usage_error(fmt::format("{}: {} is not a finite number", given(name, "name"), value));
        set_option(request->what, given(name, "name"), list_text(list));
    });
}

optdoe_status optdoe_request_add_factor(optdoe_request* request, const char* name, double low, double high,
                                        const char* unit)
{
    return guarded(request, [&] {
        factor added{given(name, "name"), std::nullopt, unit != nullptr ? unit : ""};
        if (!std::isnan(low) || !std::isnan(high)) {
            if (!(low < high) || !std::isfinite(high - low))
                throw usage_error(fmt::format("factor {}: {} .. {} is no range; low must be below high, both finite",
                                              name, low, high));
            added.range = bounds{low, high};
        }
        std::vector<factor> factors = request->what.factors;
        factors.push_back(added);
        check_factors(factors);
        request->what.factors = std::move(factors);
    });
}

optdoe_status optdoe_request_set_start(optdoe_request* request, const optdoe_design* start)
{
    return guarded(request, [&] {
        request->what.start = start != nullptr
                                  ? given_design{start->content.name, std::make_shared<design_file>(start->content)}
                                  : given_design{};
    });
}

optdoe_status optdoe_request_augment(optdoe_request* request, const optdoe_design* old, size_t added)
{
    return guarded(request, [&] {
        design_request changed = request->what;
        set_option(changed, "add", old != nullptr ? std::to_string(added) : "");
        changed.old = old != nullptr ? given_design{old->content.name, std::make_shared<design_file>(old->content)}
                                     : given_design{};
        request->what = std::move(changed);
    });
}

optdoe_status optdoe_request_set_progress(optdoe_request* request, optdoe_progress_function function, void* user)
{
    return guarded(request, [&] {
        request->progress = function;
        request->user = user;
    });
}

void optdoe_request_stop(optdoe_request* request)
{
    if (request != nullptr)
        request->stop = true;
}

optdoe_status optdoe_request_check(optdoe_request* request)
{
    return guarded(request, [&] {
        const std::unique_ptr<prepared_design> prepared = prepare(request->what);
        requested_campaign(request->what, prepared->problem(), prepared->seed());
    });
}

optdoe_status optdoe_request_run(optdoe_request* request, optdoe_design* result)
{
    const optdoe_status status = guarded(request, [&] {
        request->remarks.clear();
        search(*request, *given(result, "result"));
    });
    if (request != nullptr)
        request->stop = false;
    return status;
}

const char* optdoe_request_remarks(const optdoe_request* request)
{
    return request != nullptr ? request->remarks.c_str() : "";
}

/// What stands behind the handles of optdoe.h, and the guard that every call goes through.
#pragma once

#include "c/include/optdoe.h"

#include "api/requests/conduct.h"
#include "api/requests/design_request.h"
#include "api/scores/evaluation.h"
#include "api/text/errors.h"

#include <atomic>
#include <new>
#include <optional>
#include <string>
#include <vector>

struct optdoe_request {
    optdoe::design_request what;
    optdoe_progress_function progress = nullptr;
    void* user = nullptr;
    std::atomic<bool> stop{false};
    std::string remarks;
    std::string message;
};

struct optdoe_design {
    optdoe::design_file content = optdoe::design_of_values({});
    std::optional<optdoe_outcome> outcome; ///< of the search that made it
    std::vector<optdoe::search_trace> traces;
    std::string text; ///< that a call gave out
    std::string message;
};

struct optdoe_scores {
    optdoe::evaluation content;
    std::size_t random_designs = 0;
    std::string text; ///< that a call gave out
    std::string message;
};

namespace optdoe {

/// The names of settings as other languages write them: without the dashes of options.
std::string without_dashes(const std::string& text);

/// The objective in the provenance of a design that a search made; NaN where the criterion does not apply.
double recorded_objective(const design_file& design);

/// Keeps a message. Runs where an exception is being handled, so it throws none itself.
optdoe_status failed(std::string& message, optdoe_status status, const char* what) noexcept;

/// Runs a body; its exceptions become a status, and their texts the message of the handle.
template <class Handle, class Body>
optdoe_status guarded(Handle* handle, Body&& body) noexcept
{
    if (handle == nullptr)
        return OPTDOE_INVALID;
    handle->message.clear();
    try {
        body();
        return OPTDOE_OK;
    } catch (const usage_error& error) {
        return failed(handle->message, OPTDOE_INVALID, error.what());
    } catch (const input_error& error) {
        return failed(handle->message, OPTDOE_REFUSED, error.what());
    } catch (const std::bad_alloc&) {
        return failed(handle->message, OPTDOE_NO_MEMORY, "memory exhausted");
    } catch (const std::exception& error) {
        return failed(handle->message, OPTDOE_INTERNAL, error.what());
    } catch (...) {
        return failed(handle->message, OPTDOE_INTERNAL, "unknown failure");
    }
}

template <class Handle>
optdoe_status made(Handle** handle) noexcept
{
    if (handle == nullptr)
        return OPTDOE_INVALID;
    *handle = nullptr;
    try {
        *handle = new Handle;
        return OPTDOE_OK;
    } catch (...) { // nothing but memory can be missing
        return OPTDOE_NO_MEMORY;
    }
}

/// Throws usage_error for a null argument.
template <class T>
T* given(T* pointer, const char* name)
{
    if (pointer == nullptr)
        throw usage_error(std::string(name) + " is null");
    return pointer;
}

} // namespace optdoe

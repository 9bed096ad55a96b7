#include "tests/support/failing_storage.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>

#include <malloc.h>

namespace {

bool watching = false;
long request_count = 0;
long live_count = 0;
long live_bytes = 0;
long most_bytes = 0;
long failing_request = -1;
failing_storage::failing which_fail = failing_storage::failing::once;

bool request_fails()
{
    if (!watching)
        return false;
    const long position = request_count++;
    const bool fails = position == failing_request || (which_fail == failing_storage::failing::from_then_on &&
                                                       failing_request >= 0 && position > failing_request);
    if (fails)
        errno = ENOMEM;
    return fails;
}

void* obtained(void* block)
{
    if (watching && block != nullptr) {
        ++live_count;
        live_bytes += static_cast<long>(malloc_usable_size(block));
        most_bytes = std::max(most_bytes, live_bytes);
    }
    return block;
}

} // namespace

extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);

void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
void __wrap_free(void* block);

void* __wrap_malloc(std::size_t size) { return request_fails() ? nullptr : obtained(__real_malloc(size)); }

void* __wrap_calloc(std::size_t count, std::size_t size)
{
    return request_fails() ? nullptr : obtained(__real_calloc(count, size));
}

void* __wrap_realloc(void* block, std::size_t size)
{
    if (request_fails())
        return nullptr;
    void* resized = __real_realloc(block, size);
    return block == nullptr ? obtained(resized) : resized;
}

void __wrap_free(void* block)
{
    if (watching && block != nullptr) {
        --live_count;
        live_bytes -= static_cast<long>(malloc_usable_size(block));
    }
    __real_free(block);
}

} // extern "C"

void failing_storage::watch(long fail_at, failing which)
{
    request_count = live_count = live_bytes = most_bytes = 0;
    failing_request = fail_at;
    which_fail = which;
    watching = true;
}

void failing_storage::stop() { watching = false; }

long failing_storage::requests() { return request_count; }
long failing_storage::live_blocks() { return live_count; }
long failing_storage::peak_bytes() { return most_bytes; }

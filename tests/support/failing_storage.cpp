#include "support/failing_storage.h"

#include <cerrno>
#include <cstddef>

namespace {

bool watching = false;
long request_count = 0;
long live_count = 0;
long failing_request = -1;

bool request_fails()
{
    const bool fails = watching && request_count++ == failing_request;
    if (fails)
        errno = ENOMEM;
    return fails;
}

void* obtained(void* block)
{
    if (watching && block != nullptr)
        ++live_count;
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
    if (watching && block != nullptr)
        --live_count;
    __real_free(block);
}

} // extern "C"

void failing_storage::watch(long fail_at)
{
    request_count = live_count = 0;
    failing_request = fail_at;
    watching = true;
}

void failing_storage::stop() { watching = false; }

long failing_storage::requests() { return request_count; }
long failing_storage::live_blocks() { return live_count; }

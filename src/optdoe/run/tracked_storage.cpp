#include "optdoe/run/tracked_storage.h"

#include "optdoe/run/run_globals.h"
#include "optdoe/run/wrap32.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* out_of_memory_class = "java/lang/OutOfMemoryError";
constexpr const char* runtime_class = "java/lang/RuntimeException";

/// Where a live block is listed.
struct block_place {
    allocation_chunk* chunk; ///< null when the block is not listed
    std::int32_t position;
};

} // namespace

/// Newest chunk first, newest entry first.
static block_place find_block(const run_globals* globals, const void* block)
{
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    for (allocation_chunk* chunk = globals->chunks; chunk != nullptr; chunk = chunk->next) {
        if (address < chunk->lowest || address > chunk->highest)
            continue;
        for (std::int32_t i = chunk->count - 1; i >= 0; --i)
            if (chunk->blocks[i] == block)
                return {chunk, i};
    }
    return {nullptr, 0};
}

static void list_at(allocation_chunk& chunk, std::int32_t position, void* block)
{
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    chunk.lowest = std::min(chunk.lowest, address);
    chunk.highest = std::max(chunk.highest, address);
    chunk.blocks[position] = block;
}

/// Takes the entry out of its chunk: the last entry moves into its place.
static void unlist(block_place place)
{
    allocation_chunk& chunk = *place.chunk;
    chunk.count -= 1;
    chunk.blocks[place.position] = chunk.blocks[chunk.count];
    chunk.blocks[chunk.count] = nullptr;
}

static allocation_chunk* chunk_with_room(run_globals* globals)
{
    for (allocation_chunk* chunk = globals->chunks; chunk != nullptr; chunk = chunk->next)
        if (chunk->count < chunk_capacity)
            return chunk;

    auto* chunk = static_cast<allocation_chunk*>(std::malloc(sizeof(allocation_chunk)));
    if (chunk == nullptr)
        return nullptr;
    std::memset(chunk, 0, sizeof(allocation_chunk));
    chunk->lowest = UINTPTR_MAX;
    chunk->next = globals->chunks;
    globals->chunks = chunk;
    return chunk;
}

void* tracked_try_alloc(run_globals* globals, std::size_t size)
{
    allocation_chunk* chunk = chunk_with_room(globals);
    if (chunk == nullptr)
        return nullptr;
    void* block = std::malloc(size);
    if (block == nullptr)
        return nullptr;
    list_at(*chunk, chunk->count, block);
    chunk->count += 1;
    return block;
}

void* tracked_alloc(run_context* ctx, std::size_t size)
{
    void* block = tracked_try_alloc(ctx->globals, size);
    if (block == nullptr)
        raise_out_of_memory(ctx);
    return block;
}

void* tracked_realloc(run_context* ctx, void* block, std::size_t size)
{
    const block_place place = find_block(ctx->globals, block);
    if (place.chunk == nullptr)
        raise_runtime_error(ctx, "Attempt made to realloc() unknown storage in Optimal Latin Hypercube plugin.");

    void* resized = std::realloc(block, size);
    if (resized != nullptr) {
        list_at(*place.chunk, place.position, resized);
        return resized;
    }
    throw_in_host(ctx->globals, out_of_memory_class,
                  "Storage exhausted by realloc() in Optimal Latin Hypercube plugin.");
    unlist(place);
    return nullptr;
}

bool tracked_try_free(run_globals* globals, void* block)
{
    const block_place place = find_block(globals, block);
    if (place.chunk == nullptr)
        return false;
    std::free(block);
    unlist(place);
    return true;
}

void tracked_free(run_context* ctx, void* block)
{
    if (!tracked_try_free(ctx->globals, block))
        raise_runtime_error(ctx, "Attempt made to free() unknown storage in Optimal Latin Hypercube plugin.");
}

void tracked_release_all(run_globals* globals)
{
    while (globals->chunks != nullptr) {
        allocation_chunk* chunk = globals->chunks;
        for (std::int32_t i = chunk->count - 1; i >= 0; --i)
            std::free(chunk->blocks[i]);
        globals->chunks = chunk->next;
        std::free(chunk);
    }
}

std::int32_t* index_vector_alloc(run_context* ctx, std::int32_t lo, std::int32_t hi)
{
    const std::int32_t bytes = wrap_mul(wrap_add(wrap_sub(hi, lo), 2), 4);
    auto* block = static_cast<std::int32_t*>(tracked_alloc(ctx, bits_u32(bytes)));
    return block + 1 - lo;
}

void index_vector_free(run_context* ctx, std::int32_t* v, std::int32_t lo) { tracked_free(ctx, v + lo - 1); }

void throw_in_host(run_globals* globals, const char* class_name, const char* message)
{
    jni::Env* env = globals->env;
    if (env->functions->ExceptionOccurred(env) != nullptr)
        return;
    const jni::Object type = env->functions->FindClass(env, class_name);
    if (type != nullptr)
        env->functions->ThrowNew(env, type, message);
}

void error_exit(run_context* ctx) { std::longjmp(ctx->globals->error_exit, 1); }

void raise_runtime_error(run_context* ctx, const char* message)
{
    throw_in_host(ctx->globals, runtime_class, message);
    error_exit(ctx);
}

void raise_out_of_memory(run_context* ctx)
{
    throw_in_host(ctx->globals, out_of_memory_class,
                  "Storage exhausted by malloc() in Optimal Latin Hypercube plugin.");
    error_exit(ctx);
}

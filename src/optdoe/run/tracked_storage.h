/// Tracked storage and the error exit.
///
/// Every working block of a call is on one list, so that the error exit, which jumps back to the entry from any
/// depth, leaves nothing behind: the list is the clean-up. Callers therefore hold plain pointers and no destructors.
///
/// Errors  tracked_alloc never returns null: it raises in the host and leaves through the error exit.
/// Cost    looking a block up is linear, newest first: blocks freed soon after they were made are found at once, and
///         a chunk whose blocks all lie elsewhere costs two comparisons. With entries compared one by one the release
///         of the matrices of 10,000 rows took two seconds.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstddef>
#include <cstdint>

inline constexpr int chunk_capacity = 1000;

/// One piece of the list of live blocks; live entries are packed at the front.
struct allocation_chunk {
    allocation_chunk* next;       ///< older chunk, null at the end
    std::uintptr_t lowest;        ///< no block of this chunk, live or freed, lies below
    std::uintptr_t highest;       ///< nor above
    std::int32_t count;           ///< live entries, 0..chunk_capacity
    void* blocks[chunk_capacity]; ///< live blocks at 0..count-1, null behind
};

/// A new block of size bytes, not initialised; owned by the list until tracked_free or the end of the call.
/// On failure raises java/lang/OutOfMemoryError and leaves through the error exit.
void* tracked_alloc(run_context* ctx, std::size_t size);

/// As tracked_alloc, but returns null on failure and raises nothing: for use before the error exit is armed.
void* tracked_try_alloc(run_globals* globals, std::size_t size);

/// Resizes a tracked block, in place in the list.
/// A failed reallocation raises java/lang/OutOfMemoryError in the host and returns null, without leaving; the old
/// block is then no longer tracked and belongs to the caller. An untracked block raises and leaves.
void* tracked_realloc(run_context* ctx, void* block, std::size_t size);

/// Frees a tracked block. An untracked block, or null, raises java/lang/RuntimeException and leaves.
void tracked_free(run_context* ctx, void* block);

/// As tracked_free, but returns false for an untracked block and raises nothing: for the tear-down.
bool tracked_try_free(run_globals* globals, void* block);

/// Frees every block and every chunk; for the tear-down only.
void tracked_release_all(run_globals* globals);

/// An int vector addressed by lo..hi inclusive. The block's first element lies at lo - 1 and is not used.
std::int32_t* index_vector_alloc(run_context* ctx, std::int32_t lo, std::int32_t hi);

/// Frees a vector of index_vector_alloc; lo as it was given there.
void index_vector_free(run_context* ctx, std::int32_t* v, std::int32_t lo);

/// Throws java/lang/RuntimeException with the message in the host and leaves through the error exit.
[[noreturn]] void raise_runtime_error(run_context* ctx, const char* message);

/// Throws java/lang/OutOfMemoryError "Storage exhausted by malloc() ..." in the host and leaves.
[[noreturn]] void raise_out_of_memory(run_context* ctx);

/// Throws an exception in the host, unless one is pending already (the host allows no throw over it).
///   class_name   with slashes, such as java/lang/OutOfMemoryError
void throw_in_host(run_globals* globals, const char* class_name, const char* message);

/// Jumps back to the entry, which tears the call down and returns null with the host's exception pending.
[[noreturn]] void error_exit(run_context* ctx);

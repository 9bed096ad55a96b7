#include "optdoe/vectors/vectors.h"

#include "optdoe/run/tracked_storage.h"
#include "optdoe/run/wrap32.h"

#include <algorithm>
#include <cstring>

namespace {

/// Lies immediately before the row pointers; its size keeps them aligned.
struct alignas(void*) matrix_header {
    std::int32_t rows;
    std::int32_t cols;
    element_type type;
};

} // namespace

static matrix_header& header_of(void* handle) { return static_cast<matrix_header*>(handle)[-1]; }

/// Bytes of one element, 0 for an unknown type.
static std::size_t element_size(element_type type)
{
    switch (type) {
    case element_type::real: return 8;
    case element_type::integer: return 4;
    case element_type::byte: return 1;
    case element_type::single: return 4;
    }
    return 0;
}

static void* vector_alloc(run_context* ctx, std::int32_t n, element_type type)
{
    if (n <= 0) {
        *ctx->storage_status = status_no_storage;
        return nullptr;
    }
    const std::size_t bytes = bits_u32(n) * element_size(type);
    return std::memset(tracked_alloc(ctx, bytes), 0, bytes);
}

double* double_vector_alloc(run_context* ctx, std::int32_t n)
{
    return static_cast<double*>(vector_alloc(ctx, n, element_type::real));
}

std::int32_t* int_vector_alloc(run_context* ctx, std::int32_t n)
{
    return static_cast<std::int32_t*>(vector_alloc(ctx, n, element_type::integer));
}

std::uint8_t* byte_vector_alloc(run_context* ctx, std::int32_t n)
{
    return static_cast<std::uint8_t*>(vector_alloc(ctx, n, element_type::byte));
}

constexpr std::size_t vector_alignment = 64;

double* aligned_alloc_doubles(run_context* ctx, std::size_t count)
{
    // The block's own address is kept in front of the aligned data, for the way back.
    auto* block = static_cast<char*>(tracked_alloc(ctx, count * sizeof(double) + vector_alignment + sizeof(void*)));
    const auto after_address = reinterpret_cast<std::uintptr_t>(block) + sizeof(void*);
    const std::uintptr_t padding = (vector_alignment - after_address % vector_alignment) % vector_alignment;
    char* data = block + sizeof(void*) + padding;
    std::memcpy(data - sizeof block, &block, sizeof block);
    return reinterpret_cast<double*>(data);
}

void aligned_free_doubles(run_context* ctx, double* v)
{
    if (v == nullptr)
        return;
    void* block = nullptr;
    std::memcpy(&block, reinterpret_cast<char*>(v) - sizeof(void*), sizeof(void*));
    tracked_free(ctx, block);
}

void vector_free(run_context* ctx, void* v) { tracked_free(ctx, v); }

void vectors_free(run_context* ctx, std::initializer_list<void*> vectors)
{
    for (void* v : vectors)
        if (v != nullptr)
            vector_free(ctx, v);
}

void** matrix_alloc(run_context* ctx, element_type type, std::int32_t rows, std::int32_t cols)
{
    if (rows < 1 || cols < 1) {
        *ctx->storage_status = status_no_extent;
        return nullptr;
    }
    const std::size_t size = element_size(type);
    if (size == 0) {
        *ctx->storage_status = status_unknown_type;
        return nullptr;
    }
    auto* header =
        static_cast<matrix_header*>(tracked_alloc(ctx, sizeof(matrix_header) + bits_u32(rows) * sizeof(void*)));
    *header = {rows, cols, type};
    auto** row_pointers = reinterpret_cast<void**>(header + 1);
    for (std::int32_t i = 0; i < rows; ++i)
        row_pointers[i] = tracked_alloc(ctx, size * bits_u32(cols));
    matrix_zero_rows(row_pointers, 0, rows);
    return row_pointers;
}

double least_matrix_bytes(double rows, double cols, double element_size)
{
    constexpr double smallest_block = 16.0;
    return rows * (std::max(cols * element_size, smallest_block) + 2.0 * sizeof(void*));
}

double** double_matrix_alloc(run_context* ctx, std::int32_t rows, std::int32_t cols)
{
    return reinterpret_cast<double**>(matrix_alloc(ctx, element_type::real, rows, cols));
}

std::int32_t** int_matrix_alloc(run_context* ctx, std::int32_t rows, std::int32_t cols)
{
    return reinterpret_cast<std::int32_t**>(matrix_alloc(ctx, element_type::integer, rows, cols));
}

void matrix_free(run_context* ctx, void* handle)
{
    if (handle == nullptr)
        return;
    matrix_header& header = header_of(handle);
    auto** row_pointers = static_cast<void**>(handle);
    for (std::int32_t i = header.rows - 1; i >= 0; --i)
        tracked_free(ctx, row_pointers[i]);
    tracked_free(ctx, &header);
}

void matrix_zero_rows(void* handle, std::int32_t from, std::int32_t to)
{
    const matrix_header& header = header_of(handle);
    const std::size_t row_bytes = bits_u32(header.cols) * element_size(header.type);
    auto** row_pointers = static_cast<void**>(handle);
    const std::int32_t last = std::min(to, header.rows - 1);
    for (std::int32_t i = std::max(from, 0); i <= last; ++i)
        std::memset(row_pointers[i], 0, row_bytes);
}

#include "optdoe/vectors/aligned_tables.h"

#include "optdoe/run/tracked_storage.h"
#include "optdoe/vectors/vectors.h"

#include <algorithm>
#include <cstring>

constexpr std::size_t alignment = 64; ///< bytes: the widest vector

/// A block that holds `rows` pointers and, aligned, `extent` zeroed cells, whose place it tells.
static double** block_alloc(run_context* ctx, std::size_t rows, std::size_t extent, double*& cells)
{
    const std::size_t header = (rows + 1) * sizeof(double*);
    auto* block = static_cast<char*>(tracked_alloc(ctx, header + alignment + extent * sizeof(double)));
    const std::size_t misfit = (reinterpret_cast<std::uintptr_t>(block) + header) % alignment;
    cells = reinterpret_cast<double*>(block + header + (misfit == 0 ? 0 : alignment - misfit));
    std::memset(cells, 0, extent * sizeof(double));
    return reinterpret_cast<double**>(block);
}

parallel_vectors::parallel_vectors(run_context* ctx, double*& block, std::int32_t count, std::int32_t length)
    : length_(length)
{
    constexpr std::int32_t page = 4096 / sizeof(double);
    constexpr std::int32_t apart = 40; // doubles; a dozen vectors fit a page at this distance
    pitch_ = (std::max(length - apart, 0) + page - 1) / page * page + apart;
    next_ = block = aligned_alloc_doubles(ctx, static_cast<std::size_t>(count) * static_cast<std::size_t>(pitch_));
}

double* parallel_vectors::next(double filled_with)
{
    double* vector = next_;
    next_ += pitch_;
    std::fill_n(vector, length_, filled_with);
    return vector;
}

double** aligned_matrix_alloc(run_context* ctx, std::int32_t rows, std::int32_t columns)
{
    const auto count = static_cast<std::size_t>(rows < 0 ? 0 : rows);
    const auto length = static_cast<std::size_t>(padded_length(columns < 0 ? 0 : columns));
    double* cells = nullptr;
    double** matrix = block_alloc(ctx, count, count * length, cells);
    for (std::size_t i = 0; i < count; ++i)
        matrix[i] = cells + i * length;
    return matrix;
}

void aligned_matrix_free(run_context* ctx, double** matrix)
{
    if (matrix != nullptr)
        tracked_free(ctx, matrix);
}

upper_table upper_table_alloc(run_context* ctx, std::int32_t n)
{
    const std::int32_t rows = n < 0 ? 0 : n;
    const auto row_extent = [rows](std::int32_t i) {
        return static_cast<std::size_t>(padded_length(rows) - i / row_multiple * row_multiple);
    };
    upper_table table{};
    for (std::int32_t i = 0; i < rows; ++i)
        table.extent += row_extent(i);
    table.row = block_alloc(ctx, static_cast<std::size_t>(rows), table.extent, table.cells);
    double* next = table.cells;
    for (std::int32_t i = 0; i < rows; ++i) {
        table.row[i] = next - i / row_multiple * row_multiple;
        next += row_extent(i);
    }
    return table;
}

void upper_table_free(run_context* ctx, upper_table& table)
{
    aligned_matrix_free(ctx, table.row);
    table = {};
}

void upper_table_copy(const upper_table& to, const upper_table& from)
{
    std::memcpy(to.cells, from.cells, from.extent * sizeof(double));
}

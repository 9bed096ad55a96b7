/// Tables whose rows suit vector code, on tracked storage: each begins on an address that is a multiple of 64 and is
/// padded to whole vectors. Storage failures leave through the error exit.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstddef>
#include <cstdint>

inline constexpr std::int32_t row_multiple = 8; ///< rows hold a multiple of so many doubles

/// Length of a row of n doubles with its padding.
inline std::int32_t padded_length(std::int32_t n) { return (n + row_multiple - 1) / row_multiple * row_multiple; }

/// A new matrix of zeroes, [rows x padded_length(columns)]; the rows follow one another.
/// Frees with aligned_matrix_free, which does nothing for null.
double** aligned_matrix_alloc(run_context* ctx, std::int32_t rows, std::int32_t columns);
void aligned_matrix_free(run_context* ctx, double** matrix);

/// Vectors that are walked side by side, in one block: their addresses differ in the bits that tell a place within a
/// page, which processors compare first to find out whether a load meets an earlier store.
class parallel_vectors {
public:
    /// Storage for `count` vectors of `length` doubles, not initialised; block is null before.
    parallel_vectors(run_context* ctx, double*& block, std::int32_t count, std::int32_t length);

    /// The next vector, filled.
    double* next(double filled_with);

private:
    double* next_;
    std::int32_t length_;
    std::int32_t pitch_;
};

/// An upper triangle in packed rows: half the memory of a square.
///
/// row[i][j] is cell (i, j), i <= j < n. A row's storage begins at column i rounded down to a multiple of 8 and
/// ends at n rounded up; what lies outside the triangle is scratch.
struct upper_table {
    double** row;       ///< [n] null: not allocated. The block of the tracked storage
    double* cells;      ///< all rows, one after the other
    std::size_t extent; ///< number of cells
};

/// A new triangle of zeroes; storage failures leave through the error exit.
upper_table upper_table_alloc(run_context* ctx, std::int32_t n);

/// Frees the triangle; nothing when it is not allocated.
void upper_table_free(run_context* ctx, upper_table& table);

/// Copies all cells between triangles of the same size.
void upper_table_copy(const upper_table& to, const upper_table& from);

/// Vectors and matrices of a run, on tracked storage.
///
/// A refusal writes its code into the storage_status slot and returns null; exhausted storage never comes back as
/// null, it leaves through the error exit. A matrix is addressed as m[row][column]; the rows are blocks of their own.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>

inline constexpr std::int32_t status_no_storage = -3000;   ///< storage not obtained, or a vector length below 1
inline constexpr std::int32_t status_unknown_type = -4000; ///< unknown element type of a matrix
inline constexpr std::int32_t status_no_extent = -5000;    ///< matrix with fewer than 1 row or column

/// Element types of a matrix.
enum class element_type : std::int32_t { real = 1, integer = 2, byte = 3, single = 4 };

/// New vectors of n zeroes. n <= 0: status -3000 and null.
double* double_vector_alloc(run_context* ctx, std::int32_t n);
std::int32_t* int_vector_alloc(run_context* ctx, std::int32_t n);
std::uint8_t* byte_vector_alloc(run_context* ctx, std::int32_t n);

/// New doubles for vector code, count of them on a 64-byte boundary, not initialised; never null.
double* aligned_alloc_doubles(run_context* ctx, std::size_t count);

/// Frees what aligned_alloc_doubles returned; null does nothing.
void aligned_free_doubles(run_context* ctx, double* v);

/// Frees a vector; null raises the unknown-storage exception of tracked_free.
void vector_free(run_context* ctx, void* v);

/// Frees vectors; null does nothing.
void vectors_free(run_context* ctx, std::initializer_list<void*> vectors);

/// A new matrix of zeroes. rows or cols below 1: status -5000 and null; unknown type: status -4000 and null.
/// The handle is the address of the row pointers; the header lies immediately before it.
void** matrix_alloc(run_context* ctx, element_type type, std::int32_t rows, std::int32_t cols);
double** double_matrix_alloc(run_context* ctx, std::int32_t rows, std::int32_t cols);
std::int32_t** int_matrix_alloc(run_context* ctx, std::int32_t rows, std::int32_t cols);

/// Bytes that a matrix takes at least: its pointers, and for each row a block and its entry in the list of blocks.
double least_matrix_bytes(double rows, double cols, double element_size);

/// Frees a matrix, its rows from the last to the first; null does nothing.
void matrix_free(run_context* ctx, void* handle);

/// Zeroes rows max(from, 0) .. min(to, rows - 1); nothing when there are none.
void matrix_zero_rows(void* handle, std::int32_t from, std::int32_t to);

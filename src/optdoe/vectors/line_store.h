/// Lines of doubles that some rows of a design have and most have not, on tracked storage.
///
/// Storage grows by slabs, each as large as all before it, so that few blocks are tracked however many lines there
/// are.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstdint>

inline constexpr std::int32_t most_slabs = 32; ///< each doubles the lines: more rows than 32 bits count

struct line_store {
    std::int32_t rows;
    std::int32_t stride; ///< doubles from one line of a slab to the next
    double** of_row;     ///< [rows] null: the row has none
    double** spare;      ///< [rows] lines that no row has
    std::int32_t spare_count;
    std::int32_t line_count; ///< in all slabs
    std::int32_t slab_count;
    double* slabs[most_slabs];
    std::int32_t slab_lines[most_slabs];
};

/// A store in which no row has a line of `length` doubles. Frees with line_store_free, which does nothing for one
/// that was never made.
void line_store_alloc(run_context* ctx, line_store& store, std::int32_t rows, std::int32_t length);
void line_store_free(run_context* ctx, line_store& store);

/// Provides for `count` more rows to get lines; what take_line needs beforehand. If no row has one yet and all rows
/// are provided for, their lines follow one another in the first slab in the order in which they are taken. Failures
/// leave through the error exit.
void reserve_lines(run_context* ctx, line_store& store, std::int32_t count);

/// The line of row r; one that it has not had yet is not initialised.
double* take_line(line_store& store, std::int32_t r);

/// Takes the line of row r away, if it has one.
void release_line(line_store& store, std::int32_t r);

/// Frees storage of more lines than a search between two evaluations needs; when no row has a line.
void trim_lines(run_context* ctx, line_store& store);

/// The level structure of the design: distinct levels, ranks, balance, level groups and mirror symmetry.
///
/// Levels   entries of one column that differ by less than 1e-15 from their sorted neighbour are one level.
/// Rank     position in the ascending order of a column (indexx_double); rank_order tells which row holds it.
/// Rows     the free rows of the design, first_row .. first_row + n - 1.
#pragma once

#include "optdoe/run/factor_levels.h"
#include "optdoe/run/run_context.h"

#include <cstdint>

/// Slot 10. Per factor j; null until group_levels.
struct level_groups {
    std::int32_t* group_count;    ///< [k] G
    std::int32_t* rows_per_group; ///< [k] R; G R = n
    std::uint8_t* matched;        ///< [k] the groups are exactly the distinct levels of a balanced factor
};

/// Slot 11. Sizes of the search and the saved rank orders. The saved rank order of saved_factor is the copy in
/// saved_column_order, when column_copied, and the present one otherwise, with the listed exchanges undone from the
/// last to the first.
struct search_rows {
    std::int32_t n;                   ///< free rows
    std::int32_t k;                   ///< factors
    std::int32_t first_row;           ///< fixed rows before them
    std::int32_t total_rows;          ///< n + first_row
    std::int32_t saved_factor;        ///< whose rank order is saved
    std::int32_t swap_count;          ///< exchanges that are listed, at most n
    std::int32_t* swaps;              ///< [2 n] their ranks
    bool column_copied;               ///< later changes are not listed; from copy_rank_order_column to the next save
    std::int32_t* saved_column_order; ///< [n] the rank order before these changes
    std::int32_t** saved_order;       ///< [n x k] rank order of all factors
};

/// Fills slot 9 and the sizes and storage of slot 11.
///   design      in   [(first_row + n) x k]
///   n, k        at least 1
void describe_levels(run_context* ctx, const double* const* design, std::int32_t n, std::int32_t first_row,
                     std::int32_t k);

/// Fills slot 10. A requested count that does not divide n, equals n, or would cut a level in two gives one group.
///   levels_per_factor   in   [k], each in 1..n
void group_levels(run_context* ctx, const std::int32_t* levels_per_factor);

/// True when every column pairs the same rows by mirrored ranks r and n-1-r (all columns with n distinct levels).
/// Source: Ye, Li and Sudjianto, "Algorithmic construction of optimal symmetric Latin hypercube designs", 2000.
bool is_symmetric_design(run_context* ctx);

/// Saved rank orders, for rounds and moves that are taken back: of all factors, and of one. That of one factor is not
/// copied: a move exchanges a few ranks, which are listed and exchanged back.
void save_rank_order(run_context* ctx);
void restore_rank_order(run_context* ctx);
void save_rank_order_column(run_context* ctx, std::int32_t factor);
void restore_rank_order_column(run_context* ctx, std::int32_t factor);

/// Exchanges two entries of a factor's rank order, and lists the exchange for the factor that is saved.
void swap_ranks(run_context* ctx, std::int32_t factor, std::int32_t first, std::int32_t second);

/// Call it before changing a factor's rank order in any other way. It copies the order of the factor that is saved.
void copy_rank_order_column(run_context* ctx, std::int32_t factor);

/// Frees what the three records hold, not the records.
void level_structure_release(run_context* ctx);

/// Opens slots 9, 10 and 11 with plain storage; a slot that fails stays null. Closes them, null included.
void level_structure_open(run_context* ctx);
void level_structure_close(run_context* ctx);

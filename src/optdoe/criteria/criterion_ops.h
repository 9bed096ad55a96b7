/// What a criterion is: its table of operations, stated once. The contract of each operation stands on the crit_*
/// function of the same name in criterion.h. Members are references, so that leaving one out does not compile.
#pragma once

#include "optdoe/criteria/criterion_facts.h"
#include "optdoe/run/run_context.h"
#include "optdoe/run/run_settings.h"

#include <cstdint>

struct criterion_ops {
    using trial = double (*)(run_context*, std::int32_t column, std::int32_t row_a, std::int32_t row_b);

    const char* name; ///< by which people ask for it
    criterion_facts facts = {};

    /// As crit_setup. level_counts: [factors] distinct levels of each factor; read by the A2 criterion only.
    void (&setup)(run_context*, const double* const* design, std::uint32_t free_rows, std::uint32_t fixed_rows,
                  std::int32_t factors, const criterion_options& options, const std::int32_t* level_counts);
    void (&release)(run_context*);
    memory_need (&memory)(double free_rows, double fixed_rows, double factors, const criterion_options* options);
    double (&value)(run_context*);
    double** (&copy_design)(run_context*, double** out);
    double (&evaluate)(run_context*, const double* const* design);
    double (&apply_swaps)(run_context*, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                          const std::int32_t* rows_b);
    double (&try_swaps)(run_context*, std::int32_t column, std::int32_t count, const std::int32_t* rows_a,
                        const std::int32_t* rows_b);
    double (&try_swap)(run_context*, std::int32_t column, std::int32_t row_a, std::int32_t row_b);
    double (&try_moves)(run_context*, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                        const std::int32_t* rows_src);
    double (&apply_moves)(run_context*, std::int32_t column, std::int32_t count, const std::int32_t* rows_dst,
                          const std::int32_t* rows_src);
    void (&save_column)(run_context*, std::int32_t column);
    void (&restore_column)(run_context*, std::int32_t column);
    void (&save_design)(run_context*);
    void (&restore_design)(run_context*);
    double (&value_of)(run_context*, const double* const* design);
    void (&copy_saved_design)(run_context*, double** out);

    /// Optional, as crit_unique_best_swap; null: it never knows.
    std::int32_t (*unique_best_swap)(run_context*, std::int32_t column, std::int32_t count,
                                     const std::int32_t* rows_a, const std::int32_t* rows_b,
                                     double* best_value) = nullptr;
};

/// The general form of crit_best_swap: every trial in the given order, then the index sort.
std::int32_t best_swap_by_trials(run_context* ctx, criterion_ops::trial try_swap, std::int32_t column,
                                 std::int32_t count, const std::int32_t* rows_a, const std::int32_t* rows_b,
                                 double* best_value);

/// The operations of the criterion that the options ask for, whose ranges settings_validate has settled.
const criterion_ops& criterion_for(const criterion_options& options);

/// Opens the record of the criterion that has this slot of the run context, plain and zeroed; it stays null on
/// failure. Closes it, null included. Nothing for a slot that no criterion has.
void criterion_record_open(run_context* ctx, int slot);
void criterion_record_close(run_context* ctx, int slot);

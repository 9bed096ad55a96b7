/// Slot 5: the entropy criterion, -ln det R of the correlation matrix of the points.
///
/// R(i, j) = exp(-sum over k of theta_k w_k^2 (u_ik - u_jk)^2) (Euclidean kind, Gaussian correlation) or
/// exp(-sum over k of theta_k w_k |u_ik - u_jk|) (rectangular kind, exponential correlation).
/// Source: Shewry and Wynn, "Maximum entropy sampling", 1987; Currin, Mitchell, Morris and Ylvisaker, "Bayesian
/// prediction of deterministic functions", 1991.
#pragma once

#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/criteria/distance.h"
#include "optdoe/criteria/entropy/entropy_kernels.h"
#include "optdoe/run/run_context.h"
#include "optdoe/vectors/aligned_tables.h"

#include <cstdint>

/// The correlations R and their Cholesky factor, R = L L^T, are kept as two upper triangles: R itself, and L^T, whose
/// row j is column j of L, so that a step of the factorisation reads and writes along rows.
///
/// L is a function of R alone, cell by cell: its cell (i, j) is made of R's cells (m, j) and (m, i), m <= j, and of
/// nothing else. So rows of L above the least changed row of R keep their bits, a trial may factorise into a triangle
/// of its own, and a snapshot may leave L out.
///
/// Memory: two triangles (n^2 / 2 doubles each), a third one that trials write to, two for the column snapshot and,
/// from the first crit_save_design on, one for the design snapshot; crit_best_swap takes 2 kB a row.
struct entropy_state {
    double* theta;            ///< [factors] multiplier of the entries: (square root of) theta times the weight
    double** points;          ///< [rows x factors] working design times theta
    upper_table correlation;  ///< R, the unit diagonal implied
    upper_table factor;       ///< L^T above the diagonal
    double* pivot;            ///< [rows] the diagonal of L: positive, then zeroes from a failed pivot on
    upper_table trial_factor; ///< L^T of a trial
    double* trial_pivot;      ///< [rows]
    double** trial_lines;     ///< [2 x rows] correlations that a single exchange changes, to be put back
    double** solutions;       ///< [rows x estimate_columns] scratch of crit_best_swap; null before the first
    double value;
    double* saved_column; ///< [free rows]
    upper_table saved_column_correlation;
    upper_table saved_column_factor;
    double* saved_column_pivot; ///< [rows]
    double saved_column_value;
    double** saved_design;                ///< [free rows x factors]; null before the first save
    upper_table saved_design_correlation; ///< likewise
    double saved_design_value;
    const entropy_kernels* kernels; ///< the variant in force
    std::int32_t factors;
    std::int32_t fixed_rows;
    std::int32_t free_rows;
    std::int32_t rows;
    distance_kind kind;
};

/// The operations, and the record of slot 5.
extern const criterion_ops entropy_ops;
void entropy_open(run_context* ctx);
void entropy_close(run_context* ctx);

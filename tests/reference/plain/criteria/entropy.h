/// Slot 5: the entropy criterion, -ln det R of the correlation matrix of the points.
///
/// R(i, j) = exp(-sum over k of theta_k w_k^2 (u_ik - u_jk)^2) (Euclidean kind, Gaussian correlation) or
/// exp(-sum over k of theta_k w_k |u_ik - u_jk|) (rectangular kind, exponential correlation).
/// Source: Shewry and Wynn, "Maximum entropy sampling", 1987; Currin, Mitchell, Morris and Ylvisaker, "Bayesian
/// prediction of deterministic functions", 1991.
#pragma once

#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/criteria/distance.h"
#include "optdoe/run/run_context.h"

#include <cstdint>

struct entropy_state {
    double* theta;        ///< [factors] multiplier of the entries: (square root of) theta times the weight
    double** correlation; ///< [rows x rows] upper cells R, diagonal and lower cells its Cholesky factor L
    double** points;      ///< [rows x factors] working design times theta
    double value;
    double* saved_column;       ///< [free rows]
    double** saved_pair_rows;   ///< [free rows x rows]
    double** saved_fixed_pairs; ///< [fixed rows x free rows], null without fixed rows
    double saved_column_value;
    double** saved_points;             ///< [free rows x factors]
    double** saved_design_pair_rows;   ///< [free rows x rows]
    double** saved_design_fixed_pairs; ///< [fixed rows x free rows], null without fixed rows
    double saved_design_value;
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

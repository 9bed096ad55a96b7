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

/// A design in units of the criterion, its correlations, their factor, and -ln det.
struct entropy_picture {
    double** x; ///< [points x factors] entry times scale
    double** r; ///< [points squared] correlations, both halves; the diagonal of ones is not read
    double** l; ///< [points squared] r = l l^T, lower half; zeroes on the diagonal from a failed pivot on
    double minus_log_det;
};

struct entropy_state {
    entropy_picture now;
    entropy_picture at_save_column; ///< x: [1 x free points] of the saved column
    entropy_picture at_save_design; ///< x: [free points x factors]
    double* scale;                  ///< [factors] theta, of the Euclidean kind its root, times the weight
    distance_kind kind;
    std::int32_t factors;
    std::int32_t first_free;
    std::int32_t points;
};

/// The operations, and the record of slot 5.
extern const criterion_ops entropy_ops;
void entropy_open(run_context* ctx);
void entropy_close(run_context* ctx);

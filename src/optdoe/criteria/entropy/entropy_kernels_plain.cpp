// The loops as their contract reads. For tests and benchmarks; no part of the library.
#include "optdoe/criteria/entropy/entropy_kernels.h"

#include <algorithm>
#include <cmath>

/// Cell (i, m) of L.
static double lower_cell(const factor_task& task, int i, int m)
{
    return i < task.k0 ? task.kept[m][i] : task.factor[m][i];
}

/// Sum of L(i, m) L(j, m) over m < count, from the highest m down.
static double dot_down(const factor_task& task, int i, int j, int count)
{
    double sum = 0.0;
    for (int m = count - 1; m >= 0; --m)
        sum += lower_cell(task, i, m) * lower_cell(task, j, m);
    return sum;
}

static double pivot_of(const factor_task& task, int j)
{
    if (j < task.k0)
        return task.kept_pivot[j];
    const double square = 1.0 - dot_down(task, j, j, j);
    return square > 0.0 ? std::sqrt(square) : 0.0;
}

static double factorise(const factor_task& task)
{
    double product = 1.0;
    for (int j = 0; j < task.n; ++j) {
        task.pivot[j] = product != 0.0 ? pivot_of(task, j) : 0.0;
        product *= task.pivot[j];
        for (int i = std::max(j + 1, task.k0); i < task.n && task.pivot[j] != 0.0; ++i)
            task.factor[j][i] = (task.correlation[j][i] - dot_down(task, i, j, j)) / task.pivot[j];
    }
    return product;
}

static void substitute(int n, int first, upper_rows factor, const double* pivot, double* const* y, int column,
                       int eights)
{
    for (int c = column; c < column + 8 * eights; ++c) {
        for (int i = first; i < n; ++i) {
            double side = y[i][c];
            for (int m = first; m < i; ++m)
                side -= factor[m][i] * y[m][c];
            y[i][c] = side / pivot[i];
        }
    }
}

static void candidate_dots(int n, const double* const* y, double* dots)
{
    enum line { y_a, y_b, z_a, z_b };
    constexpr line pairs[10][2]{{y_a, y_a}, {y_a, y_b}, {y_b, y_b}, {z_a, z_a}, {z_a, z_b},
                                {z_b, z_b}, {z_a, y_a}, {z_a, y_b}, {z_b, y_a}, {z_b, y_b}};
    for (const auto& [left, right] : pairs) {
        for (int c = 0; c < candidate_width; ++c) {
            double sum = 0.0;
            for (int i = 0; i < n; ++i)
                sum += y[i][left * candidate_width + c] * y[i][right * candidate_width + c];
            *dots++ = sum;
        }
    }
}

constexpr entropy_kernels entropy_kernels_plain{"plain", factorise, substitute, candidate_dots};

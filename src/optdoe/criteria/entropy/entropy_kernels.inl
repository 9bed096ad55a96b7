// Lanes run over the rows below the pivot: row j of L^T holds column j of L contiguously. Every cell's dot product
// stays one chain, from the highest index down, so that its bits are those of the loop
//
//     for (m = j - 1; m >= 0; --m) sum += L(i, m) * L(j, m);      L(i, j) = (R(j, i) - sum) / L(j, j)
//
// whatever the lanes beside it do. Lanes outside the triangle compute on scratch and are never read.
#include "optdoe/criteria/entropy/entropy_kernels.h"
#include "optdoe/simd/lanes.h"

// Chains in flight: what the registers hold, so that one pass over the rows above serves as many cells as can be.
constexpr std::size_t most_chains = LANES == 8 ? 16 : 10;

/// Dot products of column j with the rows i .. i + CHAINS * LANES - 1 of L.
///   above   rows 0 .. j-1 of L^T that hold the columns i and on
///   column  rows 0 .. j-1 of L^T that hold column j
template <std::size_t CHAINS>
static inline void dots_down(int j, int i, upper_rows above, upper_rows column, vec (&sum)[CHAINS])
{
    for (std::size_t c = 0; c < CHAINS; ++c)
        sum[c] = vec{};
    for (int m = j - 1; m >= 0; --m) {
        const double* row = above[m] + i;
        const double factor = column[m][j];
        for (std::size_t c = 0; c < CHAINS; ++c)
            sum[c] += load(row + c * LANES) * factor;
    }
}

/// Row j of L^T from column i on, `chains` vectors of it.
///   pivot   in/out  L(j, j); zero: still to be found, from the lane of column j
template <std::size_t CHAINS>
static bool fill_row(std::size_t chains, const factor_task& task, int j, int i, upper_rows column, double& pivot)
{
    if constexpr (CHAINS > 1)
        if (chains < CHAINS)
            return fill_row<CHAINS - 1>(chains, task, j, i, column, pivot);
    vec sum[CHAINS];
    dots_down<CHAINS>(j, i, task.factor, column, sum);
    if (pivot == 0.0) {
        double first[LANES];
        __builtin_memcpy(first, &sum[0], sizeof first);
        const double square = 1.0 - first[j - i];
        if (!(square > 0.0))
            return false;
        pivot = __builtin_sqrt(square);
    }
    for (std::size_t c = 0; c < CHAINS; ++c)
        store(task.factor[j] + i + c * LANES, (load(task.correlation[j] + i + c * LANES) - sum[c]) / pivot);
    return true;
}

/// Row j of L^T from column `from` on, in passes of about equal width.
static bool fill_row_passes(const factor_task& task, int j, int from, upper_rows column, double& pivot)
{
    int i = from / LANES * LANES;
    const auto vectors = static_cast<std::size_t>((task.n - i + LANES - 1) / LANES);
    const std::size_t passes = (vectors + most_chains - 1) / most_chains;
    for (std::size_t pass = 0; pass < passes; ++pass) {
        const std::size_t chains = vectors * (pass + 1) / passes - vectors * pass / passes;
        if (!fill_row<most_chains>(chains, task, j, i, column, pivot))
            return false;
        i += static_cast<int>(chains) * LANES;
    }
    return true;
}

static double factorise(const factor_task& task)
{
    double product = 1.0;
    for (int j = 0; j < task.k0; ++j) {
        double pivot = task.kept_pivot[j];
        task.pivot[j] = pivot;
        product *= pivot;
        if (pivot == 0.0)
            break; // the kept rows end in a failed pivot: nothing below can succeed
        fill_row_passes(task, j, task.k0, task.kept, pivot);
    }
    int j = task.k0;
    for (; j < task.n && product != 0.0; ++j) {
        double pivot = 0.0;
        if (!fill_row_passes(task, j, j, task.factor, pivot))
            break;
        task.pivot[j] = pivot;
        product *= pivot;
    }
    if (j == task.n)
        return product;
    for (; j < task.n; ++j)
        task.pivot[j] = 0.0;
    return 0.0;
}

// Half of the chains each for two rows of the solutions, which share what they load.
constexpr std::size_t most_solution_chains = LANES == 8 ? 8 : 5;

/// Rows i and, unless `single`, i + 1 of the solutions, `chains` vectors of each. The order of the sums is free here:
/// the solutions are estimates.
template <std::size_t CHAINS>
static void substitute_rows(std::size_t chains, bool single, int i, int first, upper_rows factor, const double* pivot,
                            double* const* y, int column)
{
    if constexpr (CHAINS > 1)
        if (chains < CHAINS)
            return substitute_rows<CHAINS - 1>(chains, single, i, first, factor, pivot, y, column);
    const int next = single ? i : i + 1;
    vec sum[CHAINS];
    vec next_sum[CHAINS];
    for (std::size_t c = 0; c < CHAINS; ++c) {
        sum[c] = load(y[i] + column + c * LANES);
        next_sum[c] = load(y[next] + column + c * LANES);
    }
    for (int m = first; m < i; ++m) {
        const double cell = factor[m][i];
        const double next_cell = factor[m][next];
        for (std::size_t c = 0; c < CHAINS; ++c) {
            const vec known = load(y[m] + column + c * LANES);
            sum[c] -= known * cell;
            next_sum[c] -= known * next_cell;
        }
    }
    for (std::size_t c = 0; c < CHAINS; ++c) {
        const vec solution = sum[c] / pivot[i];
        store(y[i] + column + c * LANES, solution);
        if (!single)
            store(y[next] + column + c * LANES, (next_sum[c] - solution * factor[i][next]) / pivot[next]);
    }
}

static void substitute(int n, int first, upper_rows factor, const double* pivot, double* const* y, int column,
                       int eights)
{
    const std::size_t vectors = static_cast<std::size_t>(eights) * (8 / LANES);
    const std::size_t passes = (vectors + most_solution_chains - 1) / most_solution_chains;
    for (std::size_t pass = 0; pass < passes; ++pass) {
        const std::size_t chains = vectors * (pass + 1) / passes - vectors * pass / passes;
        for (int i = first; i < n; i += 2)
            substitute_rows<most_solution_chains>(chains, i + 1 == n, i, first, factor, pivot, y, column);
        column += static_cast<int>(chains) * LANES;
    }
}

static void candidate_dots(int n, const double* const* y, double* dots)
{
    constexpr int w = candidate_width;
    for (int c = 0; c < w; c += LANES) {
        vec sum[10] = {};
        for (int i = 0; i < n; ++i) {
            const vec ya = load(y[i] + c);
            const vec yb = load(y[i] + w + c);
            const vec za = load(y[i] + 2 * w + c);
            const vec zb = load(y[i] + 3 * w + c);
            sum[0] += ya * ya;
            sum[1] += ya * yb;
            sum[2] += yb * yb;
            sum[3] += za * za;
            sum[4] += za * zb;
            sum[5] += zb * zb;
            sum[6] += za * ya;
            sum[7] += za * yb;
            sum[8] += zb * ya;
            sum[9] += zb * yb;
        }
        for (int d = 0; d < 10; ++d)
            store(dots + d * w + c, sum[d]);
    }
}

constexpr entropy_kernels KERNELS{NAME, factorise, substitute, candidate_dots};

#include "tests/reference/criteria_reference.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace {

using real = long double;

std::size_t at(int i) { return static_cast<std::size_t>(i); }

real distance_between(const table& design, int i, int j, reference::distance kind, const std::vector<double>& weights)
{
    real sum = 0;
    for (int k = 0; k < design.columns(); ++k) {
        const real u = static_cast<real>(weights[at(k)]) * (static_cast<real>(design[i][k]) - design[j][k]);
        sum += kind == reference::distance::rectangular ? std::fabs(u) : u * u;
    }
    return sum;
}

int halved_order(int p, reference::distance kind) { return kind == reference::distance::euclidean ? (p + 1) / 2 : p; }

/// ln |det M| of an n x n matrix.
real log_determinant(std::vector<std::vector<real>> m)
{
    real log_det = 0;
    const std::size_t n = m.size();
    for (std::size_t c = 0; c < n; ++c) {
        std::size_t pivot = c;
        for (std::size_t r = c + 1; r < n; ++r)
            if (std::fabs(m[r][c]) > std::fabs(m[pivot][c]))
                pivot = r;
        std::swap(m[c], m[pivot]);
        log_det += std::log(std::fabs(m[c][c]));
        for (std::size_t r = c + 1; r < n; ++r) {
            const real factor = m[r][c] / m[c][c];
            for (std::size_t k = c; k < n; ++k)
                m[r][k] -= factor * m[c][k];
        }
    }
    return log_det;
}

/// The levels of a column, ascending.
std::vector<double> levels_of(const table& design, int k)
{
    std::set<double> levels;
    for (int i = 0; i < design.rows(); ++i)
        levels.insert(design[i][k]);
    return {levels.begin(), levels.end()};
}

/// Helmert contrasts of s levels: s-1 vectors of length s, orthogonal to each other and to 1, of squared length s.
std::vector<std::vector<real>> contrasts(int s)
{
    std::vector<std::vector<real>> all;
    for (int c = 1; c < s; ++c) {
        std::vector<real> contrast(at(s), 0);
        const real scale = std::sqrt(static_cast<real>(s) / (static_cast<real>(c) * (c + 1)));
        for (int level = 0; level < c; ++level)
            contrast[at(level)] = scale;
        contrast[at(c)] = -scale * c;
        all.push_back(contrast);
    }
    return all;
}

} // namespace

int reference::applied_exponent(int n)
{
    if (n <= 1)
        return 1;
    int exponent = 1;
    for (; n > 1; n /= 2)
        exponent = 2 * exponent + n % 2;
    return exponent;
}

long double reference::phip_sum(const table& design, int p, distance kind, const std::vector<double>& weights)
{
    const real floor = std::pow(static_cast<real>(1e-200), static_cast<real>(1) / p);
    const int exponent = applied_exponent(halved_order(p, kind));
    real sum = 0;
    for (int i = 0; i < design.rows(); ++i)
        for (int j = 0; j < i; ++j) {
            const real d = distance_between(design, i, j, kind, weights);
            sum += d < floor ? static_cast<real>(1e200) : std::pow(d, static_cast<real>(-exponent));
        }
    return std::min(sum, static_cast<real>(1e200));
}

double reference::phip(const table& design, int p, distance kind, const std::vector<double>& weights)
{
    const real root = kind == distance::euclidean ? static_cast<real>(0.5) : 1;
    return static_cast<double>(std::pow(phip_sum(design, p, kind, weights), root / halved_order(p, kind)));
}

double reference::maximin(const table& design, distance kind, const std::vector<double>& weights)
{
    return -distances(design, kind, weights).least;
}

reference::distance_range reference::distances(const table& design, distance kind, const std::vector<double>& weights)
{
    distance_range range{1e200, 0.0};
    for (int i = 0; i < design.rows(); ++i)
        for (int j = 0; j < i; ++j) {
            const auto d = static_cast<double>(distance_between(design, i, j, kind, weights));
            range.least = std::min(range.least, d);
            range.largest = std::max(range.largest, d);
        }
    return range;
}

double reference::entropy(const table& design, distance kind, const std::vector<double>& theta,
                          const std::vector<double>& weights)
{
    const int n = design.rows();
    std::vector<std::vector<real>> r(at(n), std::vector<real>(at(n)));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            real sum = 0;
            for (int k = 0; k < design.columns(); ++k) {
                const real u =
                    std::fabs(static_cast<real>(weights[at(k)]) * (static_cast<real>(design[i][k]) - design[j][k]));
                sum += theta[at(k)] * (kind == distance::euclidean ? u * u : u);
            }
            r[at(i)][at(j)] = std::exp(-sum);
        }
    return static_cast<double>(-log_determinant(r));
}

double reference::cd2(const table& design, const std::vector<double>& weights)
{
    const int n = design.rows();
    const int k = design.columns();
    const auto u = [&](int i, int f) {
        return static_cast<real>(weights[at(f)]) * (design[i][f] - static_cast<real>(0.5));
    };
    const auto active = std::count_if(weights.begin(), weights.end(), [](double w) { return w > 1e-15; });
    real single = 0;
    real pairs = 0;
    for (int i = 0; i < n; ++i) {
        real product = 1;
        for (int f = 0; f < k; ++f)
            product *= 1 + std::fabs(u(i, f)) / 2 - u(i, f) * u(i, f) / 2;
        single += product;
        for (int j = 0; j < n; ++j) {
            real pair = 1;
            for (int f = 0; f < k; ++f)
                pair *= 1 + std::fabs(u(i, f)) / 2 + std::fabs(u(j, f)) / 2 - std::fabs(u(i, f) - u(j, f)) / 2;
            pairs += pair;
        }
    }
    return static_cast<double>(std::pow(static_cast<real>(13) / 12, static_cast<real>(active)) - 2 * single / n +
                               pairs / (static_cast<real>(n) * n));
}

double reference::a2_by_contrasts(const table& design)
{
    const int n = design.rows();
    const auto level = [&](const std::vector<double>& levels, int i, int k) {
        return static_cast<std::size_t>(std::lower_bound(levels.begin(), levels.end(), design[i][k]) -
                                        levels.begin());
    };
    real a2 = 0;
    for (int k = 0; k < design.columns(); ++k)
        for (int l = 0; l < k; ++l) {
            const std::vector<double> levels_k = levels_of(design, k);
            const std::vector<double> levels_l = levels_of(design, l);
            for (const auto& contrast_k : contrasts(static_cast<int>(levels_k.size())))
                for (const auto& contrast_l : contrasts(static_cast<int>(levels_l.size()))) {
                    real sum = 0;
                    for (int i = 0; i < n; ++i)
                        sum += contrast_k[level(levels_k, i, k)] * contrast_l[level(levels_l, i, l)];
                    a2 += sum * sum;
                }
        }
    return static_cast<double>(a2 / (static_cast<real>(n) * n));
}

double reference::a2_by_coincidences(const table& design, const std::vector<int>& level_counts,
                                     const std::vector<double>& weights)
{
    const real n = design.rows();
    real m = 0;
    real s = 0;
    for (int k = 0; k < design.columns(); ++k)
        if (weights[at(k)] > 1e-15) {
            m += 1;
            s += level_counts[at(k)];
        }
    real squares = 0;
    for (int i = 0; i < design.rows(); ++i)
        for (int j = 0; j < i; ++j) {
            real coincidence = 0;
            for (int k = 0; k < design.columns(); ++k)
                if (weights[at(k)] > 1e-15 && design[i][k] == design[j][k])
                    coincidence += level_counts[at(k)];
            squares += coincidence * coincidence;
        }
    return static_cast<double>((squares + n / 2 * (s * s - n * (m * m - m + s))) / (n * n));
}

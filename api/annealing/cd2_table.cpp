#include "api/annealing/cd2_table.h"

#include <algorithm>
#include <cmath>

namespace optdoe {

constexpr kernel_variants<cd2_trial_kernels> cd2_trial_kernel_variants
{
    &cd2_trial_kernels_baseline,
#if defined(__x86_64__)
        &cd2_trial_kernels_avx2, &cd2_trial_kernels_avx512,
#endif
};

cd2_table::cd2_table(const annealed_problem& problem, const cd2_trial_kernels* kernels)
    : kernels_(kernels), rows_(problem.rows), columns_(problem.columns), stride_(line_stride(problem.rows)),
      pitch_(line_pitch(problem.rows)), coordinates_(columns_), factors_(columns_), levels_(columns_ * rows_),
      u_(columns_ * stride_), sides_(columns_ * 2 * stride_), lines_(rows_ * pitch_), products_(rows_)
{
    for (std::size_t c = 0; c < columns_; ++c) {
        constant_ *= weight_of(problem, c) > 1e-15 ? 13.0 / 12.0 : 1.0;
        for (const double value : problem.values[c]) {
            const double u = weight_of(problem, c) * (value - 0.5);
            const double size = std::fabs(u);
            coordinates_[c].push_back(static_cast<float>(u));
            factors_[c].push_back({1.0 + size, (2.0 + size - size * size) * 0.5});
        }
    }
}

double cd2_table::objective(double energy) const
{
    const double n = static_cast<double>(rows_);
    return constant_ + energy / (n * n);
}

void cd2_table::set_entry(std::size_t column, std::size_t row, float u)
{
    u_[column * stride_ + row] = u;
    sides_[2 * column * stride_ + row] = std::max(u, 0.0f);
    sides_[(2 * column + 1) * stride_ + row] = std::max(-u, 0.0f);
}

void cd2_table::load(const std::vector<std::int32_t>& levels)
{
    levels_ = levels;
    for (std::size_t c = 0; c < columns_; ++c)
        for (std::size_t r = 0; r < rows_; ++r)
            set_entry(c, r, coordinates_[c][static_cast<std::size_t>(levels[c * rows_ + r])]);
    refresh();
}

cd2_entry cd2_table::entry(std::size_t column, std::size_t row) const
{
    const float u = u_[column * stride_ + row];
    return {row, &sides_[(2 * column + (u < 0.0f ? 1 : 0)) * stride_], std::fabs(u)};
}

const cd2_table::single_factors& cd2_table::factors_at(std::size_t column, std::size_t row) const
{
    return factors_[column][static_cast<std::size_t>(levels_[column * rows_ + row])];
}

void cd2_table::refresh()
{
    commits_ = 0;
    energy_ = 0.0;
    std::fill(lines_.begin(), lines_.end(), 1.0f);
    for (std::size_t r = 0; r < rows_; ++r) {
        products_[r] = {1.0, 1.0};
        for (std::size_t c = 0; c < columns_; ++c) {
            kernels_->multiply(stride_, entry(c, r), line(r));
            products_[r].own *= factors_at(c, r).own;
            products_[r].mean *= factors_at(c, r).mean;
        }
        line(r)[r] = 0.0f;
        std::fill(line(r) + rows_, line(r) + stride_, 0.0f);
        energy_ += products_[r].own - 2.0 * static_cast<double>(rows_) * products_[r].mean;
        for (std::size_t s = 0; s < rows_; ++s)
            energy_ += static_cast<double>(line(r)[s]);
    }
}

/// Growth of A and B when one is multiplied by to / from and the other by from / to.
static double growth_by_ratio(double from, double to, double at_from, double at_to)
{
    return (to - from) * (at_from * to - at_to * from) / (from * to);
}

double cd2_table::single_growth(std::size_t column, std::size_t a, std::size_t b) const
{
    const single_factors& f_a = factors_at(column, a);
    const single_factors& f_b = factors_at(column, b);
    return growth_by_ratio(f_a.own, f_b.own, products_[a].own, products_[b].own) -
           2.0 * static_cast<double>(rows_) *
               growth_by_ratio(f_a.mean, f_b.mean, products_[a].mean, products_[b].mean);
}

bool cd2_table::accepts(std::size_t column, std::size_t a, std::size_t b, double allowance, double* growth)
{
    const float change = kernels_->change(stride_, entry(column, a), entry(column, b), line(a), line(b));
    *growth = 2.0 * static_cast<double>(change) + single_growth(column, a, b);
    return *growth <= allowance;
}

double cd2_table::growth(std::size_t column, std::size_t a, std::size_t b)
{
    double grown = 0.0;
    accepts(column, a, b, 0.0, &grown);
    return grown;
}

void cd2_table::commit(std::size_t column, std::size_t a, std::size_t b, double growth)
{
    kernels_->commit(stride_, entry(column, a), entry(column, b), line(a), line(b));
    for (std::size_t r = 0; r < rows_; ++r) {
        line(r)[a] = line(a)[r];
        line(r)[b] = line(b)[r];
    }
    const single_factors& f_a = factors_at(column, a);
    const single_factors& f_b = factors_at(column, b);
    products_[a] = {products_[a].own * (f_b.own / f_a.own), products_[a].mean * (f_b.mean / f_a.mean)};
    products_[b] = {products_[b].own * (f_a.own / f_b.own), products_[b].mean * (f_a.mean / f_b.mean)};
    std::swap(levels_[column * rows_ + a], levels_[column * rows_ + b]);
    const float u_a = u_[column * stride_ + a];
    set_entry(column, a, u_[column * stride_ + b]);
    set_entry(column, b, u_a);
    energy_ += growth;
    if (++commits_ == 4 * rows_)
        refresh();
}

} // namespace optdoe

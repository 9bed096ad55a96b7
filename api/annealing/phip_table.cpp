#include "api/annealing/phip_table.h"

#include <algorithm>
#include <cmath>

namespace optdoe {

constexpr kernel_variants<phip_trial_kernels> phip_trial_kernel_variants
{
    &phip_trial_kernels_baseline,
#if defined(__x86_64__)
        &phip_trial_kernels_avx2, &phip_trial_kernels_avx512,
#endif
};

/// The least step between neighbouring coordinates of any column; 0 where there is none.
static double least_step(const annealed_problem& problem)
{
    double least = 0.0;
    for (std::size_t c = 0; c < problem.columns; ++c)
        for (std::size_t l = 1; l < problem.values[c].size(); ++l) {
            const double step = weight_of(problem, c) * (problem.values[c][l] - problem.values[c][l - 1]);
            if (step > 1e-15 && (least == 0.0 || step < least))
                least = step;
        }
    return least;
}

/// Coordinates in steps; whole numbers when all of them are, within rounding.
static bool scaled_coordinates(const annealed_problem& problem, double step,
                               std::vector<std::vector<float>>& coordinates)
{
    bool all_whole = true;
    std::vector<std::vector<double>> exact(problem.columns);
    for (std::size_t c = 0; c < problem.columns; ++c)
        for (const double value : problem.values[c]) {
            const double u = step > 0.0 ? weight_of(problem, c) * (value - problem.values[c].front()) / step : 0.0;
            all_whole = all_whole && std::fabs(u - std::round(u)) < 1e-6;
            exact[c].push_back(u);
        }
    coordinates.resize(problem.columns);
    for (std::size_t c = 0; c < problem.columns; ++c)
        for (const double u : exact[c])
            coordinates[c].push_back(static_cast<float>(all_whole ? std::round(u) : u));
    return all_whole;
}

/// The largest y with y^power below the limit, within 1 %.
static float largest_base(int power, double limit)
{
    double y = 1.0;
    while (y < 1e6) {
        double term = 1.0;
        for (int i = 0; i < power && term < limit; ++i)
            term *= 1.01 * y;
        if (!(term < limit))
            break;
        y *= 1.01;
    }
    return static_cast<float>(y);
}

phip_table::phip_table(const annealed_problem& problem, const phip_trial_kernels* kernels)
    : kernels_(kernels), shape_{1.0f, 1.0f, 1e30f, applied_exponent(annealed_exponent(problem)), problem.euclidean},
      root_((problem.euclidean ? 0.5 : 1.0) / annealed_exponent(problem)), rows_(problem.rows),
      columns_(problem.columns), stride_(line_stride(problem.rows)), pitch_(line_pitch(problem.rows)),
      x_(columns_ * stride_), lines_(rows_ * pitch_), sums_(stride_)
{
    const double step = least_step(problem);
    step_ = problem.euclidean ? step * step : step;
    const bool exact = scaled_coordinates(problem, step, coordinates_);
    commits_between_refreshes_ = (exact ? 64 : 4) * rows_;
    double range = 0.0;
    for (const std::vector<float>& column : coordinates_) {
        const double width = static_cast<double>(column.back() - column.front());
        range += shape_.euclidean ? width * width / 6.0 : width / 3.0;
    }
    set_unit(static_cast<float>(range));
}

void phip_table::set_unit(float unit)
{
    shape_.unit = unit;
    shape_.nearest = unit / largest_base(shape_.power, 1e30);
    shape_.farthest = unit * largest_base(shape_.power, 1e35);
}

void phip_table::load(const std::vector<std::int32_t>& levels)
{
    for (std::size_t c = 0; c < columns_; ++c)
        for (std::size_t r = 0; r < rows_; ++r)
            x_[c * stride_ + r] = coordinates_[c][static_cast<std::size_t>(levels[c * rows_ + r])];
    refresh();
}

void phip_table::scale_to_least()
{
    set_unit(std::max(least_distance(), shape_.nearest));
    refresh();
}

void phip_table::refresh()
{
    commits_ = 0;
    energy_ = 0.0;
    std::fill(lines_.begin(), lines_.end(), 0.0f);
    for (std::size_t r = 0; r < rows_; ++r) {
        for (std::size_t c = 0; c < columns_; ++c)
            kernels_->add_column(shape_, stride_, &x_[c * stride_], x_[c * stride_ + r], line(r));
        line(r)[r] = far_away;
        std::fill(line(r) + rows_, line(r) + stride_, far_away);
        sums_[r] = kernels_->line_terms(shape_, stride_, line(r));
        energy_ += 0.5 * sums_[r];
    }
    highest_energy_ = energy_;
}

phip_exchange_lines phip_table::lines_of(std::size_t column, std::size_t a, std::size_t b)
{
    return {stride_, a, b, &x_[column * stride_], line(a), line(b)};
}

bool phip_table::accepts(std::size_t column, std::size_t a, std::size_t b, double allowance, double* growth)
{
    const double old = sums_[a] + sums_[b];
    const double factor = allowance * (1.0 + allowance * (0.5 + allowance * (1.0 / 6.0 + allowance / 24.0)));
    const double limit = std::min(old + energy_ * factor, 1e37);
    const double sum =
        static_cast<double>(kernels_->new_terms(shape_, lines_of(column, a, b), static_cast<float>(limit)));
    *growth = sum - old;
    return sum <= limit;
}

double phip_table::objective(double energy) const
{
    return std::pow(energy, root_) / std::pow(unscaled(shape_.unit), shape_.power * root_);
}

void phip_table::commit(std::size_t column, std::size_t a, std::size_t b, double)
{
    double change_a = 0.0;
    double change_b = 0.0;
    kernels_->commit(shape_, lines_of(column, a, b), line(a), line(b), sums_.data(), &change_a, &change_b);
    for (std::size_t r = 0; r < rows_; ++r) {
        line(r)[a] = line(a)[r];
        line(r)[b] = line(b)[r];
    }
    sums_[a] += change_a;
    sums_[b] += change_b;
    energy_ += change_a + change_b;
    highest_energy_ = std::max(highest_energy_, energy_);
    std::swap(x_[column * stride_ + a], x_[column * stride_ + b]);
    // Large terms that come and go leave their rounding in the sums.
    if (++commits_ == commits_between_refreshes_ || !(energy_ > 1e-6 * highest_energy_))
        refresh();
}

float phip_table::least_distance() const
{
    float least = kernels_->least(stride_, line(0));
    for (std::size_t r = 1; r < rows_; ++r)
        least = std::min(least, kernels_->least(stride_, line(r)));
    return least;
}

} // namespace optdoe

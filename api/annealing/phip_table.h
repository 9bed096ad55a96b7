/// Distances and sums of terms of a design whose entries are exchanged: the objective of phi-p's annealing.
///
/// Coordinates are multiplied by the weights and scaled so that, where the levels of all columns are evenly spaced by
/// the same step, they are whole numbers: the distances are then exact and nothing drifts.
///
/// Errors  std::bad_alloc when it is made; nothing else can fail.
#pragma once

#include "api/annealing/aligned_floats.h"
#include "api/annealing/annealed_problem.h"
#include "api/annealing/phip_trial_kernels.h"

#include <vector>

namespace optdoe {

class phip_table {
public:
    phip_table(const annealed_problem& problem, const phip_trial_kernels* kernels);

    /// Takes a design: [columns x rows], a column after the other.
    void load(const std::vector<std::int32_t>& levels);

    /// Chooses the distance whose term is 1: the least one of the design. Terms of far smaller distances are cut.
    void scale_to_least();

    /// Sum of all terms.
    double energy() const { return energy_; }

    /// Tries an exchange of two different levels. True: the energy grows by less than the factor exp(allowance).
    ///   growth   out  of the energy, when true
    bool accepts(std::size_t column, std::size_t a, std::size_t b, double allowance, double* growth);

    /// Makes an exchange that was accepted. Its growth is taken anew, in double precision, with the sums of the rows.
    void commit(std::size_t column, std::size_t a, std::size_t b, double growth);

    /// [rows] Sums of the terms of a row: where it is large, the row is close to others.
    const double* crowding() const { return sums_.data(); }

    float least_distance() const;

    /// The objective of an energy, and the distance, in the units of the problem.
    double objective(double energy) const;
    double unscaled(float distance) const { return static_cast<double>(distance) * step_; }

private:
    static constexpr float far_away = 1e30f; ///< in place of the distance of a row to itself

    void set_unit(float unit);
    void refresh();
    phip_exchange_lines lines_of(std::size_t column, std::size_t a, std::size_t b);
    float* line(std::size_t row) { return lines_.data() + row * pitch_; }
    const float* line(std::size_t row) const { return lines_.data() + row * pitch_; }

    const phip_trial_kernels* kernels_;
    phip_shape shape_;
    double step_; ///< of the coordinates, squared where the distances are
    double root_; ///< exponent that makes the objective of a sum of terms
    std::size_t rows_, columns_, stride_, pitch_;
    std::vector<std::vector<float>> coordinates_; ///< [column][level]
    aligned_floats x_;                            ///< [columns x stride]
    aligned_floats lines_;                        ///< [rows x pitch]
    std::vector<double> sums_;                    ///< [stride]
    double energy_ = 0.0;
    double highest_energy_ = 0.0; ///< since the last refresh
    std::size_t commits_ = 0, commits_between_refreshes_;
};

} // namespace optdoe

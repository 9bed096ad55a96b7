/// Products of a design whose entries are exchanged: the objective of centered L2's annealing.
///
/// Energy: n^2 times the squared discrepancy without its constant, the term (13/12)^m.
/// Source: Hickernell, "A generalized discrepancy and quadrature error bound", 1998; the update by ratios follows
/// Jin, Chen and Sudjianto, 2005.
/// Errors: std::bad_alloc when it is made; nothing else can fail.
#pragma once

#include "api/annealing/aligned_floats.h"
#include "api/annealing/annealed_problem.h"
#include "api/annealing/cd2_trial_kernels.h"

#include <vector>

namespace optdoe {

class cd2_table {
public:
    cd2_table(const annealed_problem& problem, const cd2_trial_kernels* kernels);

    /// Takes a design: [columns x rows], a column after the other.
    void load(const std::vector<std::int32_t>& levels);

    double energy() const { return energy_; }

    /// The squared discrepancy of an energy: within 1e-7 of its terms, not of itself.
    double objective(double energy) const;

    /// Tries an exchange of two different levels. True: the energy grows by less than the allowance.
    ///   growth   out  of the energy
    bool accepts(std::size_t column, std::size_t a, std::size_t b, double allowance, double* growth);

    /// No row is more crowded than another.
    const double* crowding() const { return nullptr; }

    /// Growth of the energy by an exchange.
    double growth(std::size_t column, std::size_t a, std::size_t b);

    /// Makes an exchange that was accepted.
    ///   growth   as `accepts` gave it
    void commit(std::size_t column, std::size_t a, std::size_t b, double growth);

private:
    /// What a level adds to the products that have one row only.
    struct single_factors {
        double own;  ///< 1 + |u|
        double mean; ///< 1 + |u| / 2 - u^2 / 2
    };
    void refresh();
    void set_entry(std::size_t column, std::size_t row, float u);
    cd2_entry entry(std::size_t column, std::size_t row) const;
    const single_factors& factors_at(std::size_t column, std::size_t row) const;
    double single_growth(std::size_t column, std::size_t a, std::size_t b) const;
    float* line(std::size_t row) { return lines_.data() + row * pitch_; }

    const cd2_trial_kernels* kernels_;
    std::size_t rows_, columns_, stride_, pitch_;
    std::vector<std::vector<float>> coordinates_;      ///< [column][level] from the centre
    std::vector<std::vector<single_factors>> factors_; ///< [column][level]
    std::vector<std::int32_t> levels_;                 ///< [columns x rows]
    aligned_floats u_;                                 ///< [columns x stride]
    aligned_floats sides_;                             ///< [columns x 2 x stride] above the centre, below
    aligned_floats lines_;                             ///< [rows x pitch]
    std::vector<single_factors> products_;             ///< [rows]
    double constant_ = 1.0;                            ///< 13/12 for each column with a weight
    double energy_ = 0.0;
    std::size_t commits_ = 0;
};

} // namespace optdoe

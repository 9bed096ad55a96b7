#include "tests/support/phip_invariants.h"

#include "optdoe/criteria/phip/phip.h"
#include "optdoe/criteria/phip/phip_tables.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

namespace {

constexpr double infinity = __builtin_inf();

/// A line as the kernels take it: on a boundary of 64 bytes.
class aligned_line {
public:
    explicit aligned_line(std::int32_t stride) : cells_(static_cast<std::size_t>(stride) + 8)
    {
        void* at = cells_.data();
        std::size_t space = cells_.size() * sizeof(double);
        line_ = static_cast<double*>(std::align(64, static_cast<std::size_t>(stride) * sizeof(double), at, space));
    }
    aligned_line(aligned_line&&) = default;
    double* get() { return line_; }

private:
    std::vector<double> cells_;
    double* line_;
};

bool same_or_nan(double x, double y) { return same_bits(x, y) || (std::isnan(x) && std::isnan(y)); }

class tables_in_question {
public:
    explicit tables_in_question(const phip_tables& t) : t_(t)
    {
        for (std::int32_t r = 0; r < t.rows; ++r) {
            lines_.emplace_back(t.stride);
            copy_line(t, r, lines_.back().get());
        }
    }

    std::string broken()
    {
        for (const auto question :
             {&tables_in_question::points, &tables_in_question::lines, &tables_in_question::grid,
              &tables_in_question::sums, &tables_in_question::copied_entries, &tables_in_question::copied_distances})
            if (std::string answer = (this->*question)(); !answer.empty())
                return answer;
        return {};
    }

private:
    const double* line(std::int32_t r) { return lines_[static_cast<std::size_t>(r)].get(); }

    /// Both layouts have the same points.
    std::string points()
    {
        for (std::int32_t r = 0; r < t_.rows; ++r)
            for (std::int32_t k = 0; k < t_.factors; ++k)
                if (!same_or_nan(t_.points[r][k], column_line(t_, k)[r]))
                    return "the points of row " + std::to_string(r);
        return {};
    }

    /// Lines agree with each other; pairs of rows that have not changed are fresh.
    std::string lines()
    {
        for (std::int32_t i = 0; i < t_.rows; ++i)
            for (std::int32_t j = 0; j < i; ++j) {
                const std::string where = "the distance of rows " + std::to_string(i) + " and " + std::to_string(j);
                if (!same_or_nan(line(i)[j], line(j)[i]))
                    return where + " is not the same in both lines";
                if (t_.is_changed[i] == 0 && t_.is_changed[j] == 0 &&
                    !same_or_nan(line(i)[j], distance_of(t_.kind, t_.points[j], t_.points[i], t_.factors)))
                    return where + " is not fresh";
            }
        return {};
    }

    /// What is kept of a row on the grid is what its terms give.
    std::string grid()
    {
        aligned_line terms(t_.stride);
        for (std::int32_t r = 1; r < t_.rows && t_.rows > 16; ++r) {
            if (t_.grid.ties[r] == infinity || t_.grid.limit[r] == 0.0)
                continue;
            terms_of_line(t_, line(r), terms.get());
            double sum = 0.0;
            double ties = 0.0;
            t_.kernels->grid_sum(r, terms.get(), t_.grid.limit[r], &sum, &ties);
            if (!same_bits(sum, t_.grid.sum[r]) || !same_bits(ties, t_.grid.ties[r]))
                return "row " + std::to_string(r) + " on the grid";
        }
        return {};
    }

    /// Unless they are stale, the sums of rows are within what is said of their error.
    std::string sums()
    {
        aligned_line terms(t_.stride);
        for (std::int32_t r = 0; r < t_.rows && !t_.sums_are_stale; ++r) {
            terms_of_line(t_, line(r), terms.get());
            double sum = 0.0;
            for (std::int32_t j = 0; j < t_.rows; ++j)
                sum += terms.get()[j];
            const double of_adding = 4e-16 * t_.rows * sum;
            const double doubt = t_.row_upper[r] - t_.row_sum[r];
            if (!std::isfinite(sum) || !std::isfinite(doubt))
                continue;
            if (sum - of_adding > t_.row_upper[r] || std::fabs(sum - t_.row_sum[r]) > doubt + of_adding)
                return "the sum of row " + std::to_string(r);
        }
        return {};
    }

    bool copies_count() const { return !t_.copies_are_stale && coarse_is_usable(t_.coarse); }

    std::string copied_entries()
    {
        const phip_coarse& c = t_.coarse;
        for (std::int32_t k = 0; k < t_.factors && copies_count(); ++k)
            for (std::int32_t r = 0; r < t_.rows; ++r) {
                const double steps = (t_.points[r][k] - c.column[k].middle) * c.column[k].entry_scale;
                if (c.columns[static_cast<std::ptrdiff_t>(k) * c.stride + r] != std::lrint(steps))
                    return "the copy of entry " + std::to_string(k) + " of row " + std::to_string(r);
            }
        return {};
    }

    /// As a reader sees them who takes over what has changed.
    std::string copied_distances()
    {
        const phip_coarse& c = t_.coarse;
        for (std::int32_t r = 0; r < t_.rows && copies_count(); ++r) {
            std::vector<std::uint16_t> copy(coarse_line(c, r), coarse_line(c, r) + c.rows);
            for (std::int32_t i = c.seen[r]; i < c.note_count; ++i)
                copy[static_cast<std::size_t>(c.notes[i])] = coarse_line(c, c.notes[i])[r];
            for (std::int32_t j = 0; j < t_.rows; ++j) {
                const double steps = std::fabs(line(r)[j]) * c.scale;
                const double copied = copy[static_cast<std::size_t>(j)];
                const double expected = j == r ? coarse_none : std::fmin(steps, coarse_none);
                constexpr double doubt = 0.5 + 0x1p-7;
                if (!std::isnan(steps) && std::fabs(copied - expected) > doubt)
                    return "the copy of the distance of rows " + std::to_string(r) + " and " + std::to_string(j);
            }
        }
        return {};
    }

    const phip_tables& t_;
    std::vector<aligned_line> lines_;
};

} // namespace

std::string broken_phip_invariant(run_context* ctx)
{
    const phip_state& s = *ctx->phip;
    const phip_tables& t = s.tables;
    if (t.p == 0)
        return {};
    if (t.copies_are_stale && !t.sums_are_stale)
        return "copies are stale, sums are not";
    if (s.trial.pending && (s.exchange.pending || s.exchange.computed || t.refresh.pending))
        return "a trial is pending beside something else";
    if (s.trial.pending != s.trial.before.taken)
        return "the tables from before a trial are kept without it, or not with it";
    if (s.exchange.pending || t.refresh.pending) // the lines are those of before, the points are not
        return {};
    return tables_in_question(t).broken();
}

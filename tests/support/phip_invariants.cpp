#include "tests/support/phip_invariants.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/maximin/maximin.h"
#include "optdoe/criteria/phip/phip_sizes.h"
#include "optdoe/criteria/phip/phip_state.h"

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

class distances_in_question {
public:
    explicit distances_in_question(const pair_distances& d) : d_(d)
    {
        for (std::int32_t r = 0; r < d.rows; ++r) {
            lines_.emplace_back(d.stride);
            copy_line(d, r, lines_.back().get());
        }
    }

    const double* line(std::int32_t r) { return lines_[static_cast<std::size_t>(r)].get(); }

    std::string broken()
    {
        if (d_.version > d_.last_version)
            return "the version was never given";
        std::string answer = points();
        if (answer.empty())
            answer = changed_rows();
        return answer.empty() ? lines() : answer;
    }

private:
    /// Both layouts have the same points.
    std::string points()
    {
        for (std::int32_t r = 0; r < d_.rows; ++r)
            for (std::int32_t k = 0; k < d_.factors; ++k)
                if (!same_or_nan(d_.points[r][k], column_line(d_, k)[r]))
                    return "the points of row " + std::to_string(r);
        return {};
    }

    /// List and marks say the same; changed rows have a line, of many rows no others.
    std::string changed_rows()
    {
        std::int32_t marked = 0;
        for (std::int32_t r = 0; r < d_.rows; ++r) {
            marked += d_.is_changed[r];
            if ((stored_line(d_, r) != nullptr) != (stores_all_lines(d_) || d_.is_changed[r] != 0))
                return "the line of row " + std::to_string(r) + " is stored or not";
        }
        for (std::int32_t i = 0; i < d_.changed_count; ++i)
            if (d_.is_changed[d_.changed[i]] == 0)
                return "a changed row is not marked";
        return marked == d_.changed_count ? "" : "marked rows are not listed";
    }

    /// Lines agree with each other; pairs of rows that have not changed are fresh.
    std::string lines()
    {
        for (std::int32_t i = 0; i < d_.rows; ++i)
            for (std::int32_t j = 0; j < i; ++j) {
                const std::string where = "the distance of rows " + std::to_string(i) + " and " + std::to_string(j);
                if (!same_or_nan(line(i)[j], line(j)[i]))
                    return where + " is not the same in both lines";
                if (d_.is_changed[i] == 0 && d_.is_changed[j] == 0 &&
                    !same_or_nan(line(i)[j], distance_of(d_.kind, d_.points[j], d_.points[i], d_.factors)))
                    return where + " is not fresh";
            }
        return {};
    }

    const pair_distances& d_;
    std::vector<aligned_line> lines_;
};

class derived_in_question {
public:
    /// The totals that belong to the distances as they are stored.
    explicit derived_in_question(const phip_state& s)
        : s_(s), d_(s.distances), t_(s.pending == pending_change::evaluation ? s.totals_before : s.totals),
          distances_(s.distances)
    {
    }

    std::string broken()
    {
        if (std::string answer = distances_.broken(); !answer.empty())
            return answer;
        for (const auto question : {&derived_in_question::triangle, &derived_in_question::row_totals,
                                    &derived_in_question::copied_entries, &derived_in_question::copied_distances})
            if (std::string answer = (this->*question)(); !answer.empty())
                return answer;
        return {};
    }

private:
    /// What is known of a row on the grid is what its terms give.
    std::string triangle()
    {
        aligned_line terms(d_.stride);
        const rows_on_grid& kept = t_.triangle.kept;
        for (std::int32_t r = 1; r < d_.rows && t_.triangle_as_of == d_.version; ++r) {
            if (kept.ties[r] == infinity || kept.limit[r] == 0.0)
                continue;
            terms_of_line(s_.terms, d_.stride, distances_.line(r), terms.get());
            const grid_sum sum = t_.triangle.kernels->sum_on_grid(r, terms.get(), kept.limit[r]);
            if (!same_bits(sum.above, kept.sum[r]) || !same_bits(sum.ties, kept.ties[r]))
                return "row " + std::to_string(r) + " on the grid";
        }
        return {};
    }

    /// The totals of rows are within what is said of their error.
    std::string row_totals()
    {
        aligned_line terms(d_.stride);
        for (std::int32_t r = 0; r < d_.rows && t_.rows_as_of == d_.version; ++r) {
            terms_of_line(s_.terms, d_.stride, distances_.line(r), terms.get());
            double sum = 0.0;
            for (std::int32_t j = 0; j < d_.rows; ++j)
                sum += terms.get()[j];
            const double of_adding = 4e-16 * d_.rows * sum;
            const double doubt = t_.row_upper[r] - t_.row_total[r];
            if (!std::isfinite(sum) || !std::isfinite(doubt))
                continue;
            if (sum - of_adding > t_.row_upper[r] || std::fabs(sum - t_.row_total[r]) > doubt + of_adding)
                return "the total of row " + std::to_string(r);
        }
        return {};
    }

    bool copies_count() const { return s_.coarse.as_of == d_.version && coarse_is_usable(s_.coarse); }

    std::string copied_entries()
    {
        const coarse_copies& c = s_.coarse;
        for (std::int32_t k = 0; k < d_.factors && copies_count(); ++k)
            for (std::int32_t r = 0; r < d_.rows; ++r) {
                const double steps = (d_.points[r][k] - c.column[k].middle) * c.column[k].entry_scale;
                if (c.columns[static_cast<std::ptrdiff_t>(k) * c.stride + r] != std::lrint(steps))
                    return "the copy of entry " + std::to_string(k) + " of row " + std::to_string(r);
            }
        return {};
    }

    /// As they are after reading the log.
    std::string copied_distances()
    {
        const coarse_copies& c = s_.coarse;
        for (std::int32_t r = 0; r < d_.rows && copies_count(); ++r) {
            std::vector<std::uint16_t> copy(coarse_line(c, r), coarse_line(c, r) + c.rows);
            for (std::int32_t i = c.change_log != nullptr ? c.log_read[r] : 0; i < c.logged_count; ++i)
                copy[static_cast<std::size_t>(c.change_log[i])] = coarse_line(c, c.change_log[i])[r];
            for (std::int32_t j = 0; j < d_.rows; ++j) {
                const double steps = std::fabs(distances_.line(r)[j]) * c.scale;
                const double copied = copy[static_cast<std::size_t>(j)];
                const double expected = j == r ? coarse_none : std::fmin(steps, coarse_none);
                constexpr double doubt = 0.5 + 0x1p-7;
                if (!std::isnan(steps) && std::fabs(copied - expected) > doubt)
                    return "the copy of the distance of rows " + std::to_string(r) + " and " + std::to_string(j);
            }
        }
        return {};
    }

    const phip_state& s_;
    const pair_distances& d_;
    const term_totals& t_;
    distances_in_question distances_;
};

/// A mark that is undone by lines has logged the line of every row that changed since, unless only points moved.
std::string broken_marks(const undoable_distances& d)
{
    for (const undo_mark* mark : {&d.column_mark, &d.trial_mark})
        if (mark->by != undo_by::unset && (mark->first > d.log.count || mark->version > d.last_version))
            return "a mark of another log";
    if (is_in_trial(d) && d.column_mark.by == undo_by::unset && d.trial_mark.first != 0)
        return "the log of no mark";
    return {};
}

/// Nearest rows that are known are nearest.
std::string broken_nearest(const maximin_state& s)
{
    const pair_distances& d = s.distances;
    for (std::int32_t r = 0; r < d.rows; ++r) {
        if (s.row_nearest[r] < 0)
            continue;
        double least = infinity;
        for (std::int32_t j = 0; j < d.rows; ++j)
            least = std::fmin(least, stored_line(d, r)[j]);
        if (least != s.row_least[r])
            return "the nearest of row " + std::to_string(r);
    }
    return {};
}

} // namespace

std::string broken_phip_invariant(run_context* ctx)
{
    if (ctx->criterion->in_force == &maximin_ops || ctx->phip->distances.points == nullptr)
        return broken_maximin_invariant(ctx);
    const phip_state& s = *ctx->phip;
    if ((s.pending == pending_change::rearrangement) != is_in_trial(s.distances))
        return "a trial is marked and not pending, or the reverse";
    if (s.pending == pending_change::exchange && s.exchange.as_of != s.distances.version)
        return "the pending exchange is one of another state";
    if (std::string answer = broken_marks(s.distances); !answer.empty())
        return answer;
    return derived_in_question(s).broken();
}

std::string broken_maximin_invariant(run_context* ctx)
{
    const maximin_state& s = *static_cast<const maximin_state*>(ctx->criterion->own_state);
    if (std::string answer = broken_marks(s.distances); !answer.empty())
        return answer;
    if (std::string answer = distances_in_question(s.distances).broken(); !answer.empty())
        return answer;
    return broken_nearest(s);
}

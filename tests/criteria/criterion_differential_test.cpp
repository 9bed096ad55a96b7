// Each criterion against its definition after long random sequences of operations, and against a twin that did not
// make the trials. The tables of the criteria are never looked at: what they hold shows in the values that follow.

#include "tests/reference/criteria_reference.h"
#include "tests/support/search_run.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/numeric/index_sort.h"
#include "optdoe/search/level_structure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <deque>
#include <memory>
#include <numeric>

namespace {

using reference::distance;

struct variant {
    const char* name;
    int criterion;
    std::vector<double> list_1, list_2; ///< parameter lists of the criterion
    std::vector<double> weights;        ///< empty: 1
    int n, k, fixed, repeats;

    int p() const { return list_1.empty() ? 20 : static_cast<int>(list_1[0]); }
    distance kind() const
    {
        return !list_2.empty() && list_2[0] == 1.0 ? distance::rectangular : distance::euclidean;
    }
    std::vector<double> all_weights() const
    {
        return weights.empty() ? std::vector<double>(static_cast<std::size_t>(k), 1.0) : weights;
    }
    std::vector<double> all_thetas() const
    {
        const double fallback = kind() == distance::euclidean ? 5.0 : 3.0;
        std::vector<double> thetas(static_cast<std::size_t>(k), list_1.size() == 1 ? list_1[0] : fallback);
        if (list_1.size() > 1)
            std::copy(list_1.begin(), list_1.end(), thetas.begin());
        return thetas;
    }
};

void PrintTo(const variant& v, std::ostream* out) { *out << v.name; }

std::unique_ptr<search_run> open_run(const variant& v, const table& start)
{
    return std::make_unique<search_run>(start, search_run::options{.fixed_rows = v.fixed}, [&](run_settings& s) {
        s.criterion.criterion_id = static_cast<std::int8_t>(v.criterion);
        s.criterion.params.param_count_1 = static_cast<std::int32_t>(v.list_1.size());
        s.criterion.params.param_list_1 = v.list_1.data();
        s.criterion.params.param_count_2 = static_cast<std::int32_t>(v.list_2.size());
        s.criterion.params.param_list_2 = v.list_2.data();
        std::copy(v.weights.begin(), v.weights.end(), s.criterion.factor_weights);
    });
}

bool same_bits(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }

/// The criterion's own working matrices are the same, byte for byte.
bool same_working_design(run_context* a, run_context* b, int rows, int columns)
{
    double** x = crit_copy_design(a, nullptr);
    double** y = crit_copy_design(b, nullptr);
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < columns; ++j)
            if (!same_bits(x[i][j], y[i][j]))
                return false;
    return true;
}

/// Disjoint pairs, or a re-arrangement: positions of `first` and `second` belong together.
struct row_lists {
    std::vector<std::int32_t> first, second;
    int count() const { return static_cast<int>(first.size()); }
};

class sequence {
public:
    explicit sequence(const variant& v)
        : v_(v), start_(v.repeats > 0 && v.criterion == 3 ? random_levels(v.n + v.fixed, v.k, random_, v.repeats)
                                                          : random_unit_design(v.n + v.fixed, v.k, random_)),
          design_(start_), before_commit_(start_), run_(open_run(v, start_)), twin_(open_run(v, start_))
    {
        for (int j = 0; j < v.k; ++j)
            level_counts_.push_back((*run_)->levels->level_count[j]);
        note_evaluation();
    }

    void perform_operation()
    {
        const int column = random_.below(v_.k);
        switch (random_.below(12)) {
        case 0: evaluate(); break;
        case 1: column_session(column); break;
        case 2: design_session(); break;
        case 3:
        case 4: apply_moves(column); break;
        default: apply_swaps(column); break;
        }
    }

    /// The value is that of the definition, within what rounding can have done since the last evaluation.
    void check_value()
    {
        const double value = crit_value(run_->ctx());
        const double expected = defined_value();
        ASSERT_NEAR(value, expected, bound())
            << "after " << steps_ << " steps, " << since_evaluation_ << " since the last evaluation";
    }

    int steps() const { return steps_; }

private:
    double defined_value() const
    {
        const std::vector<double> weights = v_.all_weights();
        switch (v_.criterion) {
        case 0: return reference::entropy(design_, v_.kind(), v_.all_thetas(), weights);
        case 1:
            return v_.p() == 0 ? reference::maximin(design_, v_.kind(), weights)
                               : reference::phip(design_, v_.p(), v_.kind(), weights);
        case 3: return reference::a2_by_coincidences(design_, level_counts_, weights);
        default: return reference::cd2(design_, weights);
        }
    }

    /// Rounding errors of the incremental value. A unit is 2^-53; each commit adds one to each of the numbers kept.
    ///   phi-p    a distance keeps errors of the largest distance, which a term magnifies by exponent / distance; the
    ///            sum keeps those of the largest sum since the last full re-sum, at most six commits ago, the sums
    ///            half-way through a batch included. The root divides the relative error of the sum by the order.
    ///   entropy  a correlation keeps a relative error per commit, which the conditioning of R magnifies: with the
    ///            determinant e^-value and a trace of n the least eigenvalue is above e^-value.
    ///   cd2      terms at most 2 a pair; A2 integers, only the quotients are rounded.
    double bound() const
    {
        const double unit = DBL_EPSILON * 8.0 * (since_evaluation_ + v_.n);
        const auto range = reference::distances(design_, v_.kind(), v_.all_weights());
        if (v_.criterion == 1 && v_.p() == 0)
            return unit * range.largest;
        if (v_.criterion == 1) {
            const int order = v_.kind() == distance::euclidean ? (v_.p() + 1) / 2 : v_.p();
            const double sum = sum_of(design_);
            const double largest = *std::max_element(sums_.begin(), sums_.end());
            const double relative = largest / sum + reference::applied_exponent(order) * v_.k / range.least;
            return unit * relative * std::fabs(defined_value()) / order + DBL_EPSILON;
        }
        if (v_.criterion == 0)
            return unit * v_.n * std::max(1.0, std::exp(std::min(defined_value(), 25.0)));
        return unit * (1.0 + std::fabs(defined_value())) * std::pow(1.5, v_.k);
    }

    bool keeps_sum() const { return v_.criterion == 1 && v_.p() != 0; }

    double sum_of(const table& design) const
    {
        return static_cast<double>(reference::phip_sum(design, v_.p(), v_.kind(), v_.all_weights()));
    }

    void note_evaluation()
    {
        since_evaluation_ = 0;
        sums_.clear();
        note_sum(0.0);
    }

    /// Notes the largest sum that a commit went through. One that changes nothing does not bring the re-sum nearer.
    void note_sum(double half_way)
    {
        if (!keeps_sum())
            return;
        const double sum = sum_of(design_);
        if (sum < 1e-10 * half_way)
            sums_.clear(); // such a loss of digits is answered by a full re-sum
        const double largest = sums_.empty() ? sum : std::max(sum, half_way);
        if (design_ == before_commit_ && !sums_.empty())
            sums_.back() = std::max(sums_.back(), largest);
        else
            sums_.push_back(largest);
        while (sums_.size() > 7)
            sums_.pop_front();
        before_commit_ = design_;
    }

    void note_commit(double value, double twin_value, double half_way = 0.0)
    {
        ASSERT_TRUE(same_bits(value, twin_value)) << "a trial left something behind, step " << steps_;
        ASSERT_TRUE(same_bits(value, crit_value(run_->ctx())));
        ++steps_;
        ++since_evaluation_;
        note_sum(half_way);
    }

    /// What a snapshot keeps beside the design: the errors that the tables have by then.
    struct snapshot {
        table design;
        double value;
        int since_evaluation;
        double largest_sum;
    };

    snapshot take_snapshot()
    {
        return {design_, crit_value(run_->ctx()), since_evaluation_,
                sums_.empty() ? 0.0 : *std::max_element(sums_.begin(), sums_.end())};
    }

    std::vector<std::int32_t> random_rows(int count)
    {
        std::vector<std::int32_t> rows(static_cast<std::size_t>(v_.n));
        std::iota(rows.begin(), rows.end(), v_.fixed);
        random_.shuffle(rows);
        rows.resize(static_cast<std::size_t>(count));
        return rows;
    }

    row_lists random_pairs()
    {
        const int count = random_.below(3) == 0 ? random_.below(v_.n / 2 + 1) : 1;
        const std::vector<std::int32_t> rows = random_rows(2 * count);
        return {{rows.begin(), rows.begin() + count}, {rows.begin() + count, rows.end()}};
    }

    row_lists random_rearrangement()
    {
        row_lists moves;
        moves.first = random_rows(random_.below(v_.n + 1));
        moves.second = moves.first;
        random_.shuffle(moves.second);
        return moves;
    }

    /// Trials of any kind on the run, none on the twin.
    void make_trials()
    {
        run_context* ctx = run_->ctx();
        const double value = crit_value(ctx);
        for (int t = random_.below(4); t > 0; --t) {
            const int column = random_.below(v_.k);
            const row_lists pairs = random_pairs();
            const row_lists moves = random_rearrangement();
            switch (random_.below(5)) {
            case 0: crit_try_swaps(ctx, column, pairs.count(), pairs.first.data(), pairs.second.data()); break;
            case 1: crit_try_moves(ctx, column, moves.count(), moves.first.data(), moves.second.data()); break;
            case 2: crit_value_of(ctx, random_.below(2) == 0 ? nullptr : start_.data()); break;
            case 3: {
                double best = 0.0;
                if (pairs.count() > 0)
                    crit_best_swap(ctx, column, pairs.count(), pairs.first.data(), pairs.second.data(), &best);
                break;
            }
            default: {
                const auto rows = random_rows(2);
                crit_try_swap(ctx, column, rows[0], rows[1]);
            }
            }
            ASSERT_TRUE(same_bits(crit_value(ctx), value));
        }
        ASSERT_TRUE(same_working_design(ctx, twin_->ctx(), design_.rows(), v_.k));
    }

    void apply_swaps(int column)
    {
        make_trials();
        const row_lists pairs = random_pairs();
        const std::int32_t* a = pairs.first.data();
        const std::int32_t* b = pairs.second.data();
        const double tried = crit_try_swaps(run_->ctx(), column, pairs.count(), a, b);
        const bool fresh = since_evaluation_ == 0;
        const double single = pairs.count() == 1 ? crit_try_swap(run_->ctx(), column, a[0], b[0]) : tried;
        const double value = crit_apply_swaps(run_->ctx(), column, pairs.count(), a, b);
        EXPECT_TRUE(same_bits(tried, value)) << tried << " tried, " << value << " applied";
        if (fresh) {
            EXPECT_TRUE(same_bits(single, value)) << single << " tried alone, " << value << " applied";
        }
        double half_way = 0.0;
        for (int t = 0; t < pairs.count(); ++t) {
            std::swap(design_[a[t]][column], design_[b[t]][column]);
            half_way += keeps_sum() ? sum_of(design_) : 0.0;
        }
        note_commit(value, crit_apply_swaps(twin_->ctx(), column, pairs.count(), a, b), half_way);
        EXPECT_NEAR(single, value, bound());
    }

    void apply_moves(int column)
    {
        make_trials();
        const row_lists moves = random_rearrangement();
        const std::int32_t* dst = moves.first.data();
        const std::int32_t* src = moves.second.data();
        const double tried = crit_try_moves(run_->ctx(), column, moves.count(), dst, src);
        const double value = crit_apply_moves(run_->ctx(), column, moves.count(), dst, src);
        EXPECT_TRUE(same_bits(tried, value)) << tried << " tried, " << value << " applied";
        const table before = design_;
        double half_way = 0.0;
        for (int t = 0; t < moves.count(); ++t) {
            design_[dst[t]][column] = before[src[t]][column];
            half_way += keeps_sum() ? sum_of(design_) : 0.0;
        }
        note_commit(value, crit_apply_moves(twin_->ctx(), column, moves.count(), dst, src), half_way);
    }

    void evaluate()
    {
        make_trials();
        const double of_working_design = crit_value_of(run_->ctx(), nullptr);
        const double value = crit_evaluate(run_->ctx(), nullptr);
        EXPECT_TRUE(same_bits(of_working_design, value));
        note_commit(value, crit_evaluate(twin_->ctx(), nullptr));
        note_evaluation();
    }

    void column_session(int column)
    {
        const snapshot before = take_snapshot();
        crit_save_column(run_->ctx(), column);
        crit_save_column(twin_->ctx(), column);
        for (int t = random_.below(4); t > 0; --t)
            random_.below(2) == 0 ? apply_swaps(column) : apply_moves(column);
        if (random_.below(4) == 0)
            evaluate();
        if (random_.below(3) == 0)
            return;
        crit_restore_column(run_->ctx(), column);
        crit_restore_column(twin_->ctx(), column);
        take_back(before);
    }

    void design_session()
    {
        const snapshot before = take_snapshot();
        crit_save_design(run_->ctx());
        crit_save_design(twin_->ctx());
        for (int t = random_.below(5); t > 0; --t)
            random_.below(2) == 0 ? apply_swaps(random_.below(v_.k)) : apply_moves(random_.below(v_.k));
        table saved(design_.rows(), v_.k);
        crit_copy_saved_design(run_->ctx(), saved.data());
        for (std::size_t i = 0; i < saved.values().size(); ++i)
            ASSERT_NEAR(saved.values()[i], before.design.values()[i], 1e-12);
        crit_restore_design(run_->ctx());
        crit_restore_design(twin_->ctx());
        take_back(before);
    }

    void take_back(const snapshot& before)
    {
        design_ = before.design;
        before_commit_ = design_;
        EXPECT_TRUE(same_bits(crit_value(run_->ctx()), before.value));
        since_evaluation_ = before.since_evaluation;
        note_commit(before.value, crit_value(twin_->ctx()));
        if (keeps_sum())
            sums_.back() = std::max(sums_.back(), before.largest_sum);
    }

    const variant& v_;
    random_stream random_{2024};
    table start_;
    table design_;        ///< what the criterion's design should be
    table before_commit_; ///< the same at the last commit
    std::unique_ptr<search_run> run_, twin_;
    std::vector<int> level_counts_;
    std::deque<double> sums_; ///< phi-p: sums that the last commits went through
    int since_evaluation_ = 0;
    int steps_ = 0;
};

const std::vector<variant>& variants()
{
    static const std::vector<variant> all{
        {"phip_default", 1, {}, {}, {}, 12, 3, 0, 1},
        {"phip_fixed_rows", 1, {}, {}, {}, 10, 3, 4, 1},
        {"phip_weighted", 1, {}, {}, {1.0, 0.5, 0.25}, 12, 3, 0, 1},
        {"phip_1_rectangular", 1, {1}, {1}, {}, 12, 3, 0, 1},
        {"phip_1_euclidean", 1, {1}, {2}, {}, 12, 3, 3, 1},
        {"phip_5_euclidean", 1, {5}, {2}, {}, 12, 3, 0, 1},
        {"phip_5_rectangular", 1, {5}, {1}, {0.7, 1.0, 0.9}, 12, 3, 2, 1},
        {"phip_20_rectangular", 1, {20}, {1}, {}, 12, 4, 0, 1},
        {"phip_100_euclidean", 1, {100}, {2}, {}, 12, 3, 0, 1},
        {"phip_100_rectangular", 1, {100}, {1}, {}, 12, 3, 2, 1},
        {"maximin", 1, {0}, {}, {}, 12, 3, 0, 1},
        {"maximin_rectangular_fixed_rows", 1, {0}, {1}, {1.0, 0.5, 0.5}, 10, 3, 4, 1},
        {"entropy_default", 0, {}, {}, {}, 10, 3, 0, 1},
        {"entropy_fixed_rows", 0, {}, {}, {}, 9, 3, 3, 1},
        {"entropy_rectangular", 0, {}, {1}, {}, 10, 3, 0, 1},
        {"entropy_one_theta", 0, {12.0}, {2}, {1.0, 0.8, 0.9}, 10, 3, 0, 1},
        {"entropy_theta_list", 0, {20.0, 8.0}, {1}, {}, 10, 3, 2, 1},
        {"cd2", 2, {}, {}, {}, 12, 3, 0, 1},
        {"cd2_fixed_rows", 2, {}, {}, {}, 10, 3, 4, 1},
        {"cd2_weighted", 2, {}, {}, {1.0, 0.5, 1e-20}, 12, 3, 0, 1},
        {"a2", 3, {}, {}, {}, 12, 4, 0, 4},
        {"a2_fixed_rows", 3, {}, {}, {}, 9, 4, 3, 4},
        {"a2_weighted", 3, {}, {}, {1.0, 1e-20, 0.5}, 16, 3, 0, 4},
    };
    return all;
}

std::string variant_name(const testing::TestParamInfo<variant>& tested) { return tested.param.name; }

} // namespace

class criterion : public testing::TestWithParam<variant> {};

TEST_P(criterion, a_thousand_operations_agree_with_the_definition_and_with_a_twin_without_trials)
{
    sequence s(GetParam());
    s.check_value();
    while (s.steps() < 1000 && !HasFailure()) {
        s.perform_operation();
        s.check_value();
    }
}

TEST_P(criterion, copies_are_in_the_callers_units)
{
    const variant& v = GetParam();
    random_stream random{5};
    const table start = v.criterion == 3 ? random_levels(v.n + v.fixed, v.k, random, v.repeats)
                                         : random_unit_design(v.n + v.fixed, v.k, random);
    const auto run = open_run(v, start);
    table copy(start.rows(), v.k);
    EXPECT_EQ(crit_copy_design(run->ctx(), copy.data()), copy.data());
    for (std::size_t i = 0; i < copy.values().size(); ++i)
        EXPECT_NEAR(copy.values()[i], start.values()[i], 1e-14);
}

TEST_P(criterion, exchanges_of_equal_entries_change_nothing)
{
    const variant& v = GetParam();
    random_stream random{5};
    table start = v.criterion == 3 ? random_levels(v.n + v.fixed, v.k, random, v.repeats)
                                   : random_unit_design(v.n + v.fixed, v.k, random);
    const int a = v.fixed;
    const int b = v.fixed + 1;
    start[b][0] = start[a][0];
    const auto run = open_run(v, start);
    run_context* ctx = run->ctx();
    const double value = crit_value(ctx);
    EXPECT_TRUE(same_bits(crit_try_swap(ctx, 0, a, b), value));
    EXPECT_TRUE(same_bits(crit_try_swaps(ctx, 0, 1, &a, &b), value));
    const std::int32_t rows[] = {a, b};
    const std::int32_t reversed[] = {b, a};
    EXPECT_TRUE(same_bits(crit_try_moves(ctx, 0, 2, rows, reversed), value));
    EXPECT_TRUE(same_bits(crit_apply_swaps(ctx, 0, 1, &a, &b), value));
    EXPECT_TRUE(same_bits(crit_apply_moves(ctx, 0, 2, rows, reversed), value));
    EXPECT_TRUE(same_bits(crit_apply_swaps(ctx, 0, 0, &a, &b), value));
    EXPECT_TRUE(same_bits(crit_try_swaps(ctx, 0, 0, &a, &b), value));
    EXPECT_TRUE(same_bits(crit_value(ctx), value));
}

TEST_P(criterion, the_best_swap_is_the_trial_that_the_index_sort_puts_first)
{
    const variant& v = GetParam();
    random_stream random{15};
    const table start = v.criterion == 3 ? random_levels(v.n + v.fixed, v.k, random, v.repeats)
                                         : random_unit_design(v.n + v.fixed, v.k, random);
    const auto run = open_run(v, start);
    run_context* ctx = run->ctx();
    std::vector<std::pair<int, int>> all;
    for (int a = 0; a < v.n; ++a)
        for (int b = a + 1; b < v.n; ++b)
            all.emplace_back(a + v.fixed, b + v.fixed);
    for (int trial = 0; trial < 60; ++trial) {
        const int column = random.below(v.k);
        random.shuffle(all);
        const int count = 1 + random.below(static_cast<int>(all.size()));
        std::vector<std::int32_t> rows_a, rows_b;
        std::vector<double> values;
        for (int t = 0; t < count; ++t) {
            const bool turned = random.below(2) == 0;
            const auto& [a, b] = all[static_cast<std::size_t>(t)];
            rows_a.push_back(turned ? b : a);
            rows_b.push_back(turned ? a : b);
            values.push_back(crit_try_swap(ctx, column, rows_a.back(), rows_b.back()));
        }
        std::vector<std::int32_t> order(values.size());
        indexx_double(ctx, static_cast<std::uint32_t>(count), values.data(), order.data());
        double best_value = 0.0;
        const double before = crit_value(ctx);
        const std::int32_t best = crit_best_swap(ctx, column, count, rows_a.data(), rows_b.data(), &best_value);
        ASSERT_EQ(best, order[0]) << trial;
        ASSERT_TRUE(same_bits(best_value, values[static_cast<std::size_t>(best)])) << trial;
        ASSERT_TRUE(same_bits(crit_value(ctx), before)) << trial;
        crit_apply_swaps(ctx, column, 1, &rows_a[0], &rows_b[0]);
    }
}

TEST_P(criterion, release_leaves_no_table)
{
    const variant& v = GetParam();
    random_stream random{5};
    const table start = v.criterion == 3 ? random_levels(v.n + v.fixed, v.k, random, v.repeats)
                                         : random_unit_design(v.n + v.fixed, v.k, random);
    const auto run = open_run(v, start);
    const int a = v.fixed;
    const int b = v.fixed + 1;
    crit_apply_swaps(run->ctx(), 0, 1, &a, &b);
    EXPECT_TRUE(run->completes([&] { crit_release(run->ctx()); }));
}

INSTANTIATE_TEST_SUITE_P(criteria, criterion, testing::ValuesIn(variants()), variant_name);

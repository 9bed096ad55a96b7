// Every operation of every criterion against the plain form, bit for bit, over long random sequences.
#include "tests/support/criterion_twins.h"
#include "tests/support/phip_invariants.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <string>

namespace {

enum class entries { levels, unit, cells, repeated, near, twins, tiny, all_near };
const char* entries_name(entries kind)
{
    const char* names[] = {"levels", "unit", "cells", "repeated", "near", "twins", "tiny", "all_near"};
    return names[static_cast<int>(kind)];
}

table make_design(entries kind, int n, int k, random_stream& random)
{
    table design = random_levels(n, k, random, kind == entries::repeated && n % 2 == 0 ? 2 : 1);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < k; ++j) {
            double& x = design[i][j];
            if (kind == entries::unit || kind == entries::repeated || kind == entries::twins)
                x = n > 1 ? (x - 1.0) / (n - 1) : 0.0;
            else if (kind == entries::cells)
                x = (x - 0.5) / n;
            else if (kind == entries::near) // clusters of entries about 1e-15 apart: equality is not transitive here
                x = std::floor(x / 3.0) / n + 0.6e-15 * static_cast<double>(random.below(4));
            else if (kind == entries::tiny) // the difference of equal entries is not small beside a distance
                x = 1e-14 * x + 0.6e-15 * static_cast<double>(random.below(2));
            else if (kind == entries::all_near)
                x = 0.4e-15 * x;
        }
    }
    if (kind == entries::near && n > 0 && k > 0)
        design[0][0] = -0.0;
    if (kind == entries::twins && n > 3)
        for (int j = 0; j < k; ++j)
            design[n - 2][j] = design[1][j];
    return design;
}

class lockstep {
public:
    lockstep(const table& design, const twin_case& how, instruction_set set, std::uint64_t seed)
        : twins(design, how), n_(design.rows()), k_(design.columns()), fixed_(how.fixed_rows), random_{seed},
          loaded_(design), stretched_(design), is_phip_(how.criterion_id == 1)
    {
        for (int i = fixed_; i < n_; ++i)
            for (int j = 0; j < k_; ++j)
                stretched_[i][j] *= 1e5;
        twins.use_variant(set);
        twins.setup();
    }

    void run(int steps)
    {
        same_value("setup", -1);
        for (int step = 0; step < steps && !::testing::Test::HasFailure(); ++step) {
            one_step(step);
            if (is_phip_ && step % 2 == 0) {
                ASSERT_EQ(broken_phip_invariant(twins.fast()), "") << "after step " << step;
            }
        }
    }

    criterion_twins twins;

private:
    void same(criterion_twins::results r, const char* what, int step)
    {
        ASSERT_EQ(std::bit_cast<std::uint64_t>(r.fast), std::bit_cast<std::uint64_t>(r.plain))
            << what << " at step " << step << ": " << r.fast << " instead of " << r.plain;
    }
    void same_value(const char* what, int step)
    {
        same(twins.both([](const criterion_ops& ops, run_context* ctx) { return ops.value(ctx); }), what, step);
        table fast(n_, k_);
        table plain(n_, k_);
        twins.fast_ops().copy_design(twins.fast(), fast.data());
        twins.plain_ops().copy_design(twins.plain(), plain.data());
        ASSERT_TRUE(n_ * k_ == 0 || std::memcmp(fast.values().data(), plain.values().data(),
                                                fast.values().size() * sizeof(double)) == 0)
            << "design after " << what << " at step " << step;
    }

    int row() { return fixed_ + random_.below(n_ - fixed_); }
    int column() { return armed_column_ >= 0 ? armed_column_ : random_.below(k_); }

    void pairs(int count)
    {
        rows_a_.clear();
        rows_b_.clear();
        std::vector<std::int32_t> rows;
        for (int r = fixed_; r < n_; ++r)
            rows.push_back(r);
        random_.shuffle(rows);
        for (int t = 0; t < count && 2 * t + 1 < n_ - fixed_; ++t) {
            rows_a_.push_back(rows[static_cast<std::size_t>(2 * t)]);
            rows_b_.push_back(rows[static_cast<std::size_t>(2 * t + 1)]);
        }
    }
    void moves()
    {
        rows_a_.clear();
        for (int r = fixed_; r < n_; ++r)
            rows_a_.push_back(r);
        random_.shuffle(rows_a_);
        rows_a_.resize(static_cast<std::size_t>(random_.below(n_ - fixed_ + 1)));
        rows_b_ = rows_a_;
        random_.shuffle(rows_b_);
    }
    int count() const { return static_cast<int>(rows_a_.size()); }

    void try_moves(int c, int step)
    {
        same(twins.both([this, c](const criterion_ops& ops, run_context* ctx) {
            return ops.try_moves(ctx, c, count(), rows_a_.data(), rows_b_.data());
        }),
             "try_moves", step);
    }

    void apply_swap(int c)
    {
        pairs(1);
        twins.both([this, c](const criterion_ops& ops, run_context* ctx) {
            return ops.apply_swaps(ctx, c, count(), rows_a_.data(), rows_b_.data());
        });
    }

    void evaluate(int step)
    {
        same(twins.both([](const criterion_ops& ops, run_context* ctx) { return ops.evaluate(ctx, nullptr); }),
             "evaluate", step);
        same_value("evaluate", step);
    }

    void one_step(int step)
    {
        const int c = column();
        switch (random_.below(14)) {
        case 0:
        case 1: {
            const int a = row();
            int b = row();
            if (a == b)
                b = a + 1 < n_ ? a + 1 : a - 1;
            if (b < fixed_)
                return;
            return same(
                twins.both([=](const criterion_ops& ops, run_context* ctx) { return ops.try_swap(ctx, c, a, b); }),
                "try_swap", step);
        }
        case 2:
        case 3:
            pairs(random_.below(4));
            return same(twins.both([this, c](const criterion_ops& ops, run_context* ctx) {
                return ops.try_swaps(ctx, c, count(), rows_a_.data(), rows_b_.data());
            }),
                        "try_swaps", step);
        case 4:
        case 5:
        case 6:
            pairs(random_.below(3) == 0 ? random_.below(4) : 1);
            same(twins.both([this, c](const criterion_ops& ops, run_context* ctx) {
                return ops.apply_swaps(ctx, c, count(), rows_a_.data(), rows_b_.data());
            }),
                 "apply_swaps", step);
            return same_value("apply_swaps", step);
        case 7: moves(); return try_moves(c, step);
        case 8:
            moves();
            if (random_.below(2) == 0) { // the same, mostly, or one that is like it
                try_moves(random_.below(8) == 0 ? column() : c, step);
                if (random_.below(8) == 0)
                    random_.shuffle(rows_b_);
            }
            same(twins.both([this, c](const criterion_ops& ops, run_context* ctx) {
                return ops.apply_moves(ctx, c, count(), rows_a_.data(), rows_b_.data());
            }),
                 "apply_moves", step);
            return same_value("apply_moves", step);
        case 9:
            if (armed_column_ < 0) {
                armed_column_ = c;
                twins.fast_ops().save_column(twins.fast(), c);
                twins.plain_ops().save_column(twins.plain(), c);
            } else {
                const bool others_change = random_.below(4) == 0;
                if (others_change) // the tables are only told to be those of the design after an evaluation
                    apply_swap(random_.below(k_));
                if (others_change || random_.below(2) == 0) {
                    twins.fast_ops().restore_column(twins.fast(), c);
                    twins.plain_ops().restore_column(twins.plain(), c);
                    same_value("restore", step);
                }
                if (others_change)
                    evaluate(step);
                armed_column_ = !others_change && random_.below(2) == 0 ? armed_column_ : -1;
            }
            return same_value("column snapshot", step);
        case 10:
            if (design_saved_ && random_.below(2) == 0) {
                twins.fast_ops().restore_design(twins.fast());
                twins.plain_ops().restore_design(twins.plain());
                armed_column_ = -1;
            } else {
                twins.fast_ops().save_design(twins.fast());
                twins.plain_ops().save_design(twins.plain());
                design_saved_ = true;
            }
            return same_value("design snapshot", step);
        case 11: return evaluate(step);
        case 12: {
            const double* const* given = random_.below(2) == 0 ? nullptr : loaded_.data();
            same(twins.both([=](const criterion_ops& ops, run_context* ctx) { return ops.value_of(ctx, given); }),
                 "value_of", step);
            if (random_.below(4) != 0 || armed_column_ >= 0)
                return;
            const double* const* next = is_phip_ && random_.below(3) == 0 ? stretched_.data() : loaded_.data();
            return same(
                twins.both([=](const criterion_ops& ops, run_context* ctx) { return ops.evaluate(ctx, next); }),
                "load", step);
        }
        default: {
            pairs(1);
            std::vector<std::int32_t> a;
            std::vector<std::int32_t> b;
            for (int t = random_.below(30); t >= 0; --t) {
                pairs(1);
                a.insert(a.end(), rows_a_.begin(), rows_a_.end());
                b.insert(b.end(), rows_b_.begin(), rows_b_.end());
            }
            if (a.empty())
                return;
            const criterion_twins::best fast = twins.fast_best_swap(c, a, b);
            const criterion_twins::best plain = twins.plain_best_swap(c, a, b);
            ASSERT_EQ(fast.position, plain.position) << "best_swap at step " << step;
            return same({fast.value, plain.value}, "best_swap", step);
        }
        }
    }

    int n_;
    int k_;
    int fixed_;
    random_stream random_;
    table loaded_;
    table stretched_; ///< by much, but for the fixed rows
    bool is_phip_;
    int armed_column_ = -1;
    bool design_saved_ = false;
    std::vector<std::int32_t> rows_a_;
    std::vector<std::int32_t> rows_b_;
};

class twin : public ::testing::TestWithParam<instruction_set> {
protected:
    void SetUp() override
    {
        if (!machine_has(GetParam()))
            GTEST_SKIP() << "this machine does not run the variant";
    }
};

void random_scripts(int id, instruction_set set, const std::vector<entries>& kinds, int steps)
{
    random_stream random{static_cast<std::uint64_t>(id) * 977u + 3u};
    for (const entries kind : kinds) {
        for (const int n : {2, 3, 4, 7, 8, 9, 16, 17, 24, 33, 50, 67}) {
            for (int variation = 0; variation < 3; ++variation) {
                const int k = 1 + random.below(4);
                twin_case how;
                how.criterion_id = id;
                how.fixed_rows = variation == 2 ? std::min(n - 2, random.below(5)) : 0;
                if (variation == 1)
                    for (int j = 0; j < k; ++j)
                        how.weights.push_back(j == 0 && random.below(3) == 0 ? 1e-40 : 0.1 + 0.9 * random.unit());
                if (variation != 0 && id != 3)
                    how.params_1 = {id == 0 ? 40.0 * random.unit() : 0.0 + random.below(101)};
                if (id == 1 && variation != 0 && random.below(3) == 0)
                    how.params_1 = {0.0}; // maximin
                if (variation == 2 && id < 2)
                    how.params_2 = {1.0 + random.below(2)};
                if (id == 3) // of many levels, squares wrap
                    how.levels.assign(static_cast<std::size_t>(k), variation == 2 ? 1 + random.below(60000)
                                                                   : kind == entries::repeated ? n / 2
                                                                                               : n);
                const table design = make_design(kind, n, k, random);
                SCOPED_TRACE(std::string("entries ") + entries_name(kind) + ", " + std::to_string(n) + " x " +
                             std::to_string(k) + ", variation " + std::to_string(variation));
                lockstep pair(design, how, set, random.next());
                pair.run(n > 30 ? steps / 3 : steps);
                if (::testing::Test::HasFailure())
                    return;
            }
        }
    }
}

std::string variant_name(const ::testing::TestParamInfo<instruction_set>& which)
{
    const char* names[] = {"baseline", "avx2", "avx512"};
    return names[static_cast<int>(which.param)];
}

} // namespace

TEST_P(twin, entropy_has_the_bits_of_the_plain_form)
{
    random_scripts(0, GetParam(), {entries::levels, entries::unit, entries::repeated, entries::near, entries::twins},
                   300);
}

TEST_P(twin, phip_has_the_bits_of_the_plain_form)
{
    random_scripts(1, GetParam(),
                   {entries::levels, entries::unit, entries::cells, entries::repeated, entries::near, entries::twins,
                    entries::tiny, entries::all_near},
                   300);
}

TEST_P(twin, discrepancy_has_the_bits_of_the_plain_form)
{
    random_scripts(2, GetParam(),
                   {entries::levels, entries::unit, entries::cells, entries::repeated, entries::near, entries::twins},
                   300);
}

TEST_P(twin, a2_has_the_bits_of_the_plain_form)
{
    random_scripts(3, GetParam(), {entries::levels, entries::unit, entries::repeated, entries::near, entries::twins},
                   300);
}

INSTANTIATE_TEST_SUITE_P(variants, twin,
                         ::testing::Values(instruction_set::baseline, instruction_set::avx2, instruction_set::avx512),
                         variant_name);

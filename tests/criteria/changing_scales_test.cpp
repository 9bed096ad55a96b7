// Designs of other sizes are loaded while a criterion is at work: tables and bounds that depend on the range of the
// entries have to follow. Entries may be huge, tiny, or no numbers.
#include "tests/support/criterion_twins.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace {

/// The same bits, or no number on both sides.
bool agree(double x, double y)
{
    return std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(y) || (std::isnan(x) && std::isnan(y));
}

template <class T, std::size_t count>
T one_of(const T (&choices)[count], random_stream& random)
{
    return choices[random.below(static_cast<int>(count))];
}

struct range_of_entries {
    std::vector<double> scales;
    bool with_odd_entries; ///< infinities and entries that are no numbers
};

/// Columns of entries of one size each, or of one size all; some constant.
table design_of_some_size(int n, int k, const range_of_entries& range, random_stream& random)
{
    table design = random.below(3) == 0 ? random_symmetric_levels(n, k, random) : random_unit_design(n, k, random);
    const auto any_scale = [&] {
        return range.scales[static_cast<std::size_t>(random.below(static_cast<int>(range.scales.size())))];
    };
    const bool all_alike = random.below(2) == 0;
    const double scale = any_scale();
    for (int j = 0; j < k; ++j) {
        const double factor = all_alike ? scale : any_scale();
        const double shift = random.below(3) == 0 ? one_of({-0.5, 3.0, -1000.0}, random) : 0.0;
        const bool constant = random.below(10) == 0;
        for (int i = 0; i < n; ++i)
            design[i][j] = ((constant ? 0.5 : design[i][j]) + shift) * factor;
    }
    if (random.below(4) == 0) { // a row twice
        const int to = random.below(n);
        const int from = random.below(n);
        for (int j = 0; j < k; ++j)
            design[to][j] = design[from][j];
    }
    if (range.with_odd_entries && random.below(4) == 0)
        design[random.below(n)][random.below(k)] = one_of<double>({NAN, INFINITY, -INFINITY, 1e300, 5e-324}, random);
    return design;
}

constexpr int maximin = 4; ///< the phi-p criterion with exponent 0

class duel {
public:
    duel(int id, const range_of_entries& range, std::uint64_t seed)
        : random_{seed}, range_(range), n_(3 + random_.below(random_.below(3) == 0 ? 60 : 14)),
          k_(1 + random_.below(4)), how_(any_case(id)), twins_(design_of_some_size(n_, k_, range_, random_), how_)
    {
        const auto set = static_cast<instruction_set>(random_.below(3));
        if (machine_has(set))
            twins_.use_variant(set);
        twins_.setup();
    }

    void run(int steps)
    {
        for (int step = 0; step < steps && !::testing::Test::HasFailure(); ++step) {
            SCOPED_TRACE(std::to_string(n_) + " x " + std::to_string(k_) + ", step " + std::to_string(step));
            one_step();
        }
    }

private:
    using ops_of = const criterion_ops&;

    twin_case any_case(int id)
    {
        twin_case how;
        how.criterion_id = id == maximin ? 1 : id;
        if (random_.below(4) == 0 && n_ > 3)
            how.fixed_rows = 1 + random_.below(n_ / 2 - 1 > 0 ? n_ / 2 - 1 : 1);
        if (random_.below(3) == 0)
            for (int j = 0; j < k_; ++j)
                how.weights.push_back(random_.below(3) == 0 ? one_of({1e-40, 0.25, 0.5}, random_)
                                                            : 0.1 + 0.9 * random_.unit());
        if (how.criterion_id < 2) {
            how.params_1 = {
                id == maximin ? 0.0 : one_of({1.0, 2.0, 3.0, 5.0, 9.0, 15.0, 20.0, 20.0, 33.0, 100.0}, random_)};
            how.params_2 = {1.0 + random_.below(2)};
        }
        return how;
    }

    template <class Operation>
    void both(const char* what, Operation operation)
    {
        const criterion_twins::results r = twins_.both(operation);
        ASSERT_TRUE(agree(r.fast, r.plain)) << what << ": " << r.fast << " instead of " << r.plain;
    }
    template <class Operation>
    void both_do(Operation operation)
    {
        twins_.both([&](ops_of ops, run_context* ctx) { return operation(ops, ctx), 0.0; });
    }

    int free_row() { return how_.fixed_rows + random_.below(n_ - how_.fixed_rows); }
    int other_row(int row)
    {
        const int free_rows = n_ - how_.fixed_rows;
        return how_.fixed_rows + (row - how_.fixed_rows + 1 + random_.below(free_rows - 1)) % free_rows;
    }

    void exchange(int column)
    {
        std::vector<std::int32_t> a;
        std::vector<std::int32_t> b;
        for (int t = 1 + random_.below(50); t > 0; --t) {
            a.push_back(free_row());
            b.push_back(other_row(a.back()));
        }
        bool numbers = true; // the order of those that are none is the sort's affair
        for (std::size_t t = 0; t < a.size(); ++t) {
            const double value = twins_.plain_ops().try_swap(twins_.plain(), column, a[t], b[t]);
            numbers = numbers && !std::isnan(value);
            if (random_.below(4) == 0) {
                const double fast = twins_.fast_ops().try_swap(twins_.fast(), column, a[t], b[t]);
                ASSERT_TRUE(agree(fast, value)) << "trial " << t << ": " << fast << " instead of " << value;
            }
        }
        std::size_t chosen = 0;
        if (numbers) {
            const criterion_twins::best fast = twins_.fast_best_swap(column, a, b);
            const criterion_twins::best plain = twins_.plain_best_swap(column, a, b);
            ASSERT_EQ(fast.position, plain.position) << "of " << a.size();
            ASSERT_TRUE(agree(fast.value, plain.value)) << fast.value << " instead of " << plain.value;
            chosen = static_cast<std::size_t>(fast.position);
        }
        if (random_.below(4) != 0)
            both("apply_swaps", [&](ops_of ops, run_context* ctx) {
                return ops.apply_swaps(ctx, column, 1, &a[chosen], &b[chosen]);
            });
    }

    void rearrange(int column, bool trial)
    {
        std::vector<std::int32_t> from;
        for (int r = how_.fixed_rows; r < n_; ++r)
            from.push_back(r);
        std::vector<std::int32_t> to = from;
        random_.shuffle(to);
        const auto count = static_cast<std::int32_t>(from.size());
        both("moves", [&](ops_of ops, run_context* ctx) {
            return trial ? ops.try_moves(ctx, column, count, to.data(), from.data())
                         : ops.apply_moves(ctx, column, count, to.data(), from.data());
        });
    }

    void one_step()
    {
        const int column = random_.below(k_);
        switch (random_.below(14)) {
        case 0: {
            const table other = design_of_some_size(n_, k_, range_, random_);
            table loaded = other;
            if (how_.fixed_rows > 0) { // these stay
                table present(n_, k_);
                twins_.plain_ops().copy_design(twins_.plain(), present.data());
                for (int i = 0; i < how_.fixed_rows; ++i)
                    for (int j = 0; j < k_; ++j)
                        loaded[i][j] = present[i][j];
            }
            return both("evaluate of a design",
                        [&](ops_of ops, run_context* ctx) { return ops.evaluate(ctx, loaded.data()); });
        }
        case 1: return both("evaluate", [](ops_of ops, run_context* ctx) { return ops.evaluate(ctx, nullptr); });
        case 2: return rearrange(column, false);
        case 3: return rearrange(column, true);
        case 4: saved_ = true; return both_do([](ops_of ops, run_context* ctx) { ops.save_design(ctx); });
        case 5:
            if (!saved_)
                return;
            both_do([](ops_of ops, run_context* ctx) { ops.restore_design(ctx); });
            return both("restored value", [](ops_of ops, run_context* ctx) { return ops.value(ctx); });
        case 6:
        case 7:
        case 8: {
            both_do([=](ops_of ops, run_context* ctx) { ops.save_column(ctx, column); });
            for (int moves = random_.below(4); moves > 0 && !::testing::Test::HasFailure(); --moves) {
                exchange(column);
                if (random_.below(6) == 0)
                    rearrange(column, random_.below(2) == 0);
                if (random_.below(6) == 0)
                    both("evaluate", [](ops_of ops, run_context* ctx) { return ops.evaluate(ctx, nullptr); });
            }
            if (random_.below(2) == 0)
                both_do([=](ops_of ops, run_context* ctx) { ops.restore_column(ctx, column); });
            return both("value", [](ops_of ops, run_context* ctx) { return ops.value(ctx); });
        }
        default: return exchange(column);
        }
    }

    random_stream random_;
    range_of_entries range_;
    int n_;
    int k_;
    twin_case how_;
    criterion_twins twins_;
    bool saved_ = false;
};

void compare(int id, const range_of_entries& range, int designs)
{
    for (int d = 0; d < designs && !::testing::Test::HasFailure(); ++d) {
        SCOPED_TRACE("design " + std::to_string(d));
        duel pair(id, range, 7000u + static_cast<std::uint64_t>(d));
        pair.run(60);
    }
}

const range_of_entries usual{{1.0, 0.3, 4.0, 1e-3, 1e3}, false};
const range_of_entries wide{{1.0, 1.0, 1e-3, 1e5, 1e-9, 1e20, 1e-20, 1e90, 1e-90}, false};
const range_of_entries odd{{1.0, 1.0, 1e5, 1e120, 1e-120, 1e160, 1e-160, 1e-310, 0.0}, true};

} // namespace

TEST(changingscales, phip_of_usual_entries) { compare(1, usual, 300); }
TEST(changingscales, phip_of_huge_and_tiny_entries) { compare(1, wide, 300); }
TEST(changingscales, phip_of_entries_that_are_no_numbers) { compare(1, odd, 300); }
TEST(changingscales, maximin_of_usual_entries) { compare(maximin, usual, 200); }
TEST(changingscales, maximin_of_huge_and_tiny_entries) { compare(maximin, wide, 200); }
TEST(changingscales, maximin_of_entries_that_are_no_numbers) { compare(maximin, odd, 200); }
TEST(changingscales, discrepancy_of_usual_entries) { compare(2, usual, 200); }
TEST(changingscales, discrepancy_of_huge_and_tiny_entries) { compare(2, wide, 200); }
TEST(changingscales, discrepancy_of_entries_that_are_no_numbers) { compare(2, odd, 200); }

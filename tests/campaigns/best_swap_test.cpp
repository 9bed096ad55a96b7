// The best of several exchanges against its definition, case after case: the same position and the same bits as
// single trials and the index sort give. Designs and lists are drawn so that exact ties are common, for then the
// answer hangs on the path of the sort; commits, snapshots and evaluations in between let the tables age.
#include "tests/support/criterion_twins.h"

#include "optdoe/numeric/index_sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

enum class subject { entropy, phip, maximin, cd2, a2 };

int id_of(subject s)
{
    const int ids[] = {0, 1, 1, 2, 3};
    return ids[static_cast<int>(s)];
}

bool same_bits(double x, double y) { return std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(y); }

template <class T, std::size_t count>
T one_of(const T (&choices)[count], random_stream& random)
{
    return choices[random.below(static_cast<int>(count))];
}

// Designs.

/// Each column has its values `repeats` times where n allows.
table repeated_levels(int n, int k, random_stream& random)
{
    std::vector<int> divisors;
    for (int d = 2; d <= n / 2; ++d)
        if (n % d == 0)
            divisors.push_back(d);
    const int repeats =
        divisors.empty() ? 1 : divisors[static_cast<std::size_t>(random.below(static_cast<int>(divisors.size())))];
    return random_unit_design(n, k, random, repeats);
}

table symmetric(int n, int k, random_stream& random)
{
    table design = random_symmetric_levels(n, k, random);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < k; ++j)
            design[i][j] = (design[i][j] - 1.0) / (n - 1);
    return design;
}

/// The first n points of a regular grid, in random order: few distinct distances.
table grid(int n, int k, random_stream& random)
{
    int side = 2;
    while (std::pow(side, k) < n)
        ++side;
    std::vector<int> points(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i)
        points[static_cast<std::size_t>(i)] = i;
    random.shuffle(points);
    table design(n, k);
    for (int i = 0; i < n; ++i)
        for (int j = 0, rest = points[static_cast<std::size_t>(i)]; j < k; ++j, rest /= side)
            design[i][j] = static_cast<double>(rest % side) / (side - 1);
    return design;
}

/// Some rows are copies of others; up to all of them.
table repeated_rows(int n, int k, random_stream& random)
{
    table design = random_unit_design(n, k, random);
    const int copies = 1 + random.below(n - 1);
    for (int c = 0; c < copies; ++c) {
        const int to = random.below(n);
        const int from = random.below(n);
        for (int j = 0; j < k; ++j)
            design[to][j] = design[from][j];
    }
    return design;
}

/// Two or three levels, drawn freely.
table few_levels(int n, int k, random_stream& random)
{
    table design(n, k);
    const int levels = 2 + random.below(2);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < k; ++j)
            design[i][j] = static_cast<double>(random.below(levels)) / (levels - 1);
    return design;
}

/// Clusters of entries about 1e-15 apart, where equality of entries is not transitive.
table clusters(int n, int k, random_stream& random)
{
    table design = random_levels(n, k, random);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < k; ++j)
            design[i][j] = std::floor(design[i][j] / 3.0) / n + 0.6e-15 * random.below(4);
    return design;
}

table cells(int n, int k, random_stream& random)
{
    table design = random_levels(n, k, random);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < k; ++j)
            design[i][j] = (design[i][j] - 0.5) / n;
    return design;
}

table any_design(int n, int k, random_stream& random)
{
    switch (random.below(10)) {
    case 0: return random_levels(n, k, random);
    case 1: return random_unit_design(n, k, random);
    case 2: return cells(n, k, random);
    case 3: return symmetric(n, k, random);
    case 4: return repeated_rows(n, k, random);
    case 5: return few_levels(n, k, random);
    case 6: return clusters(n, k, random);
    case 7: return repeated_levels(n, k, random);
    default: return grid(n, k, random);
    }
}

twin_case any_case(subject which, const table& design, random_stream& random)
{
    const int n = design.rows();
    twin_case how;
    how.criterion_id = id_of(which);
    if (random.below(6) == 0)
        how.fixed_rows = 1 + random.below(n / 2 - 1);
    if (random.below(3) == 0)
        for (int j = 0; j < design.columns(); ++j)
            how.weights.push_back(random.below(3) == 0 ? one_of({1e-40, 0.25, 0.5}, random)
                                                       : 0.1 + 0.9 * random.unit());
    if (which == subject::phip)
        how.params_1 = {
            random.below(4) == 0
                ? 0.1 + 60.0 * random.unit()
                : one_of({1.0, 2.0, 3.0, 4.0, 5.0, 10.0, 15.0, 20.0, 20.0, 21.0, 50.0, 99.0, 100.0}, random)};
    else if (which == subject::maximin)
        how.params_1 = {0.0};
    else if (which == subject::entropy && random.below(2) == 0)
        how.params_1 = {std::pow(10.0, 3.0 * random.unit() - 1.0)};
    if (id_of(which) < 2)
        how.params_2 = {1.0 + random.below(2)};
    for (int j = 0; j < design.columns(); ++j) {
        std::set<double> levels;
        for (int i = 0; i < n; ++i)
            levels.insert(design[i][j]);
        how.levels.push_back(static_cast<std::int32_t>(levels.size()));
    }
    return how;
}

int any_size(subject which, random_stream& random)
{
    const int n = one_of({4, 5, 6, 7, 8, 9, 10, 12, 15, 16, 20, 24, 25, 27, 30, 36, 45, 60}, random);
    return which == subject::entropy ? std::min(n, 30) : n; // each trial of the plain form costs n^2 and more
}

// The comparison.

struct counts {
    long designs = 0;
    long moves = 0;
    long candidates = 0;
    long equal_entries = 0;  ///< candidates that exchange two equal entries
    long repeated_pairs = 0; ///< candidates that stand in their list before
    long tied_moves = 0;     ///< moves whose least value comes more than once
    long tied_pairs = 0;     ///< those in which different pairs of rows share it
    long tied_values = 0;    ///< candidates with the least value, but for the first
    long taken_back = 0;
    long evaluations = 0;
};

class duel {
public:
    duel(subject which, std::uint64_t seed, counts& seen)
        : random_{seed}, n_(any_size(which, random_)), k_(1 + random_.below(random_.below(4) == 0 ? 8 : 4)),
          start_(any_design(n_, k_, random_)), how_(any_case(which, start_, random_)), twins_(start_, how_),
          seen_(seen)
    {
        instruction_set set = static_cast<instruction_set>(random_.below(3));
        if (machine_has(set))
            twins_.use_variant(set);
        twins_.setup();
        ++seen_.designs;
    }

    void run(int moves)
    {
        for (int move = 0; move < moves && !::testing::Test::HasFailure(); ++move) {
            SCOPED_TRACE(std::to_string(n_) + " x " + std::to_string(k_) + ", move " + std::to_string(move));
            one_move();
        }
    }

private:
    int free_row() { return how_.fixed_rows + random_.below(n_ - how_.fixed_rows); }
    int other_row(int row)
    {
        const int free_rows = n_ - how_.fixed_rows;
        return how_.fixed_rows + (row - how_.fixed_rows + 1 + random_.below(free_rows - 1)) % free_rows;
    }
    std::int32_t count() const { return static_cast<std::int32_t>(rows_a_.size()); }

    void add(int a, int b)
    {
        rows_a_.push_back(a);
        rows_b_.push_back(b);
    }
    void draw_candidates(int column)
    {
        rows_a_.clear();
        rows_b_.clear();
        const int wanted = random_.below(4) == 0 ? 50 : 1 + random_.below(random_.below(10) == 0 ? 200 : 60);
        switch (random_.below(5)) {
        case 0: // a few pairs again and again, in both orders
            for (int pool = 1 + random_.below(8); pool > 0; --pool) {
                const int a = free_row();
                add(a, other_row(a));
            }
            for (int pool = count(); count() < wanted;) {
                const auto t = static_cast<std::size_t>(random_.below(pool));
                random_.below(2) == 0 ? add(rows_a_[t], rows_b_[t]) : add(rows_b_[t], rows_a_[t]);
            }
            break;
        case 1: // one row with all others
            for (int a = free_row(), b = how_.fixed_rows; b < n_; ++b)
                if (b != a)
                    add(a, b);
            break;
        case 2: { // every pair once, as many as asked for
            std::vector<std::pair<int, int>> all;
            for (int a = how_.fixed_rows; a < n_; ++a)
                for (int b = a + 1; b < n_; ++b)
                    all.emplace_back(a, b);
            random_.shuffle(all);
            for (std::size_t t = 0; t < all.size() && count() < wanted; ++t)
                add(all[t].first, all[t].second);
            break;
        }
        case 3: { // equal entries where there are some
            double** design = twins_.plain_ops().copy_design(twins_.plain(), nullptr);
            for (int tries = 0; count() < wanted; ++tries) {
                const int a = free_row();
                const int b = other_row(a);
                if (tries > 4 * wanted || random_.below(3) == 0 || design[a][column] == design[b][column])
                    add(a, b);
            }
            break;
        }
        default:
            while (count() < wanted) {
                const int a = free_row();
                add(a, other_row(a));
            }
        }
    }

    /// Single trials in the plain form and the index sort; counts what there is to see.
    criterion_twins::best by_trials(int column)
    {
        values_.clear();
        for (std::size_t t = 0; t < rows_a_.size(); ++t)
            values_.push_back(twins_.plain_ops().try_swap(twins_.plain(), column, rows_a_[t], rows_b_[t]));
        std::vector<std::int32_t> order(rows_a_.size());
        indexx_double(twins_.fast(), static_cast<std::uint32_t>(count()), values_.data(), order.data());
        const auto first = static_cast<std::size_t>(order[0]);
        note(column, first);
        return {order[0], values_[first]};
    }
    void note(int column, std::size_t first)
    {
        double** design = twins_.plain_ops().copy_design(twins_.plain(), nullptr);
        std::set<std::pair<std::int32_t, std::int32_t>> pairs;
        bool tied = false;
        bool different = false;
        for (std::size_t t = 0; t < rows_a_.size(); ++t) {
            const auto pair = std::minmax(rows_a_[t], rows_b_[t]);
            seen_.repeated_pairs += !pairs.emplace(pair).second;
            seen_.equal_entries += std::fabs(design[rows_a_[t]][column] - design[rows_b_[t]][column]) < 1e-15;
            if (t == first || values_[t] != values_[first])
                continue;
            tied = true;
            different = different || pair != std::minmax(rows_a_[first], rows_b_[first]);
            ++seen_.tied_values;
        }
        ++seen_.moves;
        seen_.candidates += count();
        seen_.tied_moves += tied;
        seen_.tied_pairs += different;
    }

    template <class Operation>
    void both(const char* what, Operation operation)
    {
        const criterion_twins::results r = twins_.both(operation);
        ASSERT_TRUE(same_bits(r.fast, r.plain)) << what << ": " << r.fast << " instead of " << r.plain;
    }
    void both_values(const char* what)
    {
        both(what, [](const criterion_ops& ops, run_context* ctx) { return ops.value(ctx); });
    }
    void commit(int column, std::size_t t)
    {
        both("apply_swaps", [&](const criterion_ops& ops, run_context* ctx) {
            return ops.apply_swaps(ctx, column, 1, &rows_a_[t], &rows_b_[t]);
        });
    }

    void compare(int column)
    {
        const criterion_twins::best plain = by_trials(column);
        if (random_.below(8) == 0) { // the library's own trials, which leave their marks in its caches
            for (std::size_t t = 0; t < rows_a_.size(); ++t) {
                const double value = twins_.fast_ops().try_swap(twins_.fast(), column, rows_a_[t], rows_b_[t]);
                ASSERT_TRUE(same_bits(value, values_[t])) << "trial " << t;
            }
        }
        const criterion_twins::best fast = twins_.fast_best_swap(column, rows_a_, rows_b_);
        ASSERT_EQ(fast.position, plain.position) << "of " << count();
        ASSERT_TRUE(same_bits(fast.value, plain.value)) << fast.value << " instead of " << plain.value;
        best_ = static_cast<std::size_t>(fast.position);
    }

    /// As the search makes it: a snapshot, one or more exchanges, kept or taken back.
    void one_move()
    {
        const int column = random_.below(k_);
        const bool snapshot = random_.below(4) != 0;
        if (snapshot)
            twins_.both(
                [=](const criterion_ops& ops, run_context* ctx) { return ops.save_column(ctx, column), 0.0; });
        for (int exchanges = random_.below(8) == 0 ? 3 : 1; exchanges > 0 && !::testing::Test::HasFailure();
             --exchanges) {
            draw_candidates(column);
            compare(column);
            if (!::testing::Test::HasFailure() && random_.below(6) != 0)
                commit(column, random_.below(8) == 0 ? 0 : best_);
        }
        if (random_.below(30) == 0)
            evaluate();
        if (snapshot && random_.below(2) == 0) {
            twins_.both(
                [=](const criterion_ops& ops, run_context* ctx) { return ops.restore_column(ctx, column), 0.0; });
            ++seen_.taken_back;
        }
        both_values("the value after a move");
        between_moves(column);
    }
    void evaluate()
    {
        both("evaluate", [](const criterion_ops& ops, run_context* ctx) { return ops.evaluate(ctx, nullptr); });
        ++seen_.evaluations;
    }
    void between_moves(int column)
    {
        switch (random_.below(40)) {
        case 0: return evaluate();
        case 1:
            twins_.both([](const criterion_ops& ops, run_context* ctx) { return ops.save_design(ctx), 0.0; });
            saved_ = true;
            return;
        case 2:
            if (saved_)
                twins_.both([](const criterion_ops& ops, run_context* ctx) { return ops.restore_design(ctx), 0.0; });
            return both_values("restore_design");
        case 3: { // a re-arrangement of the column, as pre-improvement makes it
            std::vector<std::int32_t> from;
            for (int r = how_.fixed_rows; r < n_; ++r)
                from.push_back(r);
            std::vector<std::int32_t> to = from;
            random_.shuffle(to);
            return both("apply_moves", [&](const criterion_ops& ops, run_context* ctx) {
                return ops.apply_moves(ctx, column, static_cast<std::int32_t>(from.size()), to.data(), from.data());
            });
        }
        case 4:
            if (random_.below(4) == 0)
                both("evaluate of the starting design",
                     [this](const criterion_ops& ops, run_context* ctx) { return ops.evaluate(ctx, start_.data()); });
            return;
        default: return;
        }
    }

    random_stream random_;
    int n_;
    int k_;
    table start_;
    twin_case how_;
    criterion_twins twins_;
    counts& seen_;
    std::vector<std::int32_t> rows_a_;
    std::vector<std::int32_t> rows_b_;
    std::vector<double> values_;
    std::size_t best_ = 0;
    bool saved_ = false;
};

void compare(subject which, long candidates)
{
    counts seen;
    while (seen.candidates < candidates && !::testing::Test::HasFailure()) {
        SCOPED_TRACE("design " + std::to_string(seen.designs));
        duel pair(which, 1000u * static_cast<std::uint64_t>(seen.designs) + static_cast<std::uint64_t>(which), seen);
        pair.run(40);
    }
    std::printf(
        "%ld designs, %ld moves, %ld candidates (%ld of equal entries, %ld repeated); the least value tied in "
        "%ld moves, in %ld between different pairs, %ld candidates; %ld taken back, %ld evaluations\n",
        seen.designs, seen.moves, seen.candidates, seen.equal_entries, seen.repeated_pairs, seen.tied_moves,
        seen.tied_pairs, seen.tied_values, seen.taken_back, seen.evaluations);
    EXPECT_GT(seen.tied_pairs, seen.moves / 20) << "the cases should hold ties";
    EXPECT_GT(seen.taken_back, seen.moves / 20);
}

} // namespace

TEST(bestswapcampaign, entropy_agrees_with_the_definition) { compare(subject::entropy, 200'000); }
TEST(bestswapcampaign, phip_agrees_with_the_definition) { compare(subject::phip, 3'000'000); }
TEST(bestswapcampaign, maximin_agrees_with_the_definition) { compare(subject::maximin, 300'000); }
TEST(bestswapcampaign, cd2_agrees_with_the_definition) { compare(subject::cd2, 500'000); }
TEST(bestswapcampaign, a2_agrees_with_the_definition) { compare(subject::a2, 500'000); }

TEST(bestswapcampaignfull, entropy_agrees_with_the_definition) { compare(subject::entropy, 20'000'000); }
TEST(bestswapcampaignfull, phip_agrees_with_the_definition) { compare(subject::phip, 100'000'000); }
TEST(bestswapcampaignfull, maximin_agrees_with_the_definition) { compare(subject::maximin, 20'000'000); }
TEST(bestswapcampaignfull, cd2_agrees_with_the_definition) { compare(subject::cd2, 50'000'000); }
TEST(bestswapcampaignfull, a2_agrees_with_the_definition) { compare(subject::a2, 50'000'000); }

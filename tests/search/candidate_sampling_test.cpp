#include "optdoe/search/candidate_sampling.h"

#include "tests/support/search_run.h"

#include "optdoe/numeric/index_sort.h"
#include "optdoe/numeric/random_numbers.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/search_state.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <tuple>
#include <vector>

namespace {

using pair_list = std::vector<std::pair<int, int>>;

pair_list candidates(const run_context* ctx, int count)
{
    pair_list pairs;
    for (int t = 0; t < count; ++t)
        pairs.emplace_back(ctx->search->candidate_first[t], ctx->search->candidate_second[t]);
    return pairs;
}

/// All pairs a < b of m positions, in lexicographic order: pair number p stands at position p.
pair_list all_pairs(int m)
{
    pair_list pairs;
    for (int a = 0; a < m; ++a)
        for (int b = a + 1; b < m; ++b)
            pairs.emplace_back(a, b);
    return pairs;
}

/// The draws that survive the removal of repeats, in the order drawn. Which of several equal draws survives is the
/// one that the index sort lists first.
std::vector<int> distinct_draws(run_context* ctx, const std::vector<std::int32_t>& draws)
{
    std::vector<std::int32_t> order(draws.size());
    indexx_int(ctx, static_cast<std::uint32_t>(draws.size()), draws.data(), order.data());
    std::vector<bool> keep(draws.size());
    std::set<int> seen;
    for (const std::int32_t at : order)
        keep[static_cast<std::size_t>(at)] = seen.insert(draws[static_cast<std::size_t>(at)]).second;
    std::vector<int> survivors;
    for (std::size_t t = 0; t < draws.size(); ++t)
        if (keep[t])
            survivors.push_back(draws[t]);
    return survivors;
}

/// All candidates are allowed for, so that any count may be asked for.
void all_candidates(run_settings& s) { s.reduced_neighbourhoods = 0; }

constexpr search_run::options no_criterion{.with_criterion = false};

} // namespace

TEST(candidatesampling, all_group_pairs_in_lexicographic_order_without_a_draw)
{
    random_stream random{1};
    search_run run(random_levels(20, 1, random), no_criterion, [](run_settings& s) {
        all_candidates(s);
        s.factor_counts[0] = 5;
    });
    const rng_state before = *run->rng;
    EXPECT_EQ(sample_group_pairs(run.ctx(), 0, 10), 10);
    EXPECT_EQ(candidates(run.ctx(), 10), all_pairs(5));
    EXPECT_EQ(sample_group_pairs(run.ctx(), 0, 1000), 10);
    EXPECT_EQ(draws_since(run.ctx(), before), 0);
}

TEST(candidatesampling, one_group_has_no_pairs)
{
    random_stream random{1};
    search_run run(random_levels(20, 1, random), no_criterion, all_candidates);
    const rng_state before = *run->rng;
    EXPECT_EQ(sample_group_pairs(run.ctx(), 0, 10), 0);
    EXPECT_EQ(draws_since(run.ctx(), before), 0);
}

TEST(candidatesampling, group_pairs_are_drawn_without_repeats_and_decoded)
{
    random_stream random{1};
    for (const int groups : {3, 5, 12, 30, 60})
        for (const int asked : {1, 2, 20, 40, 70, 300}) {
            search_run run(random_levels(120, 1, random), no_criterion, [&](run_settings& s) {
                all_candidates(s);
                s.factor_counts[0] = groups;
            });
            const pair_list pairs = all_pairs(groups);
            const int total = static_cast<int>(pairs.size());
            if (asked >= total)
                continue;
            test_run twin;
            *twin->rng = *run->rng;
            std::vector<std::int32_t> draws;
            for (int t = 0; t < std::max(2 * asked, 50); ++t)
                draws.push_back(static_cast<std::int32_t>(rng_uniform(twin.ctx()) * total));
            pair_list expected;
            for (const int p : distinct_draws(twin.ctx(), draws))
                if (static_cast<int>(expected.size()) < asked)
                    expected.push_back(pairs[static_cast<std::size_t>(p)]);

            const rng_state before = *run->rng;
            const int found = sample_group_pairs(run.ctx(), 0, asked);
            EXPECT_EQ(candidates(run.ctx(), found), expected) << groups << ' ' << asked;
            EXPECT_EQ(draws_since(run.ctx(), before), std::max(2 * asked, 50));
        }
}

TEST(candidatesampling, all_element_pairs_of_each_group_in_rank_order_without_a_draw)
{
    random_stream random{1};
    search_run run(random_levels(12, 1, random), no_criterion, [](run_settings& s) {
        all_candidates(s);
        s.factor_counts[0] = 3;
    });
    const rng_state before = *run->rng;
    pair_list expected;
    for (int g = 0; g < 3; ++g)
        for (const auto& [a, b] : all_pairs(4))
            expected.emplace_back(4 * g + a, 4 * g + b);
    EXPECT_EQ(sample_element_pairs(run.ctx(), 0, 18), 18);
    EXPECT_EQ(candidates(run.ctx(), 18), expected);
    EXPECT_EQ(draws_since(run.ctx(), before), 0);
}

TEST(candidatesampling, pairs_of_one_level_are_left_out)
{
    // Levels 1 1 2 3 3 4: unequal sizes, so the factor is not balanced.
    search_run run(table(1, {3, 1, 4, 1, 3, 2}), no_criterion, all_candidates);
    ASSERT_EQ(run->levels->balanced[0], 0);
    pair_list expected = all_pairs(6);
    std::erase_if(expected, [](const auto& p) { return p == std::pair{0, 1} || p == std::pair{3, 4}; });
    const int found = sample_element_pairs(run.ctx(), 0, 15);
    EXPECT_EQ(candidates(run.ctx(), found), expected);
}

TEST(candidatesampling, a_single_level_has_no_element_pairs)
{
    search_run run(table(1, {3, 3, 3, 3}), no_criterion, all_candidates);
    const rng_state before = *run->rng;
    EXPECT_EQ(sample_element_pairs(run.ctx(), 0, 3), 0);
    EXPECT_EQ(draws_since(run.ctx(), before), 0);
}

TEST(candidatesampling, element_pairs_are_drawn_without_repeats_and_decoded)
{
    random_stream random{1};
    for (const int n : {10, 11, 30, 100})
        for (const int groups : {1, 2, 5})
            for (const int asked : {1, 3, 10, 40, 50}) {
                if (n % groups != 0 || n == groups)
                    continue;
                const int rows = n / groups;
                const pair_list pairs = all_pairs(rows);
                const int in_group = static_cast<int>(pairs.size());
                if (asked >= in_group * groups)
                    continue;
                search_run run(random_levels(n, 1, random), no_criterion, [&](run_settings& s) {
                    all_candidates(s);
                    s.factor_counts[0] = groups;
                });
                test_run twin;
                *twin->rng = *run->rng;
                const int draw_count = static_cast<int>(2.0 * n / n * asked);
                std::vector<std::int32_t> draws;
                for (int t = 0; t < draw_count; ++t) {
                    const int group = groups < 2 ? 0 : static_cast<int>(rng_uniform(twin.ctx()) * groups);
                    draws.push_back(static_cast<std::int32_t>(rng_uniform(twin.ctx()) * in_group) + group * in_group);
                }
                pair_list expected;
                for (const int d : distinct_draws(twin.ctx(), draws)) {
                    if (static_cast<int>(expected.size()) == asked)
                        break;
                    const auto& [a, b] = pairs[static_cast<std::size_t>(d % in_group)];
                    expected.emplace_back(d / in_group * rows + a, d / in_group * rows + b);
                }
                const rng_state before = *run->rng;
                const int found = sample_element_pairs(run.ctx(), 0, asked);
                EXPECT_EQ(candidates(run.ctx(), found), expected) << n << ' ' << groups << ' ' << asked;
                EXPECT_EQ(draws_since(run.ctx(), before), draw_count * (groups < 2 ? 1 : 2));
            }
}

TEST(candidatesampling, repeated_levels_ask_for_more_draws)
{
    // 2n / L * w draws, in double: 12 rows of 5 levels and 7 candidates.
    search_run run(table(1, {1, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 5}), no_criterion, all_candidates);
    const rng_state before = *run->rng;
    sample_element_pairs(run.ctx(), 0, 7);
    EXPECT_EQ(draws_since(run.ctx(), before), static_cast<int>(2.0 * 12 / 5 * 7));
}

TEST(candidatesampling, symmetric_pairs_start_in_the_lower_half_and_skip_the_middle)
{
    random_stream random{1};
    for (const int n : {6, 7, 10, 11}) {
        search_run run(random_symmetric_levels(n, 2, random), no_criterion, [](run_settings& s) {
            all_candidates(s);
            s.symmetric_design = 1;
        });
        ASSERT_EQ(run->search->symmetric_design, 1);
        const int half = n / 2;
        const int total = half * (2 * n - half - 1) / 2;
        pair_list complete = all_pairs(n);
        std::erase_if(complete, [&](const auto& p) { return p.first >= half; });
        ASSERT_EQ(static_cast<int>(complete.size()), total);
        const auto uses_middle = [&](const auto& p) { return n % 2 == 1 && p.second == half; };

        pair_list enumerated = complete;
        std::erase_if(enumerated, uses_middle);
        rng_state before = *run->rng;
        const int found = sample_element_pairs(run.ctx(), 0, total);
        EXPECT_EQ(candidates(run.ctx(), found), enumerated) << n;
        EXPECT_EQ(draws_since(run.ctx(), before), 0);

        for (int asked = 1; asked < total; asked += 3) {
            test_run twin;
            *twin->rng = before = *run->rng;
            std::vector<std::int32_t> draws;
            for (int t = 0; t < 2 * asked; ++t)
                draws.push_back(static_cast<std::int32_t>(rng_uniform(twin.ctx()) * total));
            pair_list expected;
            for (const int p : distinct_draws(twin.ctx(), draws)) {
                const auto pair = complete[static_cast<std::size_t>(p)];
                if (static_cast<int>(expected.size()) < asked && !uses_middle(pair))
                    expected.push_back(pair);
            }
            const int sampled = sample_element_pairs(run.ctx(), 0, asked);
            EXPECT_EQ(candidates(run.ctx(), sampled), expected) << n << ' ' << asked;
            EXPECT_EQ(draws_since(run.ctx(), before), 2 * asked);
        }
    }
}

TEST(candidatesampling, balanced_factors_give_distinct_pairs_of_different_levels_within_a_group)
{
    random_stream random{1};
    for (const int groups : {1, 2, 3})
        for (int asked = 1; asked <= 60; asked += 7) {
            search_run run(random_levels(24, 1, random, 4), no_criterion, [&](run_settings& s) {
                all_candidates(s);
                s.factor_counts[0] = groups;
            });
            ASSERT_EQ(run->levels->balanced[0], 1);
            ASSERT_EQ(run->groups->group_count[0], groups);
            const int rows = 24 / groups;
            const int total = groups * rows * (rows - 4) / 2;
            const int found = sample_element_pairs(run.ctx(), 0, asked);
            EXPECT_EQ(found > 0, total > 0);
            EXPECT_LE(found, asked);
            std::set<std::pair<int, int>> seen;
            for (const auto& [a, b] : candidates(run.ctx(), found)) {
                EXPECT_LT(a, b);
                EXPECT_EQ(a / rows, b / rows);
                EXPECT_NE(run->levels->level_index[a][0], run->levels->level_index[b][0]);
                EXPECT_TRUE(seen.emplace(a, b).second);
            }
            if (asked >= total) {
                EXPECT_EQ(found, total);
            }
        }
}

TEST(candidatesampling, balanced_pairs_are_drawn_by_group_pair_of_levels_and_rows)
{
    random_stream random{1};
    for (const auto& [n, repeats, groups] :
         {std::tuple{24, 4, 1}, {24, 4, 3}, {24, 2, 3}, {12, 6, 1}, {30, 3, 2}, {60, 5, 4}})
        for (const int asked : {1, 5, 24, 25, 26, 60}) {
            search_run run(random_levels(n, 1, random, repeats), no_criterion, [&, wanted = groups](run_settings& s) {
                all_candidates(s);
                s.factor_counts[0] = wanted;
            });
            // Every pair, in the order of its number.
            pair_list pairs;
            const int levels = n / groups / repeats;
            for (int group = 0; group < groups; ++group)
                for (const auto& [low, high] : all_pairs(levels))
                    for (int a = 0; a < repeats; ++a)
                        for (int b = 0; b < repeats; ++b)
                            pairs.emplace_back((group * levels + low) * repeats + a,
                                               (group * levels + high) * repeats + b);
            const int total = static_cast<int>(pairs.size());
            const rng_state before = *run->rng;
            if (asked >= total) {
                std::sort(pairs.begin(), pairs.end());
                const int found = sample_element_pairs(run.ctx(), 0, asked);
                EXPECT_EQ(candidates(run.ctx(), found), pairs) << n << ' ' << groups;
                EXPECT_EQ(draws_since(run.ctx(), before), 0);
                continue;
            }
            test_run twin;
            *twin->rng = before;
            std::vector<std::int32_t> draws;
            for (int t = 0; t < std::max(2 * asked, 50); ++t)
                draws.push_back(static_cast<std::int32_t>(rng_uniform(twin.ctx()) * total));
            pair_list expected;
            for (const int number : distinct_draws(twin.ctx(), draws))
                if (static_cast<int>(expected.size()) < asked)
                    expected.push_back(pairs[static_cast<std::size_t>(number)]);
            const int found = sample_element_pairs(run.ctx(), 0, asked);
            EXPECT_EQ(candidates(run.ctx(), found), expected) << n << ' ' << groups << ' ' << asked;
            EXPECT_EQ(draws_since(run.ctx(), before), std::max(2 * asked, 50));
        }
}

TEST(candidatesampling, an_undecided_sample_is_the_same_sample_once_it_is_decided)
{
    random_stream random{4};
    int undecided = 0;
    for (int round = 0; round < 600; ++round) {
        const int n = 3 + random.below(126);
        search_run run(random_levels(n, 1, random), no_criterion, all_candidates);
        const int asked = 1 + random.below(std::min(run->search->max_candidates, most_undecided_keys / 2));
        *run->rng = {0x330E, static_cast<std::uint16_t>(random.below(65536)), 7};
        const rng_state before = *run->rng;
        const int decided = sample_element_pairs(run.ctx(), 0, asked);
        const pair_list expected = candidates(run.ctx(), decided);
        const int draws = draws_since(run.ctx(), before);

        *run->rng = before;
        undecided_sample sample;
        if (!sample_undecided_pairs(run.ctx(), 0, asked, sample)) {
            EXPECT_EQ(draws_since(run.ctx(), before), 0) << "nothing is drawn for no sample";
            EXPECT_GE(asked, n * (n - 1) / 2) << "only a complete list needs no sample";
            continue;
        }
        ++undecided;
        EXPECT_EQ(draws_since(run.ctx(), before), draws);
        pair_list certain;
        pair_list all;
        for (int t = 0; t < sample.possible_count; ++t) {
            all.emplace_back(sample.first[t], sample.second[t]);
            if (sample.certain[t] != 0)
                certain.push_back(all.back());
        }
        for (const auto& candidate : expected)
            EXPECT_NE(std::find(all.begin(), all.end(), candidate), all.end());
        for (const auto& candidate : certain)
            EXPECT_NE(std::find(expected.begin(), expected.end(), candidate), expected.end());
        // Other samples in between are other samples: this one is a value of its own.
        sample_element_pairs(run.ctx(), 0, asked);
        const rng_state drawn = *run->rng;
        ASSERT_EQ(decide_sample(run.ctx(), sample), decided);
        EXPECT_EQ(candidates(run.ctx(), decided), expected);
        EXPECT_EQ(draws_since(run.ctx(), drawn), 0);
    }
    EXPECT_GT(undecided, 400);
}

TEST(candidatesampling, no_sample_is_left_undecided_where_a_draw_may_be_no_candidate)
{
    random_stream random{4};
    const auto undecided = [](search_run& run, int count = 5) {
        undecided_sample sample;
        return sample_undecided_pairs(run.ctx(), 0, count, sample);
    };
    search_run large(random_levels(129, 1, random), no_criterion, all_candidates);
    EXPECT_FALSE(undecided(large)) << "many numbers";
    search_run grouped(random_levels(20, 1, random), no_criterion, [](run_settings& s) {
        all_candidates(s);
        s.factor_counts[0] = 5;
    });
    EXPECT_FALSE(undecided(grouped)) << "groups";
    search_run repeated(table(1, {3, 1, 4, 1, 3, 2, 5, 6, 7, 8, 9, 10}), no_criterion, all_candidates);
    EXPECT_FALSE(undecided(repeated)) << "levels repeat";
    search_run small(random_levels(20, 1, random), no_criterion, all_candidates);
    EXPECT_TRUE(undecided(small));
    small->search->symmetric_design = 1;
    EXPECT_FALSE(undecided(small)) << "a symmetric design";
    small->search->symmetric_design = 0;
    EXPECT_FALSE(undecided(small, 0));
    EXPECT_FALSE(undecided(small, 128)) << "too many draws";
}

TEST(candidatesampling, pairs_of_tens_of_thousands_of_rows_are_decoded)
{
    random_stream random{1};
    for (const int n : {30000, 30001, 46341}) {
        search_run run(random_levels(n, 1, random), no_criterion);
        test_run twin;
        *twin->rng = *run->rng;
        const std::int64_t total = std::int64_t{n} * (n - 1) / 2;
        std::vector<std::int32_t> draws;
        for (int t = 0; t < 100; ++t)
            draws.push_back(static_cast<std::int32_t>(rng_uniform(twin.ctx()) * static_cast<double>(total)));
        pair_list expected;
        for (int p : distinct_draws(twin.ctx(), draws)) {
            int a = 0;
            for (; p >= n - 1 - a; ++a)
                p -= n - 1 - a;
            if (expected.size() < 50)
                expected.emplace_back(a, a + 1 + p);
        }
        EXPECT_EQ(candidates(run.ctx(), sample_element_pairs(run.ctx(), 0, 50)), expected) << n;
    }
}

TEST(candidatesampling, counts_that_wrapped_give_pairs_of_rows_or_none)
{
    random_stream random{1};
    for (const int n : {46342, 65536, 65537, 65600, 70000, 80000}) {
        search_run run(random_levels(n, 1, random), no_criterion);
        for (const auto& [a, b] : candidates(run.ctx(), sample_element_pairs(run.ctx(), 0, 50))) {
            EXPECT_LE(0, a) << n;
            EXPECT_LT(a, b) << n;
            EXPECT_LT(b, n) << n;
        }
    }
}

TEST(candidatesampling, there_are_no_more_candidates_than_the_work_vectors_hold)
{
    random_stream random{1};
    for (const int groups : {1, 2, 6}) {
        search_run run(random_levels(12, 1, random), no_criterion,
                       [&](run_settings& s) { s.factor_counts[0] = groups; });
        const int most = run->search->max_candidates;
        const int group_pairs = groups * (groups - 1) / 2;
        const int element_pairs = groups * (12 / groups) * (12 / groups - 1) / 2;
        EXPECT_EQ(sample_group_pairs(run.ctx(), 0, 1000), std::min(group_pairs, most));
        EXPECT_EQ(sample_element_pairs(run.ctx(), 0, 1000), std::min(element_pairs, most));
        EXPECT_LE(sample_group_pairs(run.ctx(), 0, group_pairs - 1), most);
        EXPECT_LE(sample_element_pairs(run.ctx(), 0, element_pairs - 1), most);
    }
}

TEST(candidatesampling, numbers_beyond_32_bits_give_no_candidates_and_no_draws)
{
    const auto expect_none = [](const table& start, int groups, int count) {
        search_run run(start, no_criterion, [&](run_settings& s) { s.factor_counts[0] = groups; });
        const rng_state before = *run->rng;
        EXPECT_EQ(sample_element_pairs(run.ctx(), 0, count), 0) << start.rows() << ' ' << groups;
        EXPECT_EQ(draws_since(run.ctx(), before), 0);
    };
    const auto with_levels = [](int n, int first_rows) {
        table start(n, 1);
        for (int i = 0; i < n; ++i)
            start[i][0] = i < first_rows ? 1 : 2;
        return start;
    };
    random_stream random{1};
    expect_none(random_levels(150000, 1, random), 3, 50); // pairs of a group below 0, three times that above
    expect_none(random_levels(230000, 1, random), 5, 50); // five groups of 46000 rows: 2^32 and more pairs
    expect_none(with_levels(46000, 1), 1, 100000);        // 2n / L w draws
    expect_none(with_levels(2 * 46341, 46341), 1, 50);    // pairs of rows of two levels
}

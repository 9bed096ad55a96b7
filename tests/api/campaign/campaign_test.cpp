#include "api/campaign/campaign.h"
#include "api/campaign/cores.h"
#include "api/campaign/crew.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <set>

using namespace optdoe;

namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();

search_problem small_problem(const char* criterion = "phip")
{
    search_problem problem;
    problem.rows = 12;
    problem.factors = 3;
    problem.options.criterion = criterion;
    return problem;
}

bool never(const search_progress&) { return false; }

const crew_orders no_orders{[](const campaign_status&) { return false; }, [](const search_result&, bool) {}};

} // namespace

TEST(campaign, the_order_of_results_is_total_and_nan_is_last)
{
    EXPECT_TRUE(is_better(1.0, 5, 2.0, 1));
    EXPECT_FALSE(is_better(2.0, 1, 1.0, 5));
    EXPECT_TRUE(is_better(1.0, 1, 1.0, 5)) << "of equal objectives the lower seed";
    EXPECT_FALSE(is_better(1.0, 5, 1.0, 1));
    EXPECT_TRUE(is_better(1e300, 9, none, 1));
    EXPECT_FALSE(is_better(none, 1, 1e300, 9));
    EXPECT_TRUE(is_better(none, 1, none, 2));
    EXPECT_FALSE(is_better(none, 2, none, 1));
    EXPECT_FALSE(is_better(1.0, 3, 1.0, 3));
}

TEST(campaign, seeds_follow_each_other_without_the_one_that_means_the_clock)
{
    EXPECT_EQ(seed_of_start(7, 0), 7u);
    EXPECT_EQ(seed_of_start(0xFFFFFFFDu, 1), 0xFFFFFFFEu);
    EXPECT_EQ(seed_of_start(0xFFFFFFFDu, 2), 0u);
}

TEST(campaign, shards_hand_out_every_start_once)
{
    std::multiset<std::uint32_t> seeds;
    for (std::int64_t shard = 1; shard <= 3; ++shard) {
        campaign_request request;
        request.first_seed = 10;
        request.starts = 8;
        request.shard = shard;
        request.shards = 3;
        campaign c(small_problem(), request);
        while (const auto task = c.next(0.0)) {
            EXPECT_EQ(task->effort, 0);
            seeds.insert(task->seed);
        }
    }
    EXPECT_THAT(seeds, testing::ElementsAre(10, 11, 12, 13, 14, 15, 16, 17));
}

TEST(campaign, searches_that_were_done_before_are_not_handed_out)
{
    campaign_request request;
    request.starts = 4;
    campaign c(small_problem(), request);
    search_result best;
    best.task.seed = 1;
    best.objective = 3.0;
    c.take_done(1, best);
    c.take_done(3, std::nullopt);
    EXPECT_EQ(c.next(0.0)->seed, 0u);
    const auto second = c.next(0.0);
    EXPECT_EQ(second->seed, 2u);
    EXPECT_FALSE(c.next(0.0));
    c.give_back(*second);
    EXPECT_EQ(c.next(0.0)->seed, 2u) << "a lost search is handed out again";
    EXPECT_EQ(c.best()->task.seed, 1u);
}

TEST(campaign, planned_efforts_leave_most_of_the_time_to_one_search_and_end_with_it)
{
    campaign_request request;
    request.starts = 0;
    request.seconds = 30.0;
    request.plans_efforts = true;
    campaign c(small_problem(), request);
    double now = 0.0;
    std::int64_t last = 0;
    std::int64_t longest = 0;
    const double rounds_a_second = 1000.0;
    int count = 0;
    while (const auto task = c.next(now)) {
        ASSERT_GT(task->effort, 0);
        last = task->effort;
        longest = std::max(longest, last);
        search_result result;
        result.task = *task;
        result.rounds = task->effort;
        result.began = now;
        result.seconds = static_cast<double>(task->effort) / rounds_a_second;
        now += result.seconds;
        c.take(result);
        ASSERT_LT(++count, 100);
    }
    EXPECT_GT(longest, 20000) << "most of the time for one search";
    EXPECT_LE(now, 30.0);
    EXPECT_GT(now, 29.0);
}

TEST(campaign, a_search_depends_on_its_task_alone_and_a_cut_one_comes_again)
{
    for (const char* criterion : {"phip", "cd2", "entropy"})
        for (const std::int64_t effort : {0, 40}) {
            const search_problem problem = small_problem(criterion);
            const search_task task{5, effort, -1};
            const search_result whole = run_search(problem, task, never);
            EXPECT_EQ(run_search(problem, task, never).levels.cells, whole.levels.cells);
            EXPECT_FALSE(whole.cut);
            for (const std::int64_t rounds : {0, 1, 17}) {
                const search_result cut =
                    run_search(problem, task, [&](const search_progress& p) { return p.rounds >= rounds; });
                EXPECT_TRUE(cut.cut) << criterion << ' ' << effort << ' ' << rounds;
                EXPECT_EQ(cut.rounds, rounds);
                EXPECT_EQ(cut.task.stop_after, rounds);
                const search_result again = run_search(problem, cut.task, never);
                EXPECT_EQ(again.levels.cells, cut.levels.cells) << criterion << ' ' << effort << ' ' << rounds;
                EXPECT_EQ(again.objective, cut.objective);
                EXPECT_EQ(again.rounds, cut.rounds);
            }
        }
}

TEST(campaign, a_chain_begins_as_a_shorter_one_and_its_first_run_as_one_long_run)
{
    search_problem problem = small_problem("entropy");
    const std::int64_t rounds = 1500;
    const search_result shorter = run_search(problem, {5, rounds, -1}, never);
    const search_result longer = run_search(problem, {5, 1000000, rounds}, never);
    EXPECT_EQ(longer.rounds, rounds);
    EXPECT_EQ(longer.levels.cells, shorter.levels.cells);
    const search_result chain = run_search(problem, {5, 90, -1}, never);
    problem.options.iterations = 90;
    EXPECT_EQ(run_search(problem, {5, 0, -1}, never).levels.cells, chain.levels.cells);
}

TEST(campaign, progress_of_a_search_tells_the_objective)
{
    for (const char* criterion : {"phip", "cd2", "entropy"})
        for (const std::int64_t effort : {0, 60}) {
            search_progress last;
            const search_result result = run_search(small_problem(criterion), {5, effort, -1},
                                                    [&](const search_progress& p) { return last = p, false; });
            EXPECT_GE(last.best, result.objective - 1e-6 * std::abs(result.objective)) << criterion << ' ' << effort;
            EXPECT_LT(last.best, last.initial);
            EXPECT_LT(std::abs(last.best - result.objective), 0.2 * std::abs(result.objective)) << criterion;
        }
}

TEST(campaign, any_number_of_threads_gives_the_same_best)
{
    std::optional<search_result> first;
    for (const int jobs : {1, 2, 7}) {
        campaign_request request;
        request.starts = 9;
        request.first_seed = 3;
        campaign c(small_problem(), request);
        run_on_threads(c, jobs, no_orders);
        EXPECT_EQ(c.done(), 9);
        EXPECT_EQ(c.traces().size(), 9u);
        if (!first)
            first = c.best();
        EXPECT_EQ(c.best()->levels.cells, first->levels.cells);
        EXPECT_EQ(c.best()->task.seed, first->task.seed);
    }
}

TEST(campaign, a_stop_ends_every_search_with_its_best)
{
    campaign_request request;
    request.starts = 0;
    request.seconds = 60.0;
    request.plans_efforts = true;
    campaign c(small_problem(), request);
    const auto began = std::chrono::steady_clock::now();
    run_on_threads(c, 2,
                   {[](const campaign_status& s) { return s.seconds > 0.3; }, [](const search_result&, bool) {}});
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(5));
    ASSERT_TRUE(c.best());
    EXPECT_GT(c.best()->rounds, 0);
}

TEST(campaign, what_a_search_throws_ends_the_campaign)
{
    search_problem problem = small_problem();
    problem.start = [](std::uint32_t seed) -> std::optional<table> {
        if (seed == 2)
            throw std::runtime_error("no start");
        return std::nullopt;
    };
    campaign_request request;
    request.starts = 6;
    campaign c(problem, request);
    EXPECT_THROW(run_on_threads(c, 2, no_orders), std::runtime_error);
}

TEST(campaign, more_jobs_than_searches_or_memory_are_not_used)
{
    campaign_request request;
    request.starts = 5;
    request.shards = 2;
    campaign few(small_problem(), request);
    EXPECT_EQ(jobs_for(few, 8), 3);
    request.starts = 0;
    request.shards = 1;
    request.seconds = 1.0;
    campaign many(small_problem(), request);
    EXPECT_EQ(jobs_for(many, 8), 8);
    EXPECT_GE(jobs_for(many, 0), 1);
    search_problem huge = small_problem();
    huge.rows = 40000;
    campaign large(huge, request);
    EXPECT_LT(jobs_for(large, 1000), 1000);
    EXPECT_GE(jobs_for(large, 1000), 1);
}

TEST(campaign, quotas_of_control_groups_are_read)
{
    EXPECT_EQ(quota_of("200000 100000"), 2);
    EXPECT_EQ(quota_of("150000 100000"), 2);
    EXPECT_EQ(quota_of("max 100000"), 0);
    EXPECT_EQ(quota_of("-1 100000"), 0);
    EXPECT_EQ(quota_of(""), 0);
    EXPECT_GE(usable_cores(), 1);
}

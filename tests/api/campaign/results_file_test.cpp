#include "api/campaign/results_file.h"
#include "api/text/errors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>

#include <unistd.h>

using namespace optdoe;
using testing::HasSubstr;

namespace {

/// A name that no file has; the file is removed at the end.
struct temporary_file {
    std::string name = testing::TempDir() + "results_" + std::to_string(getpid()) + "_" + std::to_string(++count);
    ~temporary_file() { unlink(name.c_str()); }

    std::string content() const
    {
        std::ostringstream text;
        text << std::ifstream(name).rdbuf();
        return text.str();
    }

    static inline int count = 0;
};

search_result result_of(std::uint32_t seed, double objective)
{
    search_result result;
    result.task = {seed, 100, -1};
    result.levels = table(2, 2);
    result.levels.cells = {1, 2, 2.5, 1};
    result.objective = objective;
    result.initial = 9.0;
    result.rounds = 100;
    result.reason = end_reason::iteration_limit;
    return result;
}

campaign_identity identity(std::int64_t starts = 3) { return {{"10", "2"}, 1, starts, 1, 1}; }

void expect_refused(const std::function<void()>& action, const std::string& part)
{
    try {
        action();
        ADD_FAILURE() << "not refused: " << part;
    } catch (const input_error& error) {
        EXPECT_THAT(error.what(), HasSubstr(part));
    }
}

} // namespace

TEST(resultsfile, what_is_written_is_read_back)
{
    const temporary_file file;
    {
        results_file results(file.name, identity());
        results.add(result_of(1, 3.0), true);
        results.add(result_of(2, std::numeric_limits<double>::quiet_NaN()), false);
        results.add(result_of(3, 0.1 + 0.2), true);
        EXPECT_EQ(results.failure(), "");
    }
    const recorded_campaign recorded = read_results(file.name);
    EXPECT_EQ(recorded.identity.command, identity().command);
    EXPECT_EQ(recorded.identity.hash(), identity().hash());
    EXPECT_THAT(recorded.seeds, testing::ElementsAre(1, 2, 3));
    EXPECT_FALSE(recorded.truncated);
    ASSERT_TRUE(recorded.best);
    EXPECT_EQ(recorded.best->task.seed, 3u);
    EXPECT_EQ(recorded.best->objective, 0.1 + 0.2);
    EXPECT_EQ(recorded.best->levels.cells, result_of(3, 0.0).levels.cells);
    EXPECT_EQ(recorded.best->rounds, 100);
    EXPECT_FALSE(recorded.best->cut);
}

TEST(resultsfile, a_cut_search_of_a_number_of_starts_is_still_to_be_made)
{
    for (const std::int64_t starts : {0, 3}) {
        const temporary_file file;
        search_result cut = result_of(2, 1.0);
        cut.cut = true;
        cut.task.stop_after = 40;
        {
            results_file results(file.name, identity(starts));
            results.add(cut, true);
        }
        EXPECT_EQ(read_results(file.name).seeds.size(), starts == 0 ? 1u : 0u);
        if (starts == 0) {
            EXPECT_EQ(read_results(file.name).best->task.stop_after, 40);
        }
    }
}

TEST(resultsfile, a_last_line_without_end_is_dropped_and_cut_off)
{
    const temporary_file file;
    {
        results_file results(file.name, identity());
        results.add(result_of(1, 3.0), true);
    }
    const std::string whole = file.content();
    std::ofstream(file.name, std::ios::app) << "{\"seed\":2,\"obj";
    const recorded_campaign recorded = read_results(file.name);
    EXPECT_TRUE(recorded.truncated);
    EXPECT_THAT(recorded.seeds, testing::ElementsAre(1));
    {
        results_file results(recorded);
        EXPECT_EQ(file.content(), whole);
        expect_refused([&] { results_file second(recorded); }, "another run is writing it");
        results.add(result_of(2, 2.0), true);
    }
    EXPECT_THAT(read_results(file.name).seeds, testing::ElementsAre(1, 2));
}

TEST(resultsfile, a_refused_file_is_let_go_of)
{
    const temporary_file file;
    {
        results_file results(file.name, identity());
        results.add(result_of(1, 3.0), true);
    }
    expect_refused([&] { results_file again(file.name, identity()); }, "exists already");
    EXPECT_NO_THROW(results_file(read_results(file.name)));
}

TEST(resultsfile, broken_files_are_refused_with_their_place)
{
    const temporary_file file;
    const auto refused_with = [&](const std::string& content, const std::string& part) {
        std::ofstream(file.name) << content;
        expect_refused([&] { read_results(file.name); }, file.name + part);
    };
    refused_with("", ":1:1: holds no finished search");
    refused_with("[1]\n", ":1:1: is no results file of optdoe");
    refused_with("nothing\n", ":1:1: is no line of a results file");
    unlink(file.name.c_str());
    {
        results_file results(file.name, identity());
        results.add(result_of(1, 3.0), true);
    }
    const std::string whole = file.content();
    refused_with(whole + "{}\n", ":3:1: is no line of a results file");
    std::string other = whole;
    other.replace(other.rfind(identity().hash()), 1, "x");
    refused_with(other, ":2:1: a search of other settings");
    expect_refused([&] { results_file again(file.name, identity()); }, "exists already");
    expect_refused([] { results_file nowhere("/nowhere/r.jsonl", identity()); }, "No such file or directory");
}

TEST(resultsfile, a_full_disk_is_told_and_nothing_more_is_written)
{
    if (access("/dev/full", W_OK) != 0)
        GTEST_SKIP() << "there is no /dev/full";
    expect_refused([] { results_file full("/dev/full", identity()); }, "No space left on device");
}

TEST(resultsfile, merging_takes_the_best_and_refuses_what_does_not_fit)
{
    const auto recorded = [](const char* name, campaign_identity of, std::vector<std::uint32_t> seeds,
                             double objective) {
        recorded_campaign r;
        r.file = name;
        r.identity = std::move(of);
        r.seeds = seeds;
        r.best = result_of(seeds.back(), objective);
        return r;
    };
    const auto a = recorded("a", identity(), {1, 3}, 2.0);
    const auto b = recorded("b", identity(), {2}, 2.0);
    EXPECT_EQ(merge_results({a, b}, false).task.seed, 2u);
    EXPECT_EQ(merge_results({b, a}, false).task.seed, 2u);
    expect_refused([&] { merge_results({a}, false); }, "1 of 3 starts are missing (seeds 2)");
    EXPECT_EQ(merge_results({a}, true).task.seed, 3u);
    expect_refused([&] { merge_results({a, a}, false); }, "seed 1 stands in a and in a");
    campaign_identity other = identity();
    other.command.push_back("--p=5");
    expect_refused([&] { merge_results({a, recorded("c", other, {2}, 1.0)}, false); }, "different settings");
    expect_refused([&] { merge_results({a, recorded("c", identity(4), {2}, 1.0)}, false); }, "different campaigns");
}

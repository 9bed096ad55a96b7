// What comes of requests: the same design for the same request, whoever runs beside it.
#include "support.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <set>
#include <thread>

#include <unistd.h>

using testing::HasSubstr;
using testing::Not;

namespace {

std::string file_name(const char* name)
{
    return testing::TempDir() + "optdoe_" + std::to_string(getpid()) + "_" + name;
}

int stop_at_once(const optdoe_progress*, void*) { return 1; }

} // namespace

TEST(search, levels_are_exact_where_truncation_spoils_them)
{
    const design_handle design = run(
        new_request({{"runs", "48"}, {"factors", "3"}, {"criterion", "cd2"}, {"iterations", "20"}, {"seed", "5"}}));
    std::vector<std::int32_t> levels(48 * 3);
    ASSERT_EQ(optdoe_design_levels(design.get(), levels.data(), levels.size()), OPTDOE_OK);
    for (std::size_t j = 0; j < 3; ++j) {
        std::set<std::int32_t> column;
        for (std::size_t i = 0; i < 48; ++i)
            column.insert(levels[3 * i + j]);
        EXPECT_EQ(column.size(), 48U);
        EXPECT_EQ(*column.begin(), 1);
        EXPECT_EQ(*column.rbegin(), 48);
    }
}

TEST(search, many_threads_with_equal_requests_have_one_design)
{
    const std::string expected = text_of(run(new_request({{"runs", "20"}, {"factors", "4"}, {"seed", "5"}})));
    std::atomic<int> others{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 25; ++i)
                if (text_of(run(new_request({{"runs", "20"}, {"factors", "4"}, {"seed", "5"}}))) != expected)
                    ++others;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(others, 0);
}

TEST(search, one_request_runs_again_and_again)
{
    const request_handle request = new_request({{"runs", "10"}, {"factors", "3"}, {"seed", "3"}});
    const design_handle design = run(request);
    const std::string first = text_of(design);
    EXPECT_EQ(optdoe_request_run(request.get(), design.get()), OPTDOE_OK);
    EXPECT_EQ(text_of(design), first);
}

TEST(search, many_calls_leave_nothing_behind)
{
    const request_handle request = new_request({{"runs", "4"}, {"factors", "2"}, {"iterations", "1"}, {"seed", "3"}});
    for (int i = 0; i < 2000; ++i) {
        const design_handle design = new_design();
        ASSERT_EQ(optdoe_request_run(request.get(), design.get()), OPTDOE_OK);
    }
}

TEST(search, the_outcome_tells_how_the_design_came_about)
{
    const design_handle design =
        run(new_request({{"runs", "10"}, {"factors", "2"}, {"starts", "3"}, {"seed", "5"}, {"jobs", "2"}}));
    const optdoe_outcome outcome = outcome_of(design);
    EXPECT_EQ(outcome.searches, 3);
    EXPECT_EQ(outcome.stopped, 0);
    EXPECT_GE(outcome.seed, 5U);
    EXPECT_LE(outcome.seed, 7U);
    EXPECT_LT(outcome.objective, outcome.initial);
    EXPECT_GT(outcome.rounds, 0);
    EXPECT_THAT(provenance_of(design), HasSubstr("\"command\":\"optdoe 10 2 --seed=" + std::to_string(outcome.seed)));
    const char* history = nullptr;
    EXPECT_EQ(optdoe_design_history(design.get(), &history), OPTDOE_OK);
    EXPECT_THAT(history, HasSubstr("seed,round,seconds,objective\n"));
}

TEST(search, its_course_is_given_back_to_a_design_that_was_parsed)
{
    const design_handle searched = run(new_request({{"runs", "10"}, {"factors", "2"}, {"seed", "5"}}));
    const char* text = nullptr;
    ASSERT_EQ(optdoe_design_history(searched.get(), &text), OPTDOE_OK);
    const std::string course = text;
    ASSERT_EQ(optdoe_design_text(searched.get(), "csv", &text), OPTDOE_OK);
    const design_handle parsed = new_design();
    EXPECT_EQ(optdoe_design_set_history(parsed.get(), course.data(), course.size()), OPTDOE_INVALID) << "no runs yet";
    ASSERT_EQ(optdoe_design_parse(parsed.get(), text, std::string(text).size()), OPTDOE_OK);
    ASSERT_EQ(optdoe_design_set_history(parsed.get(), course.data(), course.size()), OPTDOE_OK);
    ASSERT_EQ(optdoe_design_history(parsed.get(), &text), OPTDOE_OK);
    EXPECT_EQ(text, course);
    EXPECT_EQ(optdoe_design_set_history(parsed.get(), "round\n", 6), OPTDOE_REFUSED);
    ASSERT_EQ(optdoe_design_history(parsed.get(), &text), OPTDOE_OK);
    EXPECT_EQ(text, course) << "a failed call changes nothing";
}

TEST(search, progress_ends_it_and_the_best_design_is_the_result)
{
    const request_handle request = new_request({{"runs", "60"}, {"factors", "6"}, {"time", "60"}, {"seed", "5"}});
    struct told {
        int calls = 0;
        optdoe_progress last{};
    } told;
    const auto watch = [](const optdoe_progress* progress, void* user) {
        struct told& t = *static_cast<struct told*>(user);
        t.last = *progress;
        return ++t.calls > 5 && progress->best < progress->initial ? 1 : 0;
    };
    EXPECT_EQ(optdoe_request_set_progress(request.get(), watch, &told), OPTDOE_OK);
    const auto began = std::chrono::steady_clock::now();
    const design_handle design = run(request);
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(20));
    EXPECT_EQ(told.last.size, sizeof(optdoe_progress));
    EXPECT_GT(told.last.seconds, 0);
    const optdoe_outcome outcome = outcome_of(design);
    EXPECT_EQ(outcome.stopped, 1);
    EXPECT_LE(outcome.objective, told.last.best * (1 + 1e-9));
}

TEST(search, a_stop_from_another_thread_ends_it)
{
    const request_handle request = new_request({{"runs", "60"}, {"factors", "6"}, {"time", "60"}, {"seed", "5"}});
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        optdoe_request_stop(request.get());
    });
    const auto began = std::chrono::steady_clock::now();
    const design_handle design = run(request);
    stopper.join();
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(20));
    EXPECT_EQ(outcome_of(design).stopped, 1);
}

TEST(search, a_stop_before_it_ends_the_next_one_only)
{
    const request_handle request = new_request({{"runs", "60"}, {"factors", "6"}, {"time", "60"}, {"seed", "5"}});
    optdoe_request_stop(request.get());
    EXPECT_EQ(outcome_of(run(request)).stopped, 1);
    EXPECT_EQ(optdoe_request_set(request.get(), "time", nullptr), OPTDOE_OK);
    EXPECT_EQ(optdoe_request_set(request.get(), "iterations", "3"), OPTDOE_OK);
    EXPECT_EQ(outcome_of(run(request)).stopped, 0);
}

TEST(search, a_start_that_no_round_improved_is_remarked)
{
    const request_handle request =
        new_request({{"runs", "10"}, {"factors", "2"}, {"stop-after", "0"}, {"seed", "5"}});
    run(request);
    EXPECT_STREQ(optdoe_request_remarks(request.get()), "no round was done: this is the start as it is\n");
    EXPECT_EQ(optdoe_request_set(request.get(), "stop-after", nullptr), OPTDOE_OK);
    run(request);
    EXPECT_STREQ(optdoe_request_remarks(request.get()), "");
}

TEST(search, a_start_is_improved_and_a_design_goes_on_from_it)
{
    const design_handle start =
        run(new_request({{"runs", "20"}, {"factors", "3"}, {"iterations", "1"}, {"seed", "1"}}));
    const request_handle request = new_request({{"seed", "2"}});
    EXPECT_EQ(optdoe_request_set_start(request.get(), start.get()), OPTDOE_OK);
    const design_handle better = run(request);
    EXPECT_LT(outcome_of(better).objective, outcome_of(start).objective);
    EXPECT_DOUBLE_EQ(outcome_of(better).initial, outcome_of(start).objective);
    EXPECT_THAT(provenance_of(better), HasSubstr("optdoe --start=- --seed=2"));
    EXPECT_EQ(optdoe_request_set_start(request.get(), nullptr), OPTDOE_OK);
    EXPECT_EQ(optdoe_request_check(request.get()), OPTDOE_INVALID);
}

TEST(search, added_runs_leave_the_old_ones_as_they_are)
{
    const design_handle old =
        run(new_request({{"runs", "8"}, {"factor", "A=0:10"}, {"factor", "B=5:6"}, {"seed", "1"}}));
    const request_handle request = new_request({{"seed", "2"}});
    EXPECT_EQ(optdoe_request_augment(request.get(), old.get(), 4), OPTDOE_OK);
    const design_handle whole = run(request);
    const std::vector<double> before = values_of(old, "physical");
    const std::vector<double> after = values_of(whole, "physical");
    ASSERT_EQ(after.size(), 24U);
    EXPECT_TRUE(std::equal(before.begin(), before.end(), after.begin()));
    std::vector<std::int32_t> levels(24);
    EXPECT_EQ(optdoe_design_levels(whole.get(), levels.data(), levels.size()), OPTDOE_REFUSED);
    EXPECT_THAT(optdoe_design_message(whole.get()), HasSubstr("between levels"));
    EXPECT_THAT(provenance_of(whole), HasSubstr("\"command\":\"optdoe augment - --add=4 --seed=2\""));
}

TEST(search, an_array_is_augmented_once_its_meaning_is_told)
{
    const design_handle old = design_of({0.5, 30, 1.5, 10, 2.5, 20.5}, 3, 2);
    const request_handle request = new_request({{"seed", "2"}});
    EXPECT_EQ(optdoe_request_augment(request.get(), old.get(), 2), OPTDOE_OK);
    EXPECT_EQ(optdoe_request_check(request.get()), OPTDOE_INVALID);
    EXPECT_THAT(optdoe_request_message(request.get()), HasSubstr("the ranges of its factors are unknown"));
    const request_handle meaning = new_request({{"factor", "A=0:3"}, {"factor", "B=0:40:mm"}});
    EXPECT_EQ(optdoe_design_interpret(old.get(), meaning.get()), OPTDOE_OK);
    EXPECT_EQ(optdoe_request_augment(request.get(), old.get(), 2), OPTDOE_OK);
    EXPECT_EQ(values_of(run(request), "written").size(), 10U);
    EXPECT_EQ(values_of(old, "unit")[0], 0.5 / 3);
    const request_handle wrong = new_request({{"factor", "A=0:1"}, {"factor", "B=0:40"}});
    EXPECT_EQ(optdoe_design_interpret(old.get(), wrong.get()), OPTDOE_INVALID);
}

TEST(search, designs_are_written_and_read_back)
{
    const design_handle design =
        run(new_request({{"runs", "8"}, {"factor", "A=0:10"}, {"factor", "B=5:6"}, {"seed", "1"}}));
    for (const char* name : {"d.csv", "d.json"}) {
        const std::string file = file_name(name);
        ASSERT_EQ(optdoe_design_write(design.get(), file.c_str()), OPTDOE_OK) << optdoe_design_message(design.get());
        const design_handle read = new_design();
        ASSERT_EQ(optdoe_design_read(read.get(), file.c_str()), OPTDOE_OK) << optdoe_design_message(read.get());
        EXPECT_EQ(values_of(read, "levels"), values_of(design, "levels"));
        EXPECT_EQ(provenance_of(read), provenance_of(design));
        EXPECT_EQ(text_of(read, "json"), text_of(design, "json"));
        std::remove(file.c_str());
    }
    EXPECT_EQ(optdoe_design_write(design.get(), "there/is/no/folder.csv"), OPTDOE_REFUSED);
}

TEST(search, an_array_that_is_written_keeps_its_meaning)
{
    const design_handle design = design_of({0.25, 0.75, 0.75, 0.25}, 2, 2);
    EXPECT_THAT(text_of(design), Not(HasSubstr("#")));
    EXPECT_EQ(optdoe_design_interpret(design.get(), new_request({{"coding", "unit"}}).get()), OPTDOE_OK);
    const std::string text = text_of(design);
    EXPECT_THAT(text, HasSubstr("# coding: \"unit\"\n"));
    const design_handle read = new_design();
    EXPECT_EQ(optdoe_design_parse(read.get(), text.data(), text.size()), OPTDOE_OK);
    EXPECT_EQ(values_of(read, "levels"), (std::vector<double>{1, 2, 2, 1}));
}

TEST(search, results_files_are_merged)
{
    std::vector<std::string> files;
    const std::string whole =
        text_of(run(new_request({{"runs", "10"}, {"factors", "2"}, {"starts", "6"}, {"seed", "5"}, {"jobs", "1"}})));
    for (const char* shard : {"1/2", "2/2"}) {
        files.push_back(file_name(shard[0] == '1' ? "1.jsonl" : "2.jsonl"));
        run(new_request({{"runs", "10"},
                         {"factors", "2"},
                         {"starts", "6"},
                         {"seed", "5"},
                         {"shard", shard},
                         {"results", files.back()}}));
    }
    const char* names[] = {files[0].c_str(), files[1].c_str()};
    const design_handle merged = new_design();
    EXPECT_EQ(optdoe_design_merge(merged.get(), names, 1, 0), OPTDOE_REFUSED);
    EXPECT_EQ(optdoe_design_merge(merged.get(), names, 2, 0), OPTDOE_OK) << optdoe_design_message(merged.get());
    EXPECT_EQ(text_of(merged), whole);
    EXPECT_EQ(outcome_of(merged).searches, 6);
    for (const std::string& file : files)
        std::remove(file.c_str());
}

TEST(search, scores_stand_beside_those_of_random_designs)
{
    const design_handle design = run(new_request({{"runs", "20"}, {"factors", "3"}, {"seed", "5"}}));
    const scores_handle scores = new_scores();
    ASSERT_EQ(optdoe_scores_evaluate(scores.get(), design.get(), nullptr, 50), OPTDOE_OK);
    std::size_t count = 0;
    ASSERT_EQ(optdoe_scores_count(scores.get(), &count), OPTDOE_OK);
    ASSERT_GT(count, 8U);
    bool phip_found = false;
    for (std::size_t i = 0; i < count; ++i) {
        const char* key = nullptr;
        const char* label = nullptr;
        const char* where = nullptr;
        double value = 0;
        double mean = 0;
        EXPECT_EQ(optdoe_scores_measure(scores.get(), i, &key, &label, &value, &mean, &where), OPTDOE_OK);
        EXPECT_STRNE(label, "");
        if (std::string(key) == "objective_phip") {
            phip_found = true;
            EXPECT_DOUBLE_EQ(value, outcome_of(design).objective);
            EXPECT_LT(value, mean);
        }
    }
    EXPECT_TRUE(phip_found);
    const char* text = nullptr;
    EXPECT_EQ(optdoe_scores_text(scores.get(), "table", &text), OPTDOE_OK);
    EXPECT_THAT(text, HasSubstr("phip"));
    EXPECT_EQ(optdoe_scores_text(scores.get(), "json", &text), OPTDOE_OK);
    EXPECT_EQ(text[0], '{');
    EXPECT_EQ(optdoe_scores_text(scores.get(), "pdf", &text), OPTDOE_INVALID);
}

TEST(search, a_report_is_written)
{
    const design_handle design = run(new_request({{"runs", "6"}, {"factors", "2"}, {"seed", "5"}}));
    const std::string file = file_name("d.html");
    EXPECT_EQ(optdoe_design_report(design.get(), file.c_str(), 5), OPTDOE_OK) << optdoe_design_message(design.get());
    EXPECT_EQ(std::remove(file.c_str()), 0);
    EXPECT_EQ(optdoe_design_plot(design.get(), "d.gif"), OPTDOE_INVALID);
    EXPECT_THAT(optdoe_design_message(design.get()), HasSubstr(".svg"));
}

TEST(search, a_failed_run_keeps_the_former_design)
{
    const design_handle design = run(new_request({{"runs", "6"}, {"factors", "2"}, {"seed", "5"}}));
    const std::string before = text_of(design);
    const request_handle impossible = new_request({{"runs", "6"}});
    EXPECT_EQ(optdoe_request_run(impossible.get(), design.get()), OPTDOE_INVALID);
    EXPECT_EQ(text_of(design), before);
    const request_handle stopped = new_request({{"runs", "6"}, {"factors", "2"}, {"seed", "5"}});
    EXPECT_EQ(optdoe_request_set_progress(stopped.get(), stop_at_once, nullptr), OPTDOE_OK);
    EXPECT_EQ(optdoe_request_run(stopped.get(), design.get()), OPTDOE_OK);
}

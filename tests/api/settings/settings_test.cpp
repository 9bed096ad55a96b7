#include "api/settings/settings.h"
#include "api/text/errors.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <functional>

using namespace optdoe;

namespace {

using edit = std::function<void(settings&)>;

void refused(const edit& change, const char* why)
{
    settings s;
    change(s);
    EXPECT_THROW(s.check(20, 3), usage_error) << why;
}

void accepted(const edit& change, const char* what)
{
    settings s;
    change(s);
    EXPECT_NO_THROW(s.check(20, 3)) << what;
}

} // namespace

TEST(settings, ends_of_ranges_are_accepted_and_beyond_is_refused)
{
    accepted([](settings& s) { s.p = 0; }, "p");
    accepted([](settings& s) { s.p = 100; }, "p");
    refused([](settings& s) { s.p = -1; }, "p");
    refused([](settings& s) { s.p = 101; }, "p");
    accepted([](settings& s) { s.pairs = 190; }, "pairs");
    refused([](settings& s) { s.pairs = 191; }, "pairs");
    refused([](settings& s) { s.pairs = 0; }, "pairs");
    accepted([](settings& s) { s.seconds = 1e6; }, "time");
    refused([](settings& s) { s.seconds = 0.0; }, "time");
    refused([](settings& s) { s.seconds = 1.1e6; }, "time");
    refused([](settings& s) { s.tolerance = 0.2; }, "tolerance");
    refused([](settings& s) { s.threshold = -1.0; }, "threshold");
    refused([](settings& s) { s.iterations = 0; }, "iterations");
    refused([](settings& s) { s.weights = {0.0}; }, "weights");
    refused([](settings& s) { s.weights = {1.0, 0.5}; }, "two weights for three factors");
    accepted([](settings& s) { s.weights = {1.0, 0.5, 1e-40}; }, "weights");
    refused([](settings& s) { s.target = -1e21; }, "target");
    refused([](settings& s) { s.auxiliary = 3; }, "auxiliary");
}

TEST(settings, nothing_is_accepted_that_nobody_reads)
{
    refused([](settings& s) { s.criterion = "cd2", s.p = 10; }, "p without phip");
    refused([](settings& s) { s.theta = {1.0}; }, "theta without entropy");
    refused([](settings& s) { s.criterion = "a2", s.distance = "euclidean"; }, "distance without distances");
    refused([](settings& s) { s.method = "annealing", s.pairs = 5; }, "annealing tries one pair");
    refused([](settings& s) { s.method = "greedy", s.moves = 5; }, "greedy sweeps");
    refused([](settings& s) { s.method = "greedy", s.threshold = 1.0; }, "greedy has no threshold");
    refused([](settings& s) { s.restarts = 5; }, "restarts without greedy");
    refused([](settings& s) { s.cooling = 0.9; }, "threshold accepting adapts its own factor");
    refused([](settings& s) { s.all_pairs = true, s.pairs = 5; }, "all or some");
    refused([](settings& s) { s.symmetric = true, s.level_groups = {2.0}; }, "groups of symmetric designs");
    refused([](settings& s) { s.negate_target = true; }, "no target");
    refused([](settings& s) { s.criterion = "a2", s.target = 1.0, s.negate_target = true; }, "a2 ignores the sign");
}

TEST(settings, a_refusal_names_option_range_and_readers)
{
    const auto message = [](const edit& change) -> std::string {
        settings s;
        change(s);
        try {
            s.check(20, 3);
        } catch (const usage_error& error) {
            return error.what();
        }
        return "accepted";
    };
    EXPECT_EQ(message([](settings& s) { s.pairs = 191; }), "--pairs: 191 is not in 1 .. 190");
    EXPECT_EQ(message([](settings& s) { s.target = -1e21; }), "--target: -1e21 is not in -1e20 .. 1e20");
    EXPECT_EQ(message([](settings& s) { s.criterion = "a2", s.target = -1.0; }), "--target: -1 is not in 0 .. 1e20");
    EXPECT_EQ(message([](settings& s) { s.criterion = "cd2", s.p = 3; }), "--p is read by --criterion phip only");
    EXPECT_EQ(message([](settings& s) { s.criterion = "cd2", s.distance = "euclidean"; }),
              "--distance is read by the criteria phip and entropy only");
    EXPECT_EQ(message([](settings& s) { s.criterion = "a2", s.level_groups = {2.0}; }),
              "--levels is read by the criteria phip, entropy and cd2 without --symmetric only");
    EXPECT_EQ(message([](settings& s) { s.criterion = "maximin"; }),
              "--criterion: maximin is not phip, entropy, cd2 or a2");
}

TEST(settings, level_groups_divide_the_rows)
{
    accepted([](settings& s) { s.level_groups = {4.0}; }, "4 of 20");
    accepted([](settings& s) { s.level_groups = {1.0, 2.0, 10.0}; }, "each of its own");
    refused([](settings& s) { s.level_groups = {3.0}; }, "3 of 20");
    refused([](settings& s) { s.level_groups = {20.0}; }, "as many as rows");
    refused([](settings& s) { s.level_groups = {2.5}; }, "not whole");
}

TEST(settings, one_factor_has_to_move)
{
    refused([](settings& s) { s.shares = {0.0}; }, "no share");
    refused(
        [](settings& s) {
            s.shares = {1.0, 0.0, 0.0}, s.weights = {1e-20, 1.0, 1.0};
        },
        "the only share is inactive");
    accepted([](settings& s) { s.shares = {0.0, 0.0, 1.0}; }, "one");
}

TEST(settings, reach_the_library)
{
    settings s;
    s.criterion = "entropy";
    s.method = "greedy";
    s.distance = "rectangular";
    s.scaling = "centres";
    s.theta = {1.0, 2.0, 3.0};
    s.weights = {0.5};
    s.shares = {0.25};
    s.level_groups = {2.0, 4.0, 5.0};
    s.restarts = 7;
    s.seconds = 12.5;
    s.target = 3.0;
    s.negate_target = s.no_pre_improvement = true;
    std::vector<std::int32_t> counts(3);
    std::vector<double> shares(3), weights(3);
    run_settings out{};
    out.factor_counts = counts.data();
    out.factor_shares = shares.data();
    out.criterion.factor_weights = weights.data();
    s.apply(&out, 3);
    EXPECT_EQ(out.criterion.criterion_id, 0);
    EXPECT_EQ(out.search_mode, 1);
    EXPECT_EQ(out.scaling_mode, 2);
    EXPECT_EQ(out.restart_limit, 7);
    EXPECT_EQ(out.time_limit, 12.5);
    EXPECT_EQ(out.pre_improvement, 0);
    EXPECT_EQ(out.criterion.criterion_threshold, 3.0);
    EXPECT_EQ(out.criterion.criterion_negate, 1);
    EXPECT_EQ(out.criterion.params.param_count_1, 3);
    EXPECT_EQ(out.criterion.params.param_list_1[2], 3.0);
    EXPECT_EQ(out.criterion.params.param_count_2, 1);
    EXPECT_EQ(out.criterion.params.param_list_2[0], 1.0);
    EXPECT_EQ(counts, (std::vector<std::int32_t>{2, 4, 5}));
    EXPECT_EQ(shares, (std::vector<double>{0.25, 0.25, 0.25}));
    EXPECT_EQ(weights, (std::vector<double>{0.5, 0.5, 0.5}));
}

TEST(settings, effective_values_follow_criterion_and_method)
{
    settings s;
    EXPECT_EQ(s.effective(50, 5)["iterations"], 500);
    EXPECT_EQ(s.effective(5, 2)["pairs"], 10);
    EXPECT_EQ(s.effective(50, 5)["p"], 20);
    EXPECT_TRUE(s.effective(50, 5)["moves"].is_null());
    s.criterion = "cd2";
    EXPECT_EQ(s.effective(50, 5)["scaling"], "centres");
    EXPECT_FALSE(s.effective(50, 5).contains("p"));
    EXPECT_EQ(s.effective(50, 5)["target"], -1e20);
    s.criterion = "a2";
    EXPECT_EQ(s.effective(50, 5)["target"], 0.0);
    EXPECT_EQ(s.effective(50, 5)["scaling"], "range");
    s.criterion = "entropy";
    EXPECT_EQ(s.effective(50, 5)["theta"], std::vector<double>{5.0});
    EXPECT_EQ(s.effective(50, 5)["distance"], "euclidean");
    s.distance = "rectangular";
    EXPECT_EQ(s.effective(50, 5)["theta"], std::vector<double>{3.0});
    s.method = "greedy";
    EXPECT_EQ(s.effective(50, 5)["restarts"], 30);
    EXPECT_FALSE(s.effective(50, 5).contains("pairs"));
}

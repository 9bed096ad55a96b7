// Whole runs against the plain form, bit for bit, over settings, criteria, methods and starting designs.
#include "hosts/embedded/embedded_host.h"
#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/phip/phip_sizes.h"
#include "optdoe/search/search_driver.h"
#include "tests/reference/plain/plain_library.h"
#include "tests/support/designs.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <string>

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace {

/// What varies from run to run; drawn once, then given to both forms.
struct run_case {
    int n = 0;
    int k = 0;
    std::int64_t seed = 0;
    run_settings given{}; ///< the scalars that are set; the rest are unset markers
    double exponent = 20.0;
    double kind = 2.0;
    std::vector<double> weights;
    std::vector<double> shares;
    std::vector<std::int32_t> groups;
    std::vector<double> start; ///< empty: random
};

void edit(run_settings* s, std::int32_t nfactors, void* user)
{
    const auto& c = *static_cast<const run_case*>(user);
    s->search_mode = c.given.search_mode;
    s->scaling_mode = c.given.scaling_mode;
    s->symmetric_design = c.given.symmetric_design;
    s->weighted_factor_choice = c.given.weighted_factor_choice;
    s->reduced_neighbourhoods = c.given.reduced_neighbourhoods;
    s->iteration_budget = c.given.iteration_budget;
    s->moves_per_iteration = c.given.moves_per_iteration;
    s->exchange_pairs = c.given.exchange_pairs;
    s->restart_limit = 3;
    s->criterion.criterion_id = c.given.criterion.criterion_id;
    s->criterion.params.param_count_1 = 1;
    s->criterion.params.param_list_1 = &c.exponent;
    s->criterion.params.param_count_2 = 1;
    s->criterion.params.param_list_2 = &c.kind;
    for (std::int32_t j = 0; j < nfactors; ++j) {
        const auto at = static_cast<std::size_t>(j);
        s->criterion.factor_weights[j] = c.weights[at];
        s->factor_shares[j] = c.shares[at];
        s->factor_counts[j] = c.groups[at];
    }
}

run_case draw_case(random_stream& random)
{
    run_case c;
    c.n = 2 + random.below(random.below(4) == 0 ? 40 : 14);
    c.k = 2 + random.below(4);
    c.seed = random.below(1000);
    c.given.criterion.criterion_id = static_cast<std::int8_t>(random.below(2) == 0 ? 1 : random.below(4));
    c.given.search_mode = static_cast<std::uint8_t>(random.below(3));
    c.given.scaling_mode = static_cast<std::int8_t>(random.below(3));
    c.given.symmetric_design = random.below(3) == 0;
    c.given.weighted_factor_choice = random.below(2) == 0;
    c.given.reduced_neighbourhoods = random.below(3) != 0;
    c.given.iteration_budget = 1 + random.below(c.given.search_mode == 2 ? 400 : 6);
    c.given.moves_per_iteration = random.below(2) == 0 ? -1 : 1 + random.below(60);
    c.given.exchange_pairs = random.below(2) == 0 ? 50 : 1 + random.below(20);
    c.exponent = random.below(3) == 0 ? 20.0 : random.below(101);
    c.kind = 1.0 + random.below(2);
    const bool weighted = random.below(3) == 0;
    for (int j = 0; j < c.k; ++j) {
        c.weights.push_back(!weighted ? 1.0 : random.below(3) == 0 ? std::pow(10.0, -16.0 * random.unit()) : 0.3);
        c.shares.push_back(random.below(4) == 0 ? random.unit() : 1.0);
        c.groups.push_back(random.below(2) == 0 ? 1 : 1 + random.below(c.n));
    }
    if (c.n % 2 == 0 && random.below(3) == 0) {
        const table start = random.below(2) == 0 ? random_symmetric_levels(c.n, c.k, random)
                                                 : random_levels(c.n, c.k, random, c.n > 2 ? 2 : 1);
        c.start = start.values();
    }
    return c;
}

struct result {
    std::vector<double> design;
    std::vector<std::string> lines;
    run_outcome outcome{};
};

result run_with(decltype(&optdoe_run) run, run_case& c)
{
    embedded_host host;
    result r;
    host.on_status_line = [&](std::string_view line) {
        if (line.find("Computation time") == std::string_view::npos)
            r.lines.emplace_back(line);
    };
    r.design.assign(static_cast<std::size_t>(c.n * c.k), 0.0);
    r.outcome.design = r.design.data();
    const starting_design start{c.start.data(), 0};
    const run_extras extras{edit, &c, c.start.empty() ? nullptr : &start, &r.outcome};
    host.begin_call();
    run(host.env(), host.self(), c.n, c.k, 1.0, c.seed, &extras);
    host.end_call();
    EXPECT_TRUE(host.violations().empty());
    return r;
}

void compare_with_plain_form(run_case& c, int turn)
{
    choice_counter = static_cast<std::uint32_t>(turn);
    *optdoe_plain_library()->choice_counter = static_cast<std::uint32_t>(turn);
    const result fast = run_with(optdoe_run, c);
    const result plain = run_with(optdoe_plain_library()->run, c);
    SCOPED_TRACE("run " + std::to_string(turn) + ": " + std::to_string(c.n) + " x " + std::to_string(c.k) +
                 ", criterion " + std::to_string(c.given.criterion.criterion_id) + ", method " +
                 std::to_string(c.given.search_mode));
    ASSERT_EQ(fast.lines, plain.lines);
    ASSERT_EQ(fast.outcome.reason, plain.outcome.reason);
    ASSERT_EQ(fast.outcome.iterations, plain.outcome.iterations);
    ASSERT_EQ(fast.outcome.effort, plain.outcome.effort);
    ASSERT_EQ(std::bit_cast<std::uint64_t>(fast.outcome.best_objective),
              std::bit_cast<std::uint64_t>(plain.outcome.best_objective));
    ASSERT_EQ(fast.design, plain.design);
}

} // namespace

TEST(wholeruntwin, have_the_bits_of_the_plain_form)
{
    random_stream random{1};
    for (int i = 0; i < 200 && !HasFailure(); ++i) {
        run_case c = draw_case(random);
        compare_with_plain_form(c, i);
    }
}

// Just above 1e-15 a factor is in use, while most of its entries, times the weight, count as equal.
TEST(wholeruntwin, have_the_bits_of_the_plain_form_with_the_least_weights)
{
    random_stream random{2};
    for (int i = 0; i < 200 && !HasFailure(); ++i) {
        run_case c = draw_case(random);
        c.given.criterion.criterion_id = 1;
        c.exponent = 1.0 + random.below(10);
        const double weight = std::pow(10.0, -15.0 + 1.5 * random.unit());
        c.weights.assign(c.weights.size(), weight);
        compare_with_plain_form(c, i);
    }
}

#if defined(__x86_64__)

namespace {

/// While it lives, the processor takes subnormal numbers for zero and makes none.
class flushing_to_zero {
public:
    flushing_to_zero() { _mm_setcsr(before_ | 0x8040); }
    ~flushing_to_zero() { _mm_setcsr(before_); }
    flushing_to_zero(const flushing_to_zero&) = delete;
    flushing_to_zero& operator=(const flushing_to_zero&) = delete;

private:
    unsigned before_ = _mm_getcsr();
};

} // namespace

TEST(wholeruntwin, have_the_bits_of_the_plain_form_in_a_host_that_flushes_to_zero)
{
    random_stream random{3};
    for (int i = 0; i < 200 && !HasFailure(); ++i) {
        run_case c = draw_case(random);
        if (i % 2 == 0) // terms of weighted entries, or their copies in single precision, become subnormal
            c.weights.assign(c.weights.size(), std::pow(10.0, -15.0 + 15.0 * random.unit()));
        const flushing_to_zero flushed;
        compare_with_plain_form(c, i);
    }
}

#endif

TEST(wholeruntwin, of_many_rows_have_the_bits_of_the_plain_form)
{
    run_case c;
    c.n = most_rows_with_all_lines + 13;
    c.k = 3;
    c.seed = 77;
    c.given.criterion.criterion_id = 1;
    c.given.scaling_mode = 1;
    c.given.reduced_neighbourhoods = 1;
    c.given.iteration_budget = 3;
    c.given.moves_per_iteration = 60;
    c.given.exchange_pairs = 50;
    c.weights.assign(3, 1.0);
    c.shares.assign(3, 1.0);
    c.groups.assign(3, 1);
    compare_with_plain_form(c, 1);
}

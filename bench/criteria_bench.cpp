// Operations of the criteria, with the plain form measured in the same run: names begin with
// criterion/operation/form/n.
#include "optdoe/criteria/criterion.h"
#include "optdoe/entry/run_slots.h"
#include "optdoe/numeric/index_sort.h"
#include "tests/reference/plain/plain_library.h"
#include "tests/support/designs.h"

#include "hosts/embedded/embedded_host.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace {

constexpr int factors = 10;
constexpr std::size_t candidates = 50;
constexpr int refresh_interval = 41; // moves between two evaluations, as in the search

/// The operations of a criterion by its number.
const criterion_ops& ops_of(int id, bool plain)
{
    criterion_options options{};
    options.criterion_id = static_cast<std::int8_t>(id);
    return plain ? optdoe_plain_library()->criterion_for(options) : criterion_for(options);
}

/// A random design of the kind that a criterion's runs start from.
table random_design(int id, int n, random_stream& random)
{
    table design = id == 3 ? random_levels(n, factors, random, n / 5) : random_levels(n, factors, random);
    for (int i = 0; i < n && id != 3; ++i)
        for (int j = 0; j < factors; ++j)
            design[i][j] = id == 2 ? (design[i][j] - 0.5) / n : (design[i][j] - 1.0) / (n - 1);
    return design;
}

/// One criterion, set up on a design.
class subject {
public:
    subject(int id, bool plain, const table& design) : plain_(plain), ops_(ops_of(id, plain))
    {
        const int n = design.rows();
        plain_ ? optdoe_plain_library()->slots_open(&ctx_, host_.env(), host_.self())
               : run_slots_open(&ctx_, host_.env(), host_.self());
        run_slots_open(&helper_, host_.env(), host_.self());
        criterion_options options{};
        options.criterion_id = static_cast<std::int8_t>(id);
        options.factor_weights = weights_.data();
        const std::vector<std::int32_t> levels(factors, id == 3 ? 5 : n);
        ctx_.criterion->in_force = &ops_;
        ops_.setup(&ctx_, design.data(), static_cast<std::uint32_t>(n), 0, factors, options, levels.data());
        draw_candidates(n);
    }
    ~subject()
    {
        plain_ ? optdoe_plain_library()->slots_close(&ctx_) : run_slots_close(&ctx_);
        run_slots_close(&helper_);
    }

    /// The next column and its candidate pairs, which were drawn beforehand.
    void next_candidates()
    {
        drawn_ = (drawn_ + 1) % draws;
        column_ = static_cast<std::int32_t>(drawn_ % factors);
        rows_a_ = first_.data() + drawn_ * candidates;
        rows_b_ = second_.data() + drawn_ * candidates;
    }
    double single() { return ops_.try_swap(&ctx_, column_, rows_a_[0], rows_b_[0]); }
    std::int32_t best()
    {
        constexpr auto count = static_cast<std::int32_t>(candidates);
        double value = 0.0;
        if (!plain_)
            return crit_best_swap(&ctx_, column_, count, rows_a_, rows_b_, &value);
        double values[candidates];
        std::int32_t order[candidates];
        for (std::size_t t = 0; t < candidates; ++t)
            values[t] = ops_.try_swap(&ctx_, column_, rows_a_[t], rows_b_[t]);
        indexx_double(&helper_, candidates, values, order);
        return order[0];
    }
    void commit(std::int32_t t)
    {
        const auto at = static_cast<std::size_t>(t);
        ops_.apply_swaps(&ctx_, column_, 1, &rows_a_[at], &rows_b_[at]);
    }
    void save() { ops_.save_column(&ctx_, column_); }
    void restore() { ops_.restore_column(&ctx_, column_); }
    void evaluate() { ops_.evaluate(&ctx_, nullptr); }
    void copy_design(table& out) { ops_.copy_design(&ctx_, out.data()); }

    /// A column move as the search makes it; every other one is taken back.
    void move()
    {
        next_candidates();
        save();
        commit(best());
        if (++moves_ % 2 == 0)
            restore();
        if (moves_ % refresh_interval == 0)
            evaluate();
    }

private:
    static constexpr std::size_t draws = 97;

    void draw_candidates(int n)
    {
        for (std::size_t t = 0; t < draws * candidates; ++t) {
            first_.push_back(random_.below(n));
            second_.push_back((first_.back() + 1 + random_.below(n - 1)) % n);
        }
    }

    bool plain_;
    const criterion_ops& ops_;
    embedded_host host_;
    run_context ctx_{};
    run_context helper_{}; // for the index sort of the plain form's move
    random_stream random_{11};
    std::vector<double> weights_ = std::vector<double>(factors, 1.0);
    std::int32_t column_ = 0;
    std::vector<std::int32_t> first_;
    std::vector<std::int32_t> second_;
    std::size_t drawn_ = 0;
    const std::int32_t* rows_a_ = nullptr;
    const std::int32_t* rows_b_ = nullptr;
    int moves_ = 0;
};

/// Designs that a criterion is measured on, the same for both forms.
enum class design_kind { random, searched };

/// The better a design is, the more exchanges do the bounds of phi-p rule out: what looks for the best is measured in
/// the midst of a search. What makes random exchanges would spoil such a design at once.
const table& measured_design(int id, int n, design_kind kind)
{
    constexpr int phip = 1;
    constexpr int moves_before = 20000;
    static std::map<std::tuple<int, int, design_kind>, table> designs;
    if (const auto found = designs.find({id, n, kind}); found != designs.end())
        return found->second;
    random_stream random{11};
    table design = random_design(id, n, random);
    if (id == phip && kind == design_kind::searched) {
        subject s(id, false, design);
        for (int i = 0; i < moves_before; ++i)
            s.move();
        s.copy_design(design);
    }
    return designs.emplace(std::tuple(id, n, kind), design).first->second;
}

std::string name_of(int id, const char* operation, bool plain, int n)
{
    return std::string(ops_of(id, false).name) + '/' + operation + '/' + (plain ? "plain" : "fast") + '/' +
           std::to_string(n);
}

template <class Body>
void add(int id, const char* operation, bool plain, int n, design_kind kind, Body body)
{
    benchmark::RegisterBenchmark(name_of(id, operation, plain, n).c_str(), [=](benchmark::State& state) {
        subject s(id, plain, measured_design(id, n, kind));
        s.next_candidates();
        s.best(); // fills what is kept from one best to the next
        for (auto _ : state)
            body(s);
    })->Unit(benchmark::kMicrosecond);
}

double processor_seconds()
{
    std::timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// What a reading of the clock itself takes.
double clock_seconds()
{
    double least = 1.0;
    for (int i = 0; i < 1000; ++i) {
        const double before = processor_seconds();
        least = std::min(least, processor_seconds() - before);
    }
    return least;
}

/// Evaluations after 20 exchanges each, which are not in the time: a form that keeps what has not changed would
/// otherwise find nothing to do.
void add_evaluate(int id, bool plain, int n)
{
    constexpr int exchanges = 20;
    benchmark::RegisterBenchmark(name_of(id, "evaluate", plain, n).c_str(),
                                 [=](benchmark::State& state) {
                                     subject s(id, plain, measured_design(id, n, design_kind::random));
                                     const double clock = clock_seconds();
                                     for (auto _ : state) {
                                         for (int i = 0; i < exchanges; ++i) {
                                             s.next_candidates();
                                             s.commit(0);
                                         }
                                         const double before = processor_seconds();
                                         s.evaluate();
                                         state.SetIterationTime(std::max(processor_seconds() - before - clock, 1e-9));
                                     }
                                 })
        ->Unit(benchmark::kMicrosecond)
        ->UseManualTime()
        ->Iterations(std::clamp(2000000 / (n * n), 2, 500));
}

void add_operations(int id, bool plain, int n)
{
    add(id, "move", plain, n, design_kind::searched, [](subject& s) { s.move(); });
    add(id, "single_trial", plain, n, design_kind::searched, [](subject& s) {
        s.next_candidates();
        benchmark::DoNotOptimize(s.single());
    });
    add(id, "best_of_50", plain, n, design_kind::searched, [](subject& s) {
        s.next_candidates();
        benchmark::DoNotOptimize(s.best());
    });
    add(id, "commit", plain, n, design_kind::random, [](subject& s) {
        s.next_candidates();
        s.commit(0);
    });
    add(id, "save_restore", plain, n, design_kind::random, [](subject& s) {
        s.next_candidates();
        s.save();
        s.commit(0);
        s.restore();
    });
    add_evaluate(id, plain, n);
}

} // namespace

int main(int argc, char** argv)
{
    for (int id = 0; id < 4; ++id)
        for (const int n : {20, 50, 100, 200, 500, 1000, 2000})
            for (const bool plain : {true, false})
                if (id != 0 || !plain || n <= 500) // the plain entropy takes seconds a trial beyond
                    add_operations(id, plain, n);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

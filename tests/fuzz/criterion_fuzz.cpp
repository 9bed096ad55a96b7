// Scripts of criterion operations: the library against its plain form, bit for bit, and trials against commits.

#include "tests/fuzz/fuzz_input.h"

#include "hosts/embedded/embedded_host.h"
#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/phip/phip_state.h"
#include "optdoe/entry/run_slots.h"
#include "tests/reference/plain/plain_library.h"
#include "tests/support/phip_invariants.h"

#include <bit>
#include <cmath>
#include <vector>

namespace {

/// One form of a criterion with a context of its own.
class form {
public:
    form(decltype(&criterion_for) choose, decltype(&run_slots_open) open, decltype(&run_slots_close) close)
        : choose_(choose), close_(close)
    {
        host_.begin_call();
        require(open(&context_, host_.env(), host_.self()), "no context");
    }
    ~form() { close_(&context_); }
    form(const form&) = delete;
    form& operator=(const form&) = delete;

    run_context* ctx() { return &context_; }
    const criterion_ops& ops() const { return *ops_; }
    const criterion_ops& ops_for(const criterion_options& options)
    {
        context_.criterion->in_force = ops_ = &choose_(options);
        return *ops_;
    }

private:
    run_context context_{};
    embedded_host host_;
    decltype(&criterion_for) choose_;
    const criterion_ops* ops_ = nullptr;
    decltype(&run_slots_close) close_;
};

bool same(double a, double b)
{
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) || (std::isnan(a) && std::isnan(b));
}

struct row_lists {
    std::vector<std::int32_t> first, second;
    int count() const { return static_cast<int>(first.size()); }
};

class script {
public:
    script(fuzz_input& input, int criterion, const plain_library& plain)
        : input_(input), library_(criterion_for, run_slots_open, run_slots_close),
          plain_(plain.criterion_for, plain.slots_open, plain.slots_close), n_(2 + input.below(30)),
          k_(1 + input.below(5)), fixed_(input.below(4)), entries_(static_cast<std::size_t>((n_ + fixed_) * k_)),
          is_phip_(criterion == 1)
    {
        if (is_phip_ && n_ % 2 == 0)
            library_.ctx()->phip->distances.most_rows_with_all_lines = 0; // the form for many rows
        const int levels = 1 + input.below(n_ + fixed_);
        const bool wild = criterion != 3 && input.below(8) == 0;
        for (double& entry : entries_)
            entry = wild             ? wild_entry()
                    : criterion == 3 ? 1 + input.below(levels)
                                     : input.below(levels) / std::fmax(1, levels - 1);
        for (int i = 0; i < n_ + fixed_; ++i)
            rows_.push_back(entries_.data() + i * k_);
        for (int j = 0; j < k_; ++j) {
            weights_.push_back(input.below(4) == 0 ? (1 + input.below(200)) / 201.0 : 1.0);
            level_counts_.push_back(levels);
        }
        parameters_[0] = criterion == 1 ? input.below(101) : 0.1 + input.below(250);
        parameters_[1] = 1 + input.below(2);
        criterion_options options{};
        options.criterion_id = static_cast<std::int8_t>(criterion);
        options.factor_weights = weights_.data();
        options.params.param_count_1 = input.below(3) == 0 ? 0 : 1;
        options.params.param_list_1 = &parameters_[0];
        options.params.param_count_2 = 1;
        options.params.param_list_2 = &parameters_[1];
        for (form* f : {&library_, &plain_})
            f->ops_for(options).setup(f->ctx(), rows_.data(), static_cast<std::uint32_t>(n_),
                                      static_cast<std::uint32_t>(fixed_), k_, options, level_counts_.data());
        compare();
    }

    ~script()
    {
        for (form* f : {&library_, &plain_})
            f->ops().release(f->ctx());
    }
    script(const script&) = delete;
    script& operator=(const script&) = delete;

    void play()
    {
        for (int step = 0; step < 200 && !input_.empty(); ++step) {
            operation(input_.below(k_));
            require(!is_phip_ || broken_phip_invariant(library_.ctx()).empty(), "the tables are out of step");
            compare();
        }
    }

private:
    double wild_entry()
    {
        const double entry = input_.take<double>();
        return std::isfinite(entry) ? std::fmod(entry, 1e6) : 0.5;
    }

    /// The same operation on both forms gives the same bits.
    template <class Operation>
    double both(Operation operation)
    {
        const double a = operation(library_.ops(), library_.ctx());
        const double b = operation(plain_.ops(), plain_.ctx());
        require(same(a, b), "the forms differ");
        return a;
    }

    void compare()
    {
        both([](const criterion_ops& ops, run_context* ctx) { return ops.value(ctx); });
        double** a = library_.ops().copy_design(library_.ctx(), nullptr);
        double** b = plain_.ops().copy_design(plain_.ctx(), nullptr);
        for (int i = 0; i < n_ + fixed_; ++i)
            for (int j = 0; j < k_; ++j)
                require(same(a[i][j], b[i][j]), "the working designs differ");
    }

    std::vector<std::int32_t> some_rows(int count)
    {
        std::vector<std::int32_t> rows;
        for (int i = 0; i < n_; ++i)
            rows.push_back(fixed_ + i);
        for (int i = 0; i < count; ++i)
            std::swap(rows[static_cast<std::size_t>(i)], rows[static_cast<std::size_t>(i + input_.below(n_ - i))]);
        rows.resize(static_cast<std::size_t>(count));
        return rows;
    }

    row_lists pairs()
    {
        const int count = input_.below(3) == 0 ? input_.below(n_ / 2 + 1) : 1;
        const auto rows = some_rows(2 * count);
        return {{rows.begin(), rows.begin() + count}, {rows.begin() + count, rows.end()}};
    }

    row_lists moves()
    {
        row_lists lists{some_rows(input_.below(n_ + 1)), {}};
        lists.second = lists.first;
        for (std::size_t i = 1; i < lists.second.size(); ++i)
            std::swap(lists.second[i], lists.second[static_cast<std::size_t>(input_.below(static_cast<int>(i) + 1))]);
        return lists;
    }

    void swaps(int column, bool commit)
    {
        const row_lists p = pairs();
        const double tried = both([&](const criterion_ops& ops, run_context* ctx) {
            return ops.try_swaps(ctx, column, p.count(), p.first.data(), p.second.data());
        });
        if (!commit)
            return;
        const double value = both([&](const criterion_ops& ops, run_context* ctx) {
            return ops.apply_swaps(ctx, column, p.count(), p.first.data(), p.second.data());
        });
        require(same(tried, value), "a trial of exchanges and its commit differ");
    }

    void rearrangement(int column, bool commit)
    {
        const row_lists m = moves();
        both([&](const criterion_ops& ops, run_context* ctx) {
            return ops.try_moves(ctx, column, m.count(), m.first.data(), m.second.data());
        });
        if (commit)
            both([&](const criterion_ops& ops, run_context* ctx) {
                return ops.apply_moves(ctx, column, m.count(), m.first.data(), m.second.data());
            });
    }

    void best_of_many(int column)
    {
        row_lists candidates;
        for (int count = 1 + input_.below(12); count > 0; --count) {
            const auto rows = some_rows(2);
            candidates.first.push_back(rows[0]);
            candidates.second.push_back(rows[1]);
        }
        const auto best = [&](const criterion_ops& ops, run_context* ctx, double* value) {
            const std::int32_t unique =
                ops.unique_best_swap == nullptr
                    ? -1
                    : ops.unique_best_swap(ctx, column, candidates.count(), candidates.first.data(),
                                           candidates.second.data(), value);
            return unique >= 0 ? unique
                               : best_swap_by_trials(ctx, ops.try_swap, column, candidates.count(),
                                                     candidates.first.data(), candidates.second.data(), value);
        };
        double value_of_library = 0.0;
        double value_by_trials = 0.0;
        const std::int32_t a = best(library_.ops(), library_.ctx(), &value_of_library);
        const std::int32_t b =
            best_swap_by_trials(library_.ctx(), library_.ops().try_swap, column, candidates.count(),
                                candidates.first.data(), candidates.second.data(), &value_by_trials);
        require(a == b && same(value_of_library, value_by_trials), "the best of many is not that of the trials");
    }

    template <class Member>
    void on_both(Member member)
    {
        for (form* f : {&library_, &plain_})
            member(f->ops(), f->ctx());
    }

    /// Between save and restore of a column only that column changes.
    void column_session(int column)
    {
        on_both([&](const criterion_ops& ops, run_context* ctx) { ops.save_column(ctx, column); });
        for (int steps = input_.below(5); steps > 0; --steps) {
            input_.below(2) == 0 ? swaps(column, true) : rearrangement(column, true);
            compare();
        }
        if (input_.below(4) == 0)
            both([](const criterion_ops& ops, run_context* ctx) { return ops.evaluate(ctx, nullptr); });
        if (input_.below(3) != 0)
            on_both([&](const criterion_ops& ops, run_context* ctx) { ops.restore_column(ctx, column); });
    }

    void operation(int column)
    {
        switch (input_.below(12)) {
        case 0: both([](const criterion_ops& ops, run_context* ctx) { return ops.evaluate(ctx, nullptr); }); break;
        case 1: both([](const criterion_ops& ops, run_context* ctx) { return ops.value_of(ctx, nullptr); }); break;
        case 2: column_session(column); break;
        case 3:
            on_both([](const criterion_ops& ops, run_context* ctx) { ops.save_design(ctx); });
            saved_ = true;
            break;
        case 4:
            if (saved_)
                on_both([](const criterion_ops& ops, run_context* ctx) { ops.restore_design(ctx); });
            break;
        case 5: rearrangement(column, input_.below(2) == 0); break;
        case 6:
        case 7: best_of_many(column); break;
        case 8: {
            const auto rows = some_rows(2);
            both([&](const criterion_ops& ops, run_context* ctx) {
                return ops.try_swap(ctx, column, rows[0], rows[1]);
            });
            break;
        }
        default: swaps(column, input_.below(3) != 0);
        }
    }

    fuzz_input& input_;
    form library_, plain_;
    int n_, k_, fixed_;
    std::vector<double> entries_;
    std::vector<double*> rows_;
    std::vector<double> weights_;
    std::vector<std::int32_t> level_counts_;
    bool is_phip_;
    double parameters_[2]{};
    bool saved_ = false;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz_input input(data, size);
    const int criterion = input.below(4);
    script(input, criterion, *optdoe_plain_library()).play();
    return 0;
}

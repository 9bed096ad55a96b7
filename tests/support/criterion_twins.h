/// One criterion in two forms, the library's and the plain one, set up alike and driven in lockstep.
#pragma once

#include "optdoe/simd/kernel_variants.h"
#include "tests/reference/plain/plain_library.h"
#include "tests/support/designs.h"
#include "tests/support/test_run.h"

#include <cstdint>
#include <vector>

struct twin_case {
    int criterion_id = 0; ///< 0 entropy, 1 phi-p, 2 centered L2 discrepancy, 3 A2
    int fixed_rows = 0;
    std::vector<double> weights;  ///< empty: all 1
    std::vector<double> params_1; ///< first and second parameter list
    std::vector<double> params_2;
    std::vector<std::int32_t> levels; ///< level counts; empty: the number of rows
};

class criterion_twins {
public:
    criterion_twins(const table& design, const twin_case& how);
    ~criterion_twins();
    criterion_twins(const criterion_twins&) = delete;
    criterion_twins& operator=(const criterion_twins&) = delete;

    const criterion_ops& fast_ops() const { return *fast_ops_; }
    const criterion_ops& plain_ops() const { return *plain_ops_; }
    run_context* fast() { return fast_.ctx(); }
    run_context* plain() { return &plain_; }

    /// Chooses the kernels of the library's form, before setup(); the machine must have the set.
    void use_variant(instruction_set set);

    /// Sets up both forms; apart from the constructor, so that a test can choose a kernel variant before. Every
    /// second phi-p is set up as for many rows.
    void setup();

    /// Calls the same operation on both; the two results, to be compared bit for bit.
    struct results {
        double fast;
        double plain;
    };
    template <class Operation>
    results both(Operation operation)
    {
        return {operation(*fast_ops_, fast()), operation(*plain_ops_, plain())};
    }

    /// The best exchange as the search asks for it, and by single trials and the index sort of the plain form.
    struct best {
        std::int32_t position;
        double value;
    };
    best fast_best_swap(int column, const std::vector<std::int32_t>& a, const std::vector<std::int32_t>& b);
    best plain_best_swap(int column, const std::vector<std::int32_t>& a, const std::vector<std::int32_t>& b);

private:
    table design_;
    twin_case how_;
    std::vector<double> weights_;
    test_run fast_;
    embedded_host plain_host_;
    run_context plain_{};
    const criterion_ops* fast_ops_ = nullptr; ///< of setup, like the next
    const criterion_ops* plain_ops_ = nullptr;
};

/// A run of phi-p whose bounds are prepared for 20 exchanges of one column.
#pragma once

#include "optdoe/criteria/phip/phip_bounds.h"
#include "tests/support/phip_run.h"

#include <vector>

struct bounded_run {
    /// p is the exponent on the distances as they are stored.
    bounded_run(int n, distance_kind kind, std::int32_t p, random_stream& random)
        : run(random_unit_design(n, 3, random), {kind == distance_kind::euclidean ? 2.0 * p : p},
              {kind == distance_kind::euclidean ? 2.0 : 1.0})
    {
        for (int t = 0; t < 20; ++t) {
            a.push_back(random.below(n));
            b.push_back((a.back() + 1 + random.below(n - 1)) % n);
        }
        candidates.column = 1;
        candidates.count = 20;
        candidates.rows_a = a.data();
        candidates.rows_b = b.data();
        double value = 0.0;
        crit_best_swap(run.ctx(), 1, 20, a.data(), b.data(), &value); // copies the distances
        usable = prepare_bounds(state(), candidates);
    }

    phip_state& state() { return *run->phip; }

    phip_run run;
    std::vector<std::int32_t> a;
    std::vector<std::int32_t> b;
    bounded_candidates candidates{};
    bool usable;
};

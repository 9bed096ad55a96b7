/// A run of phi-p, or of maximin, with the first values of its two parameter lists.
#pragma once

#include "optdoe/criteria/criterion.h"
#include "tests/support/search_run.h"

#include <bit>
#include <cstdint>
#include <vector>

/// An empty list is not given.
struct phip_run : search_run {
    phip_run(const table& start, const std::vector<double>& list_1, const std::vector<double>& list_2)
        : search_run(start, [&](run_settings& s) {
              s.criterion.params.param_count_1 = static_cast<std::int32_t>(list_1.size());
              s.criterion.params.param_list_1 = list_1.empty() ? nullptr : list_1.data();
              s.criterion.params.param_count_2 = static_cast<std::int32_t>(list_2.size());
              s.criterion.params.param_list_2 = list_2.empty() ? nullptr : list_2.data();
          })
    {
    }
    double value() { return crit_value(ctx()); }

    static inline const std::vector<double> none;
    static inline const std::vector<double> rectangular{1.0}; ///< as second list
};

inline std::uint64_t bits_of(double x) { return std::bit_cast<std::uint64_t>(x); }

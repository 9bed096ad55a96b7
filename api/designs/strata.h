/// Where added runs may stand: the strata that earlier runs leave free.
///
/// A column of N = old + new runs is cut into N equal strata of 0..1. Old runs stay where they are. Each is assigned
/// a stratum of its own so that the summed distance between runs and stratum centres is least (order is kept, hence a
/// dynamic program over the sorted runs); the strata left over are as even a complement as there can be, and the new
/// runs stand at their centres. Where two old runs share a stratum, one of them is counted in a free stratum nearby,
/// which then stays empty.
#pragma once

#include <cstddef>
#include <vector>

namespace optdoe {

struct column_strata {
    std::vector<double> centres; ///< of the `added` strata for new runs, ascending
    std::size_t shared = 0;      ///< old runs that share their stratum with an earlier one
};

/// old_runs: values of one column in 0..1.
column_strata free_strata(std::vector<double> old_runs, std::size_t added);

} // namespace optdoe

/// One whole call of either form of the library through the embedded host, with its processor time.
#pragma once

#include "optdoe/entry/optdoe.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <vector>

struct library_form {
    decltype(&optdoe_run) run;
    std::atomic<std::uint32_t>* counter; ///< the rotation of factors, set back before each call
};

library_form fast_form();
library_form plain_form();

/// Default settings but for what is named here.
struct call_request {
    int n;
    int k;
    int rounds = 0;        ///< 0: the default number
    int criterion = 1;     ///< 0 entropy, 1 phi-p, 2 centered L2 discrepancy, 3 A2
    double minutes = 1000; ///< time limit
};

struct timed_call {
    std::vector<double> design;
    run_outcome outcome;   ///< its design points to the vector above
    double seconds;        ///< processor time of all
    double search_seconds; ///< of the rounds but the last, when they are timed
    double search_moves;   ///< column moves made in these rounds
};

/// Makes the call with seed 5 and times its rounds, from the first poll of the stop flag to the last, which costs a
/// little in every round.
///   on_round   called at the begin of each round with its number, from 1; may be empty
timed_call make_call(const library_form& form, const call_request& request,
                     const std::function<void(int round)>& on_round = {});

/// Makes the same call without a look at its rounds.
timed_call make_whole_call(const library_form& form, const call_request& request);

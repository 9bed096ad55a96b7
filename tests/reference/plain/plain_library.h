/// The library with criteria and sampling in plain form: every table and sum as the definitions name them, no
/// pruning, no vector code, repeats told by sorting. Differential tests compare with it bit for bit; benchmarks take
/// it as the base of their ratios.
///
/// It is a shared library of its own, so that both forms live in one process; contexts must be opened, used and
/// closed by functions of the same form.
#pragma once

#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/entry/optdoe.h"

#include <atomic>
#include <cstdint>

struct plain_library {
    decltype(&optdoe_run) run;
    bool (*slots_open)(run_context*, jni::Env*, jni::Object);
    void (*slots_close)(run_context*);
    decltype(&::criterion_for) criterion_for;
    double (*column_move)(run_context*, std::int32_t factor, double current_value);
    std::atomic<std::uint32_t>* choice_counter; ///< of this form; the two libraries count apart
};

OPTDOE_EXPORT const plain_library* optdoe_plain_library();

/// One call of the library opened by hand: a run context with every slot, an embedded host and the armed error exit.
#pragma once

#include "hosts/embedded/embedded_host.h"

#include "optdoe/run/run_context.h"
#include "optdoe/run/run_globals.h"

#include <csetjmp>
#include <string>
#include <vector>

class test_run {
public:
    test_run();
    ~test_run();
    test_run(const test_run&) = delete;
    test_run& operator=(const test_run&) = delete;

    run_context* operator->() { return &context_; }
    run_context* ctx() { return &context_; }
    run_settings& settings() { return context_.globals->settings; }

    /// Runs body with the error exit armed.
    ///   returns true when it came to its end, false when the error exit was taken
    /// The body, and what it calls, holds nothing with a destructor where the library may leave through the exit.
    template <class Body>
    [[gnu::noinline]] bool completes(const Body& body)
    {
        if (setjmp(context_.globals->error_exit) != 0)
            return false;
        body();
        return true;
    }

    /// Allocates the per-factor vectors of the settings and marks every setting as unset, as a call does.
    void reset_settings(int nfactors);

    /// Tracked blocks alive now; chunks and the status word included in neither.
    int live_blocks() const;

    embedded_host host;
    std::vector<std::string> lines; ///< status lines received

private:
    run_context context_{};
};

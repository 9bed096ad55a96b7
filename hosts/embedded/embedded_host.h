/// A host in C++: the environment that the library expects of a Java virtual machine, without one.
///
/// It serves the functions of the Java Native Interface that the library calls, keeps what a call leaves behind
/// (result, pending exception, number of callbacks) and holds the library to the rules of that interface: a call
/// that is not allowed while an exception is pending, an unknown or stale reference, elements released twice or not
/// at all are recorded as violations. Any other function of the table ends the process with a message.
///
/// Threads     one host per thread; hosts share nothing.
/// Callbacks   run inside the library, on the calling thread. A C++ exception never crosses the library's frames: it
///             is kept, the library sees a pending java/lang/RuntimeException, and run() throws it again afterwards.
/// References  handed out to the library are valid until the next begin_call(), as local references are.
/// Source      Java Native Interface documentation, chapters 2 ("Exceptions") and 4 ("JNI Functions").
#pragma once

#include "optdoe/entry/optdoe.h"
#include "optdoe/run/jni_abi.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// An exception pending in the host.
struct host_exception {
    std::string class_name; ///< with slashes
    std::string message;
    bool operator==(const host_exception&) const = default;
};

/// What goes wrong in the host on purpose. Positions count from 0 within one call; -1: never.
struct host_faults {
    int throw_at_callback = -1; ///< position among all callbacks, lines and polls together
    host_exception thrown{"java/lang/IllegalStateException", "thrown by the host"};
    bool no_status_method = false; ///< the host object lacks addStatusMessage(String)
    bool no_stop_method = false;   ///< the host object lacks getStopFlag()
    int null_string_at = -1;       ///< position of the NewStringUTF that fails for want of memory
    bool null_array = false;       ///< NewIntArray fails for want of memory
    bool null_elements = false;    ///< GetIntArrayElements likewise
    bool no_class = false;         ///< FindClass finds nothing
};

class embedded_host {
public:
    embedded_host();
    ~embedded_host();
    embedded_host(const embedded_host&) = delete;
    embedded_host& operator=(const embedded_host&) = delete;

    /// Receives each status line; empty: lines are dropped.
    std::function<void(std::string_view line)> on_status_line;
    /// Answers the stop flag; empty: 0, never stop.
    std::function<int()> on_stop_poll;
    /// Used by every call until changed.
    host_faults faults;

    /// One design. Without extras it goes through the exported native method, else through optdoe_run.
    ///   returns the levels, row-major, or nothing: then pending() tells whether an exception is the reason
    ///   throws  what a callback threw
    std::optional<std::vector<std::int32_t>> run(std::int32_t nsamples, std::int32_t nfactors,
                                                 double max_time_minutes, std::int64_t seed,
                                                 const run_extras* extras = nullptr);

    /// What the last call left pending.
    const std::optional<host_exception>& pending() const;
    /// Rules broken by the last call, one sentence each.
    const std::vector<std::string>& violations() const;
    /// Callbacks of the last call.
    int line_count() const;
    int poll_count() const;

    /// For callers of internal functions: the environment, the host object, and a fresh start between calls.
    jni::Env* env();
    jni::Object self() const;
    void begin_call();
    /// Checks that what the call obtained was given back; run() does it itself.
    void end_call();

private:
    struct state;
    friend struct host_functions;
    std::unique_ptr<state> state_;
};

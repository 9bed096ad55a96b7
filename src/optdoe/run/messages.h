/// The talk with the host: status lines, the stop flag and the time budget.
///
/// Threads  callbacks run on the calling thread, synchronously.
/// Errors   an exception pending after a look-up or a callback leaves through the error exit, still pending.
/// Clock    elapsed wall time of a monotonic clock, 1000 ticks a second, in 32 bits: differences are right for runs
///          of up to 24.8 days.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstddef>
#include <cstdint>

/// Long enough for every line: the longest double that %f prints has 317 characters.
inline constexpr std::size_t message_capacity = 400;

/// Formats as printf into buffer, never beyond its size, always terminated. Numbers with decimals are given as the
/// text of fixed_text: printf would write the decimal separator of the host's locale.
///   returns the number of characters that the whole text has, -1 on a formatting error (the text is then empty)
[[gnu::format(printf, 3, 4)]] int format_text(char* buffer, std::size_t size, const char* format, ...);

/// A number as text. The longest double has 317 characters, and a separator takes at most 16 bytes.
struct number_text {
    char text[340];
};

/// The number as "%.*f" writes it in the "C" locale, whatever the locale of the process or thread is.
///   decimals   at least 1
number_text fixed_text(double value, int decimals);

/// Sends one line, modified UTF-8, to the host's addStatusMessage(String).
void status_message(run_context* ctx, const char* text);

/// The host's getStopFlag(): any non-zero value asks the run to stop.
std::int32_t poll_stop_flag(run_context* ctx);

/// Monotonic milliseconds, low 32 bits.
std::int32_t current_ticks();

/// Milliseconds since the call began.
double elapsed_ticks(const run_context* ctx);

/// Asks whether time remains.
///   limit_ms   the budget; the flag turns 0 for good once more has elapsed, never for NaN
///   returns the within-budget flag
std::int32_t check_time_budget(run_context* ctx, double limit_ms);

/// Ends the talk: sends the computation-time line and, when the budget was exceeded, the warning line.
void report_computation_time(run_context* ctx);

/// Writes the computation-time line: seconds below one minute, minutes from there on.
void format_computation_time(char* buffer, std::size_t size, double elapsed_ms);

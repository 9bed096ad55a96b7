#include "optdoe/run/messages.h"

#include "optdoe/run/run_globals.h"
#include "optdoe/run/tracked_storage.h"
#include "optdoe/run/wrap32.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

/// Leaves through the error exit when the host has an exception pending.
static void leave_if_pending(run_context* ctx)
{
    jni::Env* env = ctx->globals->env;
    if (env->functions->ExceptionOccurred(env) != nullptr)
        error_exit(ctx);
}

/// Looks a method of the host object up. It is looked up anew at every use: nothing outlives the call by accident.
static jni::Method host_method(run_context* ctx, const char* name, const char* signature)
{
    jni::Env* env = ctx->globals->env;
    const jni::Object type = env->functions->GetObjectClass(env, ctx->globals->self);
    leave_if_pending(ctx);
    const jni::Method method = env->functions->GetMethodID(env, type, name, signature);
    leave_if_pending(ctx);
    return method;
}

int format_text(char* buffer, std::size_t size, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    if (length >= 0)
        return length;
    if (size > 0)
        buffer[0] = '\0';
    return -1;
}

number_text fixed_text(double value, int decimals)
{
    const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
    number_text number{};
    const int length = std::snprintf(number.text, sizeof number.text, "%.*f", decimals, value);
    char* separator = number.text + (number.text[0] == '-' ? 1 : 0);
    if (length < 0 || !is_digit(*separator))
        return number; // an infinity, or not a number
    while (is_digit(*separator))
        ++separator;
    *separator = '.';
    std::memmove(separator + 1, number.text + length - decimals, static_cast<std::size_t>(decimals) + 1);
    return number;
}

void status_message(run_context* ctx, const char* text)
{
    const jni::Method method = host_method(ctx, "addStatusMessage", "(Ljava/lang/String;)V");
    jni::Env* env = ctx->globals->env;
    const jni::Object line = env->functions->NewStringUTF(env, text);
    if (line == nullptr)
        error_exit(ctx); // the host could not make the string and has its exception pending
    env->functions->CallVoidMethod(env, ctx->globals->self, method, line);
    leave_if_pending(ctx);
}

std::int32_t poll_stop_flag(run_context* ctx)
{
    const jni::Method method = host_method(ctx, "getStopFlag", "()I");
    jni::Env* env = ctx->globals->env;
    const jni::Int flag = env->functions->CallIntMethod(env, ctx->globals->self, method);
    leave_if_pending(ctx);
    return flag;
}

std::int32_t current_ticks()
{
    std::timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::int64_t ms = static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
    return wrap_i32(static_cast<std::uint32_t>(ms));
}

double elapsed_ticks(const run_context* ctx) { return wrap_sub(current_ticks(), ctx->globals->start_ticks); }

void format_computation_time(char* buffer, std::size_t size, double elapsed_ms)
{
    const double seconds = elapsed_ms / 1000.0;
    if (60.0 > seconds)
        format_text(buffer, size, "Computation time                     = %s seconds", fixed_text(seconds, 3).text);
    else
        format_text(buffer, size, "Computation time                     = %s minutes",
                    fixed_text(seconds / 60.0, 2).text);
}

std::int32_t check_time_budget(run_context* ctx, double limit_ms)
{
    run_globals& globals = *ctx->globals;
    if (elapsed_ticks(ctx) > limit_ms)
        globals.within_budget = 0;
    return globals.within_budget;
}

void report_computation_time(run_context* ctx)
{
    char line[message_capacity];
    format_computation_time(line, sizeof line, elapsed_ticks(ctx));
    status_message(ctx, line);
    if (ctx->globals->within_budget == 0)
        status_message(ctx, "WARNING: Time-limit exceeded - design matrix may not be optimal");
}

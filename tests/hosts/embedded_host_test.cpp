#include "hosts/embedded/embedded_host.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

// The rules that the host checks, tried against the host itself: a caller that breaks them is told.

TEST(embeddedhost, a_call_with_an_exception_pending_is_a_violation)
{
    embedded_host host;
    jni::Env* env = host.env();
    const jni::FunctionTable& jni = *env->functions;
    jni.ThrowNew(env, jni.FindClass(env, "java/lang/RuntimeException"), "first");
    EXPECT_TRUE(host.violations().empty());
    EXPECT_NE(jni.ExceptionOccurred(env), nullptr);
    EXPECT_TRUE(host.violations().empty());
    EXPECT_EQ(host.pending(), (host_exception{"java/lang/RuntimeException", "first"}));
    jni.FindClass(env, "java/lang/OutOfMemoryError");
    jni.NewStringUTF(env, "text");
    jni.GetObjectClass(env, host.self());
    EXPECT_EQ(host.violations().size(), 3u);
}

TEST(embeddedhost, wild_references_are_violations)
{
    embedded_host host;
    jni::Env* env = host.env();
    const jni::FunctionTable& jni = *env->functions;
    EXPECT_EQ(jni.GetObjectClass(env, nullptr), nullptr);
    EXPECT_EQ(jni.GetIntArrayElements(env, host.self(), nullptr), nullptr);
    jni.CallVoidMethod(env, host.self(), nullptr, nullptr);
    EXPECT_EQ(jni.CallIntMethod(env, host.self(), nullptr), 0);
    EXPECT_EQ(host.violations().size(), 4u);
}

TEST(embeddedhost, a_method_of_another_signature_is_missing)
{
    embedded_host host;
    jni::Env* env = host.env();
    const jni::FunctionTable& jni = *env->functions;
    const jni::Object type = jni.GetObjectClass(env, host.self());
    EXPECT_NE(jni.GetMethodID(env, type, "getStopFlag", "()I"), nullptr);
    EXPECT_EQ(jni.GetMethodID(env, type, "getStopFlag", "()Z"), nullptr);
    EXPECT_EQ(host.pending(), (host_exception{"java/lang/NoSuchMethodError", "getStopFlag"}));
}

TEST(embeddedhost, elements_are_copied_back_and_must_be_released_once)
{
    embedded_host host;
    jni::Env* env = host.env();
    const jni::FunctionTable& jni = *env->functions;
    const jni::Object array = jni.NewIntArray(env, 2);
    jni::Boolean is_copy = 0;
    jni::Int* elements = jni.GetIntArrayElements(env, array, &is_copy);
    EXPECT_EQ(is_copy, 1);
    EXPECT_EQ(elements[0], 0);
    elements[1] = 7;
    host.end_call();
    ASSERT_EQ(host.violations().size(), 1u);
    jni.ReleaseIntArrayElements(env, array, elements, 0);
    elements = jni.GetIntArrayElements(env, array, nullptr);
    EXPECT_EQ(elements[1], 7);
    jni::Int foreign = 0;
    jni.ReleaseIntArrayElements(env, array, &foreign, 0);
    EXPECT_EQ(host.violations().size(), 2u);
    jni.ReleaseIntArrayElements(env, array, elements, 0);
    jni.ReleaseIntArrayElements(env, array, elements, 0);
    EXPECT_EQ(host.violations().size(), 3u);
}

TEST(embeddedhost, a_negative_array_size_raises)
{
    embedded_host host;
    EXPECT_EQ(host.env()->functions->NewIntArray(host.env(), -1), nullptr);
    EXPECT_EQ(host.pending()->class_name, "java/lang/NegativeArraySizeException");
}

TEST(embeddedhost, an_unserved_function_ends_the_process)
{
    embedded_host host;
    void* slot = host.env()->functions->unused_32;
    void (*function)() = nullptr;
    std::memcpy(&function, &slot, sizeof slot);
    EXPECT_DEATH(function(), "does not serve");
}

TEST(embeddedhost, what_a_callback_throws_comes_out_of_run)
{
    embedded_host host;
    host.on_status_line = [](std::string_view) { throw std::length_error("full"); };
    EXPECT_THROW(host.run(4, 2, 1.0, 5), std::length_error);
    EXPECT_EQ(host.pending()->class_name, "java/lang/RuntimeException");
    EXPECT_TRUE(host.violations().empty());
    host.on_status_line = nullptr;
    EXPECT_TRUE(host.run(4, 2, 1.0, 5).has_value());
}

TEST(embeddedhost, callbacks_are_counted_per_call)
{
    embedded_host host;
    for (int call = 0; call < 2; ++call) {
        int lines = 0;
        int polls = 0;
        host.on_status_line = [&](std::string_view) { ++lines; };
        host.on_stop_poll = [&] { return ++polls > 3 ? 1 : 0; };
        EXPECT_TRUE(host.run(6, 3, 1.0, 5).has_value());
        EXPECT_EQ(host.line_count(), lines);
        EXPECT_EQ(host.poll_count(), polls);
        EXPECT_EQ(polls, 4);
    }
}

// The slice of the Java Native Interface against the interface of a JDK: same places in the table, same types.

#include "optdoe/run/jni_abi.h"

#include <gtest/gtest.h>
#include <jni.h>

#include <cstddef>
#include <type_traits>

#define SAME_PLACE(function)                                                                                         \
    static_assert(offsetof(jni::FunctionTable, function) == offsetof(JNINativeInterface_, function));                \
    static_assert(sizeof(jni::FunctionTable::function) == sizeof(JNINativeInterface_::function))

SAME_PLACE(FindClass);
SAME_PLACE(ThrowNew);
SAME_PLACE(ExceptionOccurred);
SAME_PLACE(GetObjectClass);
SAME_PLACE(GetMethodID);
SAME_PLACE(CallIntMethod);
SAME_PLACE(CallVoidMethod);
SAME_PLACE(NewStringUTF);
SAME_PLACE(NewIntArray);
SAME_PLACE(GetIntArrayElements);
SAME_PLACE(ReleaseIntArrayElements);

static_assert(std::is_same_v<jni::Int, jint>);
static_assert(sizeof(jni::Long) == sizeof(jlong) && std::is_signed_v<jlong>);
static_assert(std::is_same_v<jni::Double, jdouble>);
static_assert(std::is_same_v<jni::Boolean, jboolean>);
static_assert(sizeof(jni::Object) == sizeof(jobject));
static_assert(sizeof(jni::Method) == sizeof(jmethodID));
static_assert(sizeof(jni::Env) == sizeof(JNIEnv) && offsetof(JNIEnv, functions) == offsetof(jni::Env, functions));

TEST(jniabi, the_function_table_is_a_prefix_of_the_jdks)
{
    EXPECT_LE(sizeof(jni::FunctionTable), sizeof(JNINativeInterface_));
    EXPECT_EQ(offsetof(JNINativeInterface_, ReleaseIntArrayElements), 195 * sizeof(void*));
}

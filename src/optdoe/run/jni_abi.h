/// The slice of the Java Native Interface that the library calls: types and the function table.
///
/// The table is binary: each function sits at a fixed index (Java Native Interface documentation, chapter 4,
/// "Interface Function Table"). Declaring only what is used lets the library and the native program be built on a
/// machine without a JDK; where a JDK is present a test compares every offset with its jni.h.
#pragma once

#include <cstddef>
#include <cstdint>

namespace jni {

using Int = std::int32_t;
using Long = std::int64_t;
using Double = double;
using Boolean = std::uint8_t;

using Object = struct object_tag*; ///< Any reference; also used for classes, strings, arrays and throwables.
using Method = struct method_tag*; ///< A method identifier; never released.

struct Env;

/// Function table of an environment. Names are those of the published table.
struct FunctionTable {
    void* reserved_0_to_5[6];
    Object (*FindClass)(Env*, const char* name); // 6
    void* unused_7_to_13[7];
    Int (*ThrowNew)(Env*, Object type, const char* message); // 14
    Object (*ExceptionOccurred)(Env*);                       // 15
    void* unused_16_to_30[15];
    Object (*GetObjectClass)(Env*, Object); // 31
    void* unused_32;
    Method (*GetMethodID)(Env*, Object type, const char* name, const char* signature); // 33
    void* unused_34_to_48[15];
    Int (*CallIntMethod)(Env*, Object, Method, ...); // 49
    void* unused_50_to_60[11];
    void (*CallVoidMethod)(Env*, Object, Method, ...); // 61
    void* unused_62_to_166[105];
    Object (*NewStringUTF)(Env*, const char* text); // 167
    void* unused_168_to_178[11];
    Object (*NewIntArray)(Env*, Int length); // 179
    void* unused_180_to_186[7];
    Int* (*GetIntArrayElements)(Env*, Object array, Boolean* is_copy); // 187
    void* unused_188_to_194[7];
    void (*ReleaseIntArrayElements)(Env*, Object array, Int* elements, Int mode); // 195
};

/// An environment: one pointer to its function table, as in the C++ form of the interface.
struct Env {
    const FunctionTable* functions;
};

static_assert(offsetof(FunctionTable, FindClass) == 6 * sizeof(void*));
static_assert(offsetof(FunctionTable, GetObjectClass) == 31 * sizeof(void*));
static_assert(offsetof(FunctionTable, CallVoidMethod) == 61 * sizeof(void*));
static_assert(offsetof(FunctionTable, ReleaseIntArrayElements) == 195 * sizeof(void*));

} // namespace jni

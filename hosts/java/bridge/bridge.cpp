// The native methods of com.morvantix.doe.Native over the C interface of liboptdoe.
//
// Each method makes its handles, uses them and frees them. No exception of C++ leaves a method: what is thrown here
// becomes the Java exception that Native.failure throws. Where the virtual machine has an exception pending already,
// a method leaves at once by `pending` and makes no other call of the virtual machine.
#include <com_morvantix_doe_Native.h>
#include <jni.h>
#include <optdoe.hpp>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

namespace {

/// Java's own exception is pending.
struct pending {};

/// The methods of Native that are called from here. Their ids hold as long as the class is loaded, which is as long
/// as its native methods can be called.
struct callbacks {
    jmethodID failure, progress, design, scores, settings;
} java;

/// The virtual machine for one native method: its environment and the class Native.
struct machine {
    JNIEnv* env;
    jclass native;

    /// Leaves if the call just made threw.
    void check() const
    {
        if (env->ExceptionCheck())
            throw pending{};
    }

    template <class Reference>
    Reference checked(Reference made) const
    {
        if (made == nullptr)
            throw pending{};
        return made;
    }

    /// Element of an array; null where it holds null.
    template <class Reference>
    Reference element(jobjectArray array, jsize index) const
    {
        const auto found = static_cast<Reference>(env->GetObjectArrayElement(array, index));
        check();
        return found;
    }

    std::string text(jbyteArray bytes) const
    {
        std::string text(static_cast<std::size_t>(env->GetArrayLength(bytes)), '\0');
        env->GetByteArrayRegion(bytes, 0, static_cast<jsize>(text.size()), reinterpret_cast<jbyte*>(text.data()));
        check();
        return text;
    }

    std::string text_at(jobjectArray array, jsize index) const
    {
        const auto bytes = element<jbyteArray>(array, index);
        std::string found = text(bytes);
        env->DeleteLocalRef(bytes);
        return found;
    }

    std::vector<double> numbers(jdoubleArray array) const
    {
        std::vector<double> numbers(static_cast<std::size_t>(env->GetArrayLength(array)));
        env->GetDoubleArrayRegion(array, 0, static_cast<jsize>(numbers.size()), numbers.data());
        check();
        return numbers;
    }

    /// Length of a new array. Java's arrays end at 2^31 - 1 elements.
    static jsize length(std::size_t count)
    {
        if (count > 0x7fffffff)
            throw std::bad_alloc();
        return static_cast<jsize>(count);
    }

    jbyteArray bytes(const std::string& text) const
    {
        const jsize count = length(text.size());
        const jbyteArray array = checked(env->NewByteArray(count));
        env->SetByteArrayRegion(array, 0, count, reinterpret_cast<const jbyte*>(text.data()));
        return array;
    }

    jdoubleArray doubles(const std::vector<double>& numbers) const
    {
        const jsize count = length(numbers.size());
        const jdoubleArray array = checked(env->NewDoubleArray(count));
        env->SetDoubleArrayRegion(array, 0, count, numbers.data());
        return array;
    }

    jintArray ints(const std::vector<std::int32_t>& numbers) const
    {
        const jsize count = length(numbers.size());
        const jintArray array = checked(env->NewIntArray(count));
        static_assert(sizeof(jint) == sizeof(std::int32_t), "the same integers");
        env->SetIntArrayRegion(array, 0, count, numbers.data());
        return array;
    }

    /// Calls a static method of Native that makes an object.
    template <class... Arguments>
    jobject make(jmethodID method, Arguments... arguments) const
    {
        const jobject made = env->CallStaticObjectMethod(native, method, arguments...);
        check();
        return made;
    }

    /// Throws in Java, and allocates nothing of C++ meanwhile. An exception is pending afterwards in any case.
    void fail(optdoe_status status, const char* message) const
    {
        const jsize count = static_cast<jsize>(std::min<std::size_t>(std::strlen(message), 1 << 20));
        const jbyteArray array = env->NewByteArray(count);
        if (array == nullptr)
            return;
        env->SetByteArrayRegion(array, 0, count, reinterpret_cast<const jbyte*>(message));
        env->CallStaticVoidMethod(native, java.failure, static_cast<jint>(status), array);
    }
};

/// Runs the body of a native method. The result is null, or 0, with an exception pending.
template <class Body>
auto guarded(JNIEnv* env, jclass native, Body body) -> decltype(body(machine{env, native}))
{
    const machine vm{env, native};
    try {
        return body(vm);
    } catch (const pending&) {
    } catch (const optdoe::error& error) {
        vm.fail(error.status(), error.what());
    } catch (const std::bad_alloc&) {
        vm.fail(OPTDOE_NO_MEMORY, "native memory is exhausted");
    } catch (const std::exception& error) {
        vm.fail(OPTDOE_INTERNAL, error.what());
    } catch (...) {
        vm.fail(OPTDOE_INTERNAL, "a fault of the native library");
    }
    return decltype(body(vm))();
}

/// The request that Native.Request.parts describes: names, values, factors, ranges, start, old design, added runs.
optdoe::request request_of(const machine& vm, jobjectArray parts)
{
    optdoe::request request;
    const auto names = vm.element<jobjectArray>(parts, 0);
    const auto values = vm.element<jobjectArray>(parts, 1);
    const jclass bytes = vm.checked(vm.env->FindClass("[B"));
    for (jsize i = 0; i < vm.env->GetArrayLength(names); ++i) {
        const std::string name = vm.text_at(names, i);
        const auto value = vm.element<jobject>(values, i);
        if (vm.env->IsInstanceOf(value, bytes)) {
            request.set(name, vm.text(static_cast<jbyteArray>(value)));
        } else {
            const std::vector<double> numbers = vm.numbers(static_cast<jdoubleArray>(value));
            if (numbers.size() == 1)
                request.set(name, numbers[0]);
            else
                request.set(name, numbers);
        }
        vm.env->DeleteLocalRef(value);
    }

    const auto factors = vm.element<jobjectArray>(parts, 2);
    const auto ranges = vm.element<jobjectArray>(parts, 3);
    for (jsize i = 0; i < vm.env->GetArrayLength(ranges); ++i) {
        const auto range = vm.element<jdoubleArray>(ranges, i);
        const std::vector<double> ends = vm.numbers(range);
        vm.env->DeleteLocalRef(range);
        request.add_factor(vm.text_at(factors, 2 * i), ends[0], ends[1], vm.text_at(factors, 2 * i + 1));
    }

    if (const auto start = vm.element<jbyteArray>(parts, 4))
        request.start(optdoe::design::parse(vm.text(start)));
    if (const auto old = vm.element<jbyteArray>(parts, 5)) {
        jint added = 0;
        vm.env->GetIntArrayRegion(vm.element<jintArray>(parts, 6), 0, 1, &added);
        vm.check();
        request.augment(optdoe::design::parse(vm.text(old)), static_cast<std::size_t>(added));
    }
    return request;
}

/// Appends a text and the zero byte that ends it.
void append(std::string& texts, const char* text) { texts.append(text).push_back('\0'); }

/// The Java object of a design.
///   remarks   of the search that made it
jobject design_of(const machine& vm, const optdoe::design& design, const std::string& remarks = {})
{
    std::string factors;
    std::vector<double> numbers;
    for (std::size_t i = 0; i < design.factors(); ++i) {
        const optdoe::factor_info factor = design.factor(i);
        append(factors, factor.name.c_str());
        append(factors, factor.unit.c_str());
        numbers.insert(numbers.end(), {factor.low, factor.high, static_cast<double>(factor.level_count)});
    }

    std::vector<std::int32_t> levels(design.runs() * design.factors());
    const optdoe_status status = optdoe_design_levels(design.get(), levels.data(), levels.size());
    std::string no_levels;
    if (status == OPTDOE_REFUSED)
        no_levels = optdoe_design_message(design.get());
    else
        design.check(status);

    optdoe_outcome o{};
    o.size = sizeof o;
    const optdoe_status found = optdoe_design_outcome(design.get(), &o);
    if (found != OPTDOE_REFUSED)
        design.check(found);
    const std::vector<double> outcome{o.objective,
                                      o.initial,
                                      o.seconds,
                                      static_cast<double>(o.searches),
                                      static_cast<double>(o.rounds),
                                      static_cast<double>(o.seed),
                                      static_cast<double>(o.stopped)};
    return vm.make(java.design, static_cast<jint>(design.runs()), vm.bytes(factors), vm.doubles(numbers),
                   status == OPTDOE_OK ? vm.ints(levels) : nullptr, vm.bytes(no_levels),
                   found == OPTDOE_OK ? vm.doubles(outcome) : nullptr, vm.bytes(remarks),
                   vm.bytes(design.provenance()), vm.bytes(design.history()), vm.bytes(design.text()));
}

/// A design of its file's text, with the course of its search where it has one.
optdoe::design with_course(const machine& vm, jbyteArray text, jbyteArray history)
{
    optdoe::design design = optdoe::design::parse(vm.text(text));
    const std::string course = vm.text(history);
    if (!course.empty())
        design.set_history(course);
    return design;
}

struct watcher {
    const machine& vm;
    jobject watch;
};

/// The progress function of a search: asks Native.progress. With an exception pending nothing more is asked.
int forward(const optdoe_progress* p, void* user)
{
    const watcher& w = *static_cast<watcher*>(user);
    JNIEnv* const env = w.vm.env;
    if (env->ExceptionCheck())
        return 1;
    const jboolean over =
        env->CallStaticBooleanMethod(w.vm.native, java.progress, w.watch, p->seconds, static_cast<jlong>(p->searches),
                                     static_cast<jlong>(p->running), static_cast<jlong>(p->rounds), p->initial,
                                     p->best, static_cast<jlong>(p->best_seed), p->best_seconds);
    return env->ExceptionCheck() || over;
}

} // namespace

extern "C" {

JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* loaded_by, void*)
{
    void* env_pointer = nullptr;
    if (loaded_by->GetEnv(&env_pointer, JNI_VERSION_10) != JNI_OK)
        return JNI_ERR;
    JNIEnv* const env = static_cast<JNIEnv*>(env_pointer);
    const jclass native = env->FindClass("com/morvantix/doe/Native");
    if (native == nullptr)
        return JNI_ERR;
    const struct {
        jmethodID& id;
        const char* name;
        const char* signature;
    } wanted[] = {
        {java.failure, "failure", "(I[B)V"},
        {java.progress, "progress", "(Lcom/morvantix/doe/Native$Watch;DJJJDDJD)Z"},
        {java.design, "design", "(I[B[D[I[B[D[B[B[B[B)Lcom/morvantix/doe/LatinHypercubeDesign;"},
        {java.scores, "scores", "([B[D[B[B)Lcom/morvantix/doe/Scores;"},
        {java.settings, "settings", "([B[D)Ljava/util/List;"},
    };
    for (const auto& method : wanted) {
        method.id = env->GetStaticMethodID(native, method.name, method.signature);
        if (method.id == nullptr)
            return JNI_ERR;
    }
    return JNI_VERSION_10;
}

JNIEXPORT void JNICALL Java_com_morvantix_doe_Native_check(JNIEnv* env, jclass native, jobjectArray parts,
                                                           jboolean whole)
{
    guarded(env, native, [&](const machine& vm) {
        const optdoe::request request = request_of(vm, parts);
        if (whole)
            request.check_all();
    });
}

JNIEXPORT jobject JNICALL Java_com_morvantix_doe_Native_run(JNIEnv* env, jclass native, jobjectArray parts,
                                                            jobject watch, jboolean stopped)
{
    return guarded(env, native, [&](const machine& vm) {
        const optdoe::request request = request_of(vm, parts);
        watcher w{vm, watch};
        request.check(optdoe_request_set_progress(request.get(), forward, &w));
        if (stopped)
            request.stop();
        const optdoe::design design;
        const optdoe_status status = optdoe_request_run(request.get(), design.get());
        vm.check();
        request.check(status);
        return design_of(vm, design, request.remarks());
    });
}

JNIEXPORT jobject JNICALL Java_com_morvantix_doe_Native_read(JNIEnv* env, jclass native, jbyteArray file)
{
    return guarded(env, native,
                   [&](const machine& vm) { return design_of(vm, optdoe::design::read(vm.text(file))); });
}

JNIEXPORT jobject JNICALL Java_com_morvantix_doe_Native_parse(JNIEnv* env, jclass native, jbyteArray text)
{
    return guarded(env, native,
                   [&](const machine& vm) { return design_of(vm, optdoe::design::parse(vm.text(text))); });
}

JNIEXPORT jobject JNICALL Java_com_morvantix_doe_Native_set(JNIEnv* env, jclass native, jdoubleArray values,
                                                            jint runs)
{
    return guarded(env, native, [&](const machine& vm) {
        const std::vector<double> numbers = vm.numbers(values);
        const auto rows = static_cast<std::size_t>(runs);
        return design_of(vm, optdoe::design::of(numbers, rows, numbers.size() / rows));
    });
}

JNIEXPORT jobject JNICALL Java_com_morvantix_doe_Native_interpret(JNIEnv* env, jclass native, jbyteArray text,
                                                                  jobjectArray parts)
{
    return guarded(env, native, [&](const machine& vm) {
        optdoe::design design = optdoe::design::parse(vm.text(text));
        design.interpret(request_of(vm, parts));
        return design_of(vm, design);
    });
}

JNIEXPORT jobject JNICALL Java_com_morvantix_doe_Native_merge(JNIEnv* env, jclass native, jobjectArray files,
                                                              jboolean incomplete)
{
    return guarded(env, native, [&](const machine& vm) {
        std::vector<std::string> names;
        for (jsize i = 0; i < env->GetArrayLength(files); ++i)
            names.push_back(vm.text_at(files, i));
        return design_of(vm, optdoe::design::merge(names, incomplete != 0));
    });
}

JNIEXPORT jdoubleArray JNICALL Java_com_morvantix_doe_Native_values(JNIEnv* env, jclass native, jbyteArray text,
                                                                    jbyteArray coding)
{
    return guarded(env, native, [&](const machine& vm) {
        return vm.doubles(optdoe::design::parse(vm.text(text)).values(vm.text(coding)));
    });
}

JNIEXPORT jbyteArray JNICALL Java_com_morvantix_doe_Native_json(JNIEnv* env, jclass native, jbyteArray text)
{
    return guarded(env, native,
                   [&](const machine& vm) { return vm.bytes(optdoe::design::parse(vm.text(text)).text("json")); });
}

JNIEXPORT void JNICALL Java_com_morvantix_doe_Native_write(JNIEnv* env, jclass native, jbyteArray text,
                                                           jbyteArray file)
{
    guarded(env, native, [&](const machine& vm) { optdoe::design::parse(vm.text(text)).write(vm.text(file)); });
}

JNIEXPORT void JNICALL Java_com_morvantix_doe_Native_report(JNIEnv* env, jclass native, jbyteArray text,
                                                            jbyteArray history, jbyteArray file, jint random_designs)
{
    guarded(env, native, [&](const machine& vm) {
        with_course(vm, text, history).report(vm.text(file), static_cast<std::size_t>(random_designs));
    });
}

JNIEXPORT void JNICALL Java_com_morvantix_doe_Native_plot(JNIEnv* env, jclass native, jbyteArray text,
                                                          jbyteArray history, jbyteArray file)
{
    guarded(env, native, [&](const machine& vm) { with_course(vm, text, history).plot(vm.text(file)); });
}

JNIEXPORT jobject JNICALL Java_com_morvantix_doe_Native_scores(JNIEnv* env, jclass native, jbyteArray text,
                                                               jobjectArray overrides, jint random_designs)
{
    return guarded(env, native, [&](const machine& vm) {
        const optdoe::request request = request_of(vm, overrides);
        const optdoe::scores scores(optdoe::design::parse(vm.text(text)), static_cast<std::size_t>(random_designs),
                                    &request);
        std::string labels;
        std::vector<double> numbers;
        for (const optdoe::measure& measure : scores.measures()) {
            append(labels, measure.key.c_str());
            append(labels, measure.label.c_str());
            append(labels, measure.where.c_str());
            numbers.insert(numbers.end(), {measure.value, measure.random_mean});
        }
        return vm.make(java.scores, vm.bytes(labels), vm.doubles(numbers), vm.bytes(scores.text("table")),
                       vm.bytes(scores.text("json")));
    });
}

JNIEXPORT jobject JNICALL Java_com_morvantix_doe_Native_allSettings(JNIEnv* env, jclass native)
{
    return guarded(env, native, [&](const machine& vm) {
        std::string labels;
        std::vector<double> numbers;
        for (std::size_t i = 0; i < optdoe_setting_count(); ++i) {
            append(labels, optdoe_setting_name(i));
            append(labels, optdoe_setting_help(i));
            double range[3];
            optdoe_setting_range(i, &range[0], &range[1], &range[2]);
            numbers.insert(numbers.end(), range, range + 3);
        }
        return vm.make(java.settings, vm.bytes(labels), vm.doubles(numbers));
    });
}

} // extern "C"

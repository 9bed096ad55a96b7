#include "hosts/embedded/embedded_host.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <utility>

namespace {

enum class kind { host_object, host_class, other_class, string, int_array };

constexpr const char* kind_names[] = {"the host object", "the host class", "a class", "a string", "an int array"};

/// What a reference stands for.
struct referent {
    kind what;
    std::string text;                                ///< class name or characters
    std::vector<std::int32_t> ints;                  ///< an array's elements
    std::unique_ptr<std::vector<std::int32_t>> lent; ///< the copy that the library holds, if any
};

// A reference is the position of its referent plus one, so that a wild one is recognised instead of followed.
jni::Object to_reference(std::size_t position)
{
    return reinterpret_cast<jni::Object>(static_cast<std::uintptr_t>(position + 1));
}

constexpr std::size_t self_position = 0;
constexpr std::size_t self_class_position = 1;

const char status_method_tag = 's';
const char stop_method_tag = 'f';

template <class T>
jni::Method to_method(T* tag)
{
    return reinterpret_cast<jni::Method>(const_cast<char*>(tag));
}

} // namespace

struct environment : jni::Env {
    embedded_host* host;
};

struct embedded_host::state {
    environment env{};
    std::deque<referent> referents;
    std::optional<host_exception> pending;
    std::vector<std::string> violations;
    std::exception_ptr thrown_by_callback;
    int lines = 0;
    int polls = 0;
    int strings = 0;

    void violation(std::string sentence) { violations.push_back(std::move(sentence)); }

    /// Notes a call that the interface does not allow while an exception is pending.
    void expect_no_exception(const char* function)
    {
        if (pending)
            violation(std::string(function) + " was called while " + pending->class_name + " was pending.");
    }

    referent* find(jni::Object reference)
    {
        const auto number = reinterpret_cast<std::uintptr_t>(reference);
        return number == 0 || number > referents.size() ? nullptr : &referents[number - 1];
    }

    referent* expect(const char* function, jni::Object reference, kind what)
    {
        referent* found = find(reference);
        if (found != nullptr && found->what == what)
            return found;
        violation(std::string(function) + " was not given " + kind_names[static_cast<int>(what)] + ".");
        return nullptr;
    }

    /// A reference to what `make` makes; null, with the exception pending, when there is no memory for it.
    template <class Make>
    jni::Object add(Make make)
    {
        try {
            referents.push_back(make());
            return to_reference(referents.size() - 1);
        } catch (const std::bad_alloc&) {
            out_of_memory();
            return nullptr;
        }
    }

    /// Made beforehand: there may be no memory for the words when it is needed.
    host_exception exhausted{"java/lang/OutOfMemoryError", "thrown by the host"};

    void out_of_memory() { pending = std::exchange(exhausted, {}); }
};

/// The functions of the table. None lets a C++ exception out.
struct host_functions {
    static embedded_host& host_of(jni::Env* env) { return *static_cast<environment*>(env)->host; }
    static embedded_host::state& state_of(jni::Env* env) { return *host_of(env).state_; }

    static jni::Object find_class(jni::Env* env, const char* name) noexcept
    {
        auto& state = state_of(env);
        state.expect_no_exception("FindClass");
        if (host_of(env).faults.no_class) {
            state.pending = host_exception{"java/lang/NoClassDefFoundError", name};
            return nullptr;
        }
        return state.add([&] { return referent{kind::other_class, name, {}, {}}; });
    }

    static jni::Int throw_new(jni::Env* env, jni::Object type, const char* message) noexcept
    {
        auto& state = state_of(env);
        state.expect_no_exception("ThrowNew");
        if (const referent* found = state.expect("ThrowNew", type, kind::other_class); found != nullptr) {
            try {
                state.pending = host_exception{found->text, message};
            } catch (const std::bad_alloc&) {
                state.out_of_memory();
            }
        }
        return 0;
    }

    static jni::Object exception_occurred(jni::Env* env) noexcept
    {
        // Nobody looks into the throwable, so that any reference tells that there is one.
        return state_of(env).pending ? to_reference(self_position) : nullptr;
    }

    static jni::Object get_object_class(jni::Env* env, jni::Object object) noexcept
    {
        auto& state = state_of(env);
        state.expect_no_exception("GetObjectClass");
        const bool known = state.expect("GetObjectClass", object, kind::host_object) != nullptr;
        return known ? to_reference(self_class_position) : nullptr;
    }

    static jni::Method get_method_id(jni::Env* env, jni::Object type, const char* name,
                                     const char* signature) noexcept
    {
        auto& state = state_of(env);
        state.expect_no_exception("GetMethodID");
        const host_faults& faults = host_of(env).faults;
        if (state.expect("GetMethodID", type, kind::host_class) != nullptr) {
            const std::string_view wanted_name = name;
            const std::string_view wanted_signature = signature;
            if (!faults.no_status_method && wanted_name == "addStatusMessage" &&
                wanted_signature == "(Ljava/lang/String;)V")
                return to_method(&status_method_tag);
            if (!faults.no_stop_method && wanted_name == "getStopFlag" && wanted_signature == "()I")
                return to_method(&stop_method_tag);
        }
        state.pending = host_exception{"java/lang/NoSuchMethodError", name};
        return nullptr;
    }

    /// Runs one callback; what it throws, or a fault asks it to throw, is left pending.
    template <class Callback>
    static void call_back(jni::Env* env, Callback callback) noexcept
    {
        auto& state = state_of(env);
        const host_faults& faults = host_of(env).faults;
        if (state.lines + state.polls - 1 == faults.throw_at_callback) {
            state.pending = faults.thrown;
            return;
        }
        try {
            callback();
        } catch (...) {
            state.thrown_by_callback = std::current_exception();
            state.pending = host_exception{"java/lang/RuntimeException", "a callback of the host failed"};
        }
    }

    static jni::Int call_int_method(jni::Env* env, jni::Object object, jni::Method method, ...) noexcept
    {
        auto& state = state_of(env);
        state.expect_no_exception("CallIntMethod");
        state.expect("CallIntMethod", object, kind::host_object);
        if (method != to_method(&stop_method_tag)) {
            state.violation("CallIntMethod was not given the method getStopFlag.");
            return 0;
        }
        ++state.polls;
        int answer = 0;
        call_back(env, [&] {
            if (host_of(env).on_stop_poll)
                answer = host_of(env).on_stop_poll();
        });
        return answer;
    }

    static void call_void_method(jni::Env* env, jni::Object object, jni::Method method, ...) noexcept
    {
        auto& state = state_of(env);
        state.expect_no_exception("CallVoidMethod");
        state.expect("CallVoidMethod", object, kind::host_object);
        if (method != to_method(&status_method_tag)) {
            state.violation("CallVoidMethod was not given the method addStatusMessage.");
            return;
        }
        std::va_list arguments;
        va_start(arguments, method);
        const jni::Object string = va_arg(arguments, jni::Object);
        va_end(arguments);
        const referent* line = state.expect("CallVoidMethod", string, kind::string);
        ++state.lines;
        call_back(env, [&] {
            if (line != nullptr && host_of(env).on_status_line)
                host_of(env).on_status_line(line->text);
        });
    }

    static jni::Object new_string_utf(jni::Env* env, const char* text) noexcept
    {
        auto& state = state_of(env);
        state.expect_no_exception("NewStringUTF");
        if (state.strings++ == host_of(env).faults.null_string_at) {
            state.out_of_memory();
            return nullptr;
        }
        return state.add([&] { return referent{kind::string, text, {}, {}}; });
    }

    static jni::Object new_int_array(jni::Env* env, jni::Int length) noexcept
    {
        auto& state = state_of(env);
        state.expect_no_exception("NewIntArray");
        if (length < 0) {
            state.pending = host_exception{"java/lang/NegativeArraySizeException", std::to_string(length)};
            return nullptr;
        }
        if (host_of(env).faults.null_array) {
            state.out_of_memory();
            return nullptr;
        }
        const auto elements = static_cast<std::size_t>(length);
        return state.add([&] { return referent{kind::int_array, {}, std::vector<std::int32_t>(elements), {}}; });
    }

    static jni::Int* get_int_array_elements(jni::Env* env, jni::Object array, jni::Boolean* is_copy) noexcept
    {
        auto& state = state_of(env);
        state.expect_no_exception("GetIntArrayElements");
        referent* found = state.expect("GetIntArrayElements", array, kind::int_array);
        if (found == nullptr)
            return nullptr;
        if (host_of(env).faults.null_elements) {
            state.out_of_memory();
            return nullptr;
        }
        if (found->lent != nullptr)
            state.violation("GetIntArrayElements was called again before the elements were released.");
        try {
            found->lent = std::make_unique<std::vector<std::int32_t>>(found->ints);
        } catch (const std::bad_alloc&) {
            state.out_of_memory();
            return nullptr;
        }
        if (is_copy != nullptr)
            *is_copy = 1;
        return found->lent->data();
    }

    static void release_int_array_elements(jni::Env* env, jni::Object array, jni::Int* elements,
                                           jni::Int mode) noexcept
    {
        // Allowed with an exception pending.
        auto& state = state_of(env);
        referent* found = state.expect("ReleaseIntArrayElements", array, kind::int_array);
        if (found == nullptr)
            return;
        if (found->lent == nullptr || found->lent->data() != elements) {
            state.violation("ReleaseIntArrayElements was given elements that it did not hand out.");
            return;
        }
        if (mode != 0)
            state.violation("ReleaseIntArrayElements was asked for a mode other than copy back and free.");
        found->ints = std::move(*found->lent);
        found->lent.reset();
    }

    [[noreturn]] static void unserved() noexcept
    {
        std::fputs("embedded host: the library called a function of the environment that this host does not serve\n",
                   stderr);
        std::abort();
    }
};

namespace {

const jni::FunctionTable& function_table()
{
    static const jni::FunctionTable table = [] {
        // Every slot of the published table is one pointer; those that are not named below stay unserved.
        void* slots[sizeof(jni::FunctionTable) / sizeof(void*)];
        for (void*& slot : slots)
            slot = reinterpret_cast<void*>(&host_functions::unserved);
        jni::FunctionTable filled;
        static_assert(sizeof filled == sizeof slots);
        std::memcpy(&filled, slots, sizeof filled);
        filled.FindClass = host_functions::find_class;
        filled.ThrowNew = host_functions::throw_new;
        filled.ExceptionOccurred = host_functions::exception_occurred;
        filled.GetObjectClass = host_functions::get_object_class;
        filled.GetMethodID = host_functions::get_method_id;
        filled.CallIntMethod = host_functions::call_int_method;
        filled.CallVoidMethod = host_functions::call_void_method;
        filled.NewStringUTF = host_functions::new_string_utf;
        filled.NewIntArray = host_functions::new_int_array;
        filled.GetIntArrayElements = host_functions::get_int_array_elements;
        filled.ReleaseIntArrayElements = host_functions::release_int_array_elements;
        return filled;
    }();
    return table;
}

} // namespace

embedded_host::embedded_host() : state_(std::make_unique<state>())
{
    state_->env.functions = &function_table();
    state_->env.host = this;
    begin_call();
}

embedded_host::~embedded_host() = default;

std::optional<std::vector<std::int32_t>> embedded_host::run(std::int32_t nsamples, std::int32_t nfactors,
                                                            double max_time_minutes, std::int64_t seed,
                                                            const run_extras* extras)
{
    begin_call();
    const jni::Object array = extras == nullptr
                                  ? Java_com_morvantix_plugin_doe_optimallatinhypercube_OptimalLatinHypercube_optdoe(
                                        env(), self(), nsamples, nfactors, max_time_minutes, seed)
                                  : optdoe_run(env(), self(), nsamples, nfactors, max_time_minutes, seed, extras);
    end_call();

    if (state_->thrown_by_callback)
        std::rethrow_exception(std::exchange(state_->thrown_by_callback, nullptr));
    if (array == nullptr)
        return std::nullopt;
    if (state_->pending)
        state_->violation("A result was returned with an exception pending.");
    referent* found = state_->expect("The caller", array, kind::int_array);
    return found == nullptr ? std::nullopt : std::optional(std::move(found->ints));
}

const std::optional<host_exception>& embedded_host::pending() const { return state_->pending; }
const std::vector<std::string>& embedded_host::violations() const { return state_->violations; }
int embedded_host::line_count() const { return state_->lines; }
int embedded_host::poll_count() const { return state_->polls; }
jni::Env* embedded_host::env() { return &state_->env; }
jni::Object embedded_host::self() const { return to_reference(self_position); }

void embedded_host::begin_call()
{
    state& s = *state_;
    s.referents.clear();
    s.referents.push_back({kind::host_object, {}, {}, {}});
    s.referents.push_back({kind::host_class, {}, {}, {}});
    s.pending.reset();
    s.exhausted = {"java/lang/OutOfMemoryError", "thrown by the host"};
    s.violations.clear();
    s.thrown_by_callback = nullptr;
    s.lines = s.polls = s.strings = 0;
}

void embedded_host::end_call()
{
    for (const referent& value : state_->referents)
        if (value.lent != nullptr)
            state_->violation("The elements of an array were not released.");
}

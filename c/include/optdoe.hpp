/// liboptdoe from C++: handles that free themselves, and failures as exceptions. All contracts stand in optdoe.h.
///
/// C++ 11 or newer; nothing but this header and the library.
#ifndef OPTDOE_HPP
#define OPTDOE_HPP

#include <optdoe.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace optdoe {

/// A call that failed, with its status and the message of its handle. OPTDOE_NO_MEMORY is a std::bad_alloc instead.
class error : public std::runtime_error {
public:
    error(optdoe_status status, const std::string& message) : std::runtime_error(message), status_(status) {}
    optdoe_status status() const noexcept { return status_; }

private:
    optdoe_status status_;
};

namespace detail {

template <class Handle, optdoe_status (*New)(Handle**), void (*Free)(Handle*), const char* (*Message)(const Handle*)>
class handle {
public:
    handle() : handle_(made(), Free) {}

    /// The handle for calls of optdoe.h; it stays this object's.
    Handle* get() const noexcept { return handle_.get(); }

    /// Throws what a status of a call on this handle stands for.
    void check(optdoe_status status) const
    {
        if (status == OPTDOE_NO_MEMORY)
            throw std::bad_alloc();
        if (status != OPTDOE_OK)
            throw error(status, Message(get()));
    }

private:
    static Handle* made()
    {
        Handle* raw = nullptr;
        if (New(&raw) != OPTDOE_OK)
            throw std::bad_alloc();
        return raw;
    }

    std::unique_ptr<Handle, void (*)(Handle*)> handle_;
};

} // namespace detail

struct factor_info {
    std::string name;
    std::string unit;
    double low;  ///< NaN without a range
    double high; ///< likewise
    std::size_t level_count;
};

class request;

class design : public detail::handle<optdoe_design, optdoe_design_new, optdoe_design_free, optdoe_design_message> {
public:
    static design read(const std::string& file)
    {
        design d;
        d.check(optdoe_design_read(d.get(), file.c_str()));
        return d;
    }

    static design parse(const std::string& text)
    {
        design d;
        d.check(optdoe_design_parse(d.get(), text.data(), text.size()));
        return d;
    }

    static design of(const std::vector<double>& values, std::size_t runs, std::size_t factors)
    {
        design d;
        d.check(optdoe_design_set(d.get(), values.data(), values.size(), runs, factors));
        return d;
    }

    static design merge(const std::vector<std::string>& files, bool incomplete = false)
    {
        std::vector<const char*> names;
        for (const std::string& file : files)
            names.push_back(file.c_str());
        design d;
        d.check(optdoe_design_merge(d.get(), names.data(), names.size(), incomplete));
        return d;
    }

    inline void interpret(const request& by);

    std::size_t runs() const { return size().first; }
    std::size_t factors() const { return size().second; }

    factor_info factor(std::size_t index) const
    {
        const char* name = nullptr;
        const char* unit = nullptr;
        factor_info info{};
        check(optdoe_design_factor(get(), index, &name, &unit, &info.low, &info.high, &info.level_count));
        info.name = name;
        info.unit = unit;
        return info;
    }

    std::vector<std::int32_t> levels() const
    {
        std::vector<std::int32_t> cells(runs() * factors());
        check(optdoe_design_levels(get(), cells.data(), cells.size()));
        return cells;
    }

    std::vector<double> values(const std::string& coding) const
    {
        std::vector<double> cells(runs() * factors());
        check(optdoe_design_values(get(), coding.c_str(), cells.data(), cells.size()));
        return cells;
    }

    optdoe_outcome outcome() const
    {
        optdoe_outcome outcome{};
        outcome.size = sizeof outcome;
        check(optdoe_design_outcome(get(), &outcome));
        return outcome;
    }

    std::string provenance() const { return text_of(optdoe_design_provenance); }
    std::string history() const { return text_of(optdoe_design_history); }

    design& set_history(const std::string& csv)
    {
        check(optdoe_design_set_history(get(), csv.data(), csv.size()));
        return *this;
    }

    std::string text(const std::string& format = "csv") const
    {
        const char* text = nullptr;
        check(optdoe_design_text(get(), format.c_str(), &text));
        return text;
    }

    void write(const std::string& file) const { check(optdoe_design_write(get(), file.c_str())); }

    void report(const std::string& file, std::size_t random_designs = 200) const
    {
        check(optdoe_design_report(get(), file.c_str(), random_designs));
    }

    void plot(const std::string& file) const { check(optdoe_design_plot(get(), file.c_str())); }

private:
    std::pair<std::size_t, std::size_t> size() const
    {
        std::pair<std::size_t, std::size_t> size;
        check(optdoe_design_size(get(), &size.first, &size.second));
        return size;
    }

    std::string text_of(optdoe_status (*call)(optdoe_design*, const char**)) const
    {
        const char* text = nullptr;
        check(call(get(), &text));
        return text;
    }
};

class request : public detail::handle<optdoe_request, optdoe_request_new, optdoe_request_free, optdoe_request_message> {
public:
    request& set(const std::string& name, const std::string& text)
    {
        check(optdoe_request_set(get(), name.c_str(), text.c_str()));
        return *this;
    }

    request& set(const std::string& name, const char* text) { return set(name, std::string(text)); }

    request& set(const std::string& name, double value)
    {
        check(optdoe_request_set_number(get(), name.c_str(), value));
        return *this;
    }

    request& set(const std::string& name, const std::vector<double>& values)
    {
        check(optdoe_request_set_numbers(get(), name.c_str(), values.data(), values.size()));
        return *this;
    }

    request& add_factor(const std::string& name, double low, double high, const std::string& unit = "")
    {
        check(optdoe_request_add_factor(get(), name.c_str(), low, high, unit.c_str()));
        return *this;
    }

    request& start(const design& start)
    {
        check(optdoe_request_set_start(get(), start.get()));
        return *this;
    }

    request& augment(const design& old, std::size_t added)
    {
        check(optdoe_request_augment(get(), old.get(), added));
        return *this;
    }

    void check_all() const { check(optdoe_request_check(get())); }

    /// Searches.
    ///   progress   true ends the search; may be empty. What it throws ends the search and leaves run.
    design run(const std::function<bool(const optdoe_progress&)>& progress = {})
    {
        watch watching{progress, nullptr};
        check(optdoe_request_set_progress(get(), progress ? forward : nullptr, &watching));
        design result;
        const optdoe_status status = optdoe_request_run(get(), result.get());
        const std::string message = optdoe_request_message(get());
        optdoe_request_set_progress(get(), nullptr, nullptr);
        if (watching.thrown)
            std::rethrow_exception(watching.thrown);
        if (status == OPTDOE_NO_MEMORY)
            throw std::bad_alloc();
        if (status != OPTDOE_OK)
            throw error(status, message);
        return result;
    }

    /// From any thread.
    void stop() const noexcept { optdoe_request_stop(get()); }

    std::string remarks() const { return optdoe_request_remarks(get()); }

private:
    struct watch {
        const std::function<bool(const optdoe_progress&)>& progress;
        std::exception_ptr thrown;
    };

    static int forward(const optdoe_progress* progress, void* user)
    {
        watch& w = *static_cast<watch*>(user);
        try {
            return w.thrown || w.progress(*progress);
        } catch (...) {
            w.thrown = std::current_exception();
            return 1;
        }
    }
};

inline void design::interpret(const request& by) { check(optdoe_design_interpret(get(), by.get())); }

struct measure {
    std::string key, label;
    double value;
    double random_mean;
    std::string where;
};

class scores : public detail::handle<optdoe_scores, optdoe_scores_new, optdoe_scores_free, optdoe_scores_message> {
public:
    explicit scores(const design& scored, std::size_t random_designs = 200, const request* overrides = nullptr)
    {
        check(optdoe_scores_evaluate(get(), scored.get(), overrides != nullptr ? overrides->get() : nullptr,
                                     random_designs));
    }

    std::vector<measure> measures() const
    {
        std::size_t count = 0;
        check(optdoe_scores_count(get(), &count));
        std::vector<measure> all(count);
        for (std::size_t i = 0; i < count; ++i) {
            const char* key = nullptr;
            const char* label = nullptr;
            const char* where = nullptr;
            check(optdoe_scores_measure(get(), i, &key, &label, &all[i].value, &all[i].random_mean, &where));
            all[i].key = key;
            all[i].label = label;
            all[i].where = where;
        }
        return all;
    }

    std::string text(const std::string& format = "table") const
    {
        const char* text = nullptr;
        check(optdoe_scores_text(get(), format.c_str(), &text));
        return text;
    }
};

} // namespace optdoe

#endif

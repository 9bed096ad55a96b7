// optdoe._native: liboptdoe as the package's Python code uses it. That code checks arrays, names arguments and
// documents them; here handles, locks and exceptions meet.
//
// Interpreter lock   Released wherever the library works for longer than it takes to copy numbers: searches, scores,
//                    reports, pictures and files.
// Threads            A handle of a design serves one call at a time; a lock in the object sees to that. Requests live
//                    within one call.
// Text               Comes in as str or as bytes (names of files), goes out as str, with U+FFFD for what is no UTF-8.
#include <optdoe.hpp>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace py = pybind11;

namespace {

py::str text_of(const std::string& utf8)
{
    PyObject* text = PyUnicode_DecodeUTF8(utf8.data(), static_cast<Py_ssize_t>(utf8.size()), "replace");
    if (text == nullptr)
        throw py::error_already_set();
    return py::reinterpret_steal<py::str>(text);
}

/// Text for the library, whose strings end at a zero byte.
std::string checked(std::string text)
{
    if (text.find('\0') != std::string::npos)
        throw py::value_error("embedded null character");
    return text;
}

/// A design and the lock that its handle needs.
class shared_design {
public:
    explicit shared_design(optdoe::design design) : design_(std::move(design)) {}

    /// Calls `use` with the design while no other thread uses it.
    template <class Use>
    auto locked(Use use)
    {
        std::unique_lock<std::mutex> lock(mutex_, std::try_to_lock);
        if (!lock) {
            // Who holds the lock may be waiting for the interpreter.
            const py::gil_scoped_release release;
            lock.lock();
        }
        return use(design_);
    }

    /// The same without the interpreter lock; `use` touches no Python object.
    template <class Use>
    auto locked_in_background(Use use)
    {
        const py::gil_scoped_release release;
        const std::lock_guard<std::mutex> lock(mutex_);
        return use(design_);
    }

private:
    std::mutex mutex_;
    optdoe::design design_;
};

using design_pointer = std::shared_ptr<shared_design>;

/// A setting: its name and a number, a text or a list of numbers.
using option = std::pair<std::string, py::object>;

/// A factor: name, range (NaN: none) and unit.
using factor = std::tuple<std::string, double, double, std::string>;

void apply(optdoe::request& request, const std::vector<option>& options, const std::vector<factor>& factors)
{
    for (const auto& [name, value] : options) {
        if (py::isinstance<py::str>(value) || py::isinstance<py::bytes>(value)) {
            request.set(checked(name), checked(value.cast<std::string>()));
        } else if (py::isinstance<py::array>(value)) {
            request.set(checked(name), value.cast<std::vector<double>>());
        } else {
            request.set(checked(name), value.cast<double>());
        }
    }
    for (const auto& [name, low, high, unit] : factors)
        request.add_factor(checked(name), low, high, checked(unit));
}

/// When Ctrl-C ended a search the last time; guarded by the interpreter lock.
std::chrono::steady_clock::time_point last_interrupt;

/// Takes the pending Python exception. A first Ctrl-C is answered with true: the search ends with its best design.
/// Everything else is thrown, and so is a second Ctrl-C within a second.
bool is_first_interrupt()
{
    py::error_already_set error;
    if (!error.matches(PyExc_KeyboardInterrupt))
        throw error;
    const auto now = std::chrono::steady_clock::now();
    const bool again =
        last_interrupt.time_since_epoch().count() != 0 && now - last_interrupt < std::chrono::seconds(1);
    last_interrupt = now;
    if (again)
        throw error;
    return true;
}

/// Searches.
///   start, old   may be null; `added` runs are added to those of `old`
///   progress     called with the members of optdoe_progress after `size`; true ends the search. None: nobody asks
///   returns      the design, remarks, and whether Ctrl-C ended the search
std::tuple<design_pointer, py::str, bool> search(const std::vector<option>& options,
                                                 const std::vector<factor>& factors, const design_pointer& start,
                                                 const design_pointer& old, std::size_t added,
                                                 const py::object& progress)
{
    optdoe::request request;
    apply(request, options, factors);
    if (start)
        start->locked([&](const optdoe::design& d) { request.start(d); });
    if (old)
        old->locked([&](const optdoe::design& d) { request.augment(d, added); });
    bool interrupted = false;
    const auto ask = [&](const optdoe_progress& p) {
        const py::gil_scoped_acquire acquire;
        if (PyErr_CheckSignals() != 0)
            return interrupted = is_first_interrupt();
        if (progress.is_none())
            return false;
        PyObject* answer =
            PyObject_CallObject(progress.ptr(), py::make_tuple(p.seconds, p.searches, p.running, p.rounds, p.initial,
                                                               p.best, p.best_seed, p.best_seconds)
                                                    .ptr());
        if (answer == nullptr)
            return interrupted = is_first_interrupt();
        const int ends = PyObject_IsTrue(answer);
        Py_DECREF(answer);
        if (ends < 0)
            throw py::error_already_set();
        return ends != 0;
    };
    auto run = [&] {
        const py::gil_scoped_release release;
        return request.run(ask);
    };
    auto found = std::make_shared<shared_design>(run());
    return {std::move(found), text_of(request.remarks()), interrupted};
}

design_pointer read_design(const std::string& file)
{
    checked(file);
    const py::gil_scoped_release release;
    return std::make_shared<shared_design>(optdoe::design::read(file));
}

design_pointer parse_design(const std::string& text)
{
    const py::gil_scoped_release release;
    return std::make_shared<shared_design>(optdoe::design::parse(text));
}

design_pointer merge_results(const std::vector<std::string>& files, bool incomplete)
{
    for (const std::string& file : files)
        checked(file);
    const py::gil_scoped_release release;
    return std::make_shared<shared_design>(optdoe::design::merge(files, incomplete));
}

design_pointer design_of(const py::array_t<double, py::array::c_style>& values)
{
    if (values.ndim() != 2)
        throw py::value_error("runs x factors are needed");
    optdoe::design design;
    design.check(optdoe_design_set(design.get(), values.data(), static_cast<std::size_t>(values.size()),
                                   static_cast<std::size_t>(values.shape(0)),
                                   static_cast<std::size_t>(values.shape(1))));
    return std::make_shared<shared_design>(std::move(design));
}

void interpret(shared_design& self, const std::vector<option>& options, const std::vector<factor>& factors)
{
    optdoe::request request;
    apply(request, options, factors);
    self.locked([&](optdoe::design& d) { d.interpret(request); });
}

/// A new array runs x factors, filled by the library without a copy between.
template <class Number, class Fill>
py::array_t<Number> filled(shared_design& self, Fill fill)
{
    return self.locked([&](optdoe::design& d) {
        py::array_t<Number> cells({d.runs(), d.factors()});
        d.check(fill(d.get(), cells.mutable_data(), static_cast<std::size_t>(cells.size())));
        return cells;
    });
}

py::array_t<std::int32_t> levels(shared_design& self) { return filled<std::int32_t>(self, optdoe_design_levels); }

py::array_t<double> values(shared_design& self, const std::string& coding)
{
    checked(coding);
    return filled<double>(self, [&](optdoe_design* d, double* cells, std::size_t count) {
        return optdoe_design_values(d, coding.c_str(), cells, count);
    });
}

py::list factors(shared_design& self)
{
    return self.locked([](const optdoe::design& d) {
        py::list all;
        for (std::size_t j = 0; j < d.factors(); ++j) {
            const optdoe::factor_info f = d.factor(j);
            all.append(py::make_tuple(text_of(f.name), f.low, f.high, text_of(f.unit), f.level_count));
        }
        return all;
    });
}

/// The members of optdoe_outcome after `size`; None for a design that no search made.
py::object outcome(shared_design& self)
{
    return self.locked([](const optdoe::design& d) -> py::object {
        optdoe_outcome o{};
        o.size = sizeof o;
        const optdoe_status status = optdoe_design_outcome(d.get(), &o);
        if (status == OPTDOE_REFUSED)
            return py::none();
        d.check(status);
        return py::make_tuple(o.objective, o.initial, o.seconds, o.searches, o.rounds, o.seed, o.stopped != 0);
    });
}

/// Scores: tuples of the members of optdoe::measure, and the table as text.
std::tuple<py::list, py::str> evaluate(const design_pointer& scored, const std::vector<option>& options,
                                       std::size_t random_designs)
{
    optdoe::request request;
    apply(request, options, {});
    const auto [measures, table] = scored->locked_in_background([&](const optdoe::design& d) {
        const optdoe::scores scores(d, random_designs, &request);
        return std::make_pair(scores.measures(), scores.text());
    });
    py::list all;
    for (const optdoe::measure& m : measures)
        all.append(py::make_tuple(text_of(m.key), text_of(m.label), m.value, m.random_mean, text_of(m.where)));
    return {all, text_of(table)};
}

/// Tuples of name, help, low, high and default.
py::list settings()
{
    py::list all;
    for (std::size_t i = 0; i < optdoe_setting_count(); ++i) {
        double low = std::nan("");
        double high = std::nan("");
        double fallback = std::nan("");
        optdoe_setting_range(i, &low, &high, &fallback);
        all.append(
            py::make_tuple(text_of(optdoe_setting_name(i)), text_of(optdoe_setting_help(i)), low, high, fallback));
    }
    return all;
}

/// Arguments that the library refuses are ValueError, all else that it refuses is OptdoeError.
void translate(std::exception_ptr thrown, const py::object& optdoe_error)
{
    try {
        std::rethrow_exception(std::move(thrown));
    } catch (const optdoe::error& e) {
        PyObject* type = e.status() == OPTDOE_INVALID ? PyExc_ValueError : optdoe_error.ptr();
        PyErr_SetObject(type, text_of(e.what()).ptr());
    }
}

} // namespace

PYBIND11_MODULE(_native, m)
{
    m.doc() = "liboptdoe as the package optdoe uses it; not an interface of its own";
    m.attr("version") = optdoe_version();

    PyObject* raw_error = PyErr_NewExceptionWithDoc(
        "optdoe.OptdoeError", "What the library refuses beside bad arguments: a file, the data, the machine.",
        PyExc_RuntimeError, nullptr);
    if (raw_error == nullptr)
        throw py::error_already_set();
    m.attr("OptdoeError") = py::reinterpret_steal<py::object>(raw_error);
    py::register_local_exception_translator([](std::exception_ptr thrown) {
        if (thrown)
            translate(std::move(thrown), py::module_::import("optdoe._native").attr("OptdoeError"));
    });

    m.def("settings", settings);
    m.def("search", search);
    m.def("evaluate", evaluate);
    py::class_<shared_design, design_pointer>(m, "Design")
        .def_static("read", read_design)
        .def_static("parse", parse_design)
        .def_static("merge", merge_results)
        .def_static("of", design_of)
        .def("interpret", interpret)
        .def("levels", levels)
        .def("values", values)
        .def("factors", factors)
        .def("outcome", outcome)
        .def("size",
             [](shared_design& self) {
                 return self.locked([](const optdoe::design& d) { return std::make_pair(d.runs(), d.factors()); });
             })
        .def("provenance",
             [](shared_design& self) {
                 return self.locked([](const optdoe::design& d) { return text_of(d.provenance()); });
             })
        .def("history",
             [](shared_design& self) {
                 return self.locked([](const optdoe::design& d) { return text_of(d.history()); });
             })
        .def("text",
             [](shared_design& self, const std::string& format) {
                 checked(format);
                 return self.locked([&](const optdoe::design& d) { return text_of(d.text(format)); });
             })
        .def("write",
             [](shared_design& self, const std::string& file) {
                 checked(file);
                 self.locked_in_background([&](const optdoe::design& d) { d.write(file); });
             })
        .def("report",
             [](shared_design& self, const std::string& file, std::size_t random_designs) {
                 checked(file);
                 self.locked_in_background([&](const optdoe::design& d) { d.report(file, random_designs); });
             })
        .def("plot", [](shared_design& self, const std::string& file) {
            checked(file);
            self.locked_in_background([&](const optdoe::design& d) { d.plot(file); });
        });
}

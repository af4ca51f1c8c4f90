#include "python/src/Errors.h"

#include <pybind11/eval.h>

#include <exception>

namespace vesk::python {

namespace {

// Held for the life of the process: nothing may be released after the interpreter is gone.
PyObject* g_errorClass = nullptr;
thread_local py::error_already_set* g_kept = nullptr;

// Sets the kept error as the current Python error; false when none is kept.
bool RestoreKept() {
    if (g_kept == nullptr) {
        return false;
    }
    py::error_already_set* kept = g_kept;
    g_kept = nullptr;
    kept->restore();
    delete kept;
    return true;
}

const char* const kErrorClassSource = R"PY(
class AutomationError(Exception):
    """An error of the 4710 library, with the fields automation errors carry.

    number       -- error number: the classic run-time numbers (5, 6, 9, 11, 13, ...),
                    communications numbers, or object errors 0x80040000 + n (negative,
                    as a signed 32-bit number)
    description  -- what went wrong
    source       -- where it was raised, such as "CVesk4710 - QueryScanMode"
    help_file    -- help file of the error, may be empty
    help_context -- help topic of the error, 0 when none
    """

    number: int
    description: str
    source: str
    help_file: str
    help_context: int

    def __init__(self, number: int, description: str = "", source: str = "",
                 help_file: str = "", help_context: int = 0) -> None:
        super().__init__(number, description, source, help_file, help_context)
        self.number = int(number)
        self.description = description
        self.source = source
        self.help_file = help_file
        self.help_context = int(help_context)

    def __str__(self):
        n = self.number
        text = "0x%08X" % (n & 0xFFFFFFFF) if n < 0 else str(n)
        where = " in " + self.source if self.source else ""
        return "%s (error %s%s)" % (self.description, text, where)
)PY";

}  // namespace

void KeepPythonError() {
    if (!PyErr_Occurred()) {
        return;
    }
    auto* error = new py::error_already_set();
    if (g_kept == nullptr) {
        g_kept = error;
    } else {
        delete error;
    }
}

bool PythonErrorKept() {
    return g_kept != nullptr;
}

LibraryLock::LibraryLock() {
    // Never released: a thread may still be inside the library at exit.
    static auto* library = new std::recursive_mutex;
    held = std::unique_lock(*library);
}

RaiseKept::RaiseKept() : unwinding(std::uncaught_exceptions()) {}

RaiseKept::~RaiseKept() noexcept(false) {
    // While an exception is on its way out, the translator raises the kept error instead.
    if (std::uncaught_exceptions() == unwinding && g_kept != nullptr) {
        throw KeptPythonError();
    }
}

py::handle AutomationErrorClass() {
    return g_errorClass;
}

py::object ToPythonError(const AutomationError& e) {
    return py::reinterpret_borrow<py::object>(g_errorClass)(e.Number(), e.Description(), e.Source(),
                                                            e.HelpFile(), e.HelpContext());
}

void RegisterErrors(py::module_& m) {
    py::dict scope;
    scope["__name__"] = m.attr("__name__");
    scope["__builtins__"] = py::module_::import("builtins");
    py::exec(kErrorClassSource, scope);
    py::object cls = scope["AutomationError"];
    g_errorClass = cls.inc_ref().ptr();
    m.attr("AutomationError") = cls;
    m.attr("OBJECT_ERROR_BASE") = py::int_(kObjectErrorBase);

    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) {
                std::rethrow_exception(p);
            }
        } catch (const KeptPythonError&) {
            if (!RestoreKept()) {
                PyErr_SetString(PyExc_RuntimeError, "a Python callback failed");
            }
        } catch (const AutomationError& e) {
            if (RestoreKept()) {
                return;
            }
            py::object error = ToPythonError(e);
            PyErr_SetObject(g_errorClass, error.ptr());
        } catch (...) {
            if (RestoreKept()) {
                return;
            }
            throw;
        }
    });
}

}  // namespace vesk::python

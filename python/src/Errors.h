#pragma once
// Errors crossing into Python: the library's AutomationError as a Python exception class,
// and Python exceptions raised inside callbacks (or Ctrl-C seen during a wait) while the
// library runs, which are kept and raised again once the call is back in Python.
#include "python/src/Casters.h"

namespace vesk::python {

// Keeps the Python error that is set now (the first one wins) and clears it.
void KeepPythonError();
bool PythonErrorKept();

// Thrown to leave the library after KeepPythonError; becomes the kept Python error.
struct KeptPythonError : std::exception {
    const char* what() const noexcept override { return "a Python callback raised an exception"; }
};

// Call guard of every method that may run callbacks: raises the kept error on return.
struct RaiseKept {
    RaiseKept();
    ~RaiseKept() noexcept(false);
    RaiseKept(const RaiseKept&) = delete;
    RaiseKept& operator=(const RaiseKept&) = delete;
    int unwinding;
};

// The Python class AutomationError.
py::handle AutomationErrorClass();
// An AutomationError as a Python exception object.
py::object ToPythonError(const AutomationError& e);

void RegisterErrors(py::module_& m);

}  // namespace vesk::python

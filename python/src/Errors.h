#pragma once
// Errors crossing into Python: the library's AutomationError as a Python exception class,
// and Python exceptions raised inside callbacks (or Ctrl-C seen during a wait) while the
// library runs, which are kept and raised again once the call is back in Python.
#include <mutex>
#include <type_traits>
#include <utility>

#include "python/src/Casters.h"

namespace vesk::python {

// Keeps the Python error that is set now (the first one wins) and clears it. Each thread keeps
// its own: the library call it belongs to runs on that thread.
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

// Held by every thread inside the library's objects. The GIL is let go while the library
// works, so other Python threads run while one waits on the instrument; this lock keeps the
// library's objects to one thread at a time, as the GIL did. It is only ever waited for
// without the GIL, and callbacks take the GIL while holding it, so the two never deadlock.
struct LibraryLock {
    LibraryLock();
    std::unique_lock<std::recursive_mutex> held;
};

// A stretch of library work inside a binding: without the GIL, under the library lock.
struct InLibrary {
    py::gil_scoped_release released;
    LibraryLock locked;
};

// Call guard of the library's calls: the kept error is raised on the way back. Whatever
// touches Python inside (callbacks, signals) takes the GIL back itself.
using LibraryCall = py::call_guard<RaiseKept, py::gil_scoped_release, LibraryLock>;

// Runs f in the library and gives back its result, copied out under the lock.
template <class F>
auto RunInLibrary(F&& f) -> std::remove_cvref_t<decltype(f())> {
    InLibrary in;
    return f();
}

// A member function as a binding that runs it in the library; results are copied out.
template <class R, class T, class... A>
auto InLibraryCall(R (T::*f)(A...) const) {
    return [f](const T& self, A... a) -> std::remove_cvref_t<R> {
        InLibrary in;
        return (self.*f)(std::forward<A>(a)...);
    };
}
template <class R, class T, class... A>
auto InLibraryCall(R (T::*f)(A...)) {
    return [f](T& self, A... a) -> std::remove_cvref_t<R> {
        InLibrary in;
        return (self.*f)(std::forward<A>(a)...);
    };
}

// The Python class AutomationError.
py::handle AutomationErrorClass();
// An AutomationError as a Python exception object.
py::object ToPythonError(const AutomationError& e);

void RegisterErrors(py::module_& m);

}  // namespace vesk::python

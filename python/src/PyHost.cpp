#include "python/src/PyHost.h"

#include <algorithm>
#include <iostream>
#include <utility>

#include "host/DefaultHost.h"
#include "python/src/Errors.h"
#include "simulator/EmbeddedLink.h"
#include "ui/console/ConsoleUi.h"
#include "ui/console/ProgressState.h"

namespace vesk::python {

namespace {

// Longest stretch a wait runs without looking for Ctrl-C.
constexpr int32_t kSignalPollMillis = 50;

// Calls a Python hook; a raised exception is kept (raised once the library call returns)
// and reported as no result.
py::object CallHook(const py::object& hook, const py::tuple& args) {
    if (PythonErrorKept()) {
        return py::none();
    }
    try {
        return hook(*args);
    } catch (py::error_already_set& e) {
        e.restore();
        KeepPythonError();
        return py::none();
    }
}

// None stands for no hook.
py::object Hook(const py::object& callable) {
    return callable.is_none() ? py::object() : callable;
}

void KeepTypeError(const char* text) {
    py::gil_scoped_acquire gil;
    PyErr_SetString(PyExc_TypeError, text);
    KeepPythonError();
}

class PyProgress : public ProgressState {
  public:
    explicit PyProgress(py::object callback) : callback_(std::move(callback)) {}
    ~PyProgress() override {
        py::gil_scoped_acquire gil;
        callback_ = py::object();
    }
    PyProgress(const PyProgress&) = delete;
    PyProgress& operator=(const PyProgress&) = delete;

    bool Continue() override { return !cancelled_ && !PythonErrorKept(); }
    void Hide() override {}
    void Close() override {}

  private:
    // A callback answering False cancels the operation.
    void Shown() override {
        py::gil_scoped_acquire gil;
        py::object answer = CallHook(callback_, py::make_tuple(Text(), Percent()));
        if (PythonErrorKept() || (answer.is(py::bool_(false)))) {
            cancelled_ = true;
        }
    }

    py::object callback_;
    bool cancelled_ = false;
};

class PyUi : public IUiServices {
  public:
    PyUi(std::shared_ptr<IUiServices> base, const SessionOptions& options)
        : base_(std::move(base)),
          passcode_(Hook(options.passcode)),
          progress_(Hook(options.progress)),
          message_(Hook(options.message)) {}

    int32_t MessageBox(const std::string& prompt, int32_t style, const std::string& caption,
                       const std::string& helpFile, int32_t helpContext) override {
        // A failure caused by a kept Python error is told by that error, not by a box.
        if (PythonErrorKept()) {
            return (style & 7) == kMbYesNo ? kAnsNo : kAnsOk;
        }
        if (message_) {
            py::gil_scoped_acquire gil;
            py::object answer = CallHook(message_, py::make_tuple(prompt, style, caption));
            if (PythonErrorKept()) {
                return (style & 7) == kMbYesNo ? kAnsNo : kAnsOk;
            }
            if (!answer.is_none()) {
                if (PyLong_Check(answer.ptr())) {
                    return answer.cast<int32_t>();
                }
                KeepTypeError("the message callback must return an int answer or None");
                return (style & 7) == kMbYesNo ? kAnsNo : kAnsOk;
            }
        }
        return base_->MessageBox(prompt, style, caption, helpFile, helpContext);
    }
    void MousePointer(int32_t pointer) override { base_->MousePointer(pointer); }
    int32_t MousePointer() const override { return base_->MousePointer(); }
    void DoEvents() override {
        base_->DoEvents();
        CheckSignals();
    }
    void WaitEvents(int32_t maxMillis) override {
        // Sliced so that Ctrl-C ends a long wait promptly.
        const int32_t start = base_->Ticks();
        for (;;) {
            const int32_t left = maxMillis - (base_->Ticks() - start);
            base_->WaitEvents(std::clamp(left, 0, kSignalPollMillis));
            CheckSignals();
            if (left <= kSignalPollMillis) {
                return;
            }
        }
    }
    int32_t Ticks() override { return base_->Ticks(); }
    int32_t ShowHelp(const std::string& helpFile, int32_t command, int32_t topic) override {
        return base_->ShowHelp(helpFile, command, topic);
    }
    PasscodeEntry PromptPasscode(IForm* owner) override {
        if (!passcode_) {
            return base_->PromptPasscode(owner);
        }
        py::gil_scoped_acquire gil;
        py::object answer = CallHook(passcode_, py::make_tuple());
        if (answer.is_none()) {
            return {};
        }
        if (!PyUnicode_Check(answer.ptr())) {
            KeepTypeError("the passcode callback must return a str or None");
            return {};
        }
        return {answer.cast<std::string>(), true};
    }
    std::unique_ptr<IProgress> CreateProgress() override {
        if (progress_) {
            py::gil_scoped_acquire gil;
            return std::make_unique<PyProgress>(progress_);
        }
        return base_->CreateProgress();
    }
    bool ShowModal(IDialogLogic& dialog, IForm* owner) override {
        return base_->ShowModal(dialog, owner);
    }

  private:
    // Ctrl-C (or any signal handler raising) is kept and ends the operation in progress.
    void CheckSignals() {
        {
            py::gil_scoped_acquire gil;
            if (PyErr_CheckSignals() != 0) {
                KeepPythonError();
            }
        }
        if (PythonErrorKept()) {
            throw KeptPythonError();
        }
    }

    std::shared_ptr<IUiServices> base_;
    py::object passcode_;
    py::object progress_;
    py::object message_;
};

// The console of console=False: the same answers, written nowhere (a stream without a
// buffer drops everything), one stream per console.
struct NullStream {
    std::ostream stream{nullptr};
};
class SilentConsole : private NullStream, public ConsoleUi {
  public:
    explicit SilentConsole(ConsoleOptions options)
        : ConsoleUi(std::move(options), NullStream::stream, nullptr, false) {}
};

}  // namespace

std::shared_ptr<Host> MakeSessionHost(const SessionOptions& options) {
    HostOptions host;
    host.comm.device = options.device;
    host.comm.baud = options.baud;
    host.comm.tracePath = options.trace;
    host.comm.timeoutMs = options.timeoutMs;
    host.registryPath = options.settings;
    ConsoleOptions console;
    console.assumeYes = options.assumeYes;
    console.assumeNo = options.assumeNo;
    console.passcodes = options.passcodes;
    std::shared_ptr<IUiServices> base = options.console
                                            ? std::make_shared<ConsoleUi>(std::move(console))
                                            : std::make_shared<SilentConsole>(std::move(console));
    host.ui = std::make_shared<PyUi>(std::move(base), options);
    return MakeDefaultHost(host);
}

std::shared_ptr<Host> DefaultSessionHost() {
    // Never released: objects made on it may outlive the module's other state.
    static auto* host = new std::shared_ptr<Host>(MakeSessionHost(SessionOptions{}));
    return *host;
}

void RegisterHost(py::module_&) {
    // This process is a program of its own: the device "sim" reaches the embedded simulator.
    sim::RegisterEmbeddedLink();
}

}  // namespace vesk::python

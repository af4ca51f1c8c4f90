#pragma once
// The host a Python session runs on: the default components with console services, which
// Python callbacks may take over for messages, the passcode prompt and progress displays.
#include <memory>
#include <string>
#include <vector>

#include "python/src/Casters.h"
#include "vesk4710/platform/Host.h"

namespace vesk::python {

struct SessionOptions {
    std::string device = "sim";
    int32_t baud = 9600;
    std::string trace;
    int32_t timeoutMs = 2000;
    std::string settings;  // per-user settings file; empty: the user's default
    std::vector<std::string> passcodes;
    bool assumeYes = false;
    bool assumeNo = false;
    bool console = true;  // false: no terminal prompts or progress bars
    py::object passcode;  // () -> str | None
    py::object progress;  // (text, percent) -> bool | None
    py::object message;   // (prompt, style, caption) -> int | None
};

std::shared_ptr<Host> MakeSessionHost(const SessionOptions& options);

// The host of objects made without options; made on first use.
std::shared_ptr<Host> DefaultSessionHost();

void RegisterHost(py::module_& m);

}  // namespace vesk::python

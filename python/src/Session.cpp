// vesk4710.connect: an instrument object with its session open, as the command-line tool
// makes one.
#include "python/src/Objects.h"

namespace vesk::python {

void RegisterSession(py::module_& m) {
    py::object cls = m.attr("CVesk4710");
    m.def(
        "connect",
        [cls](const std::string& device, int32_t baud, const py::object& trace,
              const py::kwargs& options) {
            py::dict kwargs(options);
            kwargs["device"] = device;
            kwargs["baud"] = baud;
            kwargs["trace"] = trace;
            py::object instrument = cls(**kwargs);
            instrument.attr("InitializeCommunications")();
            return instrument;
        },
        py::arg("device") = "sim", py::arg("baud") = 9600, py::arg("trace") = py::none(),
        "A CVesk4710 with its communications session open (InitializeCommunications done); "
        "call QueryInfo() next to read the instrument.\n\n"
        "device  'sim' (the embedded simulator), 'sim:N', a serial device path, or "
        "'tcp://HOST:PORT'\n"
        "baud    baud rate of a serial device\n"
        "trace   file for an I/O trace of every command and reply\n"
        "Further keywords are those of CVesk4710(): timeout_ms, settings, passcodes, "
        "assume_yes, assume_no, console, passcode, progress, message.");
}

}  // namespace vesk::python

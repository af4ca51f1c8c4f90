// vesk4710.Recorder: the recorder of `vesk4710 record` inside a Python program.
#include <pybind11/chrono.h>
#include <pybind11/stl.h>

#include "python/src/Objects.h"
#include "recorder/Recorder.h"

namespace vesk::python {

namespace {

py::list StatusOf(const std::string& database) {
    py::list result;
    std::vector<rec::InstrumentStatus> status;
    {
        py::gil_scoped_release released;
        status = rec::Store(database, true).Status();
    }
    const auto time = [](rec::TimeUs us) -> py::object {
        return us == 0 ? py::none() : py::cast(static_cast<double>(us) / 1e6);
    };
    for (const auto& s : status) {
        py::dict d;
        d["name"] = s.name;
        d["device"] = s.device;
        d["serial"] = s.serial;
        d["state"] = s.state;
        d["since"] = time(s.since);
        d["readings"] = s.readings;
        d["last_reading"] = time(s.lastReading);
        d["last_error"] = s.lastError;
        d["gap_since"] = s.gapSince ? time(*s.gapSince) : py::none();
        d["gap_reason"] = s.gapReason;
        result.append(d);
    }
    return result;
}

}  // namespace

void RegisterRecorder(py::module_& m) {
    using rec::Recorder;
    const auto released = py::call_guard<py::gil_scoped_release>();
    py::class_<Recorder>(
        m, "Recorder",
        "Records readings into a database on threads of its own, as `vesk4710 record` does, "
        "and shares each instrument on its endpoint meanwhile. Use it as a context manager "
        "or call start() and stop().")
        .def(py::init([](const std::string& database, const std::string& device,
                         const std::vector<int32_t>& channels, const std::string& every,
                         const std::string& name, const std::string& serve, int32_t baud,
                         int32_t timeout_ms) {
                 rec::RecorderConfig config;
                 config.database = database;
                 rec::InstrumentConfig i;
                 i.device = device;
                 i.name = name.empty() ? "instrument" : name;
                 i.channels = channels;
                 i.every = rec::ParseDuration(every, "every", true);
                 i.serve = serve;
                 i.baud = baud;
                 i.timeout = std::chrono::milliseconds(timeout_ms);
                 config.instruments.push_back(std::move(i));
                 return std::make_unique<Recorder>(std::move(config));
             }),
             py::arg("database"), py::arg("device") = "sim",
             py::arg("channels") = std::vector<int32_t>{}, py::arg("every") = "1s",
             py::arg("name") = "", py::arg("serve") = "", py::arg("baud") = 9600,
             py::arg("timeout_ms") = 2000,
             "One instrument. every: '1s', '500ms', '2m' or 'new'; channels: empty for every "
             "channel that is on; serve: 'tcp://127.0.0.1:PORT' (0 picks one) or 'unix:PATH'. "
             "Raises AutomationError for a value that cannot work.")
        .def_static(
            "from_config",
            [](const std::string& path) {
                return std::make_unique<Recorder>(rec::LoadConfig(path));
            },
            py::arg("path"), "The instruments and database of a recorder's TOML file.")
        .def("start", &Recorder::Start, released,
             "Opens the database and starts recording; raises AutomationError.")
        .def("stop", &Recorder::Stop, released,
             "Stops recording with every reading committed; raises AutomationError when "
             "readings could not be stored.")
        .def_property_readonly("running", &Recorder::Running, "True between start() and stop().")
        .def_property_readonly("endpoints", &Recorder::Endpoints,
                               "Each instrument's endpoint ('' when not shared), as a device "
                               "for connect().")
        .def_property_readonly("rounds", &Recorder::Rounds, "Rounds of readings taken so far.")
        .def_property_readonly(
            "database", [](const Recorder& r) { return r.Config().database; }, "The database file.")
        .def(
            "status", [](const Recorder& r) { return StatusOf(r.Config().database); },
            "Per instrument: name, device, serial, state (recording, gap, stopped), since, "
            "readings, last_reading, last_error, gap_since, gap_reason (times in seconds "
            "since 1970, UTC).")
        .def("__enter__",
             [](Recorder& r) -> Recorder& {
                 py::gil_scoped_release unlocked;
                 r.Start();
                 return r;
             })
        .def("__exit__", [](Recorder& r, const py::args&) {
            py::gil_scoped_release unlocked;
            r.Stop();
        });
}

}  // namespace vesk::python

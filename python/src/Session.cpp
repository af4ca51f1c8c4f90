// vesk4710.connect: an instrument object with its session open, as the command-line tool
// makes one.
#include "components/comm/Communications.h"
#include "host/InstrumentRequests.h"
#include "python/src/Objects.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"

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

    m.def(
        "read_channel_states",
        [](CVesk4710& inst) {
            std::vector<int16_t> on;
            for (int16_t c = 1; c <= inst.NumChannels(); ++c) {
                const bool state = ChannelIsOn(inst, c);
                auto channel = inst.GetChannelReference(c);
                if (channel) {
                    channel->Enabled(state);
                }
                if (state) {
                    const auto* link =
                        dynamic_cast<const comm::Communications*>(inst.Communications().get());
                    const uint64_t mark = link != nullptr ? link->RequestCount() : 0;
                    if (channel && !channel->QuerySerialNumber()) {
                        const auto cause =
                            link != nullptr ? link->FailureSince(mark) : std::nullopt;
                        throw AutomationError(kErrGeneric,
                                              "Reading the probe serial number of channel " +
                                                  std::to_string(c) + " failed" +
                                                  (cause ? ": " + *cause : std::string()),
                                              "read_channel_states");
                    }
                    on.push_back(c);
                }
            }
            return on;
        },
        py::arg("instrument"),
        "Asks each channel for its own state, sets every channel's Enabled to it and reads the "
        "probe serial number of each channel that is on; returns the numbers of those "
        "channels. Call it after QueryInfo(): QueryChannelState and QueryInfo judge every "
        "channel by the first one's state.",
        LibraryCall());

    m.def(
        "measurement_text",
        [](CVesk4710& inst, int16_t chan, bool waitfornew) {
            return MeasurementText(inst, chan, waitfornew);
        },
        py::arg("instrument"), py::arg("chan") = -1, py::arg("waitfornew") = false,
        "QueryMeasurement's reading as the instrument sent it, trailing zeros kept ('25.0100'); "
        "emf in millivolts like QueryMeasurement. Raises AutomationError when the reply is no "
        "number, where QueryMeasurement would return 0.",
        LibraryCall());

    m.def(
        "download_auto_log",
        [](CVesk4710& inst, E4710DownloadOption opt, int16_t labelnum, int16_t resol) {
            DownloadRequest request;
            request.log = DOWNLOAD_AUTO_LOG;
            request.opt = opt;
            request.label = labelnum;
            request.decimals = resol;
            return DownloadAutoLog(inst, request, "download_auto_log");
        },
        py::arg("instrument"), py::arg("opt") = DOWNLOAD_SINGLE_FILE, py::arg("labelnum") = 0,
        py::arg("resol") = -1,
        "Downloads the automatic log into files in the download folder, named and written like "
        "DownloadLogFiles' (which covers the demand log); returns a DownloadResult. outcome is "
        "'no_readings' when the log (or label labelnum) holds none. Raises AutomationError when "
        "the link or a file fails.",
        LibraryCall());
}

}  // namespace vesk::python

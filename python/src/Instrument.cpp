// CVesk4710: the instrument's members under their own names.
#include <filesystem>

#include "python/src/Objects.h"
#include "python/src/PyHost.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/logging/LogDownload.h"
#include "vesk4710/modules/CVesk4710Card.h"

namespace vesk::python {

namespace {

using C = CVesk4710;

const char* OutcomeName(DownloadOutcome outcome) {
    switch (outcome) {
        case DownloadOutcome::Written:
            return "written";
        case DownloadOutcome::NoReadings:
            return "no_readings";
        case DownloadOutcome::Aborted:
            return "aborted";
        case DownloadOutcome::EndedEarly:
            return "ended_early";
        case DownloadOutcome::Cancelled:
            return "cancelled";
        case DownloadOutcome::NotReadings:
            return "not_readings";
    }
    return "";
}

// The grid to use: the caller's, else the instrument's own.
IGridControl& GridOr(C& self, const std::shared_ptr<CalibrationGrid>& grid) {
    return grid ? static_cast<IGridControl&>(*grid) : self.CalibrationGrid();
}

}  // namespace

void RegisterInstrument(py::module_& m) {
    const auto guard = LibraryCall();
    py::class_<DownloadResult>(m, "DownloadResult", "What a download wrote.")
        .def_property_readonly(
            "outcome", [](const DownloadResult& r) { return OutcomeName(r.outcome); },
            "'written', 'no_readings', 'aborted', 'ended_early', 'cancelled' or 'not_readings'.")
        .def_property_readonly(
            "files",
            [](const DownloadResult& r) {
                std::vector<std::string> paths;
                for (const auto& file : r.files) {
                    paths.push_back(
                        (std::filesystem::path(file->Folder()) / file->FileName()).string());
                }
                return paths;
            },
            "Paths of the output files, in creation order.")
        .def_readonly("count", &DownloadResult::count, "Readings the instrument reported.")
        .def_readonly("lines", &DownloadResult::lines, "Lines received.")
        .def_readonly("readings", &DownloadResult::readings, "Readings written.")
        .def_readonly("skipped", &DownloadResult::skipped,
                      "Lines that were not readings (kept in the raw file).")
        .def_readonly("trace_path", &DownloadResult::tracePath, "The download trace file.")
        .def_readonly("raw_path", &DownloadResult::rawPath, "The raw transfer file.")
        .def_readonly("note", &DownloadResult::note,
                      "The comment line marking the files incomplete; empty when complete.")
        .def_readonly("message", &DownloadResult::message, "What the user would have been told.");

    auto cls = ClassOf<C, IDispatchable>(m, "CVesk4710");

    cls.def(
        py::init([](const std::string& device, int32_t baud,
                    const std::optional<std::string>& trace, int32_t timeout_ms,
                    const std::optional<std::string>& settings,
                    const std::vector<std::string>& passcodes, bool assume_yes, bool assume_no,
                    bool console, const py::object& passcode, const py::object& progress,
                    const py::object& message) {
            SessionOptions o;
            o.device = device;
            o.baud = baud;
            o.trace = trace.value_or("");
            o.timeoutMs = timeout_ms;
            o.settings = settings.value_or("");
            o.passcodes = passcodes;
            o.assumeYes = assume_yes;
            o.assumeNo = assume_no;
            o.console = console;
            o.passcode = passcode;
            o.progress = progress;
            o.message = message;
            auto host = MakeSessionHost(o);
            auto instrument = C::Create(host);
            instrument->SetRegistry(host->CreateRegistry());
            return instrument;
        }),
        py::kw_only(), py::arg("device") = "sim", py::arg("baud") = 9600,
        py::arg("trace") = py::none(), py::arg("timeout_ms") = 2000,
        py::arg("settings") = py::none(), py::arg("passcodes") = std::vector<std::string>{},
        py::arg("assume_yes") = false, py::arg("assume_no") = false, py::arg("console") = true,
        py::arg("passcode") = py::none(), py::arg("progress") = py::none(),
        py::arg("message") = py::none(),
        "A new instrument object; no session is open yet (see InitializeCommunications, "
        "or vesk4710.connect which does both).\n\n"
        "device      'sim' (the embedded simulator), 'sim:N' (simulator on port N), a "
        "serial device path such as '/dev/ttyUSB0', or 'tcp://HOST:PORT'\n"
        "baud        baud rate of a serial device\n"
        "trace       file to write an I/O trace of every command and reply to\n"
        "timeout_ms  reply time-out\n"
        "settings    per-user settings file (default: the user's own)\n"
        "passcodes   answers to the passcode prompt, in turn\n"
        "assume_yes, assume_no  answer every question so\n"
        "console     False writes nothing to the terminal: no prompts, messages or progress bars\n"
        "passcode    callable () -> str | None asked for the passcode (None cancels)\n"
        "progress    callable (text, percent) -> bool | None told of progress; returning "
        "False cancels the operation\n"
        "message     callable (prompt, style, caption) -> int | None shown every message "
        "box; an int is the answer (ANSWER_OK, ANSWER_YES, ...), None passes the box on to "
        "the console\n\n"
        "A callback that raises ends the operation; the exception is raised again when "
        "the call returns.");

    cls.VESK_RW(DVCICommError, "Help context given to communications errors.")
        .VESK_RO(DateFormat, "The instrument's date format (E4710DateFormat).")
        .VESK_RO(TimeFormat, "The instrument's time format (E4710TimeFormat).")
        .VESK_RW(DateTimeStamp, "Whether readings carry a date and time stamp.")
        .VESK_RW(Passcode, "The passcode presented to unlock protected settings.")
        .VESK_RW(ScanChannels, "The scan channel list, such as '1,2'.")
        .VESK_RW(ScanMode, "Simultaneous or scanned measurement (E4710ScanMode).")
        .VESK_RW(DemandLogCount, "Readings held in the demand log.")
        .VESK_RO(DemandLogPoints, "Capacity of the demand log.")
        .VESK_RW(AutoPower, "Automatic power-off.")
        .VESK_RW(DisableSerial, "Whether the serial interface is disabled.")
        .VESK_RW(FilePath, "Folder of the library's files, handed on to modules and channels.")
        .VESK_RW(SystemClock, "The instrument's clock (datetime.datetime).")
        .VESK_RW(HelpFile, "Help file named by the errors this object raises.")
        .def("SetRegistry", &C::SetRegistry, py::arg("vData"),
             "Hands the per-user settings object to the instrument.", guard)
        .VESK_RO(Registry, "The per-user settings object (Registry), or None.")
        .def("InitializeCommunications", &C::InitializeCommunications, py::arg("fp") = "",
             py::arg("cp") = 1, py::arg("br") = 6,
             "Opens the communications session: folder, port number, baud-rate code.", guard)
        .VESK_RW(Changed, "Whether a setting changed since the last update.")
        .VESK_RW(AllowSetSerial, "Whether the serial number may be written.")
        .VESK_RW(ReadAfterApply, "Whether settings are read back after an update.")
        .VESK_RW(Resolution, "Number of decimal places of readings.")
        .def(
            "ValidatePasscode", [](C& c, const py::none&) { return c.ValidatePasscode(nullptr); },
            py::arg("frm") = py::none(),
            "Prompts for the passcode until the instrument accepts one; False when cancelled.",
            guard)
        .def("UpdatePasscodeState", &C::UpdatePasscodeState, py::arg("passcode"),
             py::arg("disable") = false,
             "Unlocks the instrument with passcode, or locks it again with disable=True.", guard)
        .VESK_RW(ProtectConversion, "Whether conversion settings are passcode protected.")
        .VESK_RW(ProtectCalParams, "Whether calibration parameters are passcode protected.")
        .VESK_RW(PasscodeState, "Passcode protection of the settings (E4710PasscodeState).")
        .VESK_RW(ConvPasscodeState, "Passcode protection of conversions (E4710PasscodeState).")
        .VESK_RW_DATE(CalDate, "The instrument's calibration date (datetime.date).")
        .VESK_RW(CalParamPasscodeState,
                 "Passcode protection of calibration parameters (E4710PasscodeState).")
        .VESK_RW(LogSessionInterval, "Interval of the logging session.")
        .VESK_RO(MaxInterval, "Longest measurement interval (E4710Interval).")
        .VESK_RO(MinInterval, "Shortest measurement interval (E4710Interval).")
        .VESK_RO(MaxResolution, "Largest resolution.")
        .VESK_RO(MinResolution, "Smallest resolution.")
        .VESK_RO(MaxLabelLength, "Longest logging label.")
        .VESK_RO(NumLoggingLabels, "Number of logging labels.")
        .def("QueryChannelInfo", &C::QueryChannelInfo, "Reads every channel's settings.", guard)
        .def("QueryChannelState", &C::QueryChannelState, py::arg("idx"),
             "Reads whether a channel is switched on.", guard)
        .def(
            "QueryInfo",
            [](C& c, const py::none&, bool inclchannels, bool inclmodules) {
                return c.QueryInfo(nullptr, inclchannels, inclmodules);
            },
            py::arg("frm") = py::none(), py::arg("inclchannels") = false,
            py::arg("inclmodules") = false,
            "Reads the device information: identification, protection, channels, modules, "
            "units, calibration, and every switched-on channel. False after telling the user "
            "which step failed (another model, a step that reports failure, a cancel); an "
            "error raised inside a step is raised again as AutomationError with the source "
            "'CVesk4710 - QueryInfo'.",
            guard)
        .def("QueryIdentification", &C::QueryIdentification, py::arg("setprops") = true,
             "Reads the identification; with setprops also model, serial and firmware.", guard)
        .def("VerifyMinimumFirmware", &C::VerifyMinimumFirmware,
             "Whether the firmware is at least 0.06; shows no message.", guard)
        .VESK_RO(MinFirmwareRequired, "Oldest firmware the library drives.")
        .def("QueryUnits", &C::QueryUnits, "Reads the measurement units.", guard)
        .def("QueryMeasurement", &C::QueryMeasurement, py::arg("chan") = -1,
             py::arg("waitfornew") = false,
             "A reading of channel chan (-1: the selected channel) in the units set (raw: ohms, "
             "or millivolts for a thermocouple's emf); with waitfornew, waits for a new one "
             "(Ctrl-C ends the wait). measurement_text() gives the digits the instrument sent.",
             guard)
        .def("QueryDemandLogStatus", &C::QueryDemandLogStatus,
             "Reads the demand log's count and capacity.", guard)
        .def(
            "QueryLoggingLabel",
            [](C& c) {
                std::string label;
                const bool ok = c.QueryLoggingLabel(label);
                return std::make_tuple(ok, label);
            },
            "Reads the current logging label; returns (ok, label).", guard)
        .def(
            "UpdateInfo",
            [](C& c, const py::none&, bool inclchannels, bool inclmodules) {
                return c.UpdateInfo(nullptr, inclchannels, inclmodules);
            },
            py::arg("frm") = py::none(), py::arg("inclchannels") = false,
            py::arg("inclmodules") = false,
            "Writes the instrument's settings back in a fixed order, changed or not, unlocking "
            "first when needed; raises AutomationError (source 'CVesk4710 - UpdateInfo') when a "
            "step fails. A property assigned in Python reaches the instrument only through this or "
            "its own Update method.",
            guard)
        .def("ClearAutoLog", &C::ClearAutoLog, "Clears the automatic log.", guard)
        .def("ClearDemandLog", &C::ClearDemandLog, "Clears the demand log.", guard)
        .def("UpdateUnits", &C::UpdateUnits, "Writes the units.", guard)
        .def("UpdateResolution", &C::UpdateResolution, "Writes the resolution.", guard)
        .def("StartMeasure", &C::StartMeasure, "Starts measuring.", guard)
        .def("StopMeasure", &C::StopMeasure, "Stops measuring.", guard)
        .def(
            "UpdateInterval", [](C& c, const py::none&) { return c.UpdateInterval(nullptr); },
            py::arg("frm") = py::none(), "Writes the measurement interval.", guard)
        .def("UpdateScanSeqDelay", &C::UpdateScanSeqDelay, "Writes the scan sequence delay.", guard)
        .def("UpdateScanChannelList", &C::UpdateScanChannelList, "Writes the scan channel list.",
             guard)
        .def("UpdateScanMode", &C::UpdateScanMode, py::arg("override") = false,
             py::arg("scmode") = false,
             "Writes ScanMode; with override True nothing is sent (and the result is True); scmode "
             "is ignored.",
             guard)
        .def("UpdateLoggingLabel", &C::UpdateLoggingLabel, py::arg("labelname"),
             "Writes the logging label.", guard)
        .def("InitializeCommunicationSettings", &C::InitializeCommunicationSettings,
             "Initialises the instrument's interface for a session.", guard)
        .VESK_RO(HasScanSeqDelay, "Whether the instrument has a scan sequence delay.")
        .VESK_RW(SelectedChannel,
                 "The selected channel as a 0-based index (0 is channel 1), -1 for none.")
        .VESK_RO(Firmware, "Firmware version.")
        .VESK_RO(NumChannels, "Number of channels.")
        .VESK_RW(Units, "Measurement units (E4710Units), or UNITS_KELVIN (the plain int 2).")
        .VESK_RO(NumModules, "Number of modules.")
        .def("Edit", &C::Edit, "Opens the settings dialog (needs a toolkit that shows it).", guard)
        .def("ViewLogStatus", &C::ViewLogStatus, "Opens the log status dialog.", guard)
        .def("EditLogLabels", &C::EditLogLabels, "Opens the logging label dialog.", guard)
        .def("DownloadLoggedData", &C::DownloadLoggedData, "Opens the download dialog.", guard)
        .def(
            "DownloadLog",
            [](C& c, const py::none&, const py::none&, E4710DownloadLogOption log,
               E4710DownloadOption opt, int16_t labelnum, int16_t resol, bool prompt) {
                auto lines = c.GetHost().CreateTextSplitter();
                auto fields = c.GetHost().CreateTextSplitter();
                const bool ok = c.DownloadLog(*lines, *fields, log, opt, &labelnum, resol, &prompt);
                return std::make_tuple(ok, labelnum, prompt);
            },
            py::arg("awkParserLines") = py::none(), py::arg("awkParserFields") = py::none(),
            py::arg("log") = DOWNLOAD_DEMAND_LOG, py::arg("opt") = DOWNLOAD_SINGLE_FILE,
            py::arg("labelnum") = 0, py::arg("resol") = -1, py::arg("prompt") = false,
            "Downloads a log into output files in the DownloadFolder setting's folder "
            "(default: the user's documents), telling the user the outcome. labelnum 0 takes "
            "every reading, n the readings of label n; resol is the decimals written (-1 "
            "keeps them as received). The text splitters are the library's own. Returns "
            "(ok, labelnum, prompt): prompt says whether any file was written.",
            guard)
        .VESK_RO(Identification, "The identification text as read.")
        .VESK_RW(Serial, "Instrument serial number.")
        .VESK_RO(Model, "Model text.")
        .def("Modules", &C::Modules, py::arg("idx"), "Module number idx (0-based).", guard)
        .VESK_RW(Interval, "Measurement interval (E4710Interval).")
        .VESK_RW(ScanSeqDelay, "Scan sequence delay.")
        .def(
            "FillRTLSUnitsList",
            [](C& c) { return FilledList([&](ListBox& l) { c.FillRTLSUnitsList(l); }); },
            "The units offered for readings as (text, data) pairs.", guard)
        .def(
            "FillUnitsList",
            [](C& c) { return FilledList([&](ListBox& l) { c.FillUnitsList(l); }); },
            "The units as (text, data) pairs.", guard)
        .def(
            "FillChannelList",
            [](C& c) { return FilledList([&](ListBox& l) { c.FillChannelList(l); }); },
            "The channels as (text, channel number) pairs.", guard)
        .def("GetChannelReference", &C::GetChannelReference, py::arg("chn"),
             "The channel with instrument-wide number chn (1-based), or None.", guard)
        .def_property_readonly(
            "Communications",
            [](const C& c) {
                return FromVariant(
                    RunInLibrary([&] { return dispatch::Wrap(c.Communications()); }));
            },
            "The session's communications object (opaque), or None.");

    // Operations outside the automation interface that scripts need.
    cls.def("QueryScanMode", &C::QueryScanMode, "Reads the scan mode.", guard)
        .def("QueryScanChannelList", &C::QueryScanChannelList, "Reads the scan channel list.",
             guard)
        .def("QueryInterval", &C::QueryInterval, "Reads the measurement interval.", guard)
        .def("QueryAutoPower", &C::QueryAutoPower, "Reads automatic power-off.", guard)
        .def("UpdateAutoPower", &C::UpdateAutoPower, "Writes automatic power-off.", guard)
        .def("UpdateDisableSerial", &C::UpdateDisableSerial, "Writes DisableSerial.", guard)
        .def("UpdateSerialNumber", &C::UpdateSerialNumber, "Writes the serial number.", guard)
        .def("QueryPasscodeProtection", &C::QueryPasscodeProtection,
             "Reads every passcode protection state.", guard)
        .def("QueryProtectConversion", &C::QueryProtectConversion,
             "Reads the conversion protection.", guard)
        .def("QueryProtectCalParams", &C::QueryProtectCalParams,
             "Reads the calibration-parameter protection.", guard)
        .def("QueryPasscodeState", &C::QueryPasscodeState, "Reads the passcode state.", guard)
        .def("QueryModuleList", &C::QueryModuleList, "Reads the module list.", guard)
        .def("QueryNumModules", &C::QueryNumModules,
             "Reads the module count and builds the modules with their channels.", guard)
        .def("QueryNumChannels", &C::QueryNumChannels, "Reads the channel count.", guard)
        .def_property_readonly("ModuleList", InLibraryCall(&C::ModuleList),
                               "The module list text as last read.")
        .def("QueryCalibrationDate", &C::QueryCalibrationDate, "Reads the calibration date.", guard)
        .def("UpdateCalibrationDate", &C::UpdateCalibrationDate, "Writes the calibration date.",
             guard)
        .def(
            "CalibrationGrid",
            [](const std::shared_ptr<C>& c) {
                return std::shared_ptr<vesk::CalibrationGrid>(c, &c->CalibrationGrid());
            },
            "The instrument's own calibration grid, which FillCalibrationGrid fills when "
            "given no grid.")
        .def(
            "FillCalibrationGrid",
            [](C& c, const std::shared_ptr<vesk::CalibrationGrid>& grid) {
                return c.FillCalibrationGrid(GridOr(c, grid));
            },
            py::arg("grid") = py::none(),
            "Reads the calibration parameters into grid (default: the instrument's own).", guard)
        .def(
            "UpdateCalParameters",
            [](C& c, const std::shared_ptr<vesk::CalibrationGrid>& grid) {
                return c.UpdateCalParameters(GridOr(c, grid));
            },
            py::arg("grid") = py::none(),
            "Writes the calibration parameters of grid (default: the instrument's own).", guard)
        .def(
            "DownloadLogFiles",
            [](C& c, E4710DownloadLogOption log, E4710DownloadOption opt, int16_t labelnum,
               int16_t resol) {
                DownloadRequest request;
                request.log = log;
                request.opt = opt;
                request.label = labelnum;
                request.decimals = resol;
                return DownloadLogFiles(c, request);
            },
            py::arg("log") = DOWNLOAD_DEMAND_LOG, py::arg("opt") = DOWNLOAD_SINGLE_FILE,
            py::arg("labelnum") = 0, py::arg("resol") = -1,
            "DownloadLog for scripts: no messages, no dialog; returns a DownloadResult "
            "naming the files written, and raises AutomationError on failure.",
            guard)
        .def("__repr__", [](const C& c) {
            const auto [model, serial] =
                RunInLibrary([&] { return std::make_pair(c.Model(), c.Serial()); });
            return "<CVesk4710 model=" + std::string(py::repr(py::cast(model))) +
                   " serial=" + std::string(py::repr(py::cast(serial))) + ">";
        });
}

}  // namespace vesk::python

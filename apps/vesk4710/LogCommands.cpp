// log status|clear|label and download.
#include <fmt/format.h>

#include <filesystem>

#include "apps/vesk4710/Cli.h"
#include "components/comm/CommErrors.h"
#include "components/comm/Communications.h"
#include "components/comm/Protocol.h"
#include "host/InstrumentRequests.h"
#include "ui/console/ConsoleUi.h"
#include "vesk4710/logging/LogDownload.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/RegistryKeys.h"

namespace vesk::cli {

namespace {

// The per-user settings with the download folder of this run in place of the saved one, so
// that --folder does not change the user's choice.
class FolderOverride : public IRegistry {
  public:
    FolderOverride(std::shared_ptr<IRegistry> base, std::string folder)
        : base_(std::move(base)), folder_(std::move(folder)) {}
    std::string ReadValue(const std::string& name, int32_t section, int64_t rootKey,
                          const std::string& defaultValue, const std::string& subkey) override {
        if (name == kRegDownloadFolder && subkey.empty()) {
            return folder_;
        }
        return base_ ? base_->ReadValue(name, section, rootKey, defaultValue, subkey)
                     : defaultValue;
    }
    void WriteValue(const std::string& name, int32_t section, int64_t rootKey,
                    const std::string& value, const std::string& subkey) override {
        if (base_) {
            base_->WriteValue(name, section, rootKey, value, subkey);
        }
    }
    std::map<std::string, std::string> LoadFormState(const std::string& form) override {
        return base_ ? base_->LoadFormState(form) : std::map<std::string, std::string>{};
    }
    void SaveFormState(const std::string& form,
                       const std::map<std::string, std::string>& state) override {
        if (base_) {
            base_->SaveFormState(form, state);
        }
    }

  private:
    std::shared_ptr<IRegistry> base_;
    std::string folder_;
};

struct DownloadOptions {
    std::string log = "demand";
    int32_t label = 0;
    int32_t decimals = -1;
    bool multiple = false;
    std::string folder;
};

void RunStatus(Session& s, const Output& out) {
    CVesk4710& inst = s.Instrument();
    s.Identify();
    LogHeld(inst, SET_DEMAND_LOG_STATUS, "demand", "vesk4710 log status");
    inst.QueryDemandLogStatus();
    std::string label;
    inst.QueryLoggingLabel(label);
    if (out.Json()) {
        out.Json({{"demandLogCount", inst.DemandLogCount()},
                  {"demandLogPoints", inst.DemandLogPoints()},
                  {"label", label}});
    } else {
        out.Line(fmt::format("Demand log   {} of {} readings", inst.DemandLogCount(),
                             inst.DemandLogPoints()));
        out.Line(fmt::format("Label        {}", label));
    }
}

void RunClear(Session& s, const Output& out, const std::string& which) {
    CVesk4710& inst = s.Instrument();
    s.Identify();
    const std::string question =
        fmt::format("Clear the {} log of the instrument? Its readings will be lost.", which);
    if (ShowQuestion(s.GetHost().Ui(), question, kMsgCaption) != kAnsYes) {
        throw Failed("the " + which + " log was not cleared");
    }
    if (which == "demand") {
        inst.ClearDemandLog();
    } else {
        inst.ClearAutoLog();
    }
    if (out.Json()) {
        out.Json({{"cleared", which}});
    } else {
        out.Line("the " + which + " log is cleared");
    }
}

void RunLabel(Session& s, const Output& out, const std::optional<std::string>& label) {
    CVesk4710& inst = s.Instrument();
    s.Identify();
    if (label) {
        CheckLoggingLabel(*label, static_cast<size_t>(inst.MaxLabelLength()));
        inst.UpdateLoggingLabel(*label);
    }
    std::string current;
    inst.QueryLoggingLabel(current);
    if (out.Json()) {
        out.Json({{"label", current}});
    } else {
        out.Line(current);
    }
}

void PrintFiles(const Output& out, const DownloadResult& result) {
    std::vector<std::string> paths;
    for (const auto& file : result.files) {
        paths.push_back((std::filesystem::path(file->Folder()) / file->FileName()).string());
    }
    if (out.Json()) {
        out.Json({{"files", paths}});
    } else {
        for (const auto& p : paths) {
            out.Line(p);
        }
    }
}

void RunDownload(Session& s, const Output& out, const DownloadOptions& o) {
    CVesk4710& inst = s.Instrument();
    if (o.label < 0 || o.label > inst.NumLoggingLabels()) {
        throw UsageError(
            fmt::format("--label is 0 (every reading) or 1 to {}", inst.NumLoggingLabels()));
    }
    if (!o.folder.empty()) {
        std::error_code ec;
        if (std::filesystem::exists(o.folder, ec) && !std::filesystem::is_directory(o.folder)) {
            throw UsageError("--folder " + o.folder + " is not a folder");
        }
        // Relative to where the command runs, not to the folder the files would default to.
        const std::string folder = std::filesystem::absolute(o.folder, ec).string();
        inst.SetRegistry(std::make_shared<FolderOverride>(inst.Registry(), folder));
    }
    DownloadRequest request;
    request.log = o.log == "auto" ? DOWNLOAD_AUTO_LOG : DOWNLOAD_DEMAND_LOG;
    request.opt = o.multiple ? DOWNLOAD_MULTIPLE_FILES : DOWNLOAD_SINGLE_FILE;
    request.label = static_cast<int16_t>(o.label);
    request.decimals = static_cast<int16_t>(o.decimals);

    const std::string source = "vesk4710 download";
    DownloadResult result;
    {
        // Ctrl-C and SIGTERM end the transfer; what arrived is kept and written.
        const ConsoleUi::CancelOnInterrupt stop([comm = inst.Communications()] {
            if (auto* c = dynamic_cast<comm::Communications*>(comm.get())) {
                c->Cancel();
            }
        });
        s.Identify();
        // The download takes an unreadable log status for an empty log; ask first so that a
        // failing link or a garbled reply is reported as such.
        if (request.log == DOWNLOAD_DEMAND_LOG) {
            LogHeld(inst, SET_DEMAND_LOG_STATUS, "demand", source);
            result = DownloadLogFiles(inst, request);
        } else {
            result = DownloadAutoLog(inst, request, source);
        }
    }
    PrintFiles(out, result);
    const bool interrupted = ConsoleUi::InterruptSignal() != 0;
    switch (result.outcome) {
        case DownloadOutcome::Written:
            if (interrupted) {
                throw Failed("the download was complete; every reading is in the files above");
            }
            break;
        case DownloadOutcome::NoReadings:
            if (!result.statusError.empty()) {
                throw Failed("the " + o.log +
                             " log's reading count could not be read: " + result.statusError);
            }
            // Nothing was downloaded: the command did not do its job.
            throw Failed("the " + o.log + " log holds no readings" +
                         (o.label > 0 ? " under label " + std::to_string(o.label) : "") +
                         "; nothing was downloaded");
        case DownloadOutcome::Aborted:
        case DownloadOutcome::EndedEarly:
            throw AutomationError(kErrTransferEndedEarly, result.message, source);
        case DownloadOutcome::NotReadings:
            throw AutomationError(kErrNotReadings, result.message, source);
        case DownloadOutcome::Cancelled:
            throw Failed("the download was cancelled; the files above hold what was parsed");
    }
    // The readings are in the files, but a file the download promises is missing or short.
    if (!result.rawFileError.empty()) {
        throw AutomationError(kErrDeviceIO,
                              "The raw transfer file '" + result.rawPath +
                                  "' could not be written: " + result.rawFileError,
                              source);
    }
    if (!result.traceError.empty()) {
        throw AutomationError(kErrDeviceIO,
                              "The download trace '" + result.tracePath +
                                  "' could not be written: " + result.traceError,
                              source);
    }
}

}  // namespace

void AddLogCommands(CLI::App& app, Commands& commands) {
    auto* log = app.add_subcommand("log", "The instrument's logs and logging label");
    log->require_subcommand(1);

    auto* status = log->add_subcommand("status", "Show the demand log's fill and the label");
    commands.push_back({status, true, [](Session* s, const Output& out) { RunStatus(*s, out); }});

    auto which = std::make_shared<std::string>();
    auto* clear = log->add_subcommand("clear", "Clear the demand or the automatic log");
    clear->add_option("LOG", *which, "demand or auto")
        ->required()
        ->check(CLI::IsMember({"demand", "auto"}));
    commands.push_back(
        {clear, true, [which](Session* s, const Output& out) { RunClear(*s, out, *which); }});

    auto label = std::make_shared<std::optional<std::string>>();
    auto* labelCmd = log->add_subcommand("label", "Show the logging label, or set it to NEW");
    labelCmd->add_option_function<std::string>(
        "NEW", [label](const std::string& v) { *label = v; }, "New label");
    commands.push_back(
        {labelCmd, true, [label](Session* s, const Output& out) { RunLabel(*s, out, *label); }});

    auto o = std::make_shared<DownloadOptions>();
    auto* download = app.add_subcommand(
        "download", "Download logged readings into files and print the files written");
    download->add_option("--log", o->log, "demand or auto")
        ->capture_default_str()
        ->check(CLI::IsMember({"demand", "auto"}));
    download->add_option("--label", o->label, "Only the readings of this label number (0: all)")
        ->capture_default_str();
    download->add_option("--decimals", o->decimals, "Decimal places (-1: as received)")
        ->capture_default_str()
        ->check(CLI::Range(-1, 9));
    download->add_flag("--multiple", o->multiple, "One file per logging label");
    download->add_option("--folder", o->folder, "Folder for the files (default: the saved one)");
    commands.push_back(
        {download, true, [o](Session* s, const Output& out) { RunDownload(*s, out, *o); }});
}

}  // namespace vesk::cli

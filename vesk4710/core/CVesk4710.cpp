#include "vesk4710/core/CVesk4710.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <utility>

#include "vesk4710/core/CVesk4710Internal.h"
#include "vesk4710/dialogs/LabelsDialog.h"
#include "vesk4710/dialogs/LogStatusDialog.h"
#include "vesk4710/dialogs/SettingsDialog.h"
#include "vesk4710/modules/CVesk4710Card.h"
#include "vesk4710/support/Help.h"
#include "vesk4710/support/MarkChanged.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/Paths.h"
#include "vesk4710/support/RegistryKeys.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace {

std::string Upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

// The folder that holds the given folder, without a trailing separator.
std::string ParentOfFolder(const std::string& folder) {
    std::filesystem::path path(folder);
    if (!path.has_filename()) {
        path = path.parent_path();
    }
    return path.parent_path().string();
}

// A registry flag as the serial port takes it: empty (absent) and "False" are 0.
int32_t RegistryFlag(const std::string& text) {
    const std::string upper = Upper(text);
    if (upper == "TRUE") {
        return -1;
    }
    if (upper == "FALSE") {
        return 0;
    }
    return CInt32(Val(text));
}

}  // namespace

// ---- creation and teardown ----

std::shared_ptr<CVesk4710> CVesk4710::Create(std::shared_ptr<Host> host) {
    if (!host) {
        throw AutomationError(kErrObjectRequired, RuntimeErrorText(kErrObjectRequired),
                              "CVesk4710 - Create");
    }
    std::shared_ptr<CVesk4710> self(new CVesk4710(std::move(host)));
    self->Initialize();
    return self;
}

CVesk4710::CVesk4710(std::shared_ptr<Host> host)
    : host_(std::move(host)), calGrid_(std::make_unique<vesk::CalibrationGrid>()) {}

void CVesk4710::Initialize() {
    Model(kModel4710);
    NumModules(0);
    NumChannels(0);
    selectedChannel_ = -1;
    HasScanSeqDelay(false);
    scanChannels_.clear();
    AllowSetSerial(false);
    ReadAfterApply(false);
    ProtectConversion(false);
    ProtectCalParams(true);
    PasscodeState(PS_DISABLED);
    ConvPasscodeState(PS_DISABLED);
    CalParamPasscodeState(PS_DISABLED);
    Passcode("");
    FilePath(LibraryFolder());
    SystemClock(Date());
    // The defaults are no edit.
    changed_ = false;
}

CVesk4710::~CVesk4710() = default;

Host& CVesk4710::GetHost() {
    return *host_;
}

// ---- shared plumbing ----

std::shared_ptr<ICommunications> CVesk4710::Connection() const {
    if (!comm_) {
        throw AutomationError(kErrObjectRequired,
                              "There is no communications session: call "
                              "InitializeCommunications first");
    }
    return comm_;
}

std::shared_ptr<ICommunications> CVesk4710::Session() const {
    LockIfLeftUnlocked();
    return Connection();
}

void CVesk4710::Lock() const {
    leftUnlocked_ = true;
    try {
        detail::WriteSetting(*Connection(), SET_PASSCODE_LOCK);
    } catch (const AutomationError&) {
        detail::WriteSetting(*Connection(), SET_PASSCODE_LOCK);
    }
    leftUnlocked_ = false;
}

void CVesk4710::LockIfLeftUnlocked() const {
    try {
        if (leftUnlocked_) {
            Lock();
        }
    } catch (...) {
        Rethrow("LockIfLeftUnlocked");
    }
}

void CVesk4710::Rethrow(const char* member) const {
    const std::string source = std::string(detail::kClassPrefix) + member;
    if (!leftUnlocked_) {
        Reraise(source, vesk::HelpFile(), dvciCommError_);
    }
    static const std::string kNote =
        "; the instrument may be left unlocked, as locking it failed twice (the next request "
        "of this session locks it first)";
    PendingError pending = CapturePendingError();
    if (pending.description.find(kNote) == std::string::npos) {
        pending.description += kNote;
    }
    throw AutomationError(pending.number, pending.description, source, vesk::HelpFile(),
                          dvciCommError_);
}

// ---- properties ----

void CVesk4710::DVCICommError(int32_t value) {
    dvciCommError_ = value;
}
int32_t CVesk4710::DVCICommError() const {
    return dvciCommError_;
}

E4710DateFormat CVesk4710::DateFormat() const {
    return dateFormat_;
}
void CVesk4710::DateFormat(E4710DateFormat value) {
    MarkChanged(changed_, dateFormat_, value);
}

E4710TimeFormat CVesk4710::TimeFormat() const {
    return timeFormat_;
}
void CVesk4710::TimeFormat(E4710TimeFormat value) {
    MarkChanged(changed_, timeFormat_, value);
}

void CVesk4710::DateTimeStamp(bool value) {
    MarkChanged(changed_, dateTimeStamp_, value);
}
bool CVesk4710::DateTimeStamp() const {
    return dateTimeStamp_;
}

void CVesk4710::Passcode(const std::string& value) {
    passcode_ = value;
}
std::string CVesk4710::Passcode() const {
    return passcode_;
}

void CVesk4710::ScanChannels(const std::string& value) {
    MarkChanged(changed_, scanChannels_, value);
}
std::string CVesk4710::ScanChannels() const {
    return scanChannels_;
}

void CVesk4710::ScanMode(E4710ScanMode value) {
    MarkChanged(changed_, scanMode_, value);
}
E4710ScanMode CVesk4710::ScanMode() const {
    return scanMode_;
}

void CVesk4710::DemandLogCount(int16_t value) {
    demandLogCount_ = value;
}
int16_t CVesk4710::DemandLogCount() const {
    return demandLogCount_;
}

int16_t CVesk4710::DemandLogPoints() const {
    return demandLogPoints_;
}
void CVesk4710::DemandLogPoints(int16_t value) {
    demandLogPoints_ = value;
}

// AutoPower and DisableSerial are written by UpdateInfo regardless, so they never mark.
void CVesk4710::AutoPower(bool value) {
    autoPower_ = value;
}
bool CVesk4710::AutoPower() const {
    return autoPower_;
}

void CVesk4710::DisableSerial(bool value) {
    disableSerial_ = value;
}
bool CVesk4710::DisableSerial() const {
    return disableSerial_;
}

void CVesk4710::FilePath(const std::string& value) {
    filePath_ = value;
    for (int16_t i = 0; i < numModules_ && i < static_cast<int16_t>(modules_.size()); ++i) {
        if (modules_[i]) {
            modules_[i]->FilePath(value);
        }
    }
}
std::string CVesk4710::FilePath() const {
    return filePath_;
}

void CVesk4710::SystemClock(Date value) {
    systemClock_ = value;
}
Date CVesk4710::SystemClock() const {
    return systemClock_;
}

// The help file is one setting of the whole library.
void CVesk4710::HelpFile(const std::string& value) {
    vesk::HelpFile(value);
}
std::string CVesk4710::HelpFile() const {
    return vesk::HelpFile();
}

void CVesk4710::SetRegistry(std::shared_ptr<IRegistry> vData) {
    registry_ = std::move(vData);
}
std::shared_ptr<IRegistry> CVesk4710::Registry() const {
    return registry_;
}

void CVesk4710::Changed(bool value) {
    changed_ = value;
}
bool CVesk4710::Changed() const {
    return changed_;
}

void CVesk4710::AllowSetSerial(bool value) {
    allowSetSerial_ = value;
}
bool CVesk4710::AllowSetSerial() const {
    return allowSetSerial_;
}

void CVesk4710::ReadAfterApply(bool value) {
    readAfterApply_ = value;
}
bool CVesk4710::ReadAfterApply() const {
    return readAfterApply_;
}

int16_t CVesk4710::Resolution() const {
    return resolution_;
}
// Capped above only: a negative resolution is kept as given.
void CVesk4710::Resolution(int16_t value) {
    if (value != resolution_) {
        changed_ = true;
        resolution_ = std::min(value, MaxResolution());
    }
}

void CVesk4710::ProtectConversion(bool value) {
    protectConversion_ = value;
    ConvPasscodeState(value ? PS_DISABLED : PS_ENABLED);
}
bool CVesk4710::ProtectConversion() const {
    return protectConversion_;
}

void CVesk4710::ProtectCalParams(bool value) {
    protectCalParams_ = value;
    CalParamPasscodeState(value ? PS_DISABLED : PS_ENABLED);
}
bool CVesk4710::ProtectCalParams() const {
    return protectCalParams_;
}

void CVesk4710::PasscodeState(E4710PasscodeState value) {
    passcodeState_ = value;
}
E4710PasscodeState CVesk4710::PasscodeState() const {
    return passcodeState_;
}

void CVesk4710::ConvPasscodeState(E4710PasscodeState value) {
    convPasscodeState_ = value;
}
E4710PasscodeState CVesk4710::ConvPasscodeState() const {
    return convPasscodeState_;
}

// Every write counts as an edit, even of the same date: the settings dialog relies on it.
void CVesk4710::CalDate(Date value) {
    changed_ = true;
    calDate_ = value;
}
Date CVesk4710::CalDate() const {
    return calDate_;
}

void CVesk4710::CalParamPasscodeState(E4710PasscodeState value) {
    calParamPasscodeState_ = value;
}
E4710PasscodeState CVesk4710::CalParamPasscodeState() const {
    return calParamPasscodeState_;
}

void CVesk4710::LogSessionInterval(int16_t value) {
    logSessionInterval_ = value;
}
int16_t CVesk4710::LogSessionInterval() const {
    return logSessionInterval_;
}

E4710Interval CVesk4710::MaxInterval() const {
    return INT_1_MIN;
}
E4710Interval CVesk4710::MinInterval() const {
    return static_cast<E4710Interval>(0);
}
int16_t CVesk4710::MaxResolution() const {
    return 3;
}
int16_t CVesk4710::MinResolution() const {
    return 0;
}
int16_t CVesk4710::MaxLabelLength() const {
    return 8;
}
int16_t CVesk4710::NumLoggingLabels() const {
    return 25;
}

double CVesk4710::MinFirmwareRequired() const {
    return kMinFirmware;
}

bool CVesk4710::HasScanSeqDelay() const {
    return hasScanSeqDelay_;
}
void CVesk4710::HasScanSeqDelay(bool value) {
    hasScanSeqDelay_ = value;
}

double CVesk4710::Firmware() const {
    return firmware_;
}
void CVesk4710::Firmware(double value) {
    firmware_ = value;
}

int16_t CVesk4710::NumChannels() const {
    return numChannels_;
}
void CVesk4710::NumChannels(int16_t value) {
    numChannels_ = value;
}

void CVesk4710::Units(E4710Units value) {
    MarkChanged(changed_, units_, value);
}
E4710Units CVesk4710::Units() const {
    return units_;
}

int16_t CVesk4710::NumModules() const {
    return numModules_;
}

std::string CVesk4710::Identification() const {
    return identification_;
}
void CVesk4710::Identification(const std::string& value) {
    identification_ = value;
}

void CVesk4710::Serial(const std::string& value) {
    MarkChanged(changed_, serial_, value);
}
std::string CVesk4710::Serial() const {
    return serial_;
}

std::string CVesk4710::Model() const {
    return model_;
}
void CVesk4710::Model(const std::string& value) {
    model_ = value;
}

void CVesk4710::Interval(E4710Interval value) {
    MarkChanged(changed_, interval_, value);
}
E4710Interval CVesk4710::Interval() const {
    return interval_;
}

void CVesk4710::ScanSeqDelay(int16_t value) {
    MarkChanged(changed_, scanSeqDelay_, value);
}
int16_t CVesk4710::ScanSeqDelay() const {
    return scanSeqDelay_;
}

std::shared_ptr<ICommunications> CVesk4710::Communications() const {
    return comm_;
}
void CVesk4710::Communications(std::shared_ptr<ICommunications> value) {
    comm_ = std::move(value);
}

const std::string& CVesk4710::ModuleList() const {
    return moduleList_;
}

// ---- session ----

bool CVesk4710::InitializeCommunications(const std::string& fp, int32_t cp, int32_t br) {
    try {
        Communications(host_->CreateCommunications());
        auto comm = comm_;
        if (!comm) {
            throw AutomationError(kErrObjectRequired, "The communications component is missing");
        }
        comm->Port().LinkMode(kLinkModeSession);

        // Installed among the system's files, the component's folder is the caller's;
        // otherwise it sits beside the library's own folder.
        const std::string libraryFolder = LibraryFolder();
        const std::string systemFolder =
            Upper(host_->Files().GetSpecialFolder(SpecialFolder::System));
        if (systemFolder.find(Upper(libraryFolder)) != std::string::npos) {
            comm->FolderPath(fp);
        } else {
            comm->FolderPath(ParentOfFolder(libraryFolder));
        }

        comm->InstrumentCode(kInstrumentCode4710);
        comm->Port().BaudRateCode(br);
        comm->Port().PortNumber(cp);

        std::string autoClose;
        if (registry_) {
            autoClose = registry_->ReadValue(kRegCOMAutoClose, 0, kHKeyCurrentUser, "");
        }
        comm->Port().AutoClose(RegistryFlag(autoClose));
        return true;
    } catch (...) {
        Reraise(std::string(detail::kClassPrefix) + "InitializeCommunications()," + fp + "," +
                NumberText(static_cast<int64_t>(cp)) + "," + NumberText(static_cast<int64_t>(br)));
    }
}

bool CVesk4710::InitializeCommunicationSettings() {
    try {
        detail::WriteSetting(*Session(), SET_INIT_INTERFACE);
        return true;
    } catch (...) {
        Rethrow("InitializeCommunicationSettings");
    }
}

// ---- dialogs ----

bool CVesk4710::ShowDialog(IDialogLogic& dialog) {
    return host_->Ui().ShowModal(dialog, nullptr);
}

bool CVesk4710::Edit() {
    try {
        SettingsDialog dialog(shared_from_this());
        ShowDialog(dialog);
        return !dialog.Cancelled();
    } catch (...) {
        Rethrow("Edit");
    }
}

bool CVesk4710::ViewLogStatus() {
    try {
        LogStatusDialog dialog(shared_from_this());
        return ShowDialog(dialog);
    } catch (...) {
        Rethrow("ViewLogStatus");
    }
}

bool CVesk4710::EditLogLabels() {
    try {
        LabelsDialog dialog(shared_from_this());
        return ShowDialog(dialog);
    } catch (...) {
        Rethrow("EditLogLabels");
    }
}

}  // namespace vesk

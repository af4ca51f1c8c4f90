#include "vesk4710/dialogs/SettingsDialog.h"

#include <algorithm>
#include <set>

#include "vesk4710/calibration/CalibrationGrid.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/dialogs/DialogHelpers.h"
#include "vesk4710/support/KeyFilters.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace {

constexpr int16_t kKeyDelete = 46;
constexpr int32_t kMaxScanSeqDelay = 32767;
// The resolution entry that leaves the channels as they are, when they differ.
constexpr int32_t kResolutionAsIs = -100;
// The channels the instrument's resolution write reaches.
constexpr int16_t kResolutionChannels = 2;

std::string ResolutionText(int16_t resolution) {
    return resolution < 0 ? std::string("automatic") : NumberText(resolution);
}

bool IsPointCell(int32_t row, int32_t col) {
    return row >= kCalFirstPointRow && row < kCalFirstPointRow + kCalMaxPoints && col >= 1 &&
           col < kCalGridCols;
}

std::string PointName(int32_t row) {
    return "ADJ" + NumberText(static_cast<int32_t>(row - kCalFirstPointRow + 1));
}

// "1, 2,3" -> channel numbers; nothing when an item is not a whole number.
std::optional<std::vector<int32_t>> ParseChannelList(const std::string& text) {
    std::vector<int32_t> channels;
    if (Trim(text).empty()) {
        return channels;
    }
    size_t start = 0;
    while (true) {
        const size_t comma = text.find(',', start);
        const auto item = ParseTypedInteger(text.substr(start, comma - start));
        if (!item) {
            return std::nullopt;
        }
        channels.push_back(*item);
        if (comma == std::string::npos) {
            return channels;
        }
        start = comma + 1;
    }
}

std::string JoinChannels(const std::vector<int32_t>& channels) {
    std::string out;
    for (int32_t ch : channels) {
        out += (out.empty() ? "" : ",") + NumberText(ch);
    }
    return out;
}

}  // namespace

void SettingsDialog::Load() {
    activated_ = false;
    readOK_ = false;
    cancelled_ = true;
    Show();
    SetHelpContextID(kHelpSettings);
    c_.form->Caption(instrument_->Model() + " Settings");
    SetCaption(c_.lblSerial, LoadResString(131));
    SetCaption(c_.lblUnits, LoadResString(139));
    SetCaption(c_.lblInterval, "Sample interval (s)");
    SetCaption(c_.chkAutoInterval, LoadResString(316));
    SetCaption(c_.lblScanMode, "Scan mode");
    SetCaption(c_.lblScanChannels, "Scan channels");
    SetCaption(c_.lblScanSeqDelay, "Scan sequence delay");
    SetCaption(c_.lblResolution, LoadResString(250));
    SetCaption(c_.chkAutoPower, LoadResString(348));
    SetCaption(c_.chkDisableSerial, LoadResString(349));
    SetCaption(c_.lblCalDate, LoadResString(155));
    SetCaption(c_.lblCalParams, LoadResString(149) + " (ohms for the _OHMS ranges, mV for MV)");
    SetCaption(c_.lblChannels, LoadResString(133));
    SetCaption(c_.cmdEditChannel, "&Edit Channel...");
    SetCaption(c_.cmdUnlock, "&Unlock...");
    CaptionOKCancelHelp(c_.cmdOKCancelHelp);
    // The instrument fills the grid by the range names of its first row.
    LayOutCalibrationGrid(*c_.vsfgCalParams);
}

void SettingsDialog::Activate() {
    if (activated_) {
        return;
    }
    activated_ = true;
    Ui().MousePointer(kPointerHourglass);
    readOK_ = ReadSettings();
    GatherSettings();
    // Without the instrument's settings there is nothing safe to write back.
    SetEnabled(c_.cmdOKCancelHelp[kCmdOK], readOK_);
    Ui().MousePointer(kPointerDefault);
}

bool SettingsDialog::ReadSettings() {
    try {
        // QueryInfo reports its own failures; the three scan settings are not part of it.
        if (!(instrument_->QueryInfo(c_.form) && instrument_->QueryInterval() &&
              instrument_->QueryScanMode() && instrument_->QueryScanChannelList())) {
            return false;
        }
        // The resolution shown is what the channels report, not a value never read.
        resolutions_.clear();
        const auto channels = std::min(instrument_->NumChannels(), kResolutionChannels);
        for (int16_t c = 1; c <= channels; ++c) {
            auto ch = instrument_->GetChannelReference(c);
            if (!ch || !ch->QueryResolution()) {
                return false;
            }
            resolutions_.push_back(ch->Resolution());
        }
        return channelState_ ? ReadChannelStates() : true;
    } catch (...) {
        ShowErrorMessage(Ui(), LoadResString(211), kMsgCaption);
        return false;
    }
}

bool SettingsDialog::ReadChannelStates() {
    CVesk4710& inst = *instrument_;
    for (int16_t c = 1; c <= inst.NumChannels(); ++c) {
        auto ch = inst.GetChannelReference(c);
        if (!ch) {
            continue;
        }
        const bool on = channelState_(inst, c);
        // The full read fetched the probe serial only of the channels it took for on.
        if (on && !ch->Enabled() && !ch->QuerySerialNumber()) {
            return false;
        }
        ch->Enabled(on);
    }
    return true;
}

void SettingsDialog::GatherSettings() {
    try {
        CVesk4710& inst = *instrument_;
        SetCaption(c_.lblModel, "Model " + inst.Model() + "    " + LoadResString(131) + " " +
                                    inst.Serial() + "    Firmware " + NumberText(inst.Firmware()));
        c_.txtSerial->Text(inst.Serial());

        inst.FillUnitsList(*c_.cboUnits, false);
        SelectOrAddItem(*c_.cboUnits, inst.Units(), UnitsText(static_cast<int16_t>(inst.Units())));

        const bool autoInterval = inst.Interval() == INT_AUTO;
        c_.chkAutoInterval->Value(autoInterval ? 1 : 0);
        c_.txtInterval->Text(autoInterval ? std::string() : NumberText(int32_t{inst.Interval()}));
        c_.txtInterval->Enabled(!autoInterval);

        c_.cboScanMode->Clear();
        AddListItem(*c_.cboScanMode, "Simultaneous", SM_SIMULTANEOUS);
        AddListItem(*c_.cboScanMode, "Scan", SM_SCAN);
        SelectOrAddItem(*c_.cboScanMode, inst.ScanMode(), NumberText(int32_t{inst.ScanMode()}));
        c_.txtScanChannels->Text(inst.ScanChannels());
        c_.txtScanSeqDelay->Text(NumberText(inst.ScanSeqDelay()));
        c_.txtScanSeqDelay->Enabled(inst.HasScanSeqDelay());

        c_.cboResolution->Clear();
        for (int16_t r = inst.MinResolution(); r <= inst.MaxResolution(); ++r) {
            AddListItem(*c_.cboResolution, NumberText(r), r);
        }
        const bool same = !resolutions_.empty() &&
                          std::all_of(resolutions_.begin(), resolutions_.end(),
                                      [this](int16_t r) { return r == resolutions_.front(); });
        if (same && resolutions_.front() >= inst.MinResolution()) {
            SelectListItemByData(*c_.cboResolution, resolutions_.front());
        } else {
            // Channels that differ (or read automatic) stay so unless the user picks a value.
            std::string text = "as the channels are (";
            for (size_t i = 0; i < resolutions_.size(); ++i) {
                text += (i == 0 ? "" : ", ") + NumberText(static_cast<int32_t>(i + 1)) + ": " +
                        ResolutionText(resolutions_[i]);
            }
            SelectOrAddItem(*c_.cboResolution, kResolutionAsIs, text + ")");
        }

        c_.chkAutoPower->Value(inst.AutoPower() ? 1 : 0);
        c_.chkDisableSerial->Value(inst.DisableSerial() ? 1 : 0);
        c_.dtpCalDate->Text(inst.CalDate().IsoDate());
        if (c_.lstChannels != nullptr) {
            inst.FillChannelList(*c_.lstChannels);
        }
    } catch (...) {
        ShowErrorMessage(Ui(), LoadResString(209), kMsgCaption);
    }
    original_ = Shown();
    ApplyLocks();
}

bool SettingsDialog::Unlocked() const {
    return instrument_->PasscodeState() == PS_ENABLED;
}

bool SettingsDialog::CalParamsProtected() const {
    return instrument_->ProtectCalParams() && !Unlocked();
}

void SettingsDialog::ApplyLocks() {
    const bool calOpen = readOK_ && !CalParamsProtected();
    c_.dtpCalDate->Enabled(calOpen);
    c_.vsfgCalParams->Enabled(calOpen);
    // The serial number is written only under a presented passcode.
    c_.txtSerial->Enabled(readOK_ && instrument_->AllowSetSerial() && Unlocked());
    const bool anyLocked = CalParamsProtected() || (instrument_->AllowSetSerial() && !Unlocked());
    SetEnabled(c_.cmdUnlock, readOK_ && anyLocked);
}

SettingsDialog::Values SettingsDialog::Shown() const {
    Values v;
    v.serial = c_.txtSerial->Text();
    v.units = SelectedItemData(*c_.cboUnits, instrument_->Units());
    v.interval = c_.chkAutoInterval->Value() == 1
                     ? INT_AUTO
                     : ParseTypedInteger(c_.txtInterval->Text()).value_or(instrument_->Interval());
    v.scanMode = SelectedItemData(*c_.cboScanMode, instrument_->ScanMode());
    v.scanChannels = c_.txtScanChannels->Text();
    if (auto channels = ParseChannelList(v.scanChannels)) {
        v.scanChannels = JoinChannels(*channels);
    }
    v.scanSeqDelay =
        ParseTypedInteger(c_.txtScanSeqDelay->Text()).value_or(instrument_->ScanSeqDelay());
    v.resolution = SelectedItemData(*c_.cboResolution, instrument_->Resolution());
    v.autoPower = c_.chkAutoPower->Value() == 1;
    v.disableSerial = c_.chkDisableSerial->Value() == 1;
    v.calDate = Date::ParseIso(Trim(c_.dtpCalDate->Text())).value_or(instrument_->CalDate());
    IGridControl& grid = *c_.vsfgCalParams;
    for (int32_t row = kCalFirstPointRow; row < grid.Rows(); ++row) {
        for (int32_t col = 1; col < grid.Cols(); ++col) {
            v.calParams.push_back(grid.TextMatrix(row, col));
        }
    }
    return v;
}

void SettingsDialog::chkDisableSerial_Click() {
    if (c_.chkDisableSerial->Value() != 1 || original_.disableSerial) {
        return;
    }
    const int32_t answer = Ui().MessageBox(
        "Disabling the serial port ends communication with the instrument over it: it answers "
        "no more requests on that port until its serial interface is switched on again at the "
        "instrument.\r\rDisable the serial port when the settings are written?",
        kMbYesNo | kMbQuestion | kMbDefaultButton2, kMsgCaption, {}, 0);
    if (answer != kAnsYes) {
        c_.chkDisableSerial->Value(0);
    }
}

void SettingsDialog::chkAutoInterval_Click() {
    c_.txtInterval->Enabled(c_.chkAutoInterval->Value() != 1);
}

void SettingsDialog::txtInterval_KeyPress(int16_t& keyAscii) {
    FilterIntegerKey(keyAscii);
}

void SettingsDialog::txtScanSeqDelay_KeyPress(int16_t& keyAscii) {
    FilterIntegerKey(keyAscii);
}

void SettingsDialog::txtScanChannels_KeyPress(int16_t& keyAscii) {
    if (keyAscii == ',' || keyAscii == ' ') {
        return;
    }
    FilterIntegerKey(keyAscii);
}

void SettingsDialog::txtSerial_KeyPress(int16_t& keyAscii) {
    FilterSerialKey(keyAscii);
}

void SettingsDialog::TextBox_GotFocus(ITextBox& box) {
    SelectAllText(box);
}

bool SettingsDialog::vsfgCalParams_BeforeEdit(int32_t row, int32_t col) {
    return c_.vsfgCalParams->Enabled() && IsPointCell(row, col);
}

void SettingsDialog::vsfgCalParams_KeyDown(int16_t& keyCode, int32_t row, int32_t col) {
    if (!vsfgCalParams_BeforeEdit(row, col)) {
        keyCode = 0;
        return;
    }
    FilterGridKey(keyCode);
    if (keyCode == kKeyDelete) {
        // Delete removes the whole adjustment point: reference and value belong together.
        const int32_t reference = col - ((col - 1) % 2);
        c_.vsfgCalParams->TextMatrix(row, reference, kCalUnusedCell);
        c_.vsfgCalParams->TextMatrix(row, reference + 1, kCalUnusedCell);
        keyCode = 0;
    }
}

void SettingsDialog::vsfgCalParams_KeyPress(int16_t& keyAscii) {
    FilterScientificKey(keyAscii);
}

bool SettingsDialog::vsfgCalParams_ValidateEdit(int32_t row, int32_t col, std::string& text) {
    if (!vsfgCalParams_BeforeEdit(row, col)) {
        return false;
    }
    const std::string typed(Trim(text));
    if (typed.empty() || typed == kCalUnusedCell) {
        text = kCalUnusedCell;
        return true;
    }
    const auto value = ParseTypedNumber(typed);
    if (!value) {
        ShowInfoMessage(Ui(), "'" + typed + "' is not a number.", kMsgCaption);
        return false;
    }
    // The instrument reads a period decimal whatever the user's locale.
    text = ToInvariantDecimal(typed);
    return true;
}

void SettingsDialog::cmdUnlock_Click() {
    try {
        if (instrument_->ValidatePasscode(c_.form)) {
            ApplyLocks();
        }
    } catch (...) {
        ShowErrorMessage(Ui(), ResText(109, LoadResString(308)), kMsgCaption);
    }
}

void SettingsDialog::cmdEditChannel_Click() {
    if (c_.lstChannels == nullptr) {
        return;
    }
    const int32_t channel = SelectedItemData(*c_.lstChannels, 0);
    if (channel <= 0) {
        return;
    }
    try {
        if (auto ch = instrument_->GetChannelReference(static_cast<int16_t>(channel))) {
            ch->Edit();
            instrument_->FillChannelList(*c_.lstChannels);
            SelectListItemByData(*c_.lstChannels, channel);
        }
    } catch (...) {
        ShowErrorMessage(Ui(), LoadResString(213), kMsgCaption);
    }
}

bool SettingsDialog::ValidateSettings() {
    CVesk4710& inst = *instrument_;
    if (c_.chkAutoInterval->Value() != 1) {
        const auto interval = ParseTypedInteger(c_.txtInterval->Text());
        if (!interval) {
            return RefuseEntry(Ui(), "The sample interval must be a whole number of seconds.",
                               c_.txtInterval);
        }
        if (*interval > inst.MaxInterval()) {
            return RefuseEntry(Ui(), ResText(202, NumberText(int32_t{inst.MaxInterval()})),
                               c_.txtInterval);
        }
        if (*interval < inst.MinInterval()) {
            return RefuseEntry(Ui(),
                               "The minimum setting for the sample interval is " +
                                   NumberText(int32_t{inst.MinInterval()}) + ".",
                               c_.txtInterval);
        }
    }
    if (inst.HasScanSeqDelay()) {
        const auto delay = ParseTypedInteger(c_.txtScanSeqDelay->Text());
        if (!delay || *delay < 0 || *delay > kMaxScanSeqDelay) {
            return RefuseEntry(Ui(),
                               "The scan sequence delay must be a whole number from 0 to " +
                                   NumberText(kMaxScanSeqDelay) + ".",
                               c_.txtScanSeqDelay);
        }
    }
    const auto channels = ParseChannelList(c_.txtScanChannels->Text());
    const std::string channelRange =
        inst.NumChannels() > 0 ? "1 to " + NumberText(inst.NumChannels()) : "of the instrument";
    if (!channels) {
        return RefuseEntry(
            Ui(),
            "The scan channel list must name channels " + channelRange + ", separated by commas.",
            c_.txtScanChannels);
    }
    std::set<int32_t> seen;
    for (int32_t ch : *channels) {
        if (ch < 1 || (inst.NumChannels() > 0 && ch > inst.NumChannels())) {
            return RefuseEntry(Ui(),
                               "The scan channel list must name channels " + channelRange +
                                   "; there is no channel " + NumberText(ch) + ".",
                               c_.txtScanChannels);
        }
        if (!seen.insert(ch).second) {
            return RefuseEntry(
                Ui(), "Channel " + NumberText(ch) + " appears twice in the scan channel list.",
                c_.txtScanChannels);
        }
    }
    if (SelectedItemData(*c_.cboScanMode, inst.ScanMode()) == SM_SCAN && channels->empty()) {
        return RefuseEntry(Ui(), "Scanning needs at least one channel in the scan channel list.",
                           c_.txtScanChannels);
    }
    if (c_.txtSerial->Enabled() && Trim(c_.txtSerial->Text()).empty()) {
        return RefuseEntry(Ui(), "The serial number can not be empty.", c_.txtSerial);
    }
    const auto calDate = Date::ParseIso(Trim(c_.dtpCalDate->Text()));
    if (!calDate) {
        return RefuseEntry(Ui(), "The calibration date is not a valid date.", c_.dtpCalDate);
    }
    if (*calDate > Date::Today()) {
        return RefuseEntry(Ui(), "The calibration date can not be in the future.", c_.dtpCalDate);
    }
    return ValidateCalParams();
}

bool SettingsDialog::ValidateCalParams() {
    const IGridControl& grid = *c_.vsfgCalParams;
    for (int32_t reference = 1; reference + 1 < grid.Cols(); reference += 2) {
        const std::string range = grid.TextMatrix(0, reference);
        bool unusedSeen = false;
        int32_t points = 0;
        for (int32_t row = kCalFirstPointRow; row < grid.Rows(); ++row) {
            const std::string ref = grid.TextMatrix(row, reference);
            const std::string value = grid.TextMatrix(row, reference + 1);
            const bool refUnused = ref == kCalUnusedCell;
            const bool valueUnused = value == kCalUnusedCell;
            for (const std::string* cell : {&ref, &value}) {
                if (*cell != kCalUnusedCell && !ParseTypedNumber(*cell)) {
                    return RefuseEntry(Ui(), "The calibration parameter '" + *cell + "' of " +
                                                 range + ", " + PointName(row) +
                                                 " is not a number.");
                }
            }
            if (refUnused != valueUnused) {
                return RefuseEntry(
                    Ui(), PointName(row) + " of " + range + " needs both a reference and a value.");
            }
            if (refUnused) {
                unusedSeen = true;
                continue;
            }
            if (unusedSeen) {
                return RefuseEntry(Ui(), range + " has an unused point before " + PointName(row) +
                                             ": adjustment points must follow one another.");
            }
            ++points;
        }
        if (points == 0) {
            return RefuseEntry(Ui(), range + " needs at least one complete adjustment point.");
        }
    }
    return true;
}

bool SettingsDialog::WriteSettings(const Values& now) {
    CVesk4710& inst = *instrument_;
    bool presented = false;
    bool ok = true;
    try {
        inst.Serial(now.serial);
        inst.Units(static_cast<E4710Units>(now.units));
        inst.Interval(static_cast<E4710Interval>(now.interval));
        inst.ScanMode(static_cast<E4710ScanMode>(now.scanMode));
        inst.ScanChannels(now.scanChannels);
        inst.ScanSeqDelay(static_cast<int16_t>(now.scanSeqDelay));
        if (now.resolution != kResolutionAsIs) {
            inst.Resolution(static_cast<int16_t>(now.resolution));
        }
        inst.AutoPower(now.autoPower);
        inst.DisableSerial(now.disableSerial);
        if (now.calDate != original_.calDate) {
            inst.CalDate(now.calDate);
        }

        const Values& was = original_;
        // The protected settings are open only under the passcode the user gave (Unlock);
        // it is presented only when one of them changed.
        if (now.serial != was.serial || now.calDate != was.calDate ||
            now.calParams != was.calParams) {
            // Marked first: a lost reply may still have unlocked the instrument.
            presented = true;
            inst.UpdatePasscodeState(inst.Passcode());
        }
        // Only what changed is written, in the instrument's order, read back where it may
        // adjust the value.
        const auto write = [&ok](bool changed, const std::function<bool()>& step) {
            ok = ok && (!changed || step());
        };
        write(now.serial != was.serial, [&] { return inst.UpdateSerialNumber(); });
        write(now.units != was.units, [&] { return inst.UpdateUnits() && inst.QueryUnits(); });
        write(now.calDate != was.calDate,
              [&] { return inst.UpdateCalibrationDate() && inst.QueryCalibrationDate(); });
        write(now.calParams != was.calParams,
              [&] { return inst.UpdateCalParameters(*c_.vsfgCalParams); });
        write(now.autoPower != was.autoPower,
              [&] { return inst.UpdateAutoPower() && inst.QueryAutoPower(); });
        write(now.disableSerial != was.disableSerial, [&] { return inst.UpdateDisableSerial(); });
        write(now.interval != was.interval, [&] { return inst.UpdateInterval(c_.form); });
        write(now.scanSeqDelay != was.scanSeqDelay, [&] { return inst.UpdateScanSeqDelay(); });
        write(now.scanChannels != was.scanChannels, [&] { return inst.UpdateScanChannelList(); });
        write(now.scanMode != was.scanMode, [&] { return inst.UpdateScanMode(); });
        write(now.resolution != was.resolution, [&] { return inst.UpdateResolution(); });
    } catch (...) {
        ShowErrorMessage(Ui(), ResText(114, inst.Model()), kMsgCaption);
        ok = false;
    }
    if (presented) {
        // Locked again whatever happened; the passcode served this write only.
        try {
            inst.UpdatePasscodeState("", true);
            inst.PasscodeState(PS_DISABLED);
            inst.Passcode("");
        } catch (...) {
            ShowErrorMessage(Ui(), ResText(109, LoadResString(308)), kMsgCaption);
            ok = false;
        }
    }
    Ui().MousePointer(kPointerDefault);
    if (ok) {
        inst.Changed(false);
    }
    return ok;
}

void SettingsDialog::cmdOKCancelHelp_Click(int index) {
    OKCancelHelp(
        Ui(), index,
        [this] {
            cancelled_ = !ApplyChanges(
                Ui(), 201, [this] { return ValidateSettings(); },
                [this] { return Shown() == original_; }, [this] { return WriteSettings(Shown()); });
        },
        [this] {
            cancelled_ = true;
            Hide();
        });
}

void SettingsDialog::Unload() {
    if (instrument_) {
        SaveFormState();
    }
    instrument_.reset();
}

}  // namespace vesk

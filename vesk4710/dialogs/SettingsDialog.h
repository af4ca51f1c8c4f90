#pragma once
// Instrument settings: units, sample interval, scanning, resolution, power and serial-port
// options, calibration date and parameters, serial number, and the channel list with its
// channel editor. Protected settings open only after the instrument accepted a passcode.
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "vesk4710/dialogs/DialogBase.h"
#include "vesk4710/support/Date.h"

namespace vesk {

class CVesk4710;

class SettingsDialog : public IDialogLogic, public InstrumentDialogBase {
  public:
    struct Controls {
        IForm* form = nullptr;
        ILabel* lblModel = nullptr;
        ILabel* lblSerial = nullptr;
        ITextBox* txtSerial = nullptr;
        ILabel* lblUnits = nullptr;
        IListControl* cboUnits = nullptr;
        ILabel* lblInterval = nullptr;
        ITextBox* txtInterval = nullptr;
        ICheckBox* chkAutoInterval = nullptr;
        ILabel* lblScanMode = nullptr;
        IListControl* cboScanMode = nullptr;
        ILabel* lblScanChannels = nullptr;
        ITextBox* txtScanChannels = nullptr;
        ILabel* lblScanSeqDelay = nullptr;
        ITextBox* txtScanSeqDelay = nullptr;
        ILabel* lblResolution = nullptr;
        IListControl* cboResolution = nullptr;
        ICheckBox* chkAutoPower = nullptr;
        ICheckBox* chkDisableSerial = nullptr;
        ILabel* lblCalDate = nullptr;
        ITextBox* dtpCalDate = nullptr;  // ISO date text (YYYY-MM-DD)
        ILabel* lblCalParams = nullptr;
        IGridControl* vsfgCalParams = nullptr;
        ILabel* lblChannels = nullptr;
        IListControl* lstChannels = nullptr;
        IButton* cmdEditChannel = nullptr;
        IButton* cmdUnlock = nullptr;
        std::array<IButton*, 3> cmdOKCancelHelp{};
    };

    // The values the dialog edits, as shown and as written.
    struct Values {
        std::string serial;
        int32_t units = 0;
        int32_t interval = 0;
        int32_t scanMode = 0;
        std::string scanChannels;
        int32_t scanSeqDelay = 0;
        int32_t resolution = 0;
        bool autoPower = false;
        bool disableSerial = false;
        Date calDate;
        std::vector<std::string> calParams;  // adjustment-point cells, row by row
        bool operator==(const Values&) const = default;
    };

    // Whether a channel (instrument-wide number) is on, asked of the channel itself.
    using ChannelStateReader = std::function<bool(CVesk4710&, int16_t)>;

    using InstrumentDialogBase::InstrumentDialogBase;
    // A client that reads each channel's own state gives it here: the channel list then
    // shows that state and the probe serial of every channel that is on. Without it the
    // list shows the channels as the instrument object's full read left them.
    void ChannelStates(ChannelStateReader reader) { channelState_ = std::move(reader); }

    std::string DialogName() const override { return "frm4710Settings"; }
    std::string FormName() const override { return DialogName(); }
    void Bind(const Controls& controls) { c_ = controls; }
    // True unless the settings were applied (or found unchanged) with OK.
    bool Cancelled() const { return cancelled_; }
    // Whether the protected settings are open for editing.
    bool Unlocked() const;

    void Load();
    void Activate();
    void Unload();
    void chkAutoInterval_Click();
    // Ticking it asks first: the instrument stops answering on its serial port.
    void chkDisableSerial_Click();
    void txtInterval_KeyPress(int16_t& keyAscii);
    void txtScanSeqDelay_KeyPress(int16_t& keyAscii);
    void txtScanChannels_KeyPress(int16_t& keyAscii);
    void txtSerial_KeyPress(int16_t& keyAscii);
    void TextBox_GotFocus(ITextBox& box);
    // Calibration grid: whether a cell may be edited; key filters; a typed cell value is
    // normalised (invariant decimal, "-" for an unused point) or refused.
    bool vsfgCalParams_BeforeEdit(int32_t row, int32_t col);
    void vsfgCalParams_KeyDown(int16_t& keyCode, int32_t row, int32_t col);
    void vsfgCalParams_KeyPress(int16_t& keyAscii);
    bool vsfgCalParams_ValidateEdit(int32_t row, int32_t col, std::string& text);
    void cmdUnlock_Click();
    void cmdEditChannel_Click();
    void lstChannels_DblClick() { cmdEditChannel_Click(); }
    void cmdOKCancelHelp_Click(int index);

  private:
    bool ReadSettings();
    bool ReadChannelStates();
    void GatherSettings();
    void ApplyLocks();
    bool CalParamsProtected() const;
    Values Shown() const;
    // Checks what the user entered; shows why and focuses the control when it is refused.
    bool ValidateSettings();
    bool ValidateCalParams();
    bool WriteSettings(const Values& now);

    Controls c_;
    Values original_;
    bool activated_ = false;
    bool readOK_ = false;
    // The display resolution each channel reported (those the instrument's write reaches).
    std::vector<int16_t> resolutions_;
    bool cancelled_ = true;
    ChannelStateReader channelState_;
};

}  // namespace vesk

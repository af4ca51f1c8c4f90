#pragma once
// Channel settings: probe serial number, probe family, conversion type with its
// coefficients, calibration date, resolution, reference junction, probe lock and the
// MINOP/MAXOP parameters. Protected conversion settings open only after the instrument
// accepted a passcode; a changed serial number asks for it before writing. Loading and the
// controls' events are in ChannelDialog.cpp, checking and writing the edits in
// ChannelDialogApply.cpp.
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "vesk4710/channel/ChannelEditDialog.h"
#include "vesk4710/dialogs/DialogBase.h"
#include "vesk4710/platform/IProbe.h"
#include "vesk4710/support/Date.h"

namespace vesk {

class CVesk4710;
class CVesk4710Channel;

class ChannelDialog : public ChannelEditDialog, public DialogBase {
  public:
    struct Controls {
        IForm* form = nullptr;
        ILabel* lblProbeSerial = nullptr;
        ITextBox* txtProbeSerial = nullptr;
        ILabel* lblProbeType = nullptr;
        IListControl* cboProbeType = nullptr;
        ILabel* lblConversionType = nullptr;
        IListControl* cboConversionType = nullptr;
        ILabel* lblTCType = nullptr;
        IListControl* cboTCType = nullptr;
        ILabel* lblCoefficients = nullptr;
        IGridControl* vsfgCoefficients = nullptr;  // name | value, one row per coefficient
        ILabel* lblCalDate = nullptr;
        ITextBox* dtpCalDate = nullptr;  // ISO date text (YYYY-MM-DD)
        ILabel* lblResolution = nullptr;
        IListControl* cboResolution = nullptr;
        ILabel* lblRJCType = nullptr;
        IListControl* cboRJCType = nullptr;
        ILabel* lblRJCTemperature = nullptr;
        ITextBox* txtRJCTemperature = nullptr;
        ICheckBox* chkProbeLock = nullptr;
        ILabel* lblMINOP = nullptr;
        ITextBox* txtMINOP = nullptr;
        ILabel* lblMAXOP = nullptr;
        ITextBox* txtMAXOP = nullptr;
        IButton* cmdUnlock = nullptr;
        std::array<IButton*, 3> cmdOKCancelHelp{};
    };

    // Everything the dialog edits, as read and as entered.
    struct Values {
        std::string serial;
        int32_t conversionType = -1;
        int32_t tcType = 4;
        std::vector<double> coefficients;
        Date calDate;
        int32_t resolution = 0;
        int32_t rjcType = 1;
        double rjcTemperature = 0.0;
        bool probeLock = false;
        int32_t minop = 0;
        int32_t maxop = 0;
        bool operator==(const Values&) const = default;
    };

    explicit ChannelDialog(std::shared_ptr<CVesk4710Channel> channel);

    std::string FormName() const override { return DialogName(); }
    void Bind(const Controls& controls) { c_ = controls; }
    // True unless the changes were written (or found unchanged) with OK.
    bool Cancelled() const { return cancelled_; }
    bool Unlocked() const;

    void Load();
    void Activate();
    void Unload();
    void cboProbeType_Click();
    void cboConversionType_Click();
    void cboTCType_Click();
    void cboRJCType_Click();
    void txtProbeSerial_KeyPress(int16_t& keyAscii);
    void txtRJCTemperature_KeyPress(int16_t& keyAscii);
    void txtOP_KeyPress(int16_t& keyAscii);  // MINOP and MAXOP
    void TextBox_GotFocus(ITextBox& box);
    bool vsfgCoefficients_BeforeEdit(int32_t row, int32_t col);
    void vsfgCoefficients_KeyPress(int16_t& keyAscii);
    bool vsfgCoefficients_ValidateEdit(int32_t row, int32_t col, std::string& text);
    void cmdUnlock_Click();
    void cmdOKCancelHelp_Click(int index);

  protected:
    IRegistry* StateRegistry() const override { return Registry().get(); }

  private:
    // One coefficient of the active conversion as the grid shows it.
    struct Coefficient {
        std::string name;
        std::function<double()> get;
        std::function<void(double)> set;
    };

    IUiServices& Ui() const;
    std::shared_ptr<CVesk4710> Instrument() const;
    IConversion& Conversion() const;
    bool ReadChannel();
    void GatherChannel();
    void FillConversionTypes(int32_t family);
    void ShowCoefficients();
    void ShowRJC();
    void ApplyLocks();
    bool ConversionProtected() const;
    // The changed settings that the instrument writes only under its passcode ("the probe
    // serial number and the conversion"): the serial number always, the conversion and its
    // coefficients while the instrument protects conversions. Empty when there are none.
    std::string ProtectedChanges(const Values& now) const;
    bool ConversionChanged(const Values& now) const;
    std::vector<Coefficient> Coefficients() const;
    Values Shown() const;
    void Restore(const Values& values);
    bool ValidateChannel();
    bool WriteChannel(const Values& now);

    Controls c_;
    Values original_;
    bool activated_ = false;
    bool readOK_ = false;
    bool cancelled_ = true;
    bool filling_ = false;  // list fills and selections made by the dialog itself
};

}  // namespace vesk

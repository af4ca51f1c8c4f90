#pragma once
// Logging label: reads the instrument's current label, edits it under the label's character
// rules and writes it back.
#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "vesk4710/dialogs/DialogBase.h"

namespace vesk {

class CVesk4710;

class LabelsDialog : public IDialogLogic, public InstrumentDialogBase {
  public:
    struct Controls {
        IForm* form = nullptr;
        ILabel* lblLabelName = nullptr;
        ITextBox* txtLabelName = nullptr;
        IButton* cmdReset = nullptr;
        std::array<IButton*, 3> cmdOKCancelHelp{};
    };

    using InstrumentDialogBase::InstrumentDialogBase;

    std::string DialogName() const override { return "frm4710Labels"; }
    std::string FormName() const override { return DialogName(); }
    void Bind(const Controls& controls) { c_ = controls; }
    bool Changed() const { return changed_; }

    void Load();
    void Activate();
    void Unload();
    void txtLabelName_Change();
    void txtLabelName_GotFocus();
    void txtLabelName_KeyPress(int16_t& keyAscii);
    void txtLabelName_Validate(bool& cancel);
    void cmdReset_Click();
    void cmdOKCancelHelp_Click(int index);

  private:
    bool ReadLabel();
    bool WriteLabel();

    Controls c_;
    bool activated_ = false;
    bool changed_ = false;
    bool filling_ = false;  // the label read from the instrument is not a user change
};

}  // namespace vesk

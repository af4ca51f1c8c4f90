#pragma once
// Log status: how full the demand log is, with clearing and re-reading.
#include <array>
#include <memory>
#include <string>

#include "vesk4710/dialogs/DialogBase.h"

namespace vesk {

class CVesk4710;
class IUiServices;

class LogStatusDialog : public IDialogLogic, public InstrumentDialogBase {
  public:
    struct Controls {
        IForm* form = nullptr;
        ILabel* lblDemandLog = nullptr;
        IProgressBar* pbarDemandLog = nullptr;
        IButton* cmdDemandLogClear = nullptr;
        IButton* cmdRefresh = nullptr;
        std::array<IButton*, 3> cmdOKCancelHelp{};
    };

    using InstrumentDialogBase::InstrumentDialogBase;

    std::string DialogName() const override { return "frm4710LogStatus"; }
    std::string FormName() const override { return DialogName(); }
    void Bind(const Controls& controls) { c_ = controls; }

    void Load();
    void Activate();
    void Unload();
    void cmdRefresh_Click();
    void cmdDemandLogClear_Click();
    void cmdOKCancelHelp_Click(int index);

  private:
    Controls c_;
    bool activated_ = false;
};

}  // namespace vesk

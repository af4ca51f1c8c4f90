#pragma once
// The log status dialog.
#include <array>

#include "ui/qt/QtControls.h"
#include "ui/qt/QtDialogForm.h"
#include "vesk4710/dialogs/LogStatusDialog.h"

namespace vesk {

class QtLogStatusDialog : public QtDialogForm {
    Q_OBJECT
  public:
    QtLogStatusDialog(QWidget* parent, LogStatusDialog& logic);

  protected:
    void Activated() override { logic_.Activate(); }
    // Closing the window is the Close button.
    void Cancelled() override { logic_.cmdOKCancelHelp_Click(kCmdOK); }

  private:
    LogStatusDialog& logic_;
    QtLabel lblDemandLog_;
    QtProgressBar pbarDemandLog_;
    QtButton cmdDemandLogClear_;
    QtButton cmdRefresh_;
    std::array<QtButton, 3> cmdOKCancelHelp_;
};

}  // namespace vesk

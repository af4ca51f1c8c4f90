#pragma once
// The logging label dialog.
#include <array>

#include "ui/qt/QtControls.h"
#include "ui/qt/QtDialogForm.h"
#include "vesk4710/dialogs/LabelsDialog.h"

namespace vesk {

class QtLabelsDialog : public QtDialogForm {
    Q_OBJECT
  public:
    QtLabelsDialog(QWidget* parent, LabelsDialog& logic);

  protected:
    void Activated() override { logic_.Activate(); }
    void Cancelled() override { logic_.cmdOKCancelHelp_Click(kCmdCancel); }
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    LabelsDialog& logic_;
    QtLabel lblLabelName_;
    QtTextBox txtLabelName_;
    QtButton cmdReset_;
    std::array<QtButton, 3> cmdOKCancelHelp_;
};

}  // namespace vesk

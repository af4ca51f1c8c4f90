#pragma once
// The download-options dialog.
#include <array>

#include "ui/qt/QtControls.h"
#include "ui/qt/QtDialogForm.h"
#include "vesk4710/dialogs/DownloadDialog.h"

namespace vesk {

class QtDownloadDialog : public QtDialogForm {
    Q_OBJECT
  public:
    QtDownloadDialog(QWidget* parent, DownloadDialog& logic);

  protected:
    void Activated() override { logic_.Activate(); }
    void Cancelled() override { logic_.cmdOKCancelHelp_Click(kCmdCancel); }

  private:
    DownloadDialog& logic_;
    QtLabel lblLog_, lblLabel_, lblDecimals_, lblFolder_;
    QtComboBox cboLog_, cboLabel_, cboDecimals_;
    std::array<QtCheckBox, 2> optFiles_;
    QtTextBox txtFolder_;
    QtButton cmdBrowse_;
    std::array<QtButton, 3> cmdOKCancelHelp_;
};

}  // namespace vesk

#pragma once
// The instrument settings dialog; its calibration grid is the form's vsfgCalParams, which
// the instrument reads and writes directly.
#include <array>

#include "ui/qt/QtControls.h"
#include "ui/qt/QtDialogForm.h"
#include "vesk4710/dialogs/SettingsDialog.h"

namespace vesk {

class QtSettingsDialog : public QtDialogForm {
    Q_OBJECT
  public:
    QtSettingsDialog(QWidget* parent, SettingsDialog& logic);

    IGridControl* vsfgCalParams() override { return &vsfgCalParams_; }

  protected:
    void Activated() override;
    void Cancelled() override { logic_.cmdOKCancelHelp_Click(kCmdCancel); }
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    SettingsDialog& logic_;
    QtLabel lblModel_, lblSerial_, lblUnits_, lblInterval_, lblScanMode_, lblScanChannels_,
        lblScanSeqDelay_, lblResolution_, lblCalDate_, lblCalParams_, lblChannels_;
    QtTextBox txtSerial_, txtInterval_, txtScanChannels_, txtScanSeqDelay_;
    QtCheckBox chkAutoInterval_, chkAutoPower_, chkDisableSerial_;
    QtComboBox cboUnits_, cboScanMode_, cboResolution_;
    QtDateBox dtpCalDate_;
    QtGrid vsfgCalParams_;
    QtListBox lstChannels_;
    QtButton cmdEditChannel_, cmdUnlock_;
    std::array<QtButton, 3> cmdOKCancelHelp_;
};

}  // namespace vesk

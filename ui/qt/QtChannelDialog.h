#pragma once
// The channel settings dialog.
#include <array>

#include "ui/qt/QtControls.h"
#include "ui/qt/QtDialogForm.h"
#include "vesk4710/dialogs/ChannelDialog.h"

namespace vesk {

class QtChannelDialog : public QtDialogForm {
    Q_OBJECT
  public:
    QtChannelDialog(QWidget* parent, ChannelDialog& logic);

  protected:
    void Activated() override;
    void Cancelled() override { logic_.cmdOKCancelHelp_Click(kCmdCancel); }
    bool eventFilter(QObject* watched, QEvent* event) override;
    // The logic rebuilds the coefficient grid with the conversion; its header cells follow.
    void StyleGrid();

  private:
    ChannelDialog& logic_;
    QtLabel lblProbeSerial_, lblProbeType_, lblConversionType_, lblTCType_, lblCoefficients_,
        lblCalDate_, lblResolution_, lblRJCType_, lblRJCTemperature_, lblMINOP_, lblMAXOP_;
    QtTextBox txtProbeSerial_, txtRJCTemperature_, txtMINOP_, txtMAXOP_;
    QtComboBox cboProbeType_, cboConversionType_, cboTCType_, cboResolution_, cboRJCType_;
    QtGrid vsfgCoefficients_;
    QtDateBox dtpCalDate_;
    QtCheckBox chkProbeLock_;
    QtButton cmdUnlock_;
    std::array<QtButton, 3> cmdOKCancelHelp_;
};

}  // namespace vesk

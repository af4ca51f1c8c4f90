#pragma once
// The downloaded-files dialog.
#include "ui/qt/QtControls.h"
#include "ui/qt/QtDialogForm.h"
#include "vesk4710/dialogs/ShowFilesDialog.h"

class QCheckBox;
class QPushButton;

namespace vesk {

class QtShowFilesDialog : public QtDialogForm {
    Q_OBJECT
  public:
    QtShowFilesDialog(QWidget* parent, ShowFilesDialog& logic);

  protected:
    void Activated() override { logic_.Activate(); }
    void Cancelled() override { logic_.cmdOK_Click(); }

  private:
    ShowFilesDialog& logic_;
    QtLabel lblInstructions_;
    QtListBox lstFiles_;
    QtCheckBox chkPrint_;
    QtButton cmdOK_;
};

}  // namespace vesk

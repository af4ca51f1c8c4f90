#include "ui/qt/QtLabelsDialog.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "ui/qt/QtKeys.h"

namespace vesk {

QtLabelsDialog::QtLabelsDialog(QWidget* parent, LabelsDialog& logic)
    : QtDialogForm(parent, logic),
      logic_(logic),
      lblLabelName_(new QLabel(this)),
      txtLabelName_(new QLineEdit(this)),
      cmdReset_(new QPushButton(this)),
      cmdOKCancelHelp_(OKCancelHelpButtons(this)) {
    setObjectName("frm4710Labels");
    lblLabelName_.widget()->setObjectName("lblLabelName");
    txtLabelName_.widget()->setObjectName("txtLabelName");
    cmdReset_.widget()->setObjectName("cmdReset");
    // Enter belongs to the label box, which selects its text on it.
    for (const auto& button : cmdOKCancelHelp_) {
        PushButtonOf(button)->setAutoDefault(false);
    }
    PushButtonOf(cmdReset_)->setAutoDefault(false);

    auto* row = new QHBoxLayout;
    row->addWidget(lblLabelName_.widget());
    row->addWidget(txtLabelName_.widget(), 1);
    row->addWidget(cmdReset_.widget());
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(row);
    layout->addLayout(ButtonRow(nullptr, cmdOKCancelHelp_));
    resize(380, 100);

    logic_.Bind({this,
                 &lblLabelName_,
                 &txtLabelName_,
                 &cmdReset_,
                 {&cmdOKCancelHelp_[0], &cmdOKCancelHelp_[1], &cmdOKCancelHelp_[2]}});
    logic_.Load();

    QLineEdit* edit = txtLabelName_.widget();
    FilterKeys(edit, [this](int16_t& key) { logic_.txtLabelName_KeyPress(key); });
    connect(edit, &QLineEdit::textChanged, this, [this] { logic_.txtLabelName_Change(); });
    edit->installEventFilter(this);
    connect(cmdReset_.widget(), &QAbstractButton::clicked, this,
            [this] { logic_.cmdReset_Click(); });
    for (int i = 0; i < 3; ++i) {
        connect(cmdOKCancelHelp_[i].widget(), &QAbstractButton::clicked, this, [this, i] {
            // The box is validated when the focus leaves it, before the button acts.
            bool cancel = false;
            if (i == kCmdOK) {
                logic_.txtLabelName_Validate(cancel);
            }
            if (!cancel) {
                logic_.cmdOKCancelHelp_Click(i);
            }
        });
    }
    HelpOnF1(cmdOKCancelHelp_[2]);
}

bool QtLabelsDialog::eventFilter(QObject* watched, QEvent* event) {
    if (watched == txtLabelName_.widget()) {
        if (event->type() == QEvent::FocusIn) {
            // After Qt has placed the caret for the click or tab that brought the focus.
            QTimer::singleShot(0, this, [this] { logic_.txtLabelName_GotFocus(); });
        } else if (event->type() == QEvent::FocusOut) {
            bool cancel = false;
            logic_.txtLabelName_Validate(cancel);
        }
    }
    return QtDialogForm::eventFilter(watched, event);
}

}  // namespace vesk

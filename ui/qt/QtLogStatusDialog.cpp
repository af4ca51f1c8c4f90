#include "ui/qt/QtLogStatusDialog.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace vesk {

QtLogStatusDialog::QtLogStatusDialog(QWidget* parent, frm4710LogStatus& logic)
    : QtDialogForm(parent, logic),
      logic_(logic),
      lblDemandLog_(new QLabel(this)),
      pbarDemandLog_(new QProgressBar(this)),
      cmdDemandLogClear_(new QPushButton(this)),
      cmdRefresh_(new QPushButton(this)),
      cmdOKCancelHelp_{QtButton(new QPushButton(this)), QtButton(new QPushButton(this)),
                       QtButton(new QPushButton(this))} {
    setObjectName("frm4710LogStatus");
    lblDemandLog_.widget()->setObjectName("lblDemandLog");
    pbarDemandLog_.widget()->setObjectName("pbarDemandLog");
    pbarDemandLog_.widget()->setTextVisible(false);
    cmdDemandLogClear_.widget()->setObjectName("cmdDemandLogClear");
    cmdRefresh_.widget()->setObjectName("cmdRefresh");
    for (int i = 0; i < 3; ++i) {
        cmdOKCancelHelp_[i].widget()->setObjectName(QString("cmdOKCancelHelp%1").arg(i));
    }
    // Index 1 has no use in a dialog that only closes.
    cmdOKCancelHelp_[kCmdCancel].widget()->hide();

    auto* frame = new QGroupBox(this);
    frame->setObjectName("framLogStatus");
    auto* frameLayout = new QVBoxLayout(frame);
    frameLayout->addWidget(lblDemandLog_.widget());
    frameLayout->addWidget(pbarDemandLog_.widget());
    auto* frameButtons = new QHBoxLayout;
    frameButtons->addWidget(cmdDemandLogClear_.widget());
    frameButtons->addStretch(1);
    frameLayout->addLayout(frameButtons);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(cmdRefresh_.widget());
    buttons->addStretch(1);
    for (auto& button : cmdOKCancelHelp_) {
        buttons->addWidget(button.widget());
    }
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(frame);
    layout->addLayout(buttons);
    resize(380, 170);

    logic_.Bind({this,
                 &lblDemandLog_,
                 &pbarDemandLog_,
                 &cmdDemandLogClear_,
                 &cmdRefresh_,
                 {&cmdOKCancelHelp_[0], &cmdOKCancelHelp_[1], &cmdOKCancelHelp_[2]}});
    logic_.Load();

    connect(cmdRefresh_.widget(), &QAbstractButton::clicked, this,
            [this] { logic_.cmdRefresh_Click(); });
    connect(cmdDemandLogClear_.widget(), &QAbstractButton::clicked, this,
            [this] { logic_.cmdDemandLogClear_Click(); });
    for (int i = 0; i < 3; ++i) {
        connect(cmdOKCancelHelp_[i].widget(), &QAbstractButton::clicked, this,
                [this, i] { logic_.cmdOKCancelHelp_Click(i); });
    }
    PushButtonOf(cmdOKCancelHelp_[kCmdOK])->setDefault(true);
}

}  // namespace vesk

#include "ui/qt/QtLogStatusDialog.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace vesk {

QtLogStatusDialog::QtLogStatusDialog(QWidget* parent, LogStatusDialog& logic)
    : QtDialogForm(parent, logic),
      logic_(logic),
      lblDemandLog_(new QLabel(this)),
      pbarDemandLog_(new QProgressBar(this)),
      cmdDemandLogClear_(new QPushButton(this)),
      cmdRefresh_(new QPushButton(this)),
      cmdOKCancelHelp_(OKCancelHelpButtons(this)) {
    setObjectName("frm4710LogStatus");
    lblDemandLog_.widget()->setObjectName("lblDemandLog");
    pbarDemandLog_.widget()->setObjectName("pbarDemandLog");
    // The count and the capacity on the bar; the label above gives the percentage.
    pbarDemandLog_.widget()->setFormat(tr("%v of %m readings"));
    cmdDemandLogClear_.widget()->setObjectName("cmdDemandLogClear");
    cmdRefresh_.widget()->setObjectName("cmdRefresh");
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

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(frame);
    layout->addLayout(ButtonRow(cmdRefresh_.widget(), cmdOKCancelHelp_));
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
    ConnectOKCancelHelp(this, cmdOKCancelHelp_, [this](int i) { logic_.cmdOKCancelHelp_Click(i); });
}

}  // namespace vesk

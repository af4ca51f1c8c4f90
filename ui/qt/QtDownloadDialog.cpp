#include "ui/qt/QtDownloadDialog.h"

#include <QComboBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace vesk {

QtDownloadDialog::QtDownloadDialog(QWidget* parent, DownloadDialog& logic)
    : QtDialogForm(parent, logic),
      logic_(logic),
      lblLog_(Named(new QLabel(this), "lblLog")),
      lblLabel_(Named(new QLabel(this), "lblLabel")),
      lblDecimals_(Named(new QLabel(this), "lblDecimals")),
      lblFolder_(Named(new QLabel(this), "lblFolder")),
      cboLog_(Named(new QComboBox(this), "cboLog")),
      cboLabel_(Named(new QComboBox(this), "cboLabel")),
      cboDecimals_(Named(new QComboBox(this), "cboDecimals")),
      optFiles_{QtCheckBox(Named(new QRadioButton(this), "optFiles0")),
                QtCheckBox(Named(new QRadioButton(this), "optFiles1"))},
      txtFolder_(Named(new QLineEdit(this), "txtFolder")),
      cmdBrowse_(Named(new QPushButton(this), "cmdBrowse")),
      cmdOKCancelHelp_(OKCancelHelpButtons(this)) {
    setObjectName("frm4710Download");
    auto* folder = new QHBoxLayout;
    folder->addWidget(txtFolder_.widget(), 1);
    folder->addWidget(cmdBrowse_.widget());
    auto* form = new QFormLayout;
    form->addRow(lblLog_.widget(), cboLog_.widget());
    form->addRow(lblLabel_.widget(), cboLabel_.widget());
    form->addRow(lblDecimals_.widget(), cboDecimals_.widget());
    form->addRow(optFiles_[0].widget());
    form->addRow(optFiles_[1].widget());
    form->addRow(lblFolder_.widget(), folder);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addLayout(ButtonRow(nullptr, cmdOKCancelHelp_));
    resize(480, 260);

    logic_.Bind({this,
                 &lblLog_,
                 &cboLog_,
                 &lblLabel_,
                 &cboLabel_,
                 &lblDecimals_,
                 &cboDecimals_,
                 {&optFiles_[0], &optFiles_[1]},
                 &lblFolder_,
                 &txtFolder_,
                 &cmdBrowse_,
                 {&cmdOKCancelHelp_[0], &cmdOKCancelHelp_[1], &cmdOKCancelHelp_[2]}});
    logic_.Load();

    for (int i = 0; i < 2; ++i) {
        connect(optFiles_[i].widget(), &QAbstractButton::clicked, this,
                [this, i] { logic_.optFiles_Click(i); });
    }
    connect(cmdBrowse_.widget(), &QAbstractButton::clicked, this, [this] {
        const QString chosen = QFileDialog::getExistingDirectory(this, lblFolder_.widget()->text(),
                                                                 txtFolder_.widget()->text());
        if (!chosen.isEmpty()) {
            txtFolder_.widget()->setText(chosen);
        }
    });
    ConnectOKCancelHelp(this, cmdOKCancelHelp_, [this](int i) { logic_.cmdOKCancelHelp_Click(i); });
}

}  // namespace vesk

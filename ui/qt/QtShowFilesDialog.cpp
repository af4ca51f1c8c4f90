#include "ui/qt/QtShowFilesDialog.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

namespace vesk {

QtShowFilesDialog::QtShowFilesDialog(QWidget* parent, ShowFilesDialog& logic)
    : QtDialogForm(parent, logic),
      logic_(logic),
      lblInstructions_(new QLabel(this)),
      lstFiles_(new QListWidget(this)),
      chkPrint_(new QCheckBox(this)),
      cmdOK_(new QPushButton(this)) {
    setObjectName("frmShowFiles");
    lblInstructions_.widget()->setObjectName("lblInstructions");
    lblInstructions_.widget()->setWordWrap(true);
    lstFiles_.widget()->setObjectName("lstFiles");
    chkPrint_.widget()->setObjectName("chkPrint");
    cmdOK_.widget()->setObjectName("cmdOK");
    auto* image = new QLabel(this);
    image->setObjectName("Image1");
    image->setPixmap(style()->standardIcon(QStyle::SP_DriveHDIcon).pixmap(32, 32));

    auto* top = new QHBoxLayout;
    top->addWidget(image, 0, Qt::AlignTop);
    top->addWidget(lblInstructions_.widget(), 1);
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(chkPrint_.widget(), 1);
    bottom->addWidget(cmdOK_.widget());
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(lstFiles_.widget(), 1);
    layout->addLayout(bottom);
    resize(560, 300);

    logic_.Bind({this, &lblInstructions_, &lstFiles_, &chkPrint_, &cmdOK_});
    connect(lstFiles_.widget(), &QListWidget::itemDoubleClicked, this,
            [this](QListWidgetItem* item) {
                lstFiles_.widget()->setCurrentItem(item);
                logic_.lstFiles_DblClick();
            });
    connect(cmdOK_.widget(), &QAbstractButton::clicked, this, [this] { logic_.cmdOK_Click(); });
}

}  // namespace vesk

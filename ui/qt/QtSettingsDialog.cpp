#include "ui/qt/QtSettingsDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QEvent>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>
#include <QVBoxLayout>

#include "ui/qt/QtKeys.h"
#include "vesk4710/calibration/CalibrationGrid.h"

namespace vesk {

QtSettingsDialog::QtSettingsDialog(QWidget* parent, SettingsDialog& logic)
    : QtDialogForm(parent, logic),
      logic_(logic),
      lblModel_(Named(new QLabel(this), "lblModel")),
      lblSerial_(Named(new QLabel(this), "lblSerial")),
      lblUnits_(Named(new QLabel(this), "lblUnits")),
      lblInterval_(Named(new QLabel(this), "lblInterval")),
      lblScanMode_(Named(new QLabel(this), "lblScanMode")),
      lblScanChannels_(Named(new QLabel(this), "lblScanChannels")),
      lblScanSeqDelay_(Named(new QLabel(this), "lblScanSeqDelay")),
      lblResolution_(Named(new QLabel(this), "lblResolution")),
      lblCalDate_(Named(new QLabel(this), "lblCalDate")),
      lblCalParams_(Named(new QLabel(this), "lblCalParams")),
      lblChannels_(Named(new QLabel(this), "lblChannels")),
      txtSerial_(Named(new QLineEdit(this), "txtSerial")),
      txtInterval_(Named(new QLineEdit(this), "txtInterval")),
      txtScanChannels_(Named(new QLineEdit(this), "txtScanChannels")),
      txtScanSeqDelay_(Named(new QLineEdit(this), "txtScanSeqDelay")),
      chkAutoInterval_(Named(new QCheckBox(this), "chkAutoInterval")),
      chkAutoPower_(Named(new QCheckBox(this), "chkAutoPower")),
      chkDisableSerial_(Named(new QCheckBox(this), "chkDisableSerial")),
      cboUnits_(Named(new QComboBox(this), "cboUnits")),
      cboScanMode_(Named(new QComboBox(this), "cboScanMode")),
      cboResolution_(Named(new QComboBox(this), "cboResolution")),
      dtpCalDate_(Named(new QDateEdit(this), "dtpCalDate")),
      vsfgCalParams_(Named(new QTableWidget(this), "vsfgCalParams")),
      lstChannels_(Named(new QListWidget(this), "lstChannels")),
      cmdEditChannel_(Named(new QPushButton(this), "cmdEditChannel")),
      cmdUnlock_(Named(new QPushButton(this), "cmdUnlock")),
      cmdOKCancelHelp_(OKCancelHelpButtons(this)) {
    setObjectName("frm4710Settings");
    ShowIsoDates(dtpCalDate_.widget());
    QTableWidget* grid = vsfgCalParams_.widget();
    MakeEditGrid(grid);
    grid->setSelectionMode(QAbstractItemView::SingleSelection);

    // Settings column.
    auto* interval = new QHBoxLayout;
    interval->addWidget(txtInterval_.widget(), 1);
    interval->addWidget(chkAutoInterval_.widget());
    auto* settings = new QFormLayout;
    settings->addRow(lblSerial_.widget(), txtSerial_.widget());
    settings->addRow(lblUnits_.widget(), cboUnits_.widget());
    settings->addRow(lblInterval_.widget(), interval);
    settings->addRow(lblScanMode_.widget(), cboScanMode_.widget());
    settings->addRow(lblScanChannels_.widget(), txtScanChannels_.widget());
    settings->addRow(lblScanSeqDelay_.widget(), txtScanSeqDelay_.widget());
    settings->addRow(lblResolution_.widget(), cboResolution_.widget());
    settings->addRow(chkAutoPower_.widget());

    auto* channels = new QVBoxLayout;
    channels->addWidget(lblChannels_.widget());
    channels->addWidget(lstChannels_.widget(), 1);
    channels->addWidget(cmdEditChannel_.widget(), 0, Qt::AlignRight);

    auto* upper = new QHBoxLayout;
    upper->addLayout(settings, 3);
    upper->addLayout(channels, 2);

    auto* calibration = new QGroupBox(this);
    calibration->setObjectName("framCalibration");
    auto* calLayout = new QVBoxLayout(calibration);
    auto* calDate = new QHBoxLayout;
    calDate->addWidget(lblCalDate_.widget());
    calDate->addWidget(dtpCalDate_.widget());
    calDate->addStretch(1);
    calLayout->addLayout(calDate);
    calLayout->addWidget(lblCalParams_.widget());
    calLayout->addWidget(grid, 1);

    // Apart from the ordinary settings: it ends the conversation over the serial port.
    auto* serialBox = new QGroupBox(tr("Serial interface"), this);
    serialBox->setObjectName("framSerial");
    auto* serialLayout = new QVBoxLayout(serialBox);
    auto* warning = new QLabel(tr("The instrument stops answering on its serial port until the "
                                  "interface is switched on again at the instrument."),
                               serialBox);
    warning->setWordWrap(true);
    serialLayout->addWidget(chkDisableSerial_.widget());
    serialLayout->addWidget(warning);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblModel_.widget());
    layout->addLayout(upper);
    layout->addWidget(calibration, 1);
    layout->addWidget(serialBox);
    layout->addLayout(ButtonRow(cmdUnlock_.widget(), cmdOKCancelHelp_));
    resize(880, 700);

    logic_.Bind({this,
                 &lblModel_,
                 &lblSerial_,
                 &txtSerial_,
                 &lblUnits_,
                 &cboUnits_,
                 &lblInterval_,
                 &txtInterval_,
                 &chkAutoInterval_,
                 &lblScanMode_,
                 &cboScanMode_,
                 &lblScanChannels_,
                 &txtScanChannels_,
                 &lblScanSeqDelay_,
                 &txtScanSeqDelay_,
                 &lblResolution_,
                 &cboResolution_,
                 &chkAutoPower_,
                 &chkDisableSerial_,
                 &lblCalDate_,
                 &dtpCalDate_,
                 &lblCalParams_,
                 &vsfgCalParams_,
                 &lblChannels_,
                 &lstChannels_,
                 &cmdEditChannel_,
                 &cmdUnlock_,
                 {&cmdOKCancelHelp_[0], &cmdOKCancelHelp_[1], &cmdOKCancelHelp_[2]}});
    logic_.Load();
    StyleFixedCells(grid, kCalFirstPointRow, 1);
    // Each range name over its reference and value columns.
    for (int col = 1; col + 1 < grid->columnCount(); col += 2) {
        grid->setSpan(0, col, 1, 2);
    }
    grid->resizeColumnsToContents();

    FilterKeys(txtInterval_.widget(), [this](int16_t& k) { logic_.txtInterval_KeyPress(k); });
    FilterKeys(txtScanSeqDelay_.widget(),
               [this](int16_t& k) { logic_.txtScanSeqDelay_KeyPress(k); });
    FilterKeys(txtScanChannels_.widget(),
               [this](int16_t& k) { logic_.txtScanChannels_KeyPress(k); });
    FilterKeys(txtSerial_.widget(), [this](int16_t& k) { logic_.txtSerial_KeyPress(k); });
    for (QLineEdit* edit : {txtInterval_.widget(), txtScanSeqDelay_.widget(),
                            txtScanChannels_.widget(), txtSerial_.widget()}) {
        edit->installEventFilter(this);
    }
    new QtGridEditing(
        grid,
        {[this](int32_t r, int32_t c) { return logic_.vsfgCalParams_BeforeEdit(r, c); },
         [this](int16_t& k) { logic_.vsfgCalParams_KeyPress(k); },
         [this](int32_t r, int32_t c, std::string& text) {
             return logic_.vsfgCalParams_ValidateEdit(r, c, text);
         },
         [this](int16_t& k, int32_t r, int32_t c) { logic_.vsfgCalParams_KeyDown(k, r, c); }});

    connect(chkDisableSerial_.widget(), &QAbstractButton::clicked, this,
            [this] { logic_.chkDisableSerial_Click(); });
    connect(chkAutoInterval_.widget(), &QAbstractButton::clicked, this,
            [this] { logic_.chkAutoInterval_Click(); });
    connect(cmdUnlock_.widget(), &QAbstractButton::clicked, this,
            [this] { logic_.cmdUnlock_Click(); });
    connect(cmdEditChannel_.widget(), &QAbstractButton::clicked, this,
            [this] { logic_.cmdEditChannel_Click(); });
    connect(lstChannels_.widget(), &QListWidget::itemDoubleClicked, this,
            [this] { logic_.lstChannels_DblClick(); });
    ConnectOKCancelHelp(this, cmdOKCancelHelp_, [this](int i) { logic_.cmdOKCancelHelp_Click(i); });
}

void QtSettingsDialog::Activated() {
    logic_.Activate();
    StyleFixedCells(vsfgCalParams_.widget(), kCalFirstPointRow, 1);
}

bool QtSettingsDialog::eventFilter(QObject* watched, QEvent* event) {
    DeferGotFocus(this, watched, event,
                  {&txtInterval_, &txtScanSeqDelay_, &txtScanChannels_, &txtSerial_},
                  [this](QtTextBox& box) { logic_.TextBox_GotFocus(box); });
    return QtDialogForm::eventFilter(watched, event);
}

}  // namespace vesk

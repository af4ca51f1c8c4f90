#include "ui/qt/QtChannelDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QEvent>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>
#include <QVBoxLayout>

#include "ui/qt/QtKeys.h"

namespace vesk {

QtChannelDialog::QtChannelDialog(QWidget* parent, ChannelDialog& logic)
    : QtDialogForm(parent, logic),
      logic_(logic),
      lblProbeSerial_(Named(new QLabel(this), "lblProbeSerial")),
      lblProbeType_(Named(new QLabel(this), "lblProbeType")),
      lblConversionType_(Named(new QLabel(this), "lblConversionType")),
      lblTCType_(Named(new QLabel(this), "lblTCType")),
      lblCoefficients_(Named(new QLabel(this), "lblCoefficients")),
      lblCalDate_(Named(new QLabel(this), "lblCalDate")),
      lblResolution_(Named(new QLabel(this), "lblResolution")),
      lblRJCType_(Named(new QLabel(this), "lblRJCType")),
      lblRJCTemperature_(Named(new QLabel(this), "lblRJCTemperature")),
      lblMINOP_(Named(new QLabel(this), "lblMINOP")),
      lblMAXOP_(Named(new QLabel(this), "lblMAXOP")),
      txtProbeSerial_(Named(new QLineEdit(this), "txtProbeSerial")),
      txtRJCTemperature_(Named(new QLineEdit(this), "txtRJCTemperature")),
      txtMINOP_(Named(new QLineEdit(this), "txtMINOP")),
      txtMAXOP_(Named(new QLineEdit(this), "txtMAXOP")),
      cboProbeType_(Named(new QComboBox(this), "cboProbeType")),
      cboConversionType_(Named(new QComboBox(this), "cboConversionType")),
      cboTCType_(Named(new QComboBox(this), "cboTCType")),
      cboResolution_(Named(new QComboBox(this), "cboResolution")),
      cboRJCType_(Named(new QComboBox(this), "cboRJCType")),
      vsfgCoefficients_(Named(new QTableWidget(this), "vsfgCoefficients")),
      dtpCalDate_(Named(new QDateEdit(this), "dtpCalDate")),
      chkProbeLock_(Named(new QCheckBox(this), "chkProbeLock")),
      cmdUnlock_(Named(new QPushButton(this), "cmdUnlock")),
      cmdOKCancelHelp_(OKCancelHelpButtons(this)) {
    setObjectName("frm4710Channel");
    ShowIsoDates(dtpCalDate_.widget());
    QTableWidget* grid = vsfgCoefficients_.widget();
    MakeEditGrid(grid);
    grid->horizontalHeader()->setStretchLastSection(true);

    auto* form = new QFormLayout;
    form->addRow(lblProbeSerial_.widget(), txtProbeSerial_.widget());
    form->addRow(lblProbeType_.widget(), cboProbeType_.widget());
    form->addRow(lblConversionType_.widget(), cboConversionType_.widget());
    form->addRow(lblTCType_.widget(), cboTCType_.widget());
    form->addRow(lblCalDate_.widget(), dtpCalDate_.widget());
    form->addRow(lblResolution_.widget(), cboResolution_.widget());
    form->addRow(lblRJCType_.widget(), cboRJCType_.widget());
    form->addRow(lblRJCTemperature_.widget(), txtRJCTemperature_.widget());
    form->addRow(lblMINOP_.widget(), txtMINOP_.widget());
    form->addRow(lblMAXOP_.widget(), txtMAXOP_.widget());
    form->addRow(chkProbeLock_.widget());

    auto* coefficients = new QVBoxLayout;
    coefficients->addWidget(lblCoefficients_.widget());
    coefficients->addWidget(grid, 1);

    auto* upper = new QHBoxLayout;
    upper->addLayout(form, 1);
    upper->addLayout(coefficients, 1);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(upper, 1);
    layout->addLayout(ButtonRow(cmdUnlock_.widget(), cmdOKCancelHelp_));
    resize(680, 420);

    logic_.Bind({this,
                 &lblProbeSerial_,
                 &txtProbeSerial_,
                 &lblProbeType_,
                 &cboProbeType_,
                 &lblConversionType_,
                 &cboConversionType_,
                 &lblTCType_,
                 &cboTCType_,
                 &lblCoefficients_,
                 &vsfgCoefficients_,
                 &lblCalDate_,
                 &dtpCalDate_,
                 &lblResolution_,
                 &cboResolution_,
                 &lblRJCType_,
                 &cboRJCType_,
                 &lblRJCTemperature_,
                 &txtRJCTemperature_,
                 &chkProbeLock_,
                 &lblMINOP_,
                 &txtMINOP_,
                 &lblMAXOP_,
                 &txtMAXOP_,
                 &cmdUnlock_,
                 {&cmdOKCancelHelp_[0], &cmdOKCancelHelp_[1], &cmdOKCancelHelp_[2]}});
    logic_.Load();

    FilterKeys(txtProbeSerial_.widget(), [this](int16_t& k) { logic_.txtProbeSerial_KeyPress(k); });
    FilterKeys(txtRJCTemperature_.widget(),
               [this](int16_t& k) { logic_.txtRJCTemperature_KeyPress(k); });
    FilterKeys(txtMINOP_.widget(), [this](int16_t& k) { logic_.txtOP_KeyPress(k); });
    FilterKeys(txtMAXOP_.widget(), [this](int16_t& k) { logic_.txtOP_KeyPress(k); });
    for (QLineEdit* edit : {txtProbeSerial_.widget(), txtRJCTemperature_.widget(),
                            txtMINOP_.widget(), txtMAXOP_.widget()}) {
        edit->installEventFilter(this);
    }
    new QtGridEditing(
        grid, {[this](int32_t r, int32_t c) { return logic_.vsfgCoefficients_BeforeEdit(r, c); },
               [this](int16_t& k) { logic_.vsfgCoefficients_KeyPress(k); },
               [this](int32_t r, int32_t c, std::string& text) {
                   return logic_.vsfgCoefficients_ValidateEdit(r, c, text);
               },
               {}});

    // Only the user's picks count: the logic fills and selects lists itself too.
    connect(cboProbeType_.widget(), qOverload<int>(&QComboBox::activated), this, [this] {
        logic_.cboProbeType_Click();
        StyleGrid();
    });
    connect(cboConversionType_.widget(), qOverload<int>(&QComboBox::activated), this, [this] {
        logic_.cboConversionType_Click();
        StyleGrid();
    });
    connect(cboTCType_.widget(), qOverload<int>(&QComboBox::activated), this,
            [this] { logic_.cboTCType_Click(); });
    connect(cboRJCType_.widget(), qOverload<int>(&QComboBox::activated), this,
            [this] { logic_.cboRJCType_Click(); });
    connect(cmdUnlock_.widget(), &QAbstractButton::clicked, this,
            [this] { logic_.cmdUnlock_Click(); });
    ConnectOKCancelHelp(this, cmdOKCancelHelp_, [this](int i) { logic_.cmdOKCancelHelp_Click(i); });
}

void QtChannelDialog::Activated() {
    logic_.Activate();
    StyleGrid();
}

void QtChannelDialog::StyleGrid() {
    StyleFixedCells(vsfgCoefficients_.widget(), 1, 1);
}

bool QtChannelDialog::eventFilter(QObject* watched, QEvent* event) {
    DeferGotFocus(this, watched, event,
                  {&txtProbeSerial_, &txtRJCTemperature_, &txtMINOP_, &txtMAXOP_},
                  [this](QtTextBox& box) { logic_.TextBox_GotFocus(box); });
    return QtDialogForm::eventFilter(watched, event);
}

}  // namespace vesk

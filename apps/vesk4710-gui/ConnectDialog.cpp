#include "apps/vesk4710-gui/ConnectDialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include "ui/qt/QtControls.h"

namespace vesk::gui {

ConnectDialog::ConnectDialog(const ConnectionTarget& target, QWidget* parent,
                             const std::string& devDir)
    : QDialog(parent), target_(target) {
    setObjectName("connectDialog");
    setWindowTitle(tr("Connect to a 4710"));

    optSimulator = new QRadioButton(tr("Embedded &simulator"), this);
    optSimulator->setObjectName("optSimulator");
    optSerial = new QRadioButton(tr("Se&rial port"), this);
    optSerial->setObjectName("optSerial");
    optNetwork = new QRadioButton(tr("&Network (TCP)"), this);
    optNetwork->setObjectName("optNetwork");

    cboPort = new QComboBox(this);
    cboPort->setObjectName("cboPort");
    // A port the list does not show (a symlink made by a udev rule) can be typed in.
    cboPort->setEditable(true);
    for (const std::string& port : ListSerialPorts(devDir)) {
        cboPort->addItem(ToQString(port));
    }
    cboBaud = new QComboBox(this);
    cboBaud->setObjectName("cboBaud");
    for (int32_t rate : BaudRates()) {
        cboBaud->addItem(QString::number(rate), rate);
    }
    txtHost = new QLineEdit(this);
    txtHost->setObjectName("txtHost");
    txtHost->setPlaceholderText("localhost");
    txtPort = new QSpinBox(this);
    txtPort->setObjectName("txtPort");
    txtPort->setRange(1, 65535);
    txtPort->setValue(4710);

    auto* serial = new QFormLayout;
    serial->addRow(tr("Port:"), cboPort);
    serial->addRow(tr("Baud rate:"), cboBaud);
    auto* network = new QFormLayout;
    network->addRow(tr("Host:"), txtHost);
    network->addRow(tr("Port:"), txtPort);

    lblProblem = new QLabel(this);
    lblProblem->setObjectName("lblProblem");
    lblProblem->setStyleSheet("color: #b00020");
    lblProblem->setWordWrap(true);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setText(tr("&Connect"));
    buttons->button(QDialogButtonBox::Ok)->setObjectName("cmdConnect");
    connect(buttons, &QDialogButtonBox::accepted, this, &ConnectDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &ConnectDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(optSimulator);
    layout->addWidget(optSerial);
    auto* serialBox = new QWidget(this);
    serialBox->setLayout(serial);
    serial->setContentsMargins(24, 0, 0, 0);
    layout->addWidget(serialBox);
    layout->addWidget(optNetwork);
    auto* networkBox = new QWidget(this);
    networkBox->setLayout(network);
    network->setContentsMargins(24, 0, 0, 0);
    layout->addWidget(networkBox);
    layout->addWidget(lblProblem);
    layout->addWidget(buttons);

    switch (target.kind) {
        case LinkKind::Simulator:
            optSimulator->setChecked(true);
            break;
        case LinkKind::Serial:
            optSerial->setChecked(true);
            break;
        case LinkKind::Network:
            optNetwork->setChecked(true);
            break;
    }
    if (!target.path.empty()) {
        cboPort->setCurrentText(ToQString(target.path));
    }
    const int baud = cboBaud->findData(target.baud);
    cboBaud->setCurrentIndex(baud >= 0 ? baud : cboBaud->findData(9600));
    if (!target.host.empty()) {
        txtHost->setText(ToQString(target.host));
    }
    if (target.port > 0) {
        txtPort->setValue(target.port);
    }
    for (QRadioButton* option : {optSimulator, optSerial, optNetwork}) {
        connect(option, &QRadioButton::toggled, this, [this] { UpdateEnabled(); });
    }
    UpdateEnabled();
}

void ConnectDialog::UpdateEnabled() {
    cboPort->setEnabled(optSerial->isChecked());
    cboBaud->setEnabled(optSerial->isChecked());
    txtHost->setEnabled(optNetwork->isChecked());
    txtPort->setEnabled(optNetwork->isChecked());
    lblProblem->clear();
}

void ConnectDialog::accept() {
    std::string device = "sim";
    if (optSerial->isChecked()) {
        device = FromQString(cboPort->currentText().trimmed());
        if (device.empty()) {
            lblProblem->setText(tr("No serial port is present; type the device path."));
            return;
        }
    } else if (optNetwork->isChecked()) {
        const QString host = txtHost->text().trimmed();
        device = "tcp://" + FromQString(host.isEmpty() ? QString("localhost") : host) + ":" +
                 std::to_string(txtPort->value());
    } else if (target_.kind == LinkKind::Simulator) {
        device = target_.simulator;
    }
    std::string problem;
    const auto parsed = ConnectionTarget::Parse(device, cboBaud->currentData().toInt(), &problem);
    if (!parsed) {
        lblProblem->setText(ToQString(problem));
        return;
    }
    target_ = *parsed;
    QDialog::accept();
}

}  // namespace vesk::gui

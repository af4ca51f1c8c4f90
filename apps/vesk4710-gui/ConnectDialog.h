#pragma once
// Chooses where to connect: the embedded simulator, a serial port present on this machine
// at a baud rate, or a network address.
#include <QDialog>
#include <optional>

#include "apps/vesk4710-gui/model/ConnectionTarget.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QRadioButton;
class QSpinBox;

namespace vesk::gui {

class ConnectDialog : public QDialog {
    Q_OBJECT
  public:
    // Starts from target (the last connection); the port folder is for tests.
    explicit ConnectDialog(const ConnectionTarget& target, QWidget* parent = nullptr,
                           const std::string& devDir = "/dev");

    // The choice once accepted.
    const ConnectionTarget& Target() const { return target_; }

    QRadioButton* optSimulator;
    QRadioButton* optSerial;
    QRadioButton* optNetwork;
    QComboBox* cboPort;
    QComboBox* cboBaud;
    QLineEdit* txtHost;
    QSpinBox* txtPort;
    QLabel* lblProblem;

  public slots:
    void accept() override;

  private:
    void UpdateEnabled();

    ConnectionTarget target_;
};

}  // namespace vesk::gui

#pragma once
// The statistics panel: per live channel the minimum, maximum, mean, standard deviation and
// drift over the window the user picks, and whether the channel is stable under the limits
// the user sets, for how long.
#include <QWidget>

#include "apps/vesk4710-gui/model/StatisticsBoard.h"

class QDoubleSpinBox;
class QSpinBox;
class QTableWidget;

namespace vesk::gui {

class StatisticsPanel : public QWidget {
    Q_OBJECT
  public:
    explicit StatisticsPanel(QWidget* parent = nullptr);

    // The window and limits shown in the controls.
    void ShowSettings(Millis window, const stats::Limits& limits);
    // The numbers of every channel on the board at now.
    void Show(const StatisticsBoard& board, Millis now);

    QSpinBox* spnWindow;
    QDoubleSpinBox* spnMaxSd;
    QDoubleSpinBox* spnMaxDrift;
    QTableWidget* tblChannels;

  signals:
    // The user changed the window (ms) or a limit.
    void settingsChanged(qint64 window, double maxSd, double maxDrift);
};

}  // namespace vesk::gui

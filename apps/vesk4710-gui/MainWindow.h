#pragma once
// The technician's window: connection, identification and settings, the channel list, live
// readings with their strip chart, and every dialog of the library one click away. The
// session logic lives in LiveSession; this class only binds it to widgets: MainWindow.cpp
// builds the window, MainWindowSession.cpp connects and shows the readings,
// MainWindowFiles.cpp exports them and keeps the window's settings.
#include <QMainWindow>
#include <QTimer>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "apps/vesk4710-gui/model/LiveSession.h"
#include "apps/vesk4710-gui/model/ReadingBuffer.h"
#include "apps/vesk4710-gui/model/Recording.h"
#include "apps/vesk4710-gui/model/StatisticsBoard.h"
#include "vesk4710/platform/IControls.h"

class QAction;
class QActionGroup;
class QDockWidget;
class QFormLayout;
class QGridLayout;
class QGroupBox;
class QLabel;
class QListWidget;
class QSplitter;
class QToolButton;

namespace vesk {
class QtUi;
class QtListBox;
class Registry;
}  // namespace vesk

namespace vesk::gui {

class StripChart;
class StatisticsPanel;

struct WindowOptions {
    std::shared_ptr<QtUi> ui;
    std::string settingsPath;  // per-user settings file; empty: the user's default
    int32_t pollMillis = 0;    // 0: the instrument's interval
    std::string tracePath;     // I/O trace of the sessions, empty: none
    int32_t timeoutMs = 2000;  // reply time-out
    std::function<Millis()> clock = SystemMillis;
    std::string recordPath;  // start recording here once connected; empty: not asked
};

class MainWindow : public QMainWindow, public IForm {
    Q_OBJECT
  public:
    explicit MainWindow(WindowOptions options, QWidget* parent = nullptr);
    ~MainWindow() override;

    // IForm: owner of the library's progress displays and prompts.
    std::string Caption() const override;
    void Caption(const std::string& caption) override;

    // Connects (clearing readings of another instrument) and starts the live readings.
    bool ConnectTo(const ConnectionTarget& target);
    bool Reconnect();
    void Disconnect();
    // One round of live readings; the timer calls it at the instrument's interval.
    void Tick();

    // Empty on success, otherwise why not.
    std::string ExportCsv(const QString& path);
    std::string ExportChart(const QString& path);
    // Records every reading from now on into a new file (never over an existing one); empty
    // on success, otherwise why not.
    std::string StartRecording(const QString& path);
    void StopRecording();
    const Recording* CurrentRecording() const { return recording_.get(); }
    const StatisticsBoard& Statistics() const { return stats_; }
    StatisticsPanel* StatisticsView() const { return statsPanel_; }
    // Opens the help at the topic of this window.
    void ShowHelp();

    // The last connection and the window layout, in the per-user settings.
    void SaveSettings();
    void RestoreSettings();
    // The connection kept from the last run.
    std::optional<ConnectionTarget> SavedTarget() const;

    LiveSession& Session() { return session_; }
    const ReadingBuffer& Buffer() const { return buffer_; }
    StripChart* Chart() const { return chart_; }
    const QTimer& PollTimer() const { return pollTimer_; }
    // The value label of a channel's live reading, null when it is not shown.
    QLabel* ReadingLabel(int16_t channel) const;

    QAction* actConnect;
    QAction* actReconnect;
    QAction* actDisconnect;
    QAction* actExportPng;
    QAction* actExportCsv;
    QAction* actQuit;
    QAction* actSettings;
    QAction* actChannel;
    QAction* actLogStatus;
    QAction* actLabel;
    QAction* actDownload;
    QAction* actRefresh;
    QAction* actZoomIn;
    QAction* actZoomOut;
    QAction* actFollow;
    QAction* actClearChart;
    QAction* actRecord;
    QAction* actAxesShared;
    QAction* actAxesPerChannel;
    QAction* actAxesStacked;
    QAction* actStatistics;
    QAction* actHelp;
    QAction* actAbout;
    QListWidget* lstChannels;
    QLabel* lblConnection;
    QLabel* lblLastError;
    QLabel* lblRecording;

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    void BuildActions();
    void BuildMenus();
    void BuildCentral();
    void BuildStatusBar();
    // Runs a library operation (a dialog) and shows what it changed.
    bool RunOperation(const std::string& phrase, const std::function<bool(CVesk4710&)>& op);
    void OpenConnectDialog();
    void EditChannel();
    // Asks where to save, then saves with the given member and reports why not.
    void ExportInteractive(const QString& title, const QString& name, const QString& filter,
                           const std::string& failure,
                           std::string (MainWindow::*save)(const QString&));
    void RecordInteractive(bool on);
    // Shows one round of readings; Record keeps each in the recording as it arrives.
    void TakeReadings(const std::vector<Reading>& readings);
    void Record(const Reading& reading);
    void ShowInfo();
    void ShowChannels();
    void ShowReadings();
    // Status bar, actions and timer after any change of the session.
    void UpdateState();
    void ReportProblem(const std::string& text);

    WindowOptions options_;
    std::shared_ptr<QtUi> ui_;
    std::shared_ptr<Registry> settings_;
    LiveSession session_;
    ReadingBuffer buffer_;
    QTimer pollTimer_;
    std::optional<ConnectionTarget> lastTarget_;

    QSplitter* splitter_ = nullptr;
    StripChart* chart_ = nullptr;
    QFormLayout* identification_ = nullptr;
    QFormLayout* settingsForm_ = nullptr;
    QGridLayout* readingsGrid_ = nullptr;
    QGroupBox* readingsBox_ = nullptr;
    QToolButton* btnReconnect_ = nullptr;
    QActionGroup* spans_ = nullptr;
    QActionGroup* axes_ = nullptr;
    QDockWidget* statsDock_ = nullptr;
    StatisticsPanel* statsPanel_ = nullptr;
    StatisticsBoard stats_;
    std::unique_ptr<Recording> recording_;
    std::unique_ptr<QtListBox> channelList_;
    std::map<int16_t, QLabel*> readingLabels_;
    // The most decimal places each channel's readings have shown.
    std::map<int16_t, int32_t> readingDecimals_;
};

}  // namespace vesk::gui

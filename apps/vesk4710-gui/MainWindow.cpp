#include "apps/vesk4710-gui/MainWindow.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QDockWidget>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QSplitter>
#include <QStatusBar>
#include <QStyle>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

#include "apps/vesk4710-gui/StatisticsPanel.h"
#include "apps/vesk4710-gui/StripChart.h"
#include "apps/vesk4710-gui/model/InstrumentDialogs.h"
#include "components/registry/Registry.h"
#include "host/DefaultHost.h"
#include "ui/qt/QtControls.h"
#include "ui/qt/QtUi.h"
#include "vesk4710/support/Help.h"
#include "vesk4710/support/Messages.h"

namespace vesk::gui {

namespace {

// The help topic of the window itself; the library's dialogs have theirs.
constexpr int32_t kHelpMainWindow = 10000;

// The recorder's red dot, drawn at twice the size for high-resolution screens.
QIcon RecordIcon() {
    QPixmap dot(64, 64);
    dot.fill(Qt::transparent);
    QPainter p(&dot);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(120, 0, 0), 3));
    p.setBrush(QColor(210, 30, 30));
    p.drawEllipse(QRectF(10, 10, 44, 44));
    return QIcon(dot);
}

}  // namespace

MainWindow::MainWindow(WindowOptions options, QWidget* parent)
    : QMainWindow(parent),
      options_(std::move(options)),
      ui_(options_.ui ? options_.ui : std::make_shared<QtUi>()),
      settings_(Registry::Create(options_.settingsPath)),
      session_(
          [this](const ConnectionTarget& target) {
              HostOptions host;
              host.comm.device = target.Device();
              host.comm.baud = target.baud;
              host.comm.tracePath = options_.tracePath;
              host.comm.timeoutMs = options_.timeoutMs;
              host.console = false;
              host.ui = ui_;
              host.registryPath = settings_->Path();
              return MakeDefaultHost(host);
          },
          options_.clock) {
    setObjectName("mainWindow");
    setWindowTitle(tr("Vesk 4710"));
    BuildActions();
    BuildCentral();
    BuildMenus();
    BuildStatusBar();
    connect(&pollTimer_, &QTimer::timeout, this, [this] { Tick(); });
    RestoreSettings();
    UpdateState();
}

MainWindow::~MainWindow() {
    pollTimer_.stop();
    session_.Disconnect();
}

std::string MainWindow::Caption() const {
    return FromQString(windowTitle());
}

void MainWindow::Caption(const std::string& caption) {
    setWindowTitle(ToQString(caption));
}

void MainWindow::BuildActions() {
    QStyle* s = style();
    const auto make = [this](const QString& text, const char* name, const QIcon& icon = {}) {
        auto* a = new QAction(icon, text, this);
        a->setObjectName(name);
        return a;
    };
    actConnect = make(tr("&Connect..."), "actConnect", s->standardIcon(QStyle::SP_DriveNetIcon));
    actConnect->setShortcut(QKeySequence::Open);
    actReconnect =
        make(tr("&Reconnect"), "actReconnect", s->standardIcon(QStyle::SP_BrowserReload));
    actReconnect->setShortcut(QKeySequence(Qt::Key_F5));
    actDisconnect = make(tr("&Disconnect"), "actDisconnect");
    actExportPng = make(tr("Export chart as &PNG..."), "actExportPng",
                        s->standardIcon(QStyle::SP_DialogSaveButton));
    actExportCsv = make(tr("Export readings as &CSV..."), "actExportCsv",
                        s->standardIcon(QStyle::SP_FileDialogDetailedView));
    actQuit = make(tr("&Quit"), "actQuit");
    actQuit->setShortcut(QKeySequence::Quit);
    actSettings = make(tr("Instrument &settings..."), "actSettings",
                       s->standardIcon(QStyle::SP_FileDialogInfoView));
    actChannel = make(tr("&Channel settings..."), "actChannel",
                      s->standardIcon(QStyle::SP_FileDialogContentsView));
    actLogStatus = make(tr("Log &status..."), "actLogStatus",
                        s->standardIcon(QStyle::SP_MessageBoxInformation));
    actLabel =
        make(tr("Logging &label..."), "actLabel", s->standardIcon(QStyle::SP_FileDialogListView));
    actDownload =
        make(tr("&Download logged data..."), "actDownload", s->standardIcon(QStyle::SP_ArrowDown));
    actRefresh = make(tr("Re&read settings"), "actRefresh");
    actZoomIn = make(tr("Zoom &in"), "actZoomIn");
    actZoomIn->setShortcut(QKeySequence::ZoomIn);
    actZoomOut = make(tr("Zoom &out"), "actZoomOut");
    actZoomOut->setShortcut(QKeySequence::ZoomOut);
    actFollow = make(tr("&Follow newest readings"), "actFollow",
                     s->standardIcon(QStyle::SP_MediaSeekForward));
    actClearChart = make(tr("C&lear readings"), "actClearChart");
    actRecord = make(tr("&Record to file..."), "actRecord", RecordIcon());
    actRecord->setCheckable(true);
    actAxesShared = make(tr("One &shared axis"), "actAxesShared");
    actAxesPerChannel = make(tr("One axis &per channel"), "actAxesPerChannel");
    actAxesStacked = make(tr("S&tacked panes"), "actAxesStacked");
    axes_ = new QActionGroup(this);
    for (QAction* a : {actAxesShared, actAxesPerChannel, actAxesStacked}) {
        a->setCheckable(true);
        axes_->addAction(a);
    }
    actAxesPerChannel->setChecked(true);
    actHelp = make(tr("&Help"), "actHelp", s->standardIcon(QStyle::SP_MessageBoxQuestion));
    actAbout = make(tr("&About"), "actAbout");
    // Every toolbar action has a key; the tooltips name it.
    const std::pair<QAction*, QKeySequence> keys[] = {
        {actSettings, QKeySequence(Qt::CTRL | Qt::Key_E)},
        {actChannel, QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_E)},
        {actLogStatus, QKeySequence(Qt::CTRL | Qt::Key_L)},
        {actLabel, QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_L)},
        {actDownload, QKeySequence(Qt::CTRL | Qt::Key_D)},
        {actExportPng, QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_P)},
        {actExportCsv, QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S)},
        {actRecord, QKeySequence(Qt::CTRL | Qt::Key_R)},
        {actFollow, QKeySequence(Qt::CTRL | Qt::Key_End)},
        {actAxesShared, QKeySequence(Qt::CTRL | Qt::Key_1)},
        {actAxesPerChannel, QKeySequence(Qt::CTRL | Qt::Key_2)},
        {actAxesStacked, QKeySequence(Qt::CTRL | Qt::Key_3)},
        {actHelp, QKeySequence::HelpContents},
    };
    for (const auto& [action, key] : keys) {
        action->setShortcut(key);
    }
    // Short toolbar texts; the menus keep the full ones.
    actSettings->setIconText(tr("Settings"));
    actChannel->setIconText(tr("Channel"));
    actLogStatus->setIconText(tr("Log status"));
    actLabel->setIconText(tr("Label"));
    actDownload->setIconText(tr("Download"));
    actExportPng->setIconText(tr("PNG"));
    actExportCsv->setIconText(tr("CSV"));
    actFollow->setIconText(tr("Follow"));
    actRecord->setIconText(tr("Record"));
    for (QAction* a : findChildren<QAction*>()) {
        if (!a->shortcut().isEmpty()) {
            a->setToolTip(a->iconText() + " (" + a->shortcut().toString(QKeySequence::NativeText) +
                          ")");
        }
    }

    connect(actConnect, &QAction::triggered, this, [this] { OpenConnectDialog(); });
    connect(actReconnect, &QAction::triggered, this, [this] { Reconnect(); });
    connect(actDisconnect, &QAction::triggered, this, [this] { Disconnect(); });
    connect(actExportPng, &QAction::triggered, this, [this] {
        ExportInteractive(tr("Export chart"), "readings.png", tr("PNG images (*.png)"),
                          "The chart was not exported", &MainWindow::ExportChart);
    });
    connect(actExportCsv, &QAction::triggered, this, [this] {
        ExportInteractive(tr("Export readings"), "readings.csv", tr("CSV files (*.csv)"),
                          "The readings were not exported", &MainWindow::ExportCsv);
    });
    connect(actQuit, &QAction::triggered, this, &QWidget::close);
    connect(actSettings, &QAction::triggered, this, [this] {
        RunOperation("attempting to edit the instrument settings",
                     [](CVesk4710& inst) { return EditInstrumentSettings(inst); });
    });
    connect(actChannel, &QAction::triggered, this, [this] { EditChannel(); });
    connect(actLogStatus, &QAction::triggered, this, [this] {
        RunOperation("attempting to show the log status",
                     [](CVesk4710& inst) { return inst.ViewLogStatus(); });
    });
    connect(actLabel, &QAction::triggered, this, [this] {
        RunOperation("attempting to edit the logging label",
                     [](CVesk4710& inst) { return inst.EditLogLabels(); });
    });
    connect(actDownload, &QAction::triggered, this, [this] {
        RunOperation("attempting to download logged data",
                     [](CVesk4710& inst) { return DownloadLoggedData(inst); });
    });
    connect(actRefresh, &QAction::triggered, this, [this] {
        RunOperation("attempting to read the instrument",
                     [this](CVesk4710& inst) { return inst.QueryInfo(this); });
    });
    connect(actZoomIn, &QAction::triggered, this, [this] { chart_->ZoomBy(0.8); });
    connect(actZoomOut, &QAction::triggered, this, [this] { chart_->ZoomBy(1.25); });
    connect(actFollow, &QAction::triggered, this, [this] { chart_->FollowLive(); });
    connect(actRecord, &QAction::triggered, this, [this](bool on) { RecordInteractive(on); });
    connect(axes_, &QActionGroup::triggered, this, [this](QAction* a) {
        chart_->SetMode(a == actAxesShared    ? AxisMode::kShared
                        : a == actAxesStacked ? AxisMode::kStacked
                                              : AxisMode::kPerChannel);
    });
    connect(actHelp, &QAction::triggered, this, [this] { ShowHelp(); });
    connect(actAbout, &QAction::triggered, this, [this] {
        QMessageBox::about(this, tr("About Vesk 4710"),
                           tr("Live readings and settings of a Vesk Scientific 4710 readout.\n"
                              "vesk4710 %1, MIT licence.")
                               .arg(QApplication::applicationVersion()));
    });
    connect(actClearChart, &QAction::triggered, this, [this] {
        buffer_.Clear();
        stats_.Clear();
        chart_->Clear();
        ShowReadings();
        UpdateState();
    });
}

void MainWindow::BuildMenus() {
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addAction(actConnect);
    file->addAction(actReconnect);
    file->addAction(actDisconnect);
    file->addSeparator();
    file->addAction(actRecord);
    file->addAction(actExportPng);
    file->addAction(actExportCsv);
    file->addSeparator();
    file->addAction(actQuit);

    QMenu* instrument = menuBar()->addMenu(tr("&Instrument"));
    instrument->addAction(actSettings);
    instrument->addAction(actChannel);
    instrument->addSeparator();
    instrument->addAction(actLogStatus);
    instrument->addAction(actLabel);
    instrument->addAction(actDownload);
    instrument->addSeparator();
    instrument->addAction(actRefresh);

    QMenu* view = menuBar()->addMenu(tr("&View"));
    view->addAction(actZoomIn);
    view->addAction(actZoomOut);
    view->addAction(actFollow);
    QMenu* span = view->addMenu(tr("Time &span"));
    spans_ = new QActionGroup(this);
    const std::pair<const char*, Millis> choices[] = {
        {"10 minutes", 10LL * 60 * 1000},
        {"30 minutes", 30LL * 60 * 1000},
        {"1 hour", 3600LL * 1000},
        {"4 hours", 4LL * 3600 * 1000},
    };
    for (const auto& [text, ms] : choices) {
        QAction* a = span->addAction(tr(text));
        a->setCheckable(true);
        a->setData(static_cast<qlonglong>(ms));
        spans_->addAction(a);
        connect(a, &QAction::triggered, this, [this, ms = ms] {
            chart_->Window().Span(ms);
            chart_->FollowLive();
        });
    }
    QMenu* axes = view->addMenu(tr("&Axes"));
    axes->addActions(axes_->actions());
    view->addSeparator();
    view->addAction(actStatistics);
    view->addAction(actClearChart);

    QMenu* help = menuBar()->addMenu(tr("&Help"));
    help->addAction(actHelp);
    help->addAction(actAbout);

    QToolBar* bar = addToolBar(tr("Main"));
    bar->setObjectName("mainToolBar");
    bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    bar->addAction(actConnect);
    bar->addAction(actReconnect);
    bar->addSeparator();
    bar->addAction(actSettings);
    bar->addAction(actChannel);
    bar->addAction(actLogStatus);
    bar->addAction(actLabel);
    bar->addAction(actDownload);
    bar->addSeparator();
    bar->addAction(actRecord);
    bar->addAction(actExportPng);
    bar->addAction(actExportCsv);
    bar->addSeparator();
    bar->addAction(actFollow);
    bar->addAction(actStatistics);
    bar->addAction(actHelp);
}

void MainWindow::BuildCentral() {
    auto* side = new QWidget;
    auto* column = new QVBoxLayout(side);

    auto* idBox = new QGroupBox(tr("Instrument"));
    idBox->setObjectName("grpIdentification");
    identification_ = new QFormLayout(idBox);
    column->addWidget(idBox);

    auto* setBox = new QGroupBox(tr("Settings"));
    setBox->setObjectName("grpSettings");
    settingsForm_ = new QFormLayout(setBox);
    column->addWidget(setBox);

    auto* chBox = new QGroupBox(tr("Channels (tick to plot)"));
    chBox->setObjectName("grpChannels");
    auto* chLayout = new QVBoxLayout(chBox);
    lstChannels = new QListWidget;
    lstChannels->setObjectName("lstChannels");
    lstChannels->setToolTip(tr("Double-click a channel to edit its settings"));
    chLayout->addWidget(lstChannels);
    channelList_ = std::make_unique<QtListBox>(lstChannels);
    connect(lstChannels, &QListWidget::itemChanged, this, [this](QListWidgetItem* item) {
        const auto channel = static_cast<int16_t>(item->data(Qt::UserRole).toInt());
        session_.Live(channel, item->checkState() == Qt::Checked);
        ShowReadings();
    });
    connect(lstChannels, &QListWidget::itemDoubleClicked, this, [this] { EditChannel(); });
    column->addWidget(chBox);

    readingsBox_ = new QGroupBox(tr("Live readings"));
    readingsBox_->setObjectName("grpReadings");
    readingsGrid_ = new QGridLayout(readingsBox_);
    column->addWidget(readingsBox_);
    column->addStretch(1);

    chart_ = new StripChart(options_.clock);
    splitter_ = new QSplitter(Qt::Horizontal);
    splitter_->setObjectName("splitter");
    splitter_->addWidget(side);
    splitter_->addWidget(chart_);
    splitter_->setStretchFactor(0, 0);
    splitter_->setStretchFactor(1, 1);
    setCentralWidget(splitter_);

    statsPanel_ = new StatisticsPanel;
    statsPanel_->ShowSettings(stats_.Window(), stats_.Limits());
    connect(statsPanel_, &StatisticsPanel::settingsChanged, this,
            [this](qint64 window, double maxSd, double maxDrift) {
                stats_.Window(window);
                stats_.SetLimits({maxSd, maxDrift});
                statsPanel_->Show(stats_, options_.clock());
            });
    statsDock_ = new QDockWidget(tr("Statistics"), this);
    statsDock_->setObjectName("dockStatistics");
    statsDock_->setWidget(statsPanel_);
    addDockWidget(Qt::BottomDockWidgetArea, statsDock_);
    actStatistics = statsDock_->toggleViewAction();
    actStatistics->setObjectName("actStatistics");
    actStatistics->setIcon(style()->standardIcon(QStyle::SP_FileDialogDetailedView));
    actStatistics->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_T));
    actStatistics->setToolTip(
        tr("Statistics (%1)").arg(actStatistics->shortcut().toString(QKeySequence::NativeText)));
    resize(1200, 860);
}

void MainWindow::BuildStatusBar() {
    lblConnection = new QLabel;
    lblConnection->setObjectName("lblConnection");
    lblLastError = new QLabel;
    lblLastError->setObjectName("lblLastError");
    lblLastError->setStyleSheet("color: #b00020");
    btnReconnect_ = new QToolButton;
    btnReconnect_->setObjectName("btnReconnect");
    btnReconnect_->setDefaultAction(actReconnect);
    btnReconnect_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    lblRecording = new QLabel;
    lblRecording->setObjectName("lblRecording");
    statusBar()->addWidget(lblConnection);
    statusBar()->addWidget(lblLastError, 1);
    statusBar()->addPermanentWidget(lblRecording);
    statusBar()->addPermanentWidget(btnReconnect_);
}

void MainWindow::ShowHelp() {
    HelpOpenTopic(*ui_, kHelpMainWindow);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    SaveSettings();
    pollTimer_.stop();
    QMainWindow::closeEvent(event);
}

}  // namespace vesk::gui

#include "apps/vesk4710-gui/MainWindow.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QDateTime>
#include <QDockWidget>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QListWidget>
#include <QLocale>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QSplitter>
#include <QStatusBar>
#include <QStyle>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>
#include <charconv>
#include <filesystem>

#include "apps/vesk4710-gui/ConnectDialog.h"
#include "apps/vesk4710-gui/StatisticsPanel.h"
#include "apps/vesk4710-gui/StripChart.h"
#include "apps/vesk4710-gui/model/InstrumentDialogs.h"
#include "components/registry/Registry.h"
#include "host/DefaultHost.h"
#include "ui/qt/QtControls.h"
#include "ui/qt/QtUi.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/support/Help.h"
#include "vesk4710/support/Messages.h"

namespace vesk::gui {

namespace {

// The window's own entry in the per-user settings.
constexpr const char* kFormName = "vesk4710-gui";
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

std::optional<double> StoredNumber(const std::map<std::string, std::string>& state,
                                   const char* key) {
    const auto found = state.find(key);
    if (found == state.end()) {
        return std::nullopt;
    }
    bool ok = false;
    const double value = QString::fromStdString(found->second).toDouble(&ok);
    return ok ? std::optional<double>(value) : std::nullopt;
}

QByteArray FromBase64(const std::map<std::string, std::string>& state, const char* key) {
    const auto found = state.find(key);
    return found == state.end() ? QByteArray()
                                : QByteArray::fromBase64(QByteArray::fromStdString(found->second));
}

std::string ToBase64(const QByteArray& bytes) {
    return bytes.toBase64().toStdString();
}

void ClearForm(QFormLayout* form) {
    while (form->rowCount() > 0) {
        form->removeRow(0);
    }
}

void FillForm(QFormLayout* form, const std::vector<std::pair<std::string, std::string>>& rows) {
    ClearForm(form);
    for (const auto& [name, value] : rows) {
        auto* label = new QLabel(ToQString(value));
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        label->setWordWrap(true);
        form->addRow(ToQString(name + ":"), label);
    }
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
    connect(actExportPng, &QAction::triggered, this, [this] { ExportPngInteractive(); });
    connect(actExportCsv, &QAction::triggered, this, [this] { ExportCsvInteractive(); });
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

bool MainWindow::ConnectTo(const ConnectionTarget& target) {
    pollTimer_.stop();
    if (!lastTarget_ || !(*lastTarget_ == target)) {
        // Readings of another instrument do not continue these lines.
        buffer_.Clear();
        chart_->Clear();
    }
    lastTarget_ = target;
    lblConnection->setText(tr("Connecting to %1...").arg(ToQString(target.Describe())));
    const bool ok = session_.Connect(target, this);
    if (ok) {
        SaveSettings();
        if (!options_.recordPath.empty() && !recording_) {
            if (const std::string problem = StartRecording(ToQString(options_.recordPath));
                !problem.empty()) {
                lblLastError->setText(ToQString("Not recording: " + problem));
            }
        }
    }
    ShowInfo();
    UpdateState();
    if (ok) {
        Tick();
    }
    return ok;
}

bool MainWindow::Reconnect() {
    if (!lastTarget_) {
        OpenConnectDialog();
        return session_.State() == LinkState::Connected;
    }
    return ConnectTo(*lastTarget_);
}

void MainWindow::Disconnect() {
    pollTimer_.stop();
    session_.Disconnect();
    ShowInfo();
    UpdateState();
}

void MainWindow::OpenConnectDialog() {
    ConnectDialog dialog(lastTarget_.value_or(ConnectionTarget{}), this);
    if (dialog.exec() != QDialog::Accepted || ConnectTo(dialog.Target())) {
        return;
    }
    // A device that never answered has not been reported by the library; a failed read has.
    const auto& error = session_.LastError();
    if (error && error->during.starts_with("connecting")) {
        ReportProblem("The connection failed.\r" + error->Text());
    }
}

void MainWindow::Tick() {
    if (session_.State() != LinkState::Connected) {
        UpdateState();
        return;
    }
    const std::optional<Failure> before = session_.LastError();
    const std::vector<Reading> readings = session_.Poll([this](const Reading& r) { Record(r); });
    if (readings.empty() && session_.Busy()) {
        return;
    }
    TakeReadings(readings);
    const bool errorChanged = session_.LastError().has_value() != before.has_value() ||
                              (before && session_.LastError()->time != before->time);
    if (errorChanged || session_.State() != LinkState::Connected) {
        ShowChannels();
        UpdateState();
    }
}

void MainWindow::Record(const Reading& r) {
    if (!recording_) {
        return;
    }
    const auto& channels = session_.Channels();
    const auto info = std::find_if(channels.begin(), channels.end(),
                                   [&r](const ChannelInfo& c) { return c.number == r.channel; });
    try {
        recording_->Write(r, info != channels.end() ? *info : ChannelInfo{});
    } catch (const AutomationError& e) {
        // The rows written stay; the user sees at once that no more are.
        const std::string path = recording_->Path();
        recording_.reset();
        actRecord->setChecked(false);
        lblLastError->setText(ToQString("Recording stopped: " + e.Description()));
        lblRecording->setText(tr("Not recording"));
        lblRecording->setToolTip(ToQString(path));
    }
}

void MainWindow::TakeReadings(const std::vector<Reading>& readings) {
    for (const Reading& r : readings) {
        buffer_.Add(r.channel, r.time, r.value, r.unit);
        stats_.Add(r.channel, r.time, r.value, r.unit);
    }
    if (recording_) {
        lblRecording->setText(
            tr("Recording %1: %2 readings")
                .arg(ToQString(std::filesystem::path(recording_->Path()).filename().string()))
                .arg(recording_->Count()));
    }
    buffer_.Prune(options_.clock());
    actExportCsv->setEnabled(buffer_.Count() > 0);
    ShowReadings();
    chart_->Sync(buffer_, session_.Channels());
    statsPanel_->Show(stats_, options_.clock());
}

std::string MainWindow::StartRecording(const QString& path) {
    if (session_.State() != LinkState::Connected || !session_.Instrument()) {
        return "connect to an instrument first";
    }
    try {
        recording_ = std::make_unique<Recording>(
            FromQString(path), session_.Target() ? session_.Target()->Device() : std::string(),
            session_.Instrument()->Serial());
    } catch (const AutomationError& e) {
        actRecord->setChecked(false);
        return e.Description();
    }
    actRecord->setChecked(true);
    lblRecording->setText(tr("Recording %1: 0 readings").arg(path));
    lblRecording->setToolTip(path);
    return {};
}

void MainWindow::StopRecording() {
    recording_.reset();
    actRecord->setChecked(false);
    lblRecording->setText(QString());
}

void MainWindow::RecordInteractive(bool on) {
    if (!on) {
        StopRecording();
        return;
    }
    actRecord->setChecked(false);
    const QString stamp = QDateTime::currentDateTime().toString("yyyyMMdd-HHmmss");
    const QString path = QFileDialog::getSaveFileName(
        this, tr("Record readings to"), "recording-" + stamp + ".csv", tr("CSV files (*.csv)"),
        nullptr, QFileDialog::DontConfirmOverwrite);
    if (path.isEmpty()) {
        return;
    }
    if (const std::string problem = StartRecording(path); !problem.empty()) {
        ReportProblem("Recording did not start: " + problem + ".");
    }
}

void MainWindow::ShowHelp() {
    HelpOpenTopic(*ui_, kHelpMainWindow);
}

bool MainWindow::RunOperation(const std::string& phrase,
                              const std::function<bool(CVesk4710&)>& op) {
    if (session_.State() != LinkState::Connected || session_.Busy()) {
        return false;
    }
    const bool ok = session_.Run(phrase, op);
    ShowInfo();
    UpdateState();
    return ok;
}

void MainWindow::EditChannel() {
    int16_t number = 1;
    const int row = channelList_->ListIndex();
    if (row >= 0) {
        number = static_cast<int16_t>(channelList_->ItemData(row));
    }
    RunOperation("attempting to edit channel settings", [number](CVesk4710& inst) {
        auto channel = inst.GetChannelReference(number);
        if (!channel) {
            throw AutomationError(kErrInvalidProcedureCall,
                                  "channel " + std::to_string(number) + " is on no module");
        }
        return channel->Edit();
    });
}

void MainWindow::ShowInfo() {
    FillForm(identification_, session_.Identification());
    FillForm(settingsForm_, session_.Settings());
    ShowChannels();
    ShowReadings();
}

void MainWindow::ShowChannels() {
    const QSignalBlocker quiet(lstChannels);
    const int row = lstChannels->currentRow();
    if (!session_.Instrument()) {
        lstChannels->clear();
        return;
    }
    // The library's own list text, filled through the list-control adapter.
    session_.Instrument()->FillChannelList(*channelList_);
    for (int i = 0; i < lstChannels->count(); ++i) {
        QListWidgetItem* item = lstChannels->item(i);
        const auto number = static_cast<int16_t>(channelList_->ItemData(i));
        item->setText(item->text().replace('\t', "  "));
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        bool live = false;
        for (const ChannelInfo& ch : session_.Channels()) {
            if (ch.number == number) {
                live = ch.live;
                item->setToolTip(ToQString(ch.conversion + ", " + ch.unit));
            }
        }
        item->setCheckState(live ? Qt::Checked : Qt::Unchecked);
    }
    if (row >= 0 && row < lstChannels->count()) {
        lstChannels->setCurrentRow(row);
    }
}

void MainWindow::ShowReadings() {
    // Rebuilt when the set of live channels changes, otherwise only the numbers change.
    std::vector<int16_t> live;
    for (const ChannelInfo& ch : session_.Channels()) {
        if (ch.live) {
            live.push_back(ch.number);
        }
    }
    std::vector<int16_t> shown;
    for (const auto& [number, label] : readingLabels_) {
        shown.push_back(number);
    }
    if (live != shown) {
        while (QLayoutItem* item = readingsGrid_->takeAt(0)) {
            delete item->widget();
            delete item;
        }
        readingLabels_.clear();
        int row = 0;
        for (int16_t number : live) {
            auto* name = new QLabel(tr("Channel %1").arg(number));
            auto* value = new QLabel(QString::fromUtf8("\u2014"));
            value->setObjectName(QString("lblReading%1").arg(number));
            QFont big = value->font();
            big.setPointSizeF(big.pointSizeF() * 1.8);
            big.setBold(true);
            value->setFont(big);
            value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
            value->setMinimumWidth(value->fontMetrics().horizontalAdvance("-0000.0000 \u00B0C"));
            readingsGrid_->addWidget(name, row, 0);
            readingsGrid_->addWidget(value, row, 1);
            readingLabels_[number] = value;
            ++row;
        }
        if (live.empty()) {
            readingsGrid_->addWidget(new QLabel(tr("No channel is read.")), 0, 0);
        }
    }
    const QLocale locale;
    for (const auto& [number, label] : readingLabels_) {
        const auto latest = buffer_.Latest(number);
        if (!latest) {
            continue;
        }
        // Every digit of the reading, never rounded, padded with the zeros the channel's other
        // readings show: the instrument sends them, the number does not keep them.
        int32_t& decimals = readingDecimals_[number];
        decimals = std::max(decimals, DecimalsOf(latest->value));
        label->setText(locale.toString(latest->value, 'f', decimals) + " " +
                       ToQString(buffer_.Unit(number)));
        label->setToolTip(ToQString(IsoLocalTime(latest->time)));
    }
}

QLabel* MainWindow::ReadingLabel(int16_t channel) const {
    const auto found = readingLabels_.find(channel);
    return found == readingLabels_.end() ? nullptr : found->second;
}

void MainWindow::UpdateState() {
    const LinkState state = session_.State();
    const bool connected = state == LinkState::Connected;
    lblConnection->setText(ToQString(session_.StatusText()));
    const auto& error = session_.LastError();
    lblLastError->setText(error ? ToQString("Last error: " + error->Text()) : QString());
    lblLastError->setToolTip(error ? ToQString(IsoLocalTime(error->time)) : QString());

    // A lost or failed connection offers the way back instead of retrying on every tick.
    const bool offerReconnect = !connected && lastTarget_.has_value();
    actReconnect->setVisible(offerReconnect);
    actReconnect->setEnabled(offerReconnect);
    btnReconnect_->setVisible(offerReconnect);
    actDisconnect->setEnabled(state != LinkState::Disconnected);
    for (QAction* a : {actSettings, actChannel, actLogStatus, actLabel, actDownload, actRefresh}) {
        a->setEnabled(connected);
    }
    const bool haveReadings = buffer_.Count() > 0;
    actExportCsv->setEnabled(haveReadings);
    actExportPng->setEnabled(true);

    if (connected) {
        const int period = options_.pollMillis > 0 ? options_.pollMillis : session_.PollMillis();
        if (!pollTimer_.isActive() || pollTimer_.interval() != period) {
            pollTimer_.start(period);
        }
    } else {
        pollTimer_.stop();
    }
    const QString title = tr("Vesk 4710");
    setWindowTitle(connected && session_.Instrument()
                       ? title + " - " + ToQString(session_.Instrument()->Serial())
                       : title);
    if (spans_ != nullptr) {
        for (QAction* a : spans_->actions()) {
            a->setChecked(a->data().toLongLong() == chart_->Window().Span());
        }
    }
}

std::string MainWindow::ExportCsv(const QString& path) {
    if (buffer_.Count() == 0) {
        return "there are no readings to export yet";
    }
    return ExportReadings(buffer_, FromQString(path),
                          session_.Target() ? session_.Target()->Device() : std::string(),
                          session_.Instrument() ? session_.Instrument()->Serial() : std::string(),
                          session_.Channels());
}

std::string MainWindow::ExportChart(const QString& path) {
    if (!chart_->SavePng(path)) {
        return "cannot write " + FromQString(path);
    }
    return {};
}

void MainWindow::ReportProblem(const std::string& text) {
    ui_->MessageBox(text, kMbCritical, kMsgCaption, {}, 0);
}

void MainWindow::ExportPngInteractive() {
    const QString path = QFileDialog::getSaveFileName(this, tr("Export chart"), "readings.png",
                                                      tr("PNG images (*.png)"));
    if (path.isEmpty()) {
        return;
    }
    if (const std::string problem = ExportChart(path); !problem.empty()) {
        ReportProblem("The chart was not exported: " + problem + ".");
    }
}

void MainWindow::ExportCsvInteractive() {
    const QString path = QFileDialog::getSaveFileName(this, tr("Export readings"), "readings.csv",
                                                      tr("CSV files (*.csv)"));
    if (path.isEmpty()) {
        return;
    }
    if (const std::string problem = ExportCsv(path); !problem.empty()) {
        ReportProblem("The readings were not exported: " + problem + ".");
    }
}

void MainWindow::SaveSettings() {
    std::map<std::string, std::string> state;
    state["geometry"] = ToBase64(saveGeometry());
    state["windowState"] = ToBase64(saveState());
    state["splitter"] = ToBase64(splitter_->saveState());
    state["span"] = std::to_string(chart_->Window().Span());
    state["axes"] = std::to_string(static_cast<int>(chart_->Mode()));
    state["statsWindow"] = std::to_string(stats_.Window());
    state["statsMaxSd"] = QString::number(stats_.Limits().maxStdDev, 'g', 17).toStdString();
    state["statsMaxDrift"] =
        QString::number(stats_.Limits().maxDriftPerMinute, 'g', 17).toStdString();
    if (lastTarget_) {
        state["device"] = lastTarget_->Device();
        state["baud"] = std::to_string(lastTarget_->baud);
    }
    try {
        settings_->SaveFormState(kFormName, state);
    } catch (...) {
        // Losing the layout is no reason to stop; say so where the user looks.
        lblLastError->setText(tr("The window settings could not be saved."));
    }
}

void MainWindow::RestoreSettings() {
    std::map<std::string, std::string> state;
    try {
        state = settings_->LoadFormState(kFormName);
    } catch (...) {
        return;
    }
    if (const QByteArray g = FromBase64(state, "geometry"); !g.isEmpty()) {
        restoreGeometry(g);
    }
    if (const QByteArray s = FromBase64(state, "windowState"); !s.isEmpty()) {
        restoreState(s);
    }
    if (const QByteArray s = FromBase64(state, "splitter"); !s.isEmpty()) {
        splitter_->restoreState(s);
    }
    if (const auto span = state.find("span"); span != state.end()) {
        Millis ms = 0;
        const std::string& text = span->second;
        if (std::from_chars(text.data(), text.data() + text.size(), ms).ec == std::errc()) {
            chart_->Window().Span(ms);
        }
    }
    if (const auto axes = StoredNumber(state, "axes"); axes && *axes >= 0 && *axes <= 2) {
        const auto mode = static_cast<AxisMode>(static_cast<int>(*axes));
        chart_->SetMode(mode);
        (mode == AxisMode::kShared    ? actAxesShared
         : mode == AxisMode::kStacked ? actAxesStacked
                                      : actAxesPerChannel)
            ->setChecked(true);
    }
    if (const auto window = StoredNumber(state, "statsWindow"); window && *window >= 60000) {
        stats_.Window(static_cast<Millis>(*window));
    }
    const auto maxSd = StoredNumber(state, "statsMaxSd");
    const auto maxDrift = StoredNumber(state, "statsMaxDrift");
    if (maxSd && maxDrift && *maxSd >= 0 && *maxDrift >= 0) {
        stats_.SetLimits({*maxSd, *maxDrift});
    }
    statsPanel_->ShowSettings(stats_.Window(), stats_.Limits());
    lastTarget_ = SavedTarget();
}

std::optional<ConnectionTarget> MainWindow::SavedTarget() const {
    std::map<std::string, std::string> state;
    try {
        state = settings_->LoadFormState(kFormName);
    } catch (...) {
        return std::nullopt;
    }
    const auto device = state.find("device");
    if (device == state.end()) {
        return std::nullopt;
    }
    int32_t baud = 9600;
    if (const auto b = state.find("baud"); b != state.end()) {
        std::from_chars(b->second.data(), b->second.data() + b->second.size(), baud);
    }
    return ConnectionTarget::Parse(device->second, baud);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    SaveSettings();
    pollTimer_.stop();
    QMainWindow::closeEvent(event);
}

}  // namespace vesk::gui

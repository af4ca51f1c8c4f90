// The main window against the simulator. The pictures it takes land in the build tree's
// screenshots/ folder; docs/images/ holds the chosen ones.
#include <QTest>
#include <QtWidgets>
#include <fstream>

#include "apps/vesk4710-gui/ConnectDialog.h"
#include "apps/vesk4710-gui/MainWindow.h"
#include "apps/vesk4710-gui/StatisticsPanel.h"
#include "apps/vesk4710-gui/StripChart.h"
#include "apps/vesk4710-gui/model/Recording.h"
#include "components/comm/CommErrors.h"
#include "tests/apps/Processes.h"
#include "tests/gui/GuiTestSupport.h"
#include "ui/qt/QtHelpViewer.h"
#include "ui/qt/QtUi.h"
#include "vesk4710/dialogs/DialogBase.h"
#include "vesk4710/support/Help.h"

namespace vesk::gui {
namespace {

const QString kShots = QString::fromUtf8(VESK_SCREENSHOT_DIR);

void Save(QWidget* widget, const QString& name) {
    for (int i = 0; i < 5; ++i) {
        QApplication::processEvents();
    }
    // 256 colours keep the documentation's pictures small and lose nothing a reader sees.
    const QImage image = widget->grab().toImage().convertToFormat(
        QImage::Format_Indexed8, Qt::ThresholdDither | Qt::AvoidDither);
    EXPECT_TRUE(image.save(kShots + "/" + name + ".png")) << name.toStdString();
}

// The heading at the top of the help window, where a topic must land.
std::string HelpHeading() {
    QtHelpViewer* viewer = QtHelpViewer::Current();
    if (viewer == nullptr) {
        return "(no help window)";
    }
    QApplication::processEvents();
    return viewer->Browser()->cursorForPosition(QPoint(4, 4)).block().text().toStdString();
}

class MainWindowTest : public ::testing::Test {
  protected:
    void SetUp() override { test::UseFreshSimulator(clock); }

    std::unique_ptr<MainWindow> Open() {
        WindowOptions options;
        options.ui = std::make_shared<QtUi>();
        options.settingsPath = dir.File("settings.json");
        options.clock = [this] { return clock.Now(); };
        options.timeoutMs = 500;
        auto window = std::make_unique<MainWindow>(options);
        window->show();
        return window;
    }

    // Readings as the timer would take them, with simulated time passing in between.
    void Run(MainWindow& window, int ticks, Millis tick = 20 * 1000) {
        for (int i = 0; i < ticks; ++i) {
            clock.Advance(tick);
            window.Tick();
        }
    }

    test::TempDir dir;
    test::ManualClock clock;
    const ConnectionTarget sim = *ConnectionTarget::Parse("sim", 9600);
};

TEST_F(MainWindowTest, ConnectsShowsTheInstrumentAndPlotsBothChannels) {
    auto window = Open();
    ASSERT_TRUE(window->ConnectTo(sim));
    EXPECT_EQ(window->lblConnection->text(), "Connected: embedded simulator (4710 A47100)");
    EXPECT_TRUE(window->PollTimer().isActive());
    EXPECT_EQ(window->PollTimer().interval(), 1000);
    EXPECT_FALSE(window->actReconnect->isVisible());

    ASSERT_EQ(window->lstChannels->count(), 2);
    EXPECT_TRUE(window->lstChannels->item(0)->text().contains("S1001"));
    EXPECT_TRUE(window->lstChannels->item(1)->text().contains("TC2002"));
    EXPECT_EQ(window->lstChannels->item(1)->data(Qt::UserRole).toInt(), 2)
        << "the list carries the channel numbers as item data";

    Run(*window, 90);  // half an hour of the simulated bath
    const auto inst = test::SimulatedInstrument();
    EXPECT_NEAR(window->Buffer().Latest(1)->value, inst->TemperatureAt(1), 0.01);
    EXPECT_NEAR(window->Buffer().Latest(2)->value, inst->TemperatureAt(2), 0.1);
    EXPECT_EQ(window->Buffer().Latest(2)->time, clock.Now());
    for (int16_t channel : {1, 2}) {
        SCOPED_TRACE(channel);
        EXPECT_GE(window->Buffer().Count(channel), 90u);
        EXPECT_EQ(window->Chart()->PointsShown(channel), 31u) << "ten minutes at 20 s";
        const auto latest = window->Buffer().Latest(channel);
        const auto axis = window->Chart()->AxisRangeOf(channel);
        ASSERT_TRUE(axis.has_value());
        EXPECT_LE(axis->first, latest->value);
        EXPECT_GE(axis->second, latest->value);
        QLabel* reading = window->ReadingLabel(channel);
        ASSERT_NE(reading, nullptr);
        EXPECT_TRUE(reading->text().endsWith(QString::fromUtf8(" \u00B0C")))
            << reading->text().toStdString();
        EXPECT_EQ(QLocale().toDouble(reading->text().section(' ', 0, 0)), latest->value)
            << "shown as read, not rounded";
    }
    EXPECT_EQ(window->Chart()->Shown().to, clock.Now()) << "following the newest readings";
    EXPECT_EQ(window->Chart()->Shown().Span(), TimeWindow::kDefaultSpan);
    ASSERT_GE(window->Chart()->TimeLabels().size(), 4u);
    for (const QString& label : window->Chart()->TimeLabels()) {
        EXPECT_TRUE(QRegularExpression("^\\d\\d:\\d[02468]$").match(label).hasMatch())
            << "whole minutes, every second one: " << label.toStdString();
    }

    // The window exports its own buffer: four # lines, a header and a line per reading.
    const std::string csv = dir.File("readings.csv");
    EXPECT_EQ(window->ExportCsv(QString::fromStdString(csv)), "");
    const std::string text = test::FakeFileSystem::ReadFile(csv);
    EXPECT_EQ(static_cast<size_t>(std::ranges::count(text, '\n')), window->Buffer().Count() + 5);

    const QString png = QString::fromStdString(dir.File("chart.png"));
    EXPECT_EQ(window->ExportChart(png), "");
    EXPECT_EQ(QImage(png).size(), window->Chart()->size());
    EXPECT_NE(window->ExportChart(QString::fromStdString(dir.File("none/chart.png"))), "");
}

TEST_F(MainWindowTest, StatisticsEveryDialogFromItsActionWithItsHelpAndTheWindowsHelp) {
    QDir().mkpath(kShots);
    auto opened = Open();
    MainWindow& window = *opened;
    window.StatisticsView()->spnWindow->setValue(1);
    ASSERT_TRUE(window.ConnectTo(sim));
    // Channel 1 in a settled bath; channel 2 follows its slow swing.
    test::SimulatedInstrument()->Modify(
        [](sim::InstrumentState& s) { s.channels[0].drift.amplitude = 0.0; });
    window.actClearChart->trigger();
    Run(window, 91, 1000);
    ASSERT_TRUE(window.Statistics().Of(1) && window.Statistics().Of(2));
    EXPECT_EQ(window.Statistics().Of(2)->State(), stats::Stability::kUnstable);
    EXPECT_EQ(window.Statistics().StatusText(1, clock.Now()), "stable for 30 s");
    Save(&window, "desktop");
    Save(window.findChild<QDockWidget*>("dockStatistics"), "statistics");
    window.actAxesStacked->trigger();
    Save(window.Chart(), "chart-stacked");
    window.actAxesPerChannel->trigger();

    // Each dialog from its action, F1 in it opening the help at its section; a dialog holds
    // the readings off and leaves the link as it was.
    struct Dialog {
        QAction* action;
        std::string name, picture, heading;
    };
    const std::vector<Dialog> dialogs = {
        {window.actSettings, "frm4710Settings", "settings", "Instrument settings"},
        {window.actChannel, "frm4710Channel", "channel", "Channel settings"},
        {window.actDownload, "frm4710Download", "download", "Downloading logged data"},
        {window.actLabel, "frm4710Labels", "labels", "Logging label"},
        {window.actLogStatus, "frm4710LogStatus", "log-status", "Log status"},
        {window.actConnect, "connectDialog", "", ""},
    };
    QStringList seen;  // the settings' channel list and the download's log choice
    const Dialog* current = nullptr;
    std::string landed;
    test::ModalCloser closer([&](QWidget* modal) {
        if (auto* list = modal->findChild<QListWidget*>("lstChannels")) {
            for (int i = 0; i < list->count(); ++i) {
                seen << list->item(i)->text();
            }
        }
        if (auto* logs = modal->findChild<QComboBox*>("cboLog")) {
            for (int i = 0; i < logs->count(); ++i) {
                seen << logs->itemText(i);
            }
        }
        if (auto* labels = modal->findChild<QComboBox*>("cboLabel")) {
            labels->setCurrentIndex(2);  // a label by its name
        }
        if (current->picture.empty()) {
            return;
        }
        Save(modal, QString::fromStdString(current->picture));
        QTest::keyClick(modal, Qt::Key_F1);
        landed = HelpHeading();
        if (QtHelpViewer::Current() != nullptr) {
            QtHelpViewer::Current()->close();
        }
    });
    for (const Dialog& dialog : dialogs) {
        SCOPED_TRACE(dialog.name);
        const size_t before = window.Buffer().Count();
        current = &dialog;
        landed.clear();
        dialog.action->trigger();
        ASSERT_FALSE(closer.closed.empty());
        EXPECT_EQ(closer.closed.back(), dialog.name);
        EXPECT_EQ(landed, dialog.heading);
        EXPECT_TRUE(window.PollTimer().isActive());
        if (!dialog.heading.empty()) {  // the connect dialog only asks; readings go on behind it
            EXPECT_EQ(window.Buffer().Count(), before) << "no readings while a dialog is open";
        }
    }
    EXPECT_EQ(closer.closed.size(), dialogs.size()) << "no message box came up on the way";
    EXPECT_EQ(seen.join(" | ").toStdString(),
              "Channel 1)\tS1001 | Channel 2)\tTC2002 | Demand log | Automatic log")
        << "each channel's own state and serial; the automatic log beside the demand log";
    const size_t before = window.Buffer().Count(1);
    Run(window, 1);
    EXPECT_EQ(window.Buffer().Count(1), before + 1) << "readings resume after the dialogs";

    // The window's own help; a topic the library passes outside a dialog lands on its section.
    window.actHelp->trigger();
    ASSERT_NE(QtHelpViewer::Current(), nullptr);
    EXPECT_EQ(HelpHeading(), "The desktop application");
    QtHelpViewer::Current()->resize(900, 600);
    Save(QtHelpViewer::Current(), "help");
    QtUi ui;
    EXPECT_EQ(ui.ShowHelp(HelpFile(), 1, window.Session().Instrument()->DVCICommError()), 1);
    EXPECT_EQ(HelpHeading(), "When something fails");
    EXPECT_EQ(ui.ShowHelp(dir.File("missing.html"), 1, kHelpSettings), 0);
    EXPECT_NE(QtHelpViewer::Current()->Browser()->toPlainText().indexOf("not installed"), -1);
    QtHelpViewer::Current()->close();
}

TEST_F(MainWindowTest, ADroppedLinkOffersAReconnectAndTheConnectionIsKeptForTheNextStart) {
    auto window = Open();
    ASSERT_TRUE(window->ConnectTo(sim));
    Run(*window, 3);
    test::InjectFault(sim::FaultKind::kDropLink, 1);
    Run(*window, 1);
    EXPECT_FALSE(window->PollTimer().isActive());
    EXPECT_TRUE(window->actReconnect->isVisible());
    EXPECT_EQ(window->lblLastError->text().toStdString(),
              "Last error: reading channel 2: the link to the instrument dropped (error " +
                  std::to_string(comm::kCommLinkDropped) + ")");
    EXPECT_EQ(window->lblConnection->text(), "Link lost: embedded simulator");
    EXPECT_FALSE(window->actSettings->isEnabled());
    // The readings taken stay: at the connection, three rounds and channel 1 of the fourth.
    EXPECT_EQ(window->Buffer().Count(1), 5u);
    EXPECT_EQ(window->Buffer().Count(2), 4u);

    const uint64_t requests = test::SimulatedInstrument()->RequestCount();
    Run(*window, 5);
    EXPECT_EQ(test::SimulatedInstrument()->RequestCount(), requests);

    window->actReconnect->trigger();
    EXPECT_TRUE(window->PollTimer().isActive());
    EXPECT_FALSE(window->actReconnect->isVisible());
    EXPECT_TRUE(window->actSettings->isEnabled());
    EXPECT_EQ(window->Buffer().Count(1), 6u) << "the same instrument's lines continue";

    window->resize(900, 640);  // no smaller than its layout allows
    const QSize size = window->size();
    window->Chart()->Window().Span(3600 * 1000);
    window->close();  // the per-user settings keep the connection and the window
    window = Open();
    ASSERT_TRUE(window->SavedTarget().has_value());
    EXPECT_EQ(window->SavedTarget()->Device(), "sim");
    EXPECT_EQ(window->size(), size);
    EXPECT_EQ(window->Chart()->Window().Span(), 3600 * 1000);
    EXPECT_TRUE(window->actReconnect->isVisible()) << "one click back to the last instrument";
}

TEST_F(MainWindowTest, TheConnectDialogOffersThePortsPresentAndRefusesNonsense) {
    test::TempDir dev;
    std::ofstream(dev.File("ttyUSB0")) << "";
    ConnectionTarget last = *ConnectionTarget::Parse("/dev/ttyUSB7", 19200);
    ConnectDialog dialog(last, nullptr, dev.Path().string());
    EXPECT_TRUE(dialog.optSerial->isChecked());
    EXPECT_EQ(dialog.cboPort->findText(QString::fromStdString(dev.File("ttyUSB0"))), 0);
    EXPECT_EQ(dialog.cboPort->currentText(), "/dev/ttyUSB7") << "the last port stays chosen";
    EXPECT_EQ(dialog.cboBaud->currentData().toInt(), 19200);

    dialog.cboPort->setCurrentText("");
    dialog.accept();
    EXPECT_NE(dialog.result(), QDialog::Accepted);
    EXPECT_FALSE(dialog.lblProblem->text().isEmpty());

    dialog.optNetwork->setChecked(true);
    dialog.txtHost->setText(" lab-pc ");
    dialog.txtPort->setValue(5025);
    dialog.accept();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    EXPECT_EQ(dialog.Target().Device(), "tcp://lab-pc:5025");
}

void ReplyToNextReading(const std::string& text) {
    sim::Fault fault;
    fault.kind = sim::FaultKind::kReplyText;
    fault.settingId = SET_TEMPERATURE;
    fault.replyText = text;
    test::SimulatedInstrument()->InjectFault(fault);
}

// The window's session where the window does not show it.
using LiveSessionTest = MainWindowTest;

TEST_F(LiveSessionTest, AnUnreachableDeviceFailsOnceWithTheLinkError) {
    auto window = Open();
    LiveSession& session = window->Session();
    const auto target =
        *ConnectionTarget::Parse("tcp://127.0.0.1:" + std::to_string(vesk::test::FreePort()), 9600);
    EXPECT_FALSE(session.Connect(target));
    EXPECT_EQ(session.State(), LinkState::Disconnected);
    ASSERT_TRUE(session.LastError().has_value());
    EXPECT_TRUE(session.LastError()->linkLost) << session.LastError()->Text();
    EXPECT_EQ(session.LastError()->during, "connecting to " + target.Device());
    EXPECT_EQ(session.Target(), target) << "kept for a reconnect";
}

// A reading keeps the instrument's digits into the recording; a reply that is no number is an
// error, never a reading of 0; instrument errors keep the session.
TEST_F(LiveSessionTest, InstrumentErrorsKeepTheSessionAndASwitchedOffChannelIsDropped) {
    auto window = Open();
    LiveSession& session = window->Session();
    ASSERT_TRUE(session.Connect(sim));
    ReplyToNextReading("25.1000");
    auto readings = session.Poll();
    ASSERT_EQ(readings.size(), 2u);
    EXPECT_EQ(readings[0].text, "25.1000");
    EXPECT_DOUBLE_EQ(readings[0].value, 25.1);
    std::string row;
    AppendReadingRow(row, 1, readings[0], session.Channels()[0], "sim", "A47100");
    EXPECT_NE(row.find(",25.1000,C,"), std::string::npos) << row;

    ReplyToNextReading("OVER");
    readings = session.Poll();
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0].channel, 2);
    EXPECT_EQ(session.LastError()->number, comm::kCommMalformedReply);

    test::InjectFault(sim::FaultKind::kGarbage, 0);
    readings = session.Poll();
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(session.State(), LinkState::Connected);
    EXPECT_EQ(session.LastError()->during, "reading channel 1");
    EXPECT_TRUE(session.Channels()[0].live) << "a garbled reply is no reason to stop reading";

    test::InjectFault(sim::FaultKind::kErrorReply, 1,
                      static_cast<int32_t>(comm::InstrumentError::kNotAvailable));
    readings = session.Poll();
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(session.LastError()->number,
              comm::kCommInstrumentErrorBase +
                  static_cast<int32_t>(comm::InstrumentError::kNotAvailable));
    EXPECT_FALSE(session.Channels()[1].live);
    EXPECT_EQ(session.Poll().size(), 1u) << "only channel 1 is asked now";

    session.Live(2, true);
    EXPECT_EQ(session.Poll().size(), 2u) << "ticked again, read again";
}

TEST_F(LiveSessionTest, OperationsHoldOffTicksRefreshTheSettingsAndRecordFailures) {
    auto window = Open();
    LiveSession& session = window->Session();
    test::ModalCloser closer;  // the window reports the failures
    ASSERT_TRUE(session.Connect(sim));
    const double celsius = session.Poll()[0].value;
    std::vector<Reading> inner{{1, 0, 0.0, ""}};
    uint64_t requests = 0;
    EXPECT_TRUE(session.Run("attempting to change units", [&](CVesk4710& inst) {
        inner = session.Poll();
        EXPECT_FALSE(session.Refresh());
        EXPECT_FALSE(session.Connect(sim)) << "no second session from inside the first";
        inst.Units(UNITS_DEGREESF);
        const bool written = inst.UpdateUnits();
        requests = test::SimulatedInstrument()->RequestCount();
        return written;
    }));
    EXPECT_TRUE(inner.empty()) << "a timer tick during an operation reads nothing";
    EXPECT_GT(test::SimulatedInstrument()->RequestCount(), requests) << "settings re-read after";
    EXPECT_EQ(session.Settings()[0].second, "\u00B0F");
    const auto readings = session.Poll();
    ASSERT_EQ(readings.size(), 2u);
    EXPECT_EQ(readings[0].unit, "\u00B0F");
    EXPECT_NEAR(readings[0].value, celsius * 9.0 / 5.0 + 32.0, 0.05);

    EXPECT_FALSE(session.Run("attempting to test", [](CVesk4710&) -> bool {
        throw AutomationError(kErrOverflow, "Overflow", "test");
    }));
    EXPECT_EQ(session.State(), LinkState::Connected) << "an instrument error keeps the link";
    EXPECT_FALSE(session.Run("attempting to test", [](CVesk4710&) -> bool {
        throw comm::CommError(comm::kCommTimeout, "no reply");
    }));
    EXPECT_EQ(session.State(), LinkState::Lost);
    EXPECT_EQ(session.LastError()->during, "attempting to test");
    bool ran = false;
    EXPECT_FALSE(session.Run("attempting to test", [&](CVesk4710&) { return ran = true; }));
    EXPECT_FALSE(ran) << "nothing runs on a lost link until it is reconnected";
}

}  // namespace
}  // namespace vesk::gui

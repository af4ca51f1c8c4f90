// The main window on the offscreen platform against the simulator: readings and the chart,
// every dialog from its action, a dropped link and the reconnect, exports, and the window
// kept in the per-user settings.
#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QRegularExpression>
#include <QSpinBox>
#include <QToolButton>
#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>

#include "apps/vesk4710-gui/ConnectDialog.h"
#include "apps/vesk4710-gui/MainWindow.h"
#include "apps/vesk4710-gui/StripChart.h"
#include "components/comm/CommErrors.h"
#include "tests/gui/GuiTestSupport.h"
#include "ui/qt/QtUi.h"

namespace vesk::gui {
namespace {

constexpr Millis kTick = 20 * 1000;

// Labels a technician reads at a glance: evenly spaced, each one the exact tick (no
// "25.0037"); the choice of step is the chart scale's own test.
void ExpectRoundTicks(const std::vector<QString>& labels) {
    ASSERT_GE(labels.size(), 3u);
    const double step = QLocale().toDouble(labels[1]) - QLocale().toDouble(labels[0]);
    for (size_t i = 0; i < labels.size(); ++i) {
        bool ok = false;
        const double value = QLocale().toDouble(labels[i], &ok);
        EXPECT_TRUE(ok) << labels[i].toStdString();
        EXPECT_NEAR(value / step, std::round(value / step), 1e-6) << value;
        EXPECT_NEAR(value - QLocale().toDouble(labels[0]), step * static_cast<double>(i), 1e-9);
    }
}

class MainWindowTest : public ::testing::Test {
  protected:
    void SetUp() override { test::UseFreshSimulator(clock); }

    std::unique_ptr<MainWindow> Open() {
        WindowOptions options;
        options.ui = std::make_shared<QtUi>();
        options.settingsPath = dir.File("settings.json");
        options.clock = clock.AsFunction();
        options.timeoutMs = 500;
        auto window = std::make_unique<MainWindow>(options);
        window->show();
        return window;
    }

    // Readings as the timer would take them, with simulated time passing in between.
    void Run(MainWindow& window, int ticks) {
        for (int i = 0; i < ticks; ++i) {
            clock.Advance(kTick);
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
    EXPECT_TRUE(window->lblLastError->text().isEmpty());
    EXPECT_TRUE(window->PollTimer().isActive());
    EXPECT_EQ(window->PollTimer().interval(), 1000);
    EXPECT_FALSE(window->actReconnect->isVisible());

    ASSERT_EQ(window->lstChannels->count(), 2);
    EXPECT_TRUE(window->lstChannels->item(0)->text().contains("S1001"));
    EXPECT_TRUE(window->lstChannels->item(1)->text().contains("TC2002"));
    EXPECT_EQ(window->lstChannels->item(1)->checkState(), Qt::Checked);
    EXPECT_EQ(window->lstChannels->item(1)->data(Qt::UserRole).toInt(), 2)
        << "the list carries the channel numbers as item data";
    auto* identification = window->findChild<QWidget*>("grpIdentification");
    ASSERT_NE(identification, nullptr);
    const auto labels = identification->findChildren<QLabel*>();
    EXPECT_TRUE(std::any_of(labels.begin(), labels.end(),
                            [](const QLabel* label) { return label->text() == "A47100"; }));

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
        ExpectRoundTicks(window->Chart()->ValueLabels(channel));
        QLabel* reading = window->ReadingLabel(channel);
        ASSERT_NE(reading, nullptr);
        EXPECT_TRUE(reading->text().endsWith(QString::fromUtf8(" \u00B0C")))
            << reading->text().toStdString();
        EXPECT_EQ(QLocale().toDouble(reading->text().section(' ', 0, 0)), latest->value)
            << "shown as read, not rounded";
    }
    EXPECT_EQ(window->Chart()->Shown().to, clock.Now()) << "following the newest readings";
    EXPECT_EQ(window->Chart()->Shown().Span(), TimeWindow::kDefaultSpan);
    const std::vector<QString> times = window->Chart()->TimeLabels();
    EXPECT_GE(times.size(), 4u);
    for (const QString& label : times) {
        EXPECT_TRUE(QRegularExpression("^\\d\\d:\\d[02468]$").match(label).hasMatch())
            << "whole minutes, every second one: " << label.toStdString();
    }

    // The window exports its own buffer: four # lines, a header and a line per reading.
    const std::string csv = dir.File("readings.csv");
    EXPECT_EQ(window->ExportCsv(QString::fromStdString(csv)), "");
    std::ifstream in(csv);
    EXPECT_EQ(static_cast<size_t>(std::count(std::istreambuf_iterator<char>(in), {}, '\n')),
              window->Buffer().Count() + 5);

    const QString png = QString::fromStdString(dir.File("chart.png"));
    EXPECT_EQ(window->ExportChart(png), "");
    const QImage image(png);
    EXPECT_EQ(image.size(), window->Chart()->size());
    EXPECT_NE(window->ExportChart(QString::fromStdString(dir.File("none/chart.png"))), "");
}

TEST_F(MainWindowTest, EveryDialogOpensFromItsActionAndClosesAgain) {
    auto window = Open();
    ASSERT_TRUE(window->ConnectTo(sim));
    Run(*window, 2);
    // What the settings list and the download's log choice offered, as the user saw them.
    QStringList seen;
    test::ModalCloser closer([&seen](QWidget* dialog) {
        if (auto* list = dialog->findChild<QListWidget*>("lstChannels")) {
            for (int i = 0; i < list->count(); ++i) {
                seen << list->item(i)->text();
            }
        }
        if (auto* logs = dialog->findChild<QComboBox*>("cboLog")) {
            for (int i = 0; i < logs->count(); ++i) {
                seen << logs->itemText(i);
            }
        }
    });
    const std::vector<std::pair<QAction*, std::string>> dialogs = {
        {window->actSettings, "frm4710Settings"},   {window->actChannel, "frm4710Channel"},
        {window->actLogStatus, "frm4710LogStatus"}, {window->actLabel, "frm4710Labels"},
        {window->actDownload, "frm4710Download"},   {window->actConnect, "connectDialog"},
    };
    for (const auto& [action, name] : dialogs) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(action->isEnabled());
        const size_t before = window->Buffer().Count();
        action->trigger();
        ASSERT_FALSE(closer.closed.empty());
        EXPECT_EQ(closer.closed.back(), name);
        EXPECT_EQ(window->Session().State(), LinkState::Connected);
        EXPECT_TRUE(window->PollTimer().isActive());
        EXPECT_EQ(window->Buffer().Count(), before) << "no readings while a dialog is open";
    }
    EXPECT_EQ(closer.closed.size(), dialogs.size()) << "no message box came up on the way";
    EXPECT_EQ(seen.join(" | ").toStdString(),
              "Channel 1)\tS1001 | Channel 2)\tTC2002 | Demand log | Automatic log")
        << "each channel's own state and serial; the automatic log beside the demand log";
    Run(*window, 1);
    // One reading at the connection, two before and one after the dialogs.
    EXPECT_EQ(window->Buffer().Count(1), 4u) << "readings resume after the dialogs";
}

TEST_F(MainWindowTest, ADroppedLinkOffersAReconnectInsteadOfRetryingOnEveryTick) {
    auto window = Open();
    ASSERT_TRUE(window->ConnectTo(sim));
    Run(*window, 3);
    test::InjectFault(sim::FaultKind::kDropLink, 1);
    Run(*window, 1);
    EXPECT_EQ(window->Session().State(), LinkState::Lost);
    const auto error = window->Session().LastError();
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->number, comm::kCommLinkDropped);
    EXPECT_TRUE(error->linkLost);
    EXPECT_EQ(error->during, "reading channel 2");
    EXPECT_FALSE(window->PollTimer().isActive());
    EXPECT_TRUE(window->actReconnect->isVisible());
    EXPECT_TRUE(window->findChild<QToolButton*>("btnReconnect")->isVisibleTo(window.get()));
    EXPECT_TRUE(window->lblLastError->text().contains("link to the instrument dropped"))
        << window->lblLastError->text().toStdString();
    EXPECT_EQ(window->lblConnection->text(), "Link lost: embedded simulator");
    EXPECT_FALSE(window->actSettings->isEnabled());
    // The readings taken stay: at the connection, three rounds and channel 1 of the fourth.
    EXPECT_EQ(window->Buffer().Count(1), 5u);
    EXPECT_EQ(window->Buffer().Count(2), 4u);

    const uint64_t requests = test::SimulatedInstrument()->RequestCount();
    Run(*window, 5);
    EXPECT_EQ(test::SimulatedInstrument()->RequestCount(), requests);

    window->actReconnect->trigger();
    EXPECT_EQ(window->Session().State(), LinkState::Connected);
    EXPECT_TRUE(window->PollTimer().isActive());
    EXPECT_FALSE(window->actReconnect->isVisible());
    EXPECT_TRUE(window->actSettings->isEnabled());
    EXPECT_EQ(window->Buffer().Count(1), 6u) << "the same instrument's lines continue";
}

TEST_F(MainWindowTest, TheConnectionAndTheWindowAreKeptInThePerUserSettings) {
    {
        auto window = Open();
        ASSERT_TRUE(window->ConnectTo(sim));
        window->resize(900, 640);
        window->Chart()->Window().Span(3600 * 1000);
        window->close();
    }
    std::ifstream file(dir.File("settings.json"));
    std::stringstream text;
    text << file.rdbuf();
    EXPECT_NE(text.str().find("vesk4710-gui"), std::string::npos);

    auto again = Open();
    ASSERT_TRUE(again->SavedTarget().has_value());
    EXPECT_EQ(again->SavedTarget()->Device(), "sim");
    EXPECT_EQ(again->size(), QSize(900, 640));
    EXPECT_EQ(again->Chart()->Window().Span(), 3600 * 1000);
    EXPECT_TRUE(again->actReconnect->isVisible()) << "one click back to the last instrument";
    again->actReconnect->trigger();
    EXPECT_EQ(again->Session().State(), LinkState::Connected);
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
    EXPECT_FALSE(dialog.txtHost->isEnabled());

    dialog.cboPort->setCurrentText("");
    dialog.accept();
    EXPECT_NE(dialog.result(), QDialog::Accepted);
    EXPECT_FALSE(dialog.lblProblem->text().isEmpty());

    dialog.optNetwork->setChecked(true);
    EXPECT_TRUE(dialog.lblProblem->text().isEmpty());
    dialog.txtHost->setText(" lab-pc ");
    dialog.txtPort->setValue(5025);
    dialog.accept();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    EXPECT_EQ(dialog.Target().Device(), "tcp://lab-pc:5025");
}

}  // namespace
}  // namespace vesk::gui

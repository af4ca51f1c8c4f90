// The pictures of the documentation, taken from the application as a technician sees it: the
// main window after a minute and a half of readings, the statistics with one stable and one
// drifting channel, each dialog (its F1 opening the help at its own section) and the help.
// They land in the build tree's screenshots/ folder; docs/images/ holds the chosen ones.
#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QDockWidget>
#include <QImage>
#include <QSpinBox>
#include <QTest>
#include <QTextBlock>
#include <QTextBrowser>

#include "apps/vesk4710-gui/MainWindow.h"
#include "apps/vesk4710-gui/StatisticsPanel.h"
#include "apps/vesk4710-gui/StripChart.h"
#include "simulator/Instrument.h"
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

TEST(ScreenshotTest, TheWindowItsStatisticsEveryDialogAndTheHelp) {
    QDir().mkpath(kShots);
    test::ManualClock clock;
    test::UseFreshSimulator(clock);
    test::TempDir dir;
    WindowOptions options;
    options.ui = std::make_shared<QtUi>();
    options.settingsPath = dir.File("settings.json");
    options.clock = clock.AsFunction();
    MainWindow window(options);
    window.StatisticsView()->spnWindow->setValue(1);
    window.show();
    ASSERT_TRUE(window.ConnectTo(*ConnectionTarget::Parse("sim", 9600)));
    // Channel 1 in a settled bath; channel 2 follows its slow swing.
    test::SimulatedInstrument()->Modify(
        [](sim::InstrumentState& s) { s.channels[0].drift.amplitude = 0.0; });
    window.actClearChart->trigger();
    for (int second = 0; second < 91; ++second) {
        clock.Advance(1000);
        window.Tick();
    }
    const auto* stable = window.Statistics().Of(1);
    const auto* drifting = window.Statistics().Of(2);
    ASSERT_TRUE(stable && drifting);
    EXPECT_EQ(stable->State(), stats::Stability::kStable);
    EXPECT_EQ(drifting->State(), stats::Stability::kUnstable);
    EXPECT_EQ(window.Statistics().StatusText(1, clock.Now()), "stable for 30 s");
    Save(&window, "desktop");
    Save(window.findChild<QDockWidget*>("dockStatistics"), "statistics");
    window.actAxesStacked->trigger();
    Save(window.Chart(), "chart-stacked");
    window.actAxesPerChannel->trigger();

    // Each dialog from its action; F1 in it opens the help at its section.
    const std::map<std::string, std::pair<std::string, std::string>> dialogs = {
        {"frm4710Settings", {"settings", "Instrument settings"}},
        {"frm4710Channel", {"channel", "Channel settings"}},
        {"frm4710Download", {"download", "Downloading logged data"}},
        {"frm4710Labels", {"labels", "Logging label"}},
        {"frm4710LogStatus", {"log-status", "Log status"}},
    };
    std::map<std::string, std::string> landed;
    test::ModalCloser closer([&](QWidget* modal) {
        const auto found = dialogs.find(modal->objectName().toStdString());
        if (found == dialogs.end()) {
            return;
        }
        if (auto* labels = modal->findChild<QComboBox*>("cboLabel")) {
            labels->setCurrentIndex(2);  // a label by its name
        }
        Save(modal, QString::fromStdString(found->second.first));
        QTest::keyClick(modal, Qt::Key_F1);
        landed[found->first] = HelpHeading();
        if (QtHelpViewer::Current() != nullptr) {
            QtHelpViewer::Current()->close();
        }
    });
    for (QAction* a : {window.actSettings, window.actChannel, window.actDownload, window.actLabel,
                       window.actLogStatus}) {
        a->trigger();
    }
    for (const auto& [name, shot] : dialogs) {
        EXPECT_EQ(landed[name], shot.second) << name;
    }

    // The window's own help, and every topic the library passes lands on its section.
    window.actHelp->trigger();
    ASSERT_NE(QtHelpViewer::Current(), nullptr);
    EXPECT_EQ(HelpHeading(), "The desktop application");
    QtHelpViewer::Current()->resize(900, 600);
    Save(QtHelpViewer::Current(), "help");
    QtUi ui;
    for (const auto& [topic, heading] : std::vector<std::pair<int32_t, std::string>>{
             {kHelpSettings, "Instrument settings"},
             {kHelpLogStatus, "Log status"},
             {window.Session().Instrument()->DVCICommError(), "When something fails"}}) {
        EXPECT_EQ(ui.ShowHelp(HelpFile(), 1, topic), 1);
        EXPECT_EQ(HelpHeading(), heading) << topic;
    }
    EXPECT_EQ(ui.ShowHelp(dir.File("missing.html"), 1, kHelpSettings), 0);
    EXPECT_NE(QtHelpViewer::Current()->Browser()->toPlainText().indexOf("not installed"), -1);
    QtHelpViewer::Current()->close();
}

}  // namespace
}  // namespace vesk::gui

// vesk4710-gui: live readings, settings and logs of a 4710 on the desktop.
#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QIcon>
#include <QTimer>
#include <cstdio>
#include <cstring>
#include <memory>

#include "apps/vesk4710-gui/MainWindow.h"
#include "host/DefaultHost.h"
#include "simulator/EmbeddedLink.h"
#include "ui/qt/QtControls.h"
#include "ui/qt/QtUi.h"
#include "vesk4710/support/Help.h"
#include "vesk4710/support/Version.h"

namespace {

// --help and --version print text only: they must work where no display is.
bool AsksForText(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        for (const char* word : {"-h", "--help", "-help", "--help-all", "-v", "--version"}) {
            if (std::strcmp(argv[i], word) == 0) {
                return true;
            }
        }
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    // Without a display a QApplication cannot start; the text answers need only the core.
    std::unique_ptr<QCoreApplication> app;
    if (AsksForText(argc, argv)) {
        app = std::make_unique<QCoreApplication>(argc, argv);
    } else {
        app = std::make_unique<QApplication>(argc, argv);
    }
    QApplication::setApplicationName("vesk4710-gui");
    QApplication::setApplicationDisplayName("Vesk 4710");
    QApplication::setApplicationVersion(vesk::ToQString(vesk::LibraryVersion()));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Live readings, settings and logs of a Vesk 4710 readout.\n\n"
        "Exit status: 0 when the window is closed, 1 when a picture cannot be saved, 2 for a "
        "bad option or device.");
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption device(
        "device",
        "Connect at once to DEVICE: sim, a serial device such as /dev/ttyUSB0, or "
        "tcp://HOST:PORT. Without it the connection dialog opens.",
        "DEVICE");
    const QCommandLineOption baud("baud", "Baud rate of a serial device (default 9600).", "RATE",
                                  "9600");
    const QCommandLineOption settings(
        "settings", "Per-user settings file to use instead of the user's default.", "FILE");
    const QCommandLineOption trace("trace", "Write an I/O trace of the session to FILE.", "FILE");
    const QCommandLineOption timeout("timeout", "Reply time-out in milliseconds (default 2000).",
                                     "MS", "2000");
    const QCommandLineOption poll(
        "poll", "Read every MS milliseconds instead of at the instrument's interval.", "MS", "0");
    const QCommandLineOption simFresh(
        "sim-fresh", "Start the embedded simulator from its data and keep its state in memory.");
    const QCommandLineOption record(
        "record", "Record every reading into FILE (a new file) from the connection on.", "FILE");
    const QCommandLineOption screenshot(
        "screenshot", "Save a picture of the window to PATH after a while, then exit.", "PATH");
    const QCommandLineOption screenshotAfter(
        "screenshot-after", "Seconds to wait before the picture (default 5).", "SECONDS", "5");
    parser.addOptions({device, baud, settings, trace, timeout, poll, simFresh, record, screenshot,
                       screenshotAfter});
    // A usage error exits with 2, as the other programs do; process() would give 1.
    if (!parser.parse(QCoreApplication::arguments())) {
        std::fprintf(stderr, "vesk4710-gui: %s\n", qPrintable(parser.errorText()));
        return 2;
    }
    parser.process(*app);
    // Past the text answers, the application is a QApplication.
    QApplication::setWindowIcon(QIcon(":/vesk4710-gui.svg"));
    // The desktop matches the window to its entry (vesk4710-gui.desktop) by this name.
    QGuiApplication::setDesktopFileName("vesk4710-gui");

    // The help lies beside the library in the build tree; installed, it is in the shared data.
    if (!QFileInfo::exists(vesk::ToQString(vesk::HelpFile()))) {
        const QString installed =
            QDir(QCoreApplication::applicationDirPath())
                .absoluteFilePath("../share/vesk4710/help/vesk4710-help.html");
        if (QFileInfo::exists(installed)) {
            vesk::HelpFile(vesk::FromQString(QFileInfo(installed).canonicalFilePath()));
        }
    }

    vesk::gui::WindowOptions options;
    options.ui = std::make_shared<vesk::QtUi>();
    options.settingsPath = vesk::FromQString(parser.value(settings));
    options.tracePath = vesk::FromQString(parser.value(trace));
    options.timeoutMs = parser.value(timeout).toInt();
    options.pollMillis = parser.value(poll).toInt();
    options.recordPath = vesk::FromQString(parser.value(record));

    vesk::sim::SimOptions sim;
    if (parser.isSet(simFresh)) {
        sim.persist = false;
        sim.reset = true;
    }
    // The first default host registers the stock simulator over any earlier registration;
    // have that happen before ours.
    {
        vesk::HostOptions quiet;
        quiet.console = false;
        quiet.registryPath = options.settingsPath;
        vesk::MakeDefaultHost(quiet);
    }
    vesk::sim::RegisterEmbeddedLink(sim);

    std::optional<vesk::gui::ConnectionTarget> target;
    QString deviceText = parser.value(device);
    if (deviceText.isEmpty() && parser.isSet(screenshot)) {
        deviceText = "sim";
    }
    if (!deviceText.isEmpty()) {
        std::string problem;
        target = vesk::gui::ConnectionTarget::Parse(vesk::FromQString(deviceText),
                                                    parser.value(baud).toInt(), &problem);
        if (!target) {
            std::fprintf(stderr, "vesk4710-gui: %s\n", problem.c_str());
            return 2;
        }
    }

    vesk::gui::MainWindow window(options);
    window.show();
    QTimer::singleShot(0, &window, [&] {
        if (target) {
            window.ConnectTo(*target);
        } else {
            window.actConnect->trigger();
        }
    });
    if (parser.isSet(screenshot)) {
        const QString path = parser.value(screenshot);
        const int after = std::max(1, parser.value(screenshotAfter).toInt());
        QTimer::singleShot(after * 1000, &window, [&window, path] {
            const bool saved = window.grab().save(path, "PNG");
            if (!saved) {
                std::fprintf(stderr, "vesk4710-gui: cannot write %s\n", qPrintable(path));
            }
            QApplication::exit(saved ? 0 : 1);
        });
    }
    return QApplication::exec();
}

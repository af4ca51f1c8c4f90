#include "tests/gui/GuiTestSupport.h"

#include <QApplication>
#include <QDialog>
#include <QWidget>
#include <fstream>
#include <iterator>

#include "components/host/DefaultHost.h"
#include "simulator/EmbeddedLink.h"
#include "simulator/SimOptions.h"
#include "tests/qt/QtTestApplication.h"

namespace vesk::gui::test {

namespace {

[[maybe_unused]] const auto* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new qttest::QtTestApplication("test_gui"));

sim::SimOptions FreshOptions() {
    sim::SimOptions options;
    options.persist = false;
    return options;
}

}  // namespace

void UseFreshSimulator(const ManualClock* clock) {
    // The first default host registers the stock simulator over any earlier registration;
    // have that happen before ours.
    static const bool hostReady = [] {
        HostOptions quiet;
        quiet.console = false;
        quiet.registryPath =
            (std::filesystem::temp_directory_path() / "vesk-gui-unused.json").string();
        return MakeDefaultHost(quiet) != nullptr;
    }();
    (void)hostReady;
    // An instrument keeps the clock it was made with: forget the last test's.
    sim::Instrument::ReleaseAll();
    sim::SimOptions options = FreshOptions();
    options.reset = true;
    if (clock != nullptr) {
        options.clock = clock->AsWallClock();
    }
    sim::RegisterEmbeddedLink(options);
}

std::string Slurp(const std::string& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::shared_ptr<sim::Instrument> SimulatedInstrument() {
    return sim::Instrument::ForPort(FreshOptions());
}

void InjectFault(sim::FaultKind kind, int32_t skip, int32_t errorCode) {
    auto inst = SimulatedInstrument();
    sim::Fault fault;
    fault.kind = kind;
    fault.atRequest = inst->RequestCount() + 1 + static_cast<uint64_t>(skip);
    fault.errorCode = errorCode;
    inst->InjectFault(fault);
}

ModalCloser::ModalCloser(std::function<void(QWidget*)> settled) : settled_(std::move(settled)) {
    connect(&timer_, &QTimer::timeout, this, [this] {
        QWidget* modal = QApplication::activeModalWidget();
        // A window is closed once it has settled: seen on two ticks, with no wait cursor.
        if (modal == nullptr || !modal->isVisible() || modal != seen_ ||
            QApplication::overrideCursor() != nullptr) {
            seen_ = modal;
            return;
        }
        seen_ = nullptr;
        closed.push_back(modal->objectName().toStdString());
        if (settled_) {
            settled_(modal);
        }
        if (auto* dialog = qobject_cast<QDialog*>(modal)) {
            dialog->reject();
        } else {
            modal->close();
        }
    });
    timer_.start(50);
}

}  // namespace vesk::gui::test

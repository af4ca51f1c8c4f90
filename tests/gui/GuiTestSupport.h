#pragma once
// A fresh in-memory simulator per test with a clock the test moves, and a modal-window closer.
#include <QtWidgets>
#include <atomic>

#include "apps/vesk4710-gui/model/LiveSession.h"
#include "host/DefaultHost.h"
#include "simulator/EmbeddedLink.h"
#include "simulator/Instrument.h"
#include "tests/qt/QtTestApplication.h"
#include "tests/testsupport/FakeFileSystem.h"

namespace vesk::gui::test {

using vesk::test::FakeFileSystem;

// Wall time that moves only when told; the simulator and the window read the same one.
class ManualClock {
  public:
    Millis Now() const { return now_->load(); }
    void Advance(Millis ms) { *now_ += ms; }
    sim::WallClock AsWallClock() const {
        return [now = now_] {
            return std::chrono::system_clock::time_point(std::chrono::milliseconds(now->load()));
        };
    }

  private:
    std::shared_ptr<std::atomic<Millis>> now_ =
        std::make_shared<std::atomic<Millis>>(SystemMillis());
};

// Registers the simulator afresh, reset from its data at first use.
inline void UseFreshSimulator(const ManualClock& clock) {
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
    sim::RegisterEmbeddedLink({.persist = false, .reset = true, .clock = clock.AsWallClock()});
}

inline std::shared_ptr<sim::Instrument> SimulatedInstrument() {
    return sim::Instrument::ForPort({.persist = false});
}

// A fault at the next request after skip others; each reading is one request, and later ones
// of a round follow in channel order.
inline void InjectFault(sim::FaultKind kind, int32_t skip, int32_t errorCode = 5) {
    auto inst = SimulatedInstrument();
    sim::Fault fault;
    fault.kind = kind;
    fault.atRequest = inst->RequestCount() + 1 + static_cast<uint64_t>(skip);
    fault.errorCode = errorCode;
    inst->InjectFault(fault);
}

struct TempDir : QTemporaryDir {
    std::filesystem::path Path() const { return path().toStdString(); }
    std::string File(const std::string& name) const { return (Path() / name).string(); }
};

// Closes each modal window once it has settled (seen on two ticks, with no wait cursor), the
// way Escape does, and remembers its object name; settled, when given, sees it first.
class ModalCloser : public QObject {
  public:
    explicit ModalCloser(std::function<void(QWidget*)> settled = {}) {
        connect(&timer_, &QTimer::timeout, this, [this, settled] {
            QWidget* modal = QApplication::activeModalWidget();
            if (modal == nullptr || !modal->isVisible() || modal != seen_ ||
                QApplication::overrideCursor() != nullptr) {
                seen_ = modal;
                return;
            }
            seen_ = nullptr;
            closed.push_back(modal->objectName().toStdString());
            if (settled) {
                settled(modal);
            }
            if (auto* dialog = qobject_cast<QDialog*>(modal)) {
                dialog->reject();
            } else {
                modal->close();
            }
        });
        timer_.start(50);
    }
    std::vector<std::string> closed;

  private:
    QTimer timer_;
    QWidget* seen_ = nullptr;
};

}  // namespace vesk::gui::test
